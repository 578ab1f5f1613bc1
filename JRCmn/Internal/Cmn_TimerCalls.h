#pragma once

// The seam of the platform's multimedia timers, which set or pulse an event from a thread of their own. winmm is loaded
// by the first call, not with the program. A test replaces a single entry and puts it back.
//
// Threads:   replaced before timers are used
// Ownership: none
// Errors:    a timer that cannot be started has ID 0; a process has 16 at most
// Units:     milliseconds; `flags` are the platform's (kOneShotSetsEvent, kPeriodicPulsesEvent)

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

constexpr unsigned kOneShotSetsEvent = 0x10;
constexpr unsigned kPeriodicPulsesEvent = 0x21;

struct TimerCalls {
    unsigned (*start)(unsigned delay, unsigned resolution, void* event, unsigned flags);
    void (*kill)(unsigned timerID);
};

NORVIK_API TimerCalls& GetTimerCalls();

}  // namespace NorvikLibInternal
