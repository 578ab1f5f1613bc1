#pragma once

// IF_EventManager: the loop that a program's logic runs on. It waits on the handles of all registered handlers and
// calls them one after the other on one thread, so what they share needs no lock.
//
//   IF_EventManager::CreateDefaultEventManager();               // a Cmn_EventManager in gIF_EventManager
//   Cmn_Timer poll(100, &PollFans, "Poll fans", Cmn_Timer::eKeepScheduled);
//   poll.Schedule();
//   while (gIF_EventManager->ProcessPendingMessagesAndEvents(20)) DrawMeters();   // until Stop()
//   delete gIF_EventManager;
//
// docs/threading.md tells which thread calls what and what a handler may do.
//
// Threads:   registration and processing belong to the manager's thread: the one that calls the processing functions, or the
//            event thread. Other threads hand work in with Cmn_ScheduleLater, or signal an event that a handler waits on.
//            gIF_EventManager may be read by any thread.
// Ownership: points to the handlers; owns its timer service. Who creates a manager deletes it, after its thread has ended.
// Errors:    false for what could not be done; misuse is reported
// Units:     milliseconds; 0xFFFFFFFF waits without a limit

#include <atomic>
#include <functional>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_Thread.h"

class Cmn_TimerService_IF;
class IF_EventHandler;

// The order of the virtual functions is fixed: programs built against an earlier header call by position.
class NORVIK_API IF_EventManager {
public:
    virtual ~IF_EventManager();

    // `name` stands in the log when the handler blocks the loop; it is copied.
    virtual bool RegisterHandler(IF_EventHandler* inEventHandler, const char* name) = 0;
    virtual bool UnregisterHandler(IF_EventHandler* inEventHandler) = 0;

    // A thread that reports a handler while it blocks the loop. Cmn_EventManager has none.
    virtual void EnableWatchdogThread(unsigned int inTimeoutSeconds,
                                      std::function<bool(bool, void*)> callback) = 0;

    // Unregisters all handlers; from then on the manager does nothing.
    virtual void Shutdown() = 0;

    // Ends the processing of messages: see the manager's own header for what it reaches.
    virtual void Stop() = 0;

#if defined(_MSC_VER)
    // This compiler places functions of one name in the reverse of their order here.
    virtual bool ProcessPendingMessagesAndEvents() = 0;
    virtual bool ProcessPendingMessagesAndEvents(unsigned int timeoutMs) = 0;
#else
    // For a program whose own thread runs the loop: waits up to the time for events and messages. False when the program
    // is to end.
    virtual bool ProcessPendingMessagesAndEvents(unsigned int timeoutMs) = 0;
    // Processes all that is ready.
    virtual bool ProcessPendingMessagesAndEvents() = 0;
#endif

    // A thread of the manager's own that runs the loop. `onThreadStart` runs on it first.
    virtual bool StartEventThread(Cmn_ThreadPriority priority, std::function<void()> onThreadStart) = 0;
    virtual void StopEventThread() = 0;
    // False when it still runs after the time.
    virtual bool WaitForEventThread(unsigned int timeoutMs) = 0;

    virtual Cmn_TimerService_IF& GetTimerService() = 0;

    // Makes a Cmn_EventManager the process's default. False, reported, when there is a default already. The caller owns it.
    static bool CreateDefaultEventManager();
};

// A pointer that any thread may read while another one sets it. Used like a plain one.
template <typename T>
class Cmn_AtomicPointer {
public:
    constexpr Cmn_AtomicPointer() = default;
    Cmn_AtomicPointer(const Cmn_AtomicPointer&) = delete;
    Cmn_AtomicPointer& operator=(const Cmn_AtomicPointer&) = delete;

    Cmn_AtomicPointer& operator=(T* pointer) {
        mPointer.store(pointer, std::memory_order_release);
        return *this;
    }
    T* Get() const { return mPointer.load(std::memory_order_acquire); }
    operator T*() const { return Get(); }
    T* operator->() const { return Get(); }

    // Null, if it is `expected` now.
    void ClearIf(T* expected) { mPointer.compare_exchange_strong(expected, nullptr); }

private:
    std::atomic<T*> mPointer{nullptr};
};

// The process's default manager: every handler and event-driven class of the library registers with it. Null at first.
extern NORVIK_API Cmn_AtomicPointer<IF_EventManager> gIF_EventManager;
