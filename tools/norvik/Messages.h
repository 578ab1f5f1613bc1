#pragma once

// What the verbs share that exchange messages with other programs, or show what they say.
//
// Threads:   any
// Ownership: none
// Errors:    a port that is none is thrown as UsageError
// Units:     none

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace NorvikTool {

// With what cannot be printed, and the backslash, as \xNN.
std::string Printable(std::string_view text);

// "5 Hello": length and text.
std::string MessageText(const void* data, std::size_t size);

std::uint16_t ParsePort(const std::string& text, std::uint16_t minimum);

}  // namespace NorvikTool
