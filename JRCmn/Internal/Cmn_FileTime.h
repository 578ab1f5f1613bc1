#pragma once

// The platform's file times as milliseconds since 1970-01-01 UTC, and back.
//
// Threads: any.  Ownership, errors: none.  Units: FILETIME counts 100 ns since 1601-01-01 UTC.

#include <cstdint>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

constexpr uint64_t kFileTimeUnitsPerMillisecond = 10'000;
constexpr uint64_t kMillisecondsFrom1601To1970 = 11'644'473'600'000;

inline uint64_t ToMilliseconds(const FILETIME& time) {
    const uint64_t units = static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    return units / kFileTimeUnitsPerMillisecond - kMillisecondsFrom1601To1970;
}

inline FILETIME ToFileTime(uint64_t milliseconds) {
    const uint64_t units = (milliseconds + kMillisecondsFrom1601To1970) * kFileTimeUnitsPerMillisecond;
    return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

}  // namespace NorvikLibInternal
