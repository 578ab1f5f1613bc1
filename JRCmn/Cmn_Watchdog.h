#pragma once

// Cmn_Watchdog: runs an action when something takes too long, that is, when the object still lives at the time-out.
//
//   {
//       const Cmn_Watchdog watchdog(5'000, [] { Cmn_Warning("The boards take more than 5 s to answer.\n"); });
//       AskAllBoards();
//   }
//
// Threads:   the action runs once, on the watchdog's own thread. The destructor may be called by any thread; while the
//            action runs it waits for it, so nothing that the action needs may be locked then.
// Ownership: one thread and a copy of the action. The action may destroy its own watchdog: the destructor then waits
//            for nothing, and the thread ends by itself after the action, which must not outlive what it uses.
// Errors:    an empty action is reported, and nothing runs at the time-out. An exception that leaves the action ends
//            the program. std::system_error when there is no thread to be had.
// Units:     milliseconds from the constructor's call on, on a clock that setting the time does not move

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "JRCmn/Cmn_Export.h"

class NORVIK_API Cmn_Watchdog {
public:
    // With a time-out of 0 the action always runs, at once.
    Cmn_Watchdog(unsigned int timeoutMs, const std::function<void()>& inTimeoutAction);

    // Before the time-out: the action never runs. After it: the action has run when this returns, even where the
    // watchdog's thread had not got round to it yet.
    ~Cmn_Watchdog();
    Cmn_Watchdog(const Cmn_Watchdog&) = delete;
    Cmn_Watchdog& operator=(const Cmn_Watchdog&) = delete;

private:
    void ThreadFunc(const std::function<void()>& action);

    std::condition_variable mCondition;
    std::mutex mMutex;
    bool mStop = false;
    const std::chrono::steady_clock::time_point mDeadline;
    std::thread mThread;  // uses all of the above
};
