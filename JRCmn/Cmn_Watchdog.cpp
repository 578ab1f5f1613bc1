#include "JRCmn/Cmn_Watchdog.h"

#include "JRCmn/Cmn_Assert.h"

using std::chrono::steady_clock;

Cmn_Watchdog::Cmn_Watchdog(unsigned int timeoutMs, const std::function<void()>& inTimeoutAction)
    : mDeadline(steady_clock::now() + std::chrono::milliseconds(timeoutMs)) {
    // Before the thread: a failure hook may throw, and a thread that runs cannot be left behind.
    CMN_VERIFY_AT(24, inTimeoutAction);
    mThread = std::thread([this, action = inTimeoutAction] { ThreadFunc(action); });
}

Cmn_Watchdog::~Cmn_Watchdog() {
    {
        const std::lock_guard lock(mMutex);
        // What counts is when the object ends, not when the thread comes to look: past the deadline the action is due.
        mStop = steady_clock::now() < mDeadline;
        mCondition.notify_all();
    }
    // Called from the action, it would wait for itself.
    if (mThread.get_id() == std::this_thread::get_id()) {
        mThread.detach();
    } else {
        mThread.join();
    }
}

// `action` belongs to the thread, and once it runs no member is touched: it may destroy the watchdog.
void Cmn_Watchdog::ThreadFunc(const std::function<void()>& action) {
    {
        std::unique_lock lock(mMutex);
        if (mCondition.wait_until(lock, mDeadline, [this] { return mStop; })) return;
    }
    if (action) action();
}
