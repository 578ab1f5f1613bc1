#include "JRCmn/Internal/Cmn_ThreadStack.h"

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_ThreadCalls.h"

using namespace NorvikLibInternal;

namespace {

IPC_Benaphore& CaptureLock() {
    static IPC_Benaphore& lock = *new IPC_Benaphore;
    return lock;
}

void PrintStack(HANDLE thread, DWORD id) {
    const char* const heading = "Stack trace of the thread %x:\n";
    const LastErrorKeeper keeper;
    if (id == ::GetCurrentThreadId()) {
        Cmn_Trace(heading, static_cast<unsigned>(id));
        Cmn_Assert::PrintStackTrace(0, nullptr, true);
        return;
    }
    StackFrames frames;
    if (!CaptureThread(thread, frames)) {
        Cmn_Trace("Stack trace of the thread %x cannot be obtained.\n", static_cast<unsigned>(id));
        return;
    }
    Cmn_Trace(heading, static_cast<unsigned>(id));
    TraceStack(frames, true);
}

}  // namespace

namespace NorvikLibInternal {

ThreadStop TakeSnapshot(HANDLE thread, StackSnapshot& snapshot) {
    // All memory and all functions are at hand before the thread stops: it may hold the lock of the heap, of the log
    // or of the loader. For the same reason nothing is said or looked up before it runs again.
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_FULL;
    const ThreadCalls& calls = GetThreadCalls();
    ThreadStop stop = {};
    const IPC_BenaphoreLocker locker(CaptureLock());
    stop.isSuspended = calls.suspendThread(thread) != kFailedCall;
    if (stop.isSuspended) {
        stop.isRead = calls.getContext(thread, &context);
        if (stop.isRead) snapshot.Take(context);
        stop.isResumed = calls.resumeThread(thread) != kFailedCall;
    }
    return stop;
}

bool CaptureThread(HANDLE thread, StackFrames& frames) {
    // The addresses of another process mean nothing here; and who suspends himself sleeps for ever. A handle to ask that
    // with is made, because one that may suspend need not be one that may ask. Without one the suspending fails, too.
    HANDLE duplicate = nullptr;
    const HANDLE self = ::GetCurrentProcess();
    ::DuplicateHandle(self, thread, self, &duplicate, THREAD_QUERY_LIMITED_INFORMATION, FALSE, 0);
    const KernelHandle asks(duplicate);
    const DWORD process = asks ? ::GetProcessIdOfThread(asks.Get()) : 0;
    if ((process && process != ::GetCurrentProcessId()) ||
        (asks && ::GetThreadId(asks.Get()) == ::GetCurrentThreadId())) {
        return false;
    }
    StackSnapshot snapshot;
    const ThreadStop stop = TakeSnapshot(thread, snapshot);
    if (!stop.isSuspended) {
        VerifyFailed("::SuspendThread(inThreadHandle) != (DWORD)-1", kThreadSource, 345);
    } else if (!stop.isResumed) {
        VerifyFailed("::ResumeThread(inThreadHandle) != (DWORD)-1", kThreadSource, 352);
    }
    if (stop.isRead) frames = snapshot.Walk();
    return stop.isRead;
}

}  // namespace NorvikLibInternal

void Cmn_Thread::PrintStackTrace(unsigned long threadID) {
    const LastErrorKeeper keeper;
    constexpr DWORD kFullAccess = 0x1FFFFF;
    const KernelHandle thread(::OpenThread(kFullAccess, FALSE, threadID));
    PrintStack(thread.Get(), threadID);
}

void Cmn_Thread::PrintStackTrace(void* thread) {
    const LastErrorKeeper keeper;
    const HANDLE handle = ToThreadHandle(thread);
    PrintStack(handle, ::GetThreadId(handle));
}
