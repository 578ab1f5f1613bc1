#pragma once

// The one seam for time. Everything in the library that asks for the time asks here, so that a test can advance time
// by hand.
//
//   const uint64_t start = ClockMilliseconds();
//
// Threads:   any
// Ownership: none
// Errors:    none
// Units:     milliseconds since 1970-01-01 UTC: the wall clock read once when the library is first asked, plus the
//            monotonic clock since. Readable in a log, never jumps, never runs back.

#include <cstdint>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

// To the millisecond. Costs a read of the performance counter (0.1 us under Wine), in bursts a tenth of that.
NORVIK_API uint64_t ClockMilliseconds();

// The same time from the system tick: up to 16 ms behind, and some fifty times cheaper. For rules that compare
// seconds on a hot path.
NORVIK_API uint64_t ClockMillisecondsCoarse();

// Tests only: both clocks answer with `now` from here on; null puts the real clock back.
NORVIK_API void OverrideClock(uint64_t (*now)());

}  // namespace NorvikLibInternal
