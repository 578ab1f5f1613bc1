#pragma once

// IPv4 addresses as text: what the platform's inet_addr takes, and what its inet_ntoa prints. Written out here because it
// is then the same everywhere, needs no network library to be started, and is many times faster.
//
//   const uint32_t loopback = ParseDottedQuad("127.0.0.1");
//
// Taken are one to four parts, each decimal, octal (leading 0) or hexadecimal (leading 0x); the last part fills all
// bytes that are left, so "127.1" is 127.0.0.1. A blank ends the address and whatever stands behind it is ignored.
//
// Threads:   any
// Ownership: none
// Errors:    text that is no address gives kNoDottedQuad, which is also what 255.255.255.255 gives
// Units:     addresses are words in network byte order: the first octet has the lowest address in memory

#include <cstddef>
#include <cstdint>

namespace NorvikLibInternal {

constexpr std::uint32_t kNoDottedQuad = 0xFFFFFFFF;

// The text ends at its NUL.
std::uint32_t ParseDottedQuad(const char* text);

// With a terminator; the number of characters before it.
constexpr std::size_t kDottedQuadSize = 16;
std::size_t PrintDottedQuad(std::uint32_t address, char (&out)[kDottedQuadSize]);

}  // namespace NorvikLibInternal
