#pragma once

// What the verbs that exchange messages share.
//
// Threads:   any
// Ownership: none
// Errors:    a port that is none is thrown as UsageError
// Units:     none

#include <cstddef>
#include <cstdint>
#include <string>

namespace NorvikTool {

// "5 Hello": length and text, with what cannot be printed, and the backslash, as \xNN.
std::string MessageText(const void* data, std::size_t size);

std::uint16_t ParsePort(const std::string& text, std::uint16_t minimum);

}  // namespace NorvikTool
