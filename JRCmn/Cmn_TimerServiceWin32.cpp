#include "JRCmn/Cmn_TimerServiceWin32.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/IF_EventManager.h"
#include "JRCmn/Internal/Cmn_TimerCalls.h"
#include "JRCmn/Internal/Cmn_TimerQueue.h"

using namespace NorvikLibInternal;
using UINT = unsigned int;

namespace {

// An event further away is approached in steps of a minute.
constexpr int64_t kLongestDelay = 60'000;
// From here on the platform timer may be this coarse, which spares the machine wake-ups.
constexpr unsigned kCoarseFrom = 50;

}  // namespace

Cmn_TimerServiceWin32::Cmn_TimerServiceWin32(IF_EventManager& manager)
    : mManager(manager), mQueue(std::make_unique<TimerQueue>()) {}

Cmn_TimerServiceWin32::~Cmn_TimerServiceWin32() {
    KillWinTimer();
    mWakeEvent.Reset();
    if (mRegistered) mManager.UnregisterHandler(this);
}

int Cmn_TimerServiceWin32::RegisterOneShotEvent(unsigned long long delayMs, std::function<void()> inCallable,
                                                const Cmn_String& description) {
    if (!CMN_VERIFY_AT(51, inCallable)) return kInvalidID;
    if (!mRegistered) mRegistered = mManager.RegisterHandler(this, "");
    const int id = mQueue->Add(Cmn_Time::GetInMilliseconds(), delayMs, std::move(inCallable), description);
    if (mQueue->IsEarliest(id) || mStartFailed) ScheduleWinTimer();
    return id;
}

bool Cmn_TimerServiceWin32::AbortEvent(const int& inTimerId) {
    if (!CMN_VERIFY_AT(77, inTimerId != kInvalidID)) return false;
    const bool wasEarliest = mQueue->IsEarliest(inTimerId);
    const bool wasThere = mQueue->Remove(inTimerId);
    if (wasEarliest || mStartFailed) ScheduleWinTimer();
    return wasThere;
}

void Cmn_TimerServiceWin32::DiscardAll() {
    KillWinTimer();
    mQueue->TakeExpired(UINT64_MAX);
    for (TimedEvent gone; mQueue->PopExpired(gone);)
        gone = {};
}

void Cmn_TimerServiceWin32::RespondToEvent() {
    // The timer has fired, as a rule. A wake-up that was under way when its timer was killed must not leave the one
    // that was armed since to run beside the next.
    KillWinTimer();
    try {
        RunExpiredTimers();
    } catch (...) {
        mQueue->PutBackExpired();
        ScheduleWinTimer();
        throw;
    }
    ScheduleWinTimer();
}

Cmn_String Cmn_TimerServiceWin32::GetLastEventDescription() {
    return mLastDescription.IsEmpty() ? Cmn_String("Cmn_TimerServiceWin32/no action") : mLastDescription;
}

void Cmn_TimerServiceWin32::RunExpiredTimers() {
    mQueue->TakeExpired(Cmn_Time::GetInMilliseconds());
    for (;;) {
        TimedEvent event;
        if (!mQueue->PopExpired(event)) break;
        event.callable();
        mLastDescription = event.description;
    }
}

void Cmn_TimerServiceWin32::ScheduleWinTimer() {
    KillWinTimer();
    mStartFailed = false;
    mWakeEvent.Reset();
    const auto due = mQueue->EarliestDue();
    if (!due) return;
    // In the middle of a pass whose function may process events itself: those that are due do not wait for this one.
    const bool isLate = mQueue->HasExpired();
    const auto delay = isLate ? 1 : static_cast<int64_t>(*due - Cmn_Time::GetInMilliseconds());
    SetWinTimer(static_cast<uint64_t>(std::clamp<int64_t>(delay, 1, kLongestDelay)));
}

void Cmn_TimerServiceWin32::SetWinTimer(unsigned long long inPeriod) {
    if (!CMN_VERIFY_AT(136, inPeriod == (UINT)inPeriod)) inPeriod = 0xFFFFFFFF;
    const auto period = static_cast<UINT>(inPeriod);
    const UINT resolution = period < kCoarseFrom ? 0 : kCoarseFrom;
    mTimerID = GetTimerCalls().start(period, resolution, mWakeEvent.GetHandle(), kOneShotSetsEvent);
    mStartFailed = mTimerID == 0;
    if (mStartFailed) {
        Cmn_Trace("Cmn_TimerServiceWin32: timeSetEvent(%d, %d) returned 0.\n", static_cast<int>(period),
                  static_cast<int>(resolution));
    }
    CMN_VERIFY_AT(152, mTimerID != 0);
}

void Cmn_TimerServiceWin32::KillWinTimer() {
    if (mTimerID != 0) GetTimerCalls().kill(std::exchange(mTimerID, 0));
}
