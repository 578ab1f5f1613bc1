#include "JRCmn/Cmn_Timer.h"

#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_TimerService.h"

Cmn_Timer::Cmn_Timer(unsigned long long ms, std::function<void()> callable, const Cmn_String& description,
                     EAlreadyScheduledPolicy policy)
    : mMS(ms),
      mCallable(std::make_shared<std::function<void()>>(std::move(callable))),
      mDescription(description),
      mPolicy(policy),
      mID(Cmn_TimerService_IF::kInvalidID) {}

Cmn_Timer::~Cmn_Timer() {
    AbortIfRunning();
}

void Cmn_Timer::Schedule() {
    CMN_VERIFY_AT(39, mMS != 0);
    if (IsScheduled()) {
        if (mPolicy == eKeepScheduled) return;
        if (mPolicy != eReschedule) CMN_VERIFY_AT(53, false);
        AbortIfRunning();
    }
    mID = Cmn_TimerService::RegisterOneShotEvent(
        mMS, [this] { Handler(); }, mDescription);
}

void Cmn_Timer::Handler() {
    mID = Cmn_TimerService_IF::kInvalidID;
    // The function may delete this object, but not itself while it runs.
    const auto callable = mCallable;
    if (*callable) (*callable)();
}

bool Cmn_Timer::IsScheduled() const {
    return mID != Cmn_TimerService_IF::kInvalidID;
}

void Cmn_Timer::AbortIfRunning() {
    if (IsScheduled()) Cmn_TimerService::AbortEvent(std::exchange(mID, Cmn_TimerService_IF::kInvalidID));
}

void Cmn_Timer::SetTime(unsigned long long inMS) {
    CMN_VERIFY_AT(81, mID == Cmn_TimerService_IF::kInvalidID);
    if (CMN_VERIFY_AT(82, inMS != 0)) mMS = inMS;
}
