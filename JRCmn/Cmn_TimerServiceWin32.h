#pragma once

// Cmn_TimerServiceWin32: the timers of one event manager: any number of them on a single platform timer. The manager
// makes and owns it; programs reach it through Cmn_TimerService, Cmn_Timer and Cmn_PeriodicTimer.
//
//   Cmn_EventManager manager;
//   manager.GetTimerService().RegisterOneShotEvent(500, &Retry, "Retry");
//
// A pass runs all that is due, in the order of the due times and, among equals, of registration. What a function
// registers waits for the next pass, also with a delay of 0.
//
// Threads:   the manager's thread; the functions run there. The platform timer's own thread only sets an event.
// Ownership: points to the manager; owns the functions. The destructor discards those that wait.
// Errors:    misuse is reported, with ID 0 or false. A platform timer that cannot be started is traced and reported; the
//            next registration or abort tries again. When a function throws, the ones behind it stay due
//            and run in the next pass.
// Units:     milliseconds. A delay counts from the millisecond clock, so it may end up to 1 ms early by a finer one. The
//            largest delay is 292 million years.

#include <memory>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_TimerService.h"
#include "JRCmn/IF_EventHandler.h"

class IF_EventManager;
namespace NorvikLibInternal {
class TimerQueue;
}

class NORVIK_API Cmn_TimerServiceWin32 : public Cmn_TimerService_IF, private IF_EventHandler {
public:
    // Registers nothing with the manager until the first event.
    explicit Cmn_TimerServiceWin32(IF_EventManager& manager);
    ~Cmn_TimerServiceWin32() override;
    Cmn_TimerServiceWin32(const Cmn_TimerServiceWin32&) = delete;
    Cmn_TimerServiceWin32& operator=(const Cmn_TimerServiceWin32&) = delete;

    int RegisterOneShotEvent(unsigned long long delayMs, std::function<void()> callable,
                             const Cmn_String& description) override;
    bool AbortEvent(const int& id) override;

    // All that wait go, uncalled. For a manager that ends.
    void DiscardAll();

private:
    void* GetEventToWaitOn() override { return mWakeEvent.GetHandle(); }
    void RespondToEvent() override;
    Cmn_String GetLastEventDescription() override;

    void RunExpiredTimers();
    void ScheduleWinTimer();
    void SetWinTimer(unsigned long long inPeriod);
    void KillWinTimer();

    IF_EventManager& mManager;
    bool mRegistered = false;
    const std::unique_ptr<NorvikLibInternal::TimerQueue> mQueue;
    unsigned int mTimerID = 0;  // of the platform timer; 0 when none is armed
    bool mStartFailed = false;  // of the platform timer, though there are events
    IPC_Event mWakeEvent;
    Cmn_String mLastDescription;
};
