#pragma once

// Cmn_EventManager: the event manager on the platform's wait for several objects, for at most 63 handlers.
//
//   Cmn_EventManager manager;                      // a loop on a thread of its own
//   gIF_EventManager = &manager;
//   manager.StartEventThread(eHigh, [] { Cmn_Trace("The loop begins.\n"); });
//   ...
//   manager.StopEventThread();
//   oneOfMyEvents.Set();                           // the thread looks at the stop flag when a handler's event fires
//   manager.WaitForEventThread(1'000);
//
// Either the program's thread calls the processing functions or the event thread runs; not both. When several handles
// are signalled, the handler that was registered first is called: one whose handle stays signalled starves those behind it.
// A handler that takes more than two seconds is named in the log.
//
// Threads:   no lock: registration, unregistration, Shutdown and processing belong to the thread that runs the loop (before
//            StartEventThread and after WaitForEventThread, to any one thread). StopEventThread and WaitForEventThread
//            may be called from any thread.
// Ownership: points to the handlers, copies their names, owns the timer service. The destructor waits for an event thread
//            that still runs: stop it first. It clears gIF_EventManager if that points here and notifies no handler.
// Errors:    reported and false; nothing throws but what handlers throw. A handle that is closed while it is registered makes
//            every wait fail, which the message functions report, until its handler is unregistered.
// Units:     milliseconds; 0xFFFFFFFF waits without a limit (ProcessPendingMessagesAndEvents: 49 days, as it waits twice half)

#include <atomic>
#include <memory>
#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/IF_EventManager.h"

class Cmn_TimerServiceWin32;

enum EIF_Event {
    kNoEvent = 0,  // the manager is shut down, or the wait failed
    kMessage = 1,
    kHandlerEvent = 2,  // one handler was called
    kTimeout = 3,
};

class NORVIK_API Cmn_EventManager : public IF_EventManager {
public:
    Cmn_EventManager();
    ~Cmn_EventManager() override;
    Cmn_EventManager(const Cmn_EventManager&) = delete;
    Cmn_EventManager& operator=(const Cmn_EventManager&) = delete;

    // False without a word after Shutdown; reported for a null handler, the 64th, and a handler without a handle. The same
    // handler may be registered more than once.
    bool RegisterHandler(IF_EventHandler* inEventHandler, const char* name) override;
    // The latest registration of this handler. False when there is none. Allowed inside any handler's call; a handler that
    // unregisters itself there is not touched after it has returned.
    bool UnregisterHandler(IF_EventHandler* inEventHandler) override;

    // This manager has none: reported, the callback is discarded.
    void EnableWatchdogThread(unsigned int inTimeoutSeconds,
                              std::function<bool(bool, void*)> callback) override;

    // For good: a loop of the second ProcessPendingMessagesAndEvents must end before this.
    void Shutdown() override;

    // Posts the quit message to the calling thread, whose processing function then returns false. It does not reach the
    // event thread.
    void Stop() override;

    // Waits up to half the time for one handler's event, then up to half the time for a message or an event, and
    // dispatches the messages that wait. False on the quit message; after Shutdown always true.
    bool ProcessPendingMessagesAndEvents(unsigned int timeoutMs) override;
    // Until a wait of 1 ms finds nothing. False on the quit message. After Shutdown it does not return: callers stop
    // calling it before.
    bool ProcessPendingMessagesAndEvents() override;

    // At most one handler's event, no messages. Whether there was one.
    bool ProcessOneEvent(unsigned int timeoutMs);

    // One step of the above: waits for a message of the kinds in `wakeMask` (QS_ALLINPUT is 0x1CFF) or an event, and calls
    // its handler.
    EIF_Event WaitForMessageOrEvent(unsigned int timeoutMs, unsigned int wakeMask);

    // Once in the manager's life; false, and the function is discarded, when it was started before.
    bool StartEventThread(Cmn_ThreadPriority priority, std::function<void()> onThreadStart) override;
    // Sets a flag and nothing else. The thread sees it when the next handler's event fires; to stop it promptly, signal one
    // of your events after this call. That handler is not called any more.
    void StopEventThread() override;
    bool WaitForEventThread(unsigned int timeoutMs) override;

    Cmn_TimerService_IF& GetTimerService() override;

    // For a handler that knows that it will take long: no line in the log for the call that is running. A handler that it
    // calls by processing events starts anew, so this comes after that.
    void AllowCurrentHandlerToBlock() { mAllowBlock = true; }

protected:
    // The event thread's body.
    virtual long EventLoop(void*);

private:
    // What the platform waits for at most; messages need the last place.
    static constexpr unsigned int kTableSize = 64;

    struct Registration {
        IF_EventHandler* handler = nullptr;
        Cmn_String name;
    };
    class CallScope;
    using HandlerSet = std::vector<IF_EventHandler*>;

    void CallHandler(unsigned int inHandlerIndex);
    unsigned long WaitForHandlers(unsigned int timeoutMs);
    void CheckLoopThread() const;

    Registration mHandlers[kTableSize];  // in the order of registration
    void* mEvents[kTableSize] = {};      // of the handler at the same place
    unsigned int mHandlersCount = 0;
    HandlerSet mHandlersInCall;    // several, when a handler processes events itself
    HandlerSet mJustUnregistered;  // while they were in a call
    bool mAllowBlock = false;
    std::atomic<bool> mStopThread{false};
    Cmn_TThread<Cmn_EventManager> mThread;
    std::atomic<bool> mShutDown{false};
    std::function<void()> mOnThreadStart;
    std::unique_ptr<Cmn_TimerServiceWin32> mTimerService;
};
