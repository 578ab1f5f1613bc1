#pragma once

// Cmn_Timer: calls a function once, some time after each Schedule.
//
//   Cmn_Timer mRetry(2'000, [this] { Connect(); }, "Connect again", Cmn_Timer::eReschedule);
//   ...
//   mRetry.Schedule();          // the function may schedule the timer again
//
// Threads:   the thread of the default event manager, where the function runs
// Ownership: owns the function, which may delete the timer. The destructor aborts. A timer ends before the manager that it
//            was scheduled on: what it knows is the number of an event there.
// Errors:    misuse is reported and goes on as each function says
// Units:     milliseconds

#include <functional>
#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API Cmn_Timer {
public:
    // What Schedule does with a timer that is scheduled.
    enum EAlreadyScheduledPolicy : int {
        eKeepScheduled = 0,
        eReschedule = 1,
    };

    Cmn_Timer(unsigned long long ms, std::function<void()> callable, const Cmn_String& description,
              EAlreadyScheduledPolicy policy);
    ~Cmn_Timer();
    Cmn_Timer(const Cmn_Timer&) = delete;
    Cmn_Timer& operator=(const Cmn_Timer&) = delete;

    // A time of 0 is reported, and the function is called in the loop's next pass.
    void Schedule();
    bool IsScheduled() const;
    void AbortIfRunning();
    // For the next Schedule. Reported while the timer is scheduled. 0 is reported and changes nothing.
    void SetTime(unsigned long long inMS);

private:
    void Handler();

    unsigned long long mMS;
    const std::shared_ptr<std::function<void()>> mCallable;
    const Cmn_String mDescription;
    const EAlreadyScheduledPolicy mPolicy;
    int mID;  // of the service's event
};
