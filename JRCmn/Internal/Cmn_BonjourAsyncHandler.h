#pragma once

// Cmn_BonjourAsyncHandler: a running operation of service discovery: its socket is an event that the event manager waits on,
// its results arrive on the manager's thread, and after an error it is started again.
//
//   class Browse : public Cmn_BonjourAsyncHandler {
//       Cmn_BonjourError StartOperation(DNSServiceRef& ref) override { return DNSServiceBrowse(&ref, ..., this); }
//       void OnError(const Cmn_BonjourError& error) override { ... }
//   };
//
// An operation is idle, or registered (it waits for its socket), or it waits for its retry timer. It is retried after every
// error of a running operation, and after a start that failed for a reason that may pass: a daemon that is absent, but not a
// library that is missing or an argument that is wrong.
//
// Threads:   the event manager's
// Ownership: the operation, its event and its timers. Results and OnError may stop or delete the object: the member that
//            called them touches nothing of it afterwards. The event manager must outlive it.
// Errors:    traced and passed to OnError, as the last step of whatever noticed them. What a callback throws is traced.
// Units:     milliseconds

#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Cmn_Timer.h"
#include "JRCmn/IF_EventHandler.h"
#include "JRCmn/IF_EventManager.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"

namespace NorvikLibInternal {

class Cmn_BonjourAsyncHandler : public IF_EventHandler {
public:
    Cmn_BonjourAsyncHandler(const std::string& id, IF_EventManager& eventManager);
    ~Cmn_BonjourAsyncHandler() override;
    Cmn_BonjourAsyncHandler(const Cmn_BonjourAsyncHandler&) = delete;
    Cmn_BonjourAsyncHandler& operator=(const Cmn_BonjourAsyncHandler&) = delete;

    // The error has been passed to OnError, too.
    Cmn_BonjourError Start();
    // Idle afterwards.
    void Stop();
    bool IsRegistered() const { return mRegistered; }
    bool IsIdle() const { return !mRegistered && !mRetryTimer.IsScheduled(); }

    // Looks whether the daemon has closed the connection, which no event tells.
    void Probe();
    // From now on by itself.
    void ProbeRegularly();
    void StopProbing() { mProbeTimer.reset(); }

    void* GetEventToWaitOn() override { return mRecvReady; }
    void RespondToEvent() override;

    // Whether the operation was started by the retry timer; then false until that happens again.
    bool TakeRetried() { return std::exchange(mIsRetried, false); }

    // How often it is probed, and how long an error rests.
    static constexpr unsigned kRetryMilliseconds = 2'000;

protected:
    // Makes the DNS-SD call, which fills `ref`.
    virtual Cmn_BonjourError StartOperation(DNSServiceRef& ref) = 0;
    // May delete the object.
    virtual void OnError(const Cmn_BonjourError& error) = 0;
    virtual void OnProbeTimer() { Probe(); }

    // For results that are errors: the error path is taken when the library has returned.
    void SetResultError(DNSServiceErrorType error) { mResultError = error; }
    // Where the start is to work. When that is an adapter, a refusal of its parameters may pass.
    void SetTiedToInterface(unsigned int interfaceIndex) {
        mIsTiedToInterface = interfaceIndex != kDNSServiceInterfaceIndexAny &&
                             interfaceIndex != kDNSServiceInterfaceIndexLocalOnly;
    }
    // For calls that use the operation's socket: ends their non-blocking state for the time.
    template <typename Call>
    DNSServiceErrorType CallBlocking(Call call) {
        if (mCall) return call();
        Unselect();
        const DNSServiceErrorType error = call();
        return Select() ? error : kDNSServiceErr_Unknown;
    }
    DNSServiceRef GetRef() const { return mRef; }
    IF_EventManager& GetEventManager() const { return mEventManager; }
    const std::string& GetID() const { return mID; }

    // Everything that is called by the library or by a timer runs in here. An exception must not go through the frames of
    // a library that was built without them, and ends no loop.
    template <typename Function>
    static void Guarded(Function function) {
        try {
            function();
        } catch (const std::exception& exception) {
            TraceException(&exception);
        } catch (...) {
            TraceException(nullptr);
        }
    }

private:
    struct Call;

    bool Start(const std::string& name);
    bool Select();
    void Unselect();
    void Respond();
    void ResetEvent();
    DNSServiceErrorType ProcessResult(Call& call);
    void HandleError(const Cmn_BonjourError& error);
    static void TraceException(const std::exception* exception);

    const std::string mID;
    Cmn_Timer mRetryTimer;
    bool mIsTiedToInterface = false;
    DNSServiceRef mRef = nullptr;
    bool mIsAllocated = false;
    void* mRecvReady = nullptr;  // of the platform's sockets
    bool mRegistered = false;
    IF_EventManager& mEventManager;

    Call* mCall = nullptr;  // of the library's ProcessResult that is running
    DNSServiceErrorType mResultError = kDNSServiceErr_NoError;
    bool mIsRetried = false;
    std::unique_ptr<Cmn_PeriodicTimer> mProbeTimer;
};

}  // namespace NorvikLibInternal
