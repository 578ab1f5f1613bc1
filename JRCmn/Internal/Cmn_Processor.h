#pragma once

// What a spinning thread asks of the processor and the scheduler.
//
// Threads: any.  Ownership, errors: none.  Units: milliseconds.

#include <emmintrin.h>

#include <thread>

#if defined(_WIN32)
#include "JRCmn/Internal/Cmn_Windows.h"
#else
#include <chrono>
#endif

namespace NorvikLibInternal {

inline unsigned ProcessorCount() {
    static const unsigned count = std::thread::hardware_concurrency();
    return count;
}

inline void PauseProcessor() {
    _mm_pause();
}

// Lets another thread run that is ready on this processor.
inline void YieldProcessorSlice() {
#if defined(_WIN32)
    ::SwitchToThread();
#else
    std::this_thread::yield();
#endif
}

// Whether the process is ending and the platform has already removed all other threads, with whatever locks they held.
inline bool OtherThreadsAreGone() {
#if defined(_WIN32)
    using Function = BOOLEAN(NTAPI*)();
    static const Function isShuttingDown = reinterpret_cast<Function>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleA("ntdll.dll"), "RtlDllShutdownInProgress")));
    return isShuttingDown && isShuttingDown();
#else
    return false;
#endif
}

// Lets any other thread run, also one of lower priority.
inline void SleepMilliseconds(unsigned milliseconds) {
#if defined(_WIN32)
    ::Sleep(milliseconds);
#else
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
#endif
}

}  // namespace NorvikLibInternal
