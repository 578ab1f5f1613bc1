#include "IPC/IPC_Timer.h"

#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/IF_EventManager.h"
#include "JRCmn/Internal/Cmn_TimerCalls.h"

using namespace NorvikLibInternal;

// Killed once, by whichever of the copies goes first: a second kill could reach a timer that has got the same ID since.
class IPC_Timer::PlatformTimer {
public:
    explicit PlatformTimer(unsigned timerID) : mTimerID(timerID) {}
    ~PlatformTimer() { Kill(); }
    PlatformTimer(const PlatformTimer&) = delete;
    PlatformTimer& operator=(const PlatformTimer&) = delete;

    void Kill() {
        if (mTimerID != 0) GetTimerCalls().kill(std::exchange(mTimerID, 0));
    }

private:
    unsigned mTimerID;
};

IPC_Timer::IPC_Timer(unsigned int periodMs, const Cmn_String& name, void (*callback)(void*), void* argument)
    : mCallback(callback), mName(name), mArgument(argument) {
    Install(periodMs);
}

IPC_Timer::IPC_Timer(unsigned int periodMs, IF_EventHandler* target) : mTarget(target) {
    Install(periodMs);
}

IPC_Timer::~IPC_Timer() {
    Uninstall();
}

IPC_Timer& IPC_Timer::operator=(const IPC_Timer& other) {
    if (this == &other) return *this;
    // The loop must not go on waiting for an event that this object no longer has.
    Uninstall();
    IPC_Event::operator=(other);
    mPlatformTimer = other.mPlatformTimer;
    mTarget = other.mTarget;
    mCallback = other.mCallback;
    mName = other.mName;
    mArgument = other.mArgument;
    return *this;
}

void IPC_Timer::Install(unsigned int periodMs) {
    const unsigned mTimerID = GetTimerCalls().start(periodMs, 0, GetHandle(), kPeriodicPulsesEvent);
    if (!CMN_VERIFY_AT(114, mTimerID != 0)) return;
    mPlatformTimer = std::make_shared<PlatformTimer>(mTimerID);
    IF_EventManager* const manager = gIF_EventManager;
    if (mCallback && !CMN_VERIFY(manager)) return mPlatformTimer.reset();
    if (manager && (mCallback || mTarget)) manager->RegisterHandler(this, "");
}

void IPC_Timer::Uninstall() {
    if (mPlatformTimer) mPlatformTimer->Kill();
    IF_EventManager* const manager = gIF_EventManager;
    if (manager && (mCallback || mTarget)) manager->UnregisterHandler(this);
}

void IPC_Timer::RespondToEvent() {
    IF_EventHandler* const target = mTarget;
    if (mCallback) mCallback(mArgument);
    if (target) target->RespondToEvent();
}

Cmn_String IPC_Timer::GetLastEventDescription() {
    if (mCallback) return mName;
    return mTarget ? mTarget->GetLastEventDescription() : Cmn_String();
}
