#include "JRCmn/Cmn_EventManager.h"

#include <algorithm>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_TimerServiceWin32.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/IF_EventHandler.h"
#include "JRCmn/Internal/Cmn_MessageQueue.h"

using namespace NorvikLibInternal;

namespace {

// A handler may take this long before it counts as blocking the loop.
constexpr uint64_t kBlockingMilliseconds = 2000;

// A wait that fails, or that has nothing to wait for, returns at once. Before the next one the processor is left to
// others, or the loop would take all of it.
void RestAfterFailedWait() {
    ::Sleep(1);
}

bool Contains(const std::vector<IF_EventHandler*>& handlers, const IF_EventHandler* handler) {
    return std::find(handlers.begin(), handlers.end(), handler) != handlers.end();
}

}  // namespace

bool IF_EventManager::CreateDefaultEventManager() {
    // NOLINTNEXTLINE(modernize-use-nullptr): the text is fixed
    if (!CMN_VERIFY_AT(30, gIF_EventManager == 0)) return false;
    gIF_EventManager = new Cmn_EventManager;
    return true;
}

// The call of one handler, for the bookkeeping: right also when the handler throws.
class Cmn_EventManager::CallScope {
public:
    CallScope(Cmn_EventManager& manager, IF_EventHandler* handler)
        : mManager(manager), mHandler(handler), mIsOutermost(!Contains(manager.mHandlersInCall, handler)) {
        if (mIsOutermost) mManager.mHandlersInCall.push_back(handler);
    }
    ~CallScope() {
        Leave();
        if (mManager.mHandlersInCall.empty()) mManager.mJustUnregistered.clear();
    }
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

    // The handler has returned.
    void Leave() {
        if (mIsOutermost) std::erase(mManager.mHandlersInCall, mHandler);
        mIsOutermost = false;
    }

private:
    Cmn_EventManager& mManager;
    IF_EventHandler* const mHandler;
    bool mIsOutermost;  // of this handler's calls
};

Cmn_EventManager::Cmn_EventManager()
    : mThread("Event Manager", eNormal, 0), mTimerService(std::make_unique<Cmn_TimerServiceWin32>(*this)) {
    static_assert(kTableSize == MAXIMUM_WAIT_OBJECTS);
}

Cmn_EventManager::~Cmn_EventManager() {
    // What the event thread still runs uses all of this, and unregisters by the global pointer.
    mThread.ThreadEnd();
    gIF_EventManager.ClearIf(this);
    mTimerService.reset();
}

bool Cmn_EventManager::RegisterHandler(IF_EventHandler* inEventHandler, const char* name) {
    if (mShutDown) return false;
    CheckLoopThread();
    if (!CMN_VERIFY_AT(63, inEventHandler && mHandlersCount < MAXIMUM_WAIT_OBJECTS - 1)) return false;
    // NOLINTNEXTLINE(modernize-use-nullptr): the text is fixed
    if (!CMN_VERIFY_AT(65, (mEvents[mHandlersCount] = inEventHandler->GetEventToWaitOn()) != 0)) return false;
    mHandlers[mHandlersCount] = {inEventHandler, name ? name : ""};
    ++mHandlersCount;
    return true;
}

bool Cmn_EventManager::UnregisterHandler(IF_EventHandler* inEventHandler) {
    if (mShutDown) return false;
    CheckLoopThread();
    unsigned int index = mHandlersCount;
    while (index > 0 && mHandlers[index - 1].handler != inEventHandler)
        --index;
    if (index == 0) return false;
    if (Contains(mHandlersInCall, inEventHandler) && !Contains(mJustUnregistered, inEventHandler)) {
        mJustUnregistered.push_back(inEventHandler);
    }
    std::move(mHandlers + index, mHandlers + mHandlersCount, mHandlers + index - 1);
    std::move(mEvents + index, mEvents + mHandlersCount, mEvents + index - 1);
    --mHandlersCount;
    mHandlers[mHandlersCount] = {};
    return true;
}

// The table has no lock, so a change while the loop thread runs must come from that thread.
void Cmn_EventManager::CheckLoopThread() const {
    CMN_CHECK(!mThread.IsRunning() || mThread.GetID() == Cmn_Thread::GetCurrentThreadID());
}

void Cmn_EventManager::EnableWatchdogThread(unsigned int, std::function<bool(bool, void*)>) {
    CMN_VERIFY_AT(55, !"Not implemented");
}

void Cmn_EventManager::Shutdown() {
    while (mHandlersCount > 0) {
        IF_EventManager& self = *this;
        self.UnregisterHandler(mHandlers[0].handler);
    }
    mShutDown = true;
}

void Cmn_EventManager::Stop() {
    PostQuit();
}

// The platform's result; a failed wait has rested.
unsigned long Cmn_EventManager::WaitForHandlers(unsigned int timeoutMs) {
    const DWORD result = mHandlersCount == 0
                             ? WAIT_FAILED
                             : ::WaitForMultipleObjects(mHandlersCount, mEvents, FALSE, timeoutMs);
    if (result == WAIT_FAILED && timeoutMs != 0) RestAfterFailedWait();
    // The wait has made this thread the owner of an abandoned mutex. Given back, it is simply signalled for the next wait,
    // and its handler has one ownership to release, as ever.
    const DWORD abandoned = result - WAIT_ABANDONED_0;
    if (abandoned < mHandlersCount) ::ReleaseMutex(mEvents[abandoned]);
    return result;
}

bool Cmn_EventManager::ProcessPendingMessagesAndEvents(unsigned int timeoutMs) {
    if (!mShutDown && mHandlersCount > 0) {
        const DWORD fired = WaitForHandlers(timeoutMs / 2);
        if (fired < mHandlersCount) CallHandler(fired);
    }
    if (WaitForMessageOrEvent(timeoutMs / 2, QS_ALLINPUT) != kMessage) return true;
    return PumpAllMessages();
}

bool Cmn_EventManager::ProcessPendingMessagesAndEvents() {
    for (;;) {
        switch (WaitForMessageOrEvent(1, QS_ALLINPUT)) {
            case kMessage:
                if (!PumpAllMessages()) return false;
                break;
            case kTimeout:
                return true;
            case kNoEvent:  // also after Shutdown: that it then does not return is meant, callers stop calling it
            case kHandlerEvent:
                break;
        }
    }
}

bool Cmn_EventManager::ProcessOneEvent(unsigned int timeoutMs) {
    if (mShutDown) return false;
    const DWORD fired = WaitForHandlers(timeoutMs);
    if (fired >= mHandlersCount) return false;
    CallHandler(fired);
    return true;
}

EIF_Event Cmn_EventManager::WaitForMessageOrEvent(unsigned int timeoutMs, unsigned int wakeMask) {
    if (mShutDown) {
        if (timeoutMs != 0) RestAfterFailedWait();
        return kNoEvent;
    }
    const DWORD result = WaitForHandlesOrMessage(mHandlersCount, mEvents, timeoutMs, wakeMask);
    const DWORD count = mHandlersCount;
    if (result == count) return kMessage;
    if (result == WAIT_TIMEOUT) return kTimeout;
    const bool isAbandoned = result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count;
    if (result < count || isAbandoned) {
        CallHandler(isAbandoned ? result - WAIT_ABANDONED_0 : result);
        return kHandlerEvent;
    }
    CMN_VERIFY_AT(124, false);
    RestAfterFailedWait();
    return kNoEvent;
}

bool Cmn_EventManager::StartEventThread(Cmn_ThreadPriority priority, std::function<void()> onThreadStart) {
    if (mThread.GetHandle()) return false;
    mThread.SetPriority(priority);
    mStopThread = false;
    mOnThreadStart = std::move(onThreadStart);
    return mThread.Launch(this, &Cmn_EventManager::EventLoop, nullptr) == 0;
}

long Cmn_EventManager::EventLoop(void*) {
    if (mOnThreadStart) mOnThreadStart();
    while (!mStopThread) {
        const DWORD fired = WaitForHandlers(INFINITE);
        if (mStopThread) break;
        // Other results are not worth a word here: an abandoned mutex comes again, and a handle that was closed fails every
        // wait.
        if (fired < mHandlersCount) CallHandler(fired);
    }
    return 0;
}

void Cmn_EventManager::StopEventThread() {
    mStopThread = true;
}

bool Cmn_EventManager::WaitForEventThread(unsigned int timeoutMs) {
    return mThread.WaitForEnd(timeoutMs);
}

Cmn_TimerService_IF& Cmn_EventManager::GetTimerService() {
    return *mTimerService;
}

void Cmn_EventManager::CallHandler(unsigned int inHandlerIndex) {
    if (!CMN_VERIFY_AT(246, inHandlerIndex < mHandlersCount)) return;
    const Cmn_String name = mHandlers[inHandlerIndex].name;
    IF_EventHandler* const handler = mHandlers[inHandlerIndex].handler;
    mAllowBlock = false;

    CallScope scope(*this, handler);
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    handler->RespondToEvent();
    const uint64_t elapsed = Cmn_Time::GetInMilliseconds() - start;
    scope.Leave();

    const bool isGone = Contains(mJustUnregistered, handler);
    Cmn_String description = isGone ? name + " (just unregistered)" : handler->GetLastEventDescription();
    if (description.IsEmpty()) description = name;
    if (!mAllowBlock && elapsed > kBlockingMilliseconds) {
        Cmn_Trace("Event handler %s has blocked event loop for %I64u milliseconds.\n", description.c_str(),
                  elapsed);
    }
}
