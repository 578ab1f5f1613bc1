#include "JRCmn/Internal/Cmn_LoopWatchdog.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_QuestionDialog.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_ThreadStack.h"

namespace {

constexpr char kSource[] = "Shared\\JR_AsioEventManager.cpp";

}  // namespace

namespace NorvikLibInternal {

LoopWatchdog::~LoopWatchdog() {
    Join();
}

void LoopWatchdog::Join() {
    End();
    mThread.ThreadEnd();
    mCallback = nullptr;
}

void LoopWatchdog::Enable(uint32_t seconds, Callback callback) {
    mCallback = std::move(callback);
    mSeconds = seconds;
    mEnabled = true;
    mThread.Launch(this, &LoopWatchdog::RunThread, nullptr);
}

void LoopWatchdog::End() {
    mIsOver = true;
    if (mEnabled) mHandlerDone.Set();
}

long LoopWatchdog::RunThread(void*) {
    Run(mSeconds);
    return 0;
}

// ---- On the loop's thread -----------------------------------------------------------------------------------------

LoopWatchdog::CallScope::CallScope(LoopWatchdog& watchdog, const Cmn_String& name)
    : mWatchdog(watchdog), mName(name) {
    mWatchdog.NoteLoopThread();
    const IPC_BenaphoreLocker locker(mWatchdog.mLock);
    mOuter = mWatchdog.mCurrentCall;
    mWatchdog.Show(this);
}

LoopWatchdog::CallScope::~CallScope() {
    {
        const IPC_BenaphoreLocker locker(mWatchdog.mLock);
        mWatchdog.Show(mOuter);
    }
    if (mWatchdog.mIsWatched) mWatchdog.mHandlerDone.Set();
}

void LoopWatchdog::Show(const CallScope* call) {
    size_t length = 0;
    if (call) {
        length = std::min(sizeof mCurrentHandler - 1, static_cast<size_t>(call->mName.GetLength()));
        std::memcpy(mCurrentHandler, call->mName.c_str(), length);
    }
    mCurrentHandler[length] = '\0';
    mCurrentCall = call;
    mHandlerRunning = call ? 1 : 0;
}

// A handle that the watchdog can suspend the thread with, which the thread's own name for itself is not.
void LoopWatchdog::NoteLoopThread() {
    const DWORD id = ::GetCurrentThreadId();
    if (id == mLoopThreadID) return;
    HANDLE handle = nullptr;
    const HANDLE self = ::GetCurrentProcess();
    const bool isDone =
        ::DuplicateHandle(self, ::GetCurrentThread(), self, &handle, 0, FALSE, DUPLICATE_SAME_ACCESS);
    {
        const IPC_BenaphoreLocker locker(mLock);
        mLoopThread.Reset(handle);
        mLoopThreadID = id;
    }
    if (!isDone) VerifyFailed("handle != INVALID_HANDLE_VALUE", kSource, 106);
}

// ---- On the watchdog's thread -------------------------------------------------------------------------------------

// Says first that the end is waited for and looks then, as the handler's end does it the other way round: one of
// both sees the other.
bool LoopWatchdog::IsHandlerRunning() {
    mIsWatched = true;
    if (mHandlerRunning) return true;
    mIsWatched = false;
    return false;
}

bool LoopWatchdog::IsDebuggerAttached() {
    return Cmn_Assert::IsDebuggerPresent();
}

bool LoopWatchdog::Report() {
    // Has its memory before the thread stops, which may hold the lock of the heap.
    StackSnapshot snapshot;
    ThreadStop stop = {};
    char name[sizeof mCurrentHandler];
    uint32_t id = 0;
    bool hasThread = false;
    {
        const IPC_BenaphoreLocker locker(mLock);
        // From here on no handler begins or ends; the one that was watched may have done so before.
        if (!mHandlerRunning || mHandlerDone.Wait(0)) return false;
        hasThread = static_cast<bool>(mLoopThread);
        if (hasThread) stop = TakeSnapshot(mLoopThread.Get(), snapshot);
        std::memcpy(name, mCurrentHandler, sizeof name);
        id = mLoopThreadID;
    }
    if (!hasThread) {
        VerifyFailed("thread != INVALID_HANDLE_VALUE", kSource, 294);
    } else if (!stop.isSuspended) {
        VerifyFailed("::SuspendThread(thread) != (DWORD)-1", kSource, 305);
    } else if (!stop.isResumed) {
        VerifyFailed("::ResumeThread(thread) != (DWORD)-1", kSource, 314);
    }
    mIsAsking = Cmn_QuestionDialog::IsAsking(id);
    if (mIsAsking) return true;
    if (stop.isRead) {
        Cmn_Trace("ELW: Handler %s is currently blocking event loop. Event loop thread ID is %u.\n", name,
                  static_cast<unsigned>(id));
        TraceStack(snapshot.Walk(), true);
    } else {
        Cmn_Trace("ELW: Event loop thread is currently blocking event loop. No thread context is known.\n");
    }
    return true;
}

void LoopWatchdog::TraceUnblocked() {
    Cmn_Trace("ELW: event loop seems to be unblocked.\n");
}

}  // namespace NorvikLibInternal
