#include "JRCmn/Cmn_BonjourLocator.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_TimerService.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_BonjourLocatorImpl.h"

using namespace NorvikLibInternal;

// The user's functions. They outlive a locator that one of them deletes.
struct Cmn_BonjourLocator::Functions {
    const ServiceCallback add, txtChange, remove;
    std::function<void(const Cmn_BonjourError&)> error;
    bool isDisowned = false;  // the locator is gone
};

// What stands between the implementation and the functions, from a Start to its Stop.
class Cmn_BonjourLocator::Observer : public Cmn_BonjourLocatorObserver {
public:
    explicit Observer(std::shared_ptr<Functions> functions) : mFunctions(std::move(functions)) {}

    void End(bool notify) {
        mIsStopped = true;
        mIsBlocked = !notify;
    }

    void OnAdded(const Cmn_BonjourService& service) override {
        if (!IsBlocked()) {
            Call(mFunctions->add, service);
        } else {
            Cmn_Trace("NorvikLib.Bonjour: Add callback blocked. Added service %s.\n",
                      service.ToString().c_str());
        }
    }
    void OnTxtChanged(const Cmn_BonjourService& service) override {
        if (!IsBlocked()) {
            Call(mFunctions->txtChange, service);
        } else {
            Cmn_Trace("NorvikLib.Bonjour: TXT change callback blocked. TXT record changed for service %s.\n",
                      service.ToString().c_str());
        }
    }
    void OnRemoved(const Cmn_BonjourService& service) override {
        if (!IsBlocked()) {
            Call(mFunctions->remove, service);
        } else {
            Cmn_Trace("NorvikLib.Bonjour: Remove callback blocked. Removed service %s.\n",
                      service.ToString().c_str());
        }
    }
    void OnError(const Cmn_BonjourError& error) override {
        if (mIsStopped) return;
        const auto callback = mFunctions->error;  // which may be replaced meanwhile
        if (!callback) {
            CMN_VERIFY(false);
            return;
        }
        callback(error);
    }

private:
    bool IsBlocked() const { return mIsBlocked || mFunctions->isDisowned; }

    void Call(const ServiceCallback& callback, const Cmn_BonjourService& service) const {
        const auto functions = mFunctions;
        if (callback) callback(service);
    }

    const std::shared_ptr<Functions> mFunctions;
    bool mIsStopped = false;
    bool mIsBlocked = false;
};

Cmn_BonjourLocator::Cmn_BonjourLocator(const std::string& inServiceType, ENetworkUser inNetworkUser,
                                       ServiceCallback inAddCallback, ServiceCallback inTXTChangeCallback,
                                       ServiceCallback inRemoveCallback, IF_EventManager& inEventManager)
    : mServiceType(inServiceType),
      mNetworkUser(inNetworkUser),
      mEventManager(inEventManager),
      mFunctions(new Functions{
          std::move(inAddCallback), std::move(inTXTChangeCallback), std::move(inRemoveCallback), {}}) {}

Cmn_BonjourLocator::~Cmn_BonjourLocator() {
    if (IsStarted()) Stop(false);
    mFunctions->isDisowned = true;
}

void Cmn_BonjourLocator::Start() {
    if (!CMN_VERIFY(!IsStarted())) return;
    auto observer = std::make_unique<Observer>(mFunctions);
    mObserver = observer.get();
    mImpl = std::make_shared<Cmn_BonjourLocatorImpl>(mServiceType, mNetworkUser, std::move(observer),
                                                     mEventManager);
    if (mAutoReconfirmInterval != 0) mImpl->SetAutoReconfirmInterval(mAutoReconfirmInterval);
    const auto impl = mImpl;  // the error callback may delete this object
    impl->Start();
}

void Cmn_BonjourLocator::Stop(bool notify) {
    Cmn_Trace("NorvikLib.Bonjour: Stop(%d) called.\n", notify ? 1 : 0);
    if (!CMN_VERIFY_AT(97, IsStarted())) return;
    const auto impl = std::exchange(mImpl, nullptr);
    std::exchange(mObserver, nullptr)->End(notify);
    if (!impl->IsInCallback()) {
        impl->Finish();
        return;
    }
    // The implementation is on the stack, in the middle of telling something: it ends now and dies later. The event manager's
    // timers own the call, so that it also goes when the loop ends first.
    impl->Quiet();
    Cmn_TimerService::RegisterOneShotEvent(
        1, [impl] { impl->Finish(); }, "Cmn_BonjourLocatorImpl/DeleteLater");
}

void Cmn_BonjourLocator::SetErrorCallback(std::function<void(const Cmn_BonjourError&)> inCallback) {
    mFunctions->error = std::move(inCallback);
}

void Cmn_BonjourLocator::TraceServices() const {
    if (CMN_VERIFY(IsStarted())) mImpl->TraceServices();
}

void Cmn_BonjourLocator::ReconfirmService(const Cmn_BonjourService& inService) {
    if (!CMN_VERIFY(IsStarted())) return;
    const auto impl = mImpl;
    impl->Reconfirm(inService);
}

void Cmn_BonjourLocator::SetAutoReconfirmInterval(unsigned int inMilliseconds) {
    mAutoReconfirmInterval = inMilliseconds;
    if (mImpl) mImpl->SetAutoReconfirmInterval(inMilliseconds);
}

bool Cmn_BonjourLocator::IsLibraryAvailable() {
    return IsDnsSdLibraryLoaded();
}
