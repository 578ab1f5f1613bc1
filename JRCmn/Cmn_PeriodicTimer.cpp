#include "JRCmn/Cmn_PeriodicTimer.h"

#include <utility>

#include "JRCmn/Cmn_Assert.h"

Cmn_PeriodicTimer::Cmn_PeriodicTimer(std::function<void()> callable, const Cmn_String& description)
    : Cmn_Timer(
          0, [this] { Handler(); }, description, eKeepScheduled),
      mCallable(std::make_shared<std::function<void()>>(std::move(callable))) {}

void Cmn_PeriodicTimer::Start(unsigned long long ms) {
    if (!CMN_VERIFY_AT(29, !IsScheduled())) AbortIfRunning();
    SetTime(ms);
    Schedule();
}

void Cmn_PeriodicTimer::Stop() {
    if (!CMN_VERIFY_AT(38, IsScheduled())) return;
    AbortIfRunning();
}

void Cmn_PeriodicTimer::Handler() {
    Schedule();
    // The function may delete this object, but not itself while it runs.
    const auto callable = mCallable;
    if (*callable) (*callable)();
}
