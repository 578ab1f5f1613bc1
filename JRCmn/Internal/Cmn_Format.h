#pragma once

// printf-style formatting into a caller's buffer, telling "does not fit" from "cannot be converted": the Microsoft
// formatter answers -1 to both, and for the second no buffer is ever large enough.
//
// Threads: any.  Ownership: none.  Errors: see Formatted.  Units: characters without the terminator.

#include <cstdarg>

namespace NorvikLibInternal {

enum class Formatted { kFits, kCut, kInvalid };

// Formats at most `limit` characters into `buffer`, which has room for limit + 1; the result is always terminated.
// `outLength` is what the buffer holds: all (kFits), the first `limit` characters (kCut), or nothing (kInvalid: a
// conversion that the run-time refuses).
Formatted FormatText(char* buffer, int limit, int& outLength, const char* format, va_list arguments);

}  // namespace NorvikLibInternal
