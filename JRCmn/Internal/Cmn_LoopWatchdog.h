#pragma once

// The watchdog of an event loop: a thread that reports a handler while it blocks the loop.
//
//   { const LoopWatchdog::CallScope call(mWatchdog, name); handler->RespondToEvent(); }
//
// Threads:   CallScope: the loop's. Enable and End: one thread at a time. GetLoopThreadID: any. The callback runs on the
//            watchdog's own thread.
// Ownership: owns its thread, which the destructor ends, and a handle of the loop's thread
// Errors:    reported as checks of the asio event manager, whose watchdog it is
// Units:     the limit is in seconds

#include <atomic>
#include <functional>

#include "IPC/IPC_Benaphore.h"
#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_LoopWatch.h"

namespace NorvikLibInternal {

class LoopWatchdog final : private LoopWatch {
public:
    using Callback = std::function<bool(bool isAsking, void* handlerDone)>;
    class CallScope;

    LoopWatchdog() = default;
    ~LoopWatchdog();
    LoopWatchdog(const LoopWatchdog&) = delete;
    LoopWatchdog& operator=(const LoopWatchdog&) = delete;

    // Once. See JR_AsioEventManager::EnableWatchdogThread.
    void Enable(uint32_t seconds, Callback callback);
    bool IsEnabled() const { return mEnabled; }
    void End();
    // Waits for its thread and lets the callback go. Only at the end.
    void Join();

    // Of the thread that made the latest call; 0 before.
    uint32_t GetLoopThreadID() const { return mLoopThreadID; }

private:
    bool IsOver() override { return mIsOver; }
    bool IsHandlerRunning() override;
    bool WaitForDone(uint32_t milliseconds) override { return mHandlerDone.Wait(milliseconds); }
    bool IsDebuggerAttached() override;
    bool Report() override;
    bool IsBlocked() override { return !mCallback || mCallback(mIsAsking, mHandlerDone.GetHandle()); }
    void TraceUnblocked() override;

    long RunThread(void*);
    void NoteLoopThread();
    void Show(const CallScope* call);

    Cmn_TThread<LoopWatchdog> mThread{"Event Manager Watchdog Thread", eNormal, 0};
    std::atomic<bool> mEnabled{false};
    std::atomic<bool> mIsOver{false};
    Callback mCallback;
    uint32_t mSeconds = 0;
    bool mIsAsking = false;  // at the time of the report; the watchdog's own
    const IPC_Event mHandlerDone{IPC_Event::eAutoReset};
    // Whether the watchdog looks at a handler, and so waits for the event: setting one costs a call of the system.
    std::atomic<bool> mIsWatched{false};
    std::atomic<uint32_t> mHandlerRunning{0};
    std::atomic<uint32_t> mLoopThreadID{0};

    // Guards what follows. The watchdog holds it while the loop's thread is suspended, so that thread never does.
    IPC_Benaphore mLock;
    KernelHandle mLoopThread;
    char mCurrentHandler[500] = "";
    const CallScope* mCurrentCall = nullptr;
};

// The call of one handler: right also when the handler throws, or processes events itself, which calls another one
// inside it. The name must live as long.
class LoopWatchdog::CallScope {
public:
    CallScope(LoopWatchdog& watchdog, const Cmn_String& name);
    ~CallScope();
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

private:
    friend LoopWatchdog;

    LoopWatchdog& mWatchdog;
    const Cmn_String& mName;
    const CallScope* mOuter = nullptr;
};

}  // namespace NorvikLibInternal
