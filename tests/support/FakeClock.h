#pragma once

// Time that stands still until the test moves it.
//
// Threads: any may move it.  Ownership: one at a time in a process.  Errors: none.  Units: milliseconds.

#include <atomic>
#include <cstdint>

#include "JRCmn/Internal/Cmn_Clock.h"

class FakeClock {
public:
    explicit FakeClock(uint64_t start = 1'794'679'831'000) {
        sNow = start;
        NorvikLibInternal::OverrideClock([] { return sNow.load(); });
    }
    ~FakeClock() { NorvikLibInternal::OverrideClock(nullptr); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void Advance(uint64_t milliseconds) { sNow += milliseconds; }

private:
    static inline std::atomic<uint64_t> sNow{0};
};
