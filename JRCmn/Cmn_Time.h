#pragma once

// Cmn_Time: a moment, and the clocks of the library.
//
//   const uint64_t start = Cmn_Time::GetInMilliseconds();
//   Cmn_Trace("It is %s.\n", Cmn_Time::Now().ToString("MMM d yyyy", "H:mm:ss", " @ ").c_str());
//
// Threads:   any; a Cmn_Time is a plain value
// Ownership: none
// Errors:    a moment that the platform cannot show (before 1601, after 30827) gives an empty text
// Units:     milliseconds since 1970-01-01 UTC

#include <cstdint>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API Cmn_Time {
public:
    // The wall clock read once when the process first asks, plus the monotonic clock since: it never jumps and never
    // runs back, and a change of the machine's time does not show in a running process.
    static uint64_t GetInMilliseconds();

    static Cmn_Time Now() { return Cmn_Time(GetInMilliseconds()); }

    explicit Cmn_Time(uint64_t millisecondsSince1970) : mMilliseconds(millisecondsSince1970) {}

    uint64_t InMilliseconds() const { return mMilliseconds; }

    // Local date and time in the platform's format pictures (d, MMM, yyyy; H, mm, ss), English names.
    Cmn_String ToString(const char* dateFormat, const char* timeFormat, const char* separator) const;

private:
    uint64_t mMilliseconds;
};
