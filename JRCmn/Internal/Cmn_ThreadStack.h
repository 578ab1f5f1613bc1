#pragma once

// The stack of another thread.
//
//   StackFrames frames;
//   if (CaptureThread(thread, frames)) TraceStack(frames, true);
//
// Threads:   any; captures wait for each other, because two threads that capture one another would both stay suspended
// Ownership: none
// Errors:    false for a thread that has ended, whose context is refused, of another process, or the caller itself; reported
//            when it cannot be suspended or resumed
// Units:     as StackFrames

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_StackWalk.h"

namespace NorvikLibInternal {

NORVIK_API bool CaptureThread(HANDLE thread, StackFrames& frames);

// The part of it between suspending and resuming, for who reports by himself what failed. Not for the caller's own
// thread.
struct ThreadStop {
    bool isSuspended;
    bool isRead;  // registers and stack are in the snapshot
    bool isResumed;
};
ThreadStop TakeSnapshot(HANDLE thread, StackSnapshot& snapshot);

}  // namespace NorvikLibInternal
