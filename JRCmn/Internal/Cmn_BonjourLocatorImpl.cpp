#include "JRCmn/Internal/Cmn_BonjourLocatorImpl.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <mutex>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_BonjourRecordReconfirmer.h"

namespace NorvikLibInternal {
namespace {

// How many locators each event manager drives.
class Census {
public:
    void Change(const IF_EventManager& manager, int by) {
        const std::lock_guard lock(mLock);
        if ((mCounts[&manager] += by) == 0) mCounts.erase(&manager);
    }
    std::size_t Count(const IF_EventManager& manager) {
        const std::lock_guard lock(mLock);
        return static_cast<std::size_t>(mCounts[&manager]);
    }

private:
    std::mutex mLock;
    std::map<const IF_EventManager*, int> mCounts;
};

Census& GetCensus() {
    static Census& census = *new Census;
    return census;
}

}  // namespace

// Which adapter serves a user, as last seen. It is looked at, so nobody runs the service to which changes are told.
class Cmn_BonjourLocatorImpl::Adapter {
public:
    explicit Adapter(ENetworkUser user) : mConfig(mService, user, {}) {}

    // That of before while there is none: who is asked to search one network does not go over to others.
    unsigned int GetInterfaceIndex(unsigned int before) const {
        if (!mConfig.GetIPv4Address().IsValid()) return before;
        // "This machine only": the daemon does not search on the loopback adapter itself.
        const bool isLoopback = mConfig.GetIPv4Address() == Cmn_IPv4Address(0x0100007F);
        return isLoopback ? kDNSServiceInterfaceIndexLocalOnly : mConfig.GetInterfaceIndex();
    }

private:
    boost::asio::io_context mService;
    Cmn_NetworkAdapterConfig mConfig;
};

Cmn_BonjourLocatorImpl::Cmn_BonjourLocatorImpl(const std::string& serviceType, ENetworkUser networkUser,
                                               std::unique_ptr<Cmn_BonjourLocatorObserver> observer,
                                               IF_EventManager& eventManager)
    : Cmn_BonjourAsyncHandler("Cmn_BonjourLocator for " + serviceType, eventManager),
      mServiceType(serviceType),
      mAdapter(networkUser != ENetworkUser::eAny ? std::make_unique<Adapter>(networkUser) : nullptr),
      mObserver(std::move(observer)),
      mReconfirmTimer([this] { Guarded([this] { ReconfirmAll(); }); },
                      ("Bonjour locator for " + serviceType + " reconfirm timer").c_str()) {
    GetCensus().Change(eventManager, 1);
    ProbeRegularly();
}

Cmn_BonjourLocatorImpl::~Cmn_BonjourLocatorImpl() {
    GetCensus().Change(GetEventManager(), -1);
}

void Cmn_BonjourLocatorImpl::Quiet() {
    mIsQuiet = true;
    mReconfirmTimer.AbortIfRunning();
    StopProbing();
    Stop();
    mWaiting.clear();
    mResting.clear();
    mRunning.clear();
    for (auto& [key, details] : mInstances)
        details.resolver.reset();
}

void Cmn_BonjourLocatorImpl::Finish() {
    const auto self = shared_from_this();
    Quiet();
    DropAll();
}

Cmn_BonjourError Cmn_BonjourLocatorImpl::StartOperation(DNSServiceRef& ref) {
    mInterfaceIndex = FindInterface();
    SetTiedToInterface(mInterfaceIndex);
    const Cmn_BonjourError error = DNSServiceBrowse(&ref, 0, mInterfaceIndex, mServiceType.c_str(), "local.",
                                                    &Cmn_BonjourLocatorImpl::OnBrowse, this);
    if (error.IsOK()) Cmn_Trace("Bonjour: Started discovery for %s.\n", mServiceType.c_str());
    return error;
}

unsigned int Cmn_BonjourLocatorImpl::FindInterface() const {
    return mAdapter ? mAdapter->GetInterfaceIndex(mInterfaceIndex) : kDNSServiceInterfaceIndexAny;
}

// On another adapter than before.
void Cmn_BonjourLocatorImpl::SearchAnew() {
    Cmn_Trace("Bonjour: Another adapter serves %s, searching anew.\n", GetID().c_str());
    Stop();
    DropAll();
    if (!mIsQuiet) Start();
}

// What was found is gone with the browse: the next one finds it again.
void Cmn_BonjourLocatorImpl::OnError(const Cmn_BonjourError& error) {
    const auto self = shared_from_this();
    DropAll();
    Guarded([&] { mObserver->OnError(error); });
}

void Cmn_BonjourLocatorImpl::OnResolverError(const Cmn_BonjourError& error) {
    const auto self = shared_from_this();
    Guarded([&] { mObserver->OnError(error); });
}

void Cmn_BonjourLocatorImpl::OnBrowse(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                                      DNSServiceErrorType error, const char* name, const char* type,
                                      const char* domain, void* context) {
    Guarded([&] {
        const auto self = static_cast<Cmn_BonjourLocatorImpl*>(context)->shared_from_this();
        if (error != kDNSServiceErr_NoError) {
            self->SetResultError(error);
        } else if (!name || !type || !domain) {
            Cmn_Trace("Bonjour: A result for %s has no name.\n", self->mServiceType.c_str());
        } else if ((flags & kDNSServiceFlagsAdd) != 0) {
            self->AddInstance(name, type, domain, interfaceIndex);
        } else {
            self->RemoveInstance(name, interfaceIndex);
        }
    });
}

void Cmn_BonjourLocatorImpl::AddInstance(const char* name, const char* type, const char* domain,
                                         unsigned int interfaceIndex) {
    Cmn_Trace("Bonjour: Resolving %s...\n", name);
    const Key key(name, interfaceIndex);
    Details& details = mInstances[key];
    ++details.announcements;
    if (!details.isKnown) {
        details.service.mName = name;
        details.service.mType = type;
        details.service.mInterfaceIndex = interfaceIndex;
        details.domain = domain;
    }
    // A resolver that is under way answers for this announcement, too.
    if (details.resolver && !details.resolver->IsSettled()) return;
    if (details.resolver) Vacate(key, details);
    std::erase(mResting, key);
    mWaiting.push_back(key);
    StartWaiting();
}

void Cmn_BonjourLocatorImpl::RemoveInstance(const char* name, unsigned int interfaceIndex) {
    auto node = mInstances.extract({name, interfaceIndex});
    if (node.empty()) {
        Cmn_Trace("Bonjour: Failed to find a service %s to remove (%s).\n", name, mServiceType.c_str());
        CMN_VERIFY(false);
        return;
    }
    Details& details = node.mapped();
    Vacate(node.key(), details);
    if (details.isKnown) {
        RemoveService(details.service);
    } else {
        // The search knows it, though the user does not yet: nothing has failed.
        Cmn_Trace("Bonjour: Removed service %s (%s).\n", name, mServiceType.c_str());
    }
    StartWaiting();
}

void Cmn_BonjourLocatorImpl::OnResolved(const Cmn_BonjourResolver& resolver) {
    const auto self = shared_from_this();
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the resolver may go below
    const Cmn_BonjourService service = resolver.GetService();
    const Key key(service.mName, service.mInterfaceIndex);
    TellDropped();
    auto found = mInstances.find(key);
    if (found == mInstances.end() || !found->second.resolver) return;
    if (found->second.isKnown && found->second.service != service) {
        // It has moved: gone and back.
        const Cmn_BonjourService old = found->second.service;
        found->second.isKnown = false;
        RemoveService(old);
        found = mInstances.find(key);
        if (found == mInstances.end() || !found->second.resolver) return;  // the user has stopped us
    }
    Details& details = found->second;
    if (!details.isKnown) {
        AddService(details, service);
    } else {
        ReportDuplicates(details);
        CompareTxtRecord(details, service.mTxtRecord);
    }
    StartWaiting();
    const Cmn_BonjourResolver* const rest = FindResolver(key);
    if (rest && rest->IsSettled()) Watch(key);
}

void Cmn_BonjourLocatorImpl::AddService(Details& details, const Cmn_BonjourService& service) {
    CMN_VERIFY(!mReentrance);
    details.service = service;
    details.isKnown = true;
    Cmn_Trace("Bonjour: Added service %s (%s).\n", service.mName.c_str(), mServiceType.c_str());
    if (details.announcements > 0) --details.announcements;
    ReportDuplicates(details);
    Tell(&Cmn_BonjourLocatorObserver::OnAdded, service);
}

void Cmn_BonjourLocatorImpl::RemoveService(const Cmn_BonjourService& service) {
    CMN_VERIFY(!mReentrance);
    Cmn_Trace("Bonjour: Removed service %s (%s).\n", service.mName.c_str(), mServiceType.c_str());
    Tell(&Cmn_BonjourLocatorObserver::OnRemoved, service);
}

void Cmn_BonjourLocatorImpl::CompareTxtRecord(Details& details, const TxtRecord& txtRecord) {
    if (txtRecord == details.service.mTxtRecord) return;
    details.service.mTxtRecord = txtRecord;
    Cmn_Trace("NorvikLib.Bonjour: %s: TXT Record changed.\n", details.service.mName.c_str());
    Tell(&Cmn_BonjourLocatorObserver::OnTxtChanged, details.service);
}

// One for each announcement that is not answered yet.
void Cmn_BonjourLocatorImpl::ReportDuplicates(Details& details) {
    for (; details.announcements > 0; --details.announcements) {
        Cmn_Trace("Bonjour: Added service %s (%s).\n", details.service.mName.c_str(), mServiceType.c_str());
        details.TraceDuplicate();
        TraceServices();
        CMN_VERIFY_AT(156, false);
    }
}

void Cmn_BonjourLocatorImpl::DropAll() {
    mWaiting.clear();
    mResting.clear();
    mRunning.clear();
    for (const auto& [key, details] : mInstances)
        if (details.isKnown) mDropped.push_back(details.service);
    mInstances.clear();
    TellDropped();
}

// A user who lets the loop run in here may come back when the next search has found something: whoever finds it first tells
// the rest, so that no service is added before it was removed.
void Cmn_BonjourLocatorImpl::TellDropped() {
    while (!mDropped.empty()) {
        const Cmn_BonjourService service = std::move(mDropped.front());
        mDropped.pop_front();
        RemoveService(service);
    }
}

// What the function throws is traced here, so that the steps behind it are made.
void Cmn_BonjourLocatorImpl::Tell(Report report, const Cmn_BonjourService& service) {
    struct Mark {
        explicit Mark(bool& mark) : reentrance(mark), before(std::exchange(mark, true)) {}
        ~Mark() { reentrance = before; }
        Mark(const Mark&) = delete;
        Mark& operator=(const Mark&) = delete;

        bool& reentrance;
        const bool before;
    };
    const auto self = shared_from_this();
    const Cmn_BonjourService copy = service;
    const Mark mark(mReentrance);
    Guarded([&] { (*mObserver.*report)(copy); });
}

void Cmn_BonjourLocatorImpl::TraceServices() const {
    Cmn_Trace("Bonjour: Available records are:\n");
    int number = 0;
    for (const auto& [key, details] : mInstances)
        if (details.isKnown) details.Trace(number++);
}

void Cmn_BonjourLocatorImpl::Reconfirm(const Cmn_BonjourService& service) {
    CMN_VERIFY(!mReentrance);
    const auto self = shared_from_this();
    const auto found = mInstances.find({service.mName, service.mInterfaceIndex});
    if (found != mInstances.end() && found->second.isKnown) {
        ReconfirmKnown(found->second.service);
    } else {
        Cmn_Trace("Bonjour: Failed to find a service %s to reconfirm (%s).\n", service.mName.c_str(),
                  mServiceType.c_str());
    }
}

Cmn_BonjourError Cmn_BonjourLocatorImpl::ReconfirmKnown(const Cmn_BonjourService& service) {
    const Cmn_BonjourError error = Cmn_BonjourRecordReconfirmer(service, mServiceType).Reconfirm();
    if (error.IsOK()) return error;
    Cmn_Trace("Bonjour: Reconfirming %s returned error %s (%d).\n", service.mName.c_str(),
              error.ToString().c_str(), error.GetErrorCode());
    Guarded([&] { mObserver->OnError(error); });
    return error;
}

void Cmn_BonjourLocatorImpl::ReconfirmAll() {
    CMN_VERIFY(!mReentrance);
    const auto self = shared_from_this();
    std::vector<Cmn_BonjourService> services;  // the user may stop us at an error
    for (const auto& [key, details] : mInstances)
        if (details.isKnown) services.push_back(details.service);
    for (const Cmn_BonjourService& service : services)
        if (!IsRegistered() || ReconfirmKnown(service) == kDNSServiceErr_ServiceNotRunning) return;
}

void Cmn_BonjourLocatorImpl::SetAutoReconfirmInterval(unsigned int milliseconds) {
    mReconfirmTimer.AbortIfRunning();
    if (milliseconds != 0) mReconfirmTimer.Start(milliseconds);
}

std::size_t Cmn_BonjourLocatorImpl::GetPlaces() const {
    return std::max<std::size_t>(1, kMaxResolvers / GetCensus().Count(GetEventManager()));
}

// Starts resolvers for those that wait, as far as there is room.
void Cmn_BonjourLocatorImpl::StartWaiting() {
    const auto self = shared_from_this();
    while (!mWaiting.empty() && (mRunning.size() < GetPlaces() || MakeRoom())) {
        const Key key = mWaiting.front();
        mWaiting.pop_front();
        const auto found = mInstances.find(key);
        if (found == mInstances.end() || found->second.resolver) continue;
        Details& details = found->second;
        // Who only waits for changes need not ask for the address again; an announcement may tell of another one.
        const bool isWatched = details.isKnown && details.announcements == 0;
        Cmn_BonjourService service = details.service;
        if (!isWatched) service.mHostName.clear();
        Cmn_BonjourResolver::Owner& owner = *this;
        details.resolver =
            std::make_unique<Cmn_BonjourResolver>(service, details.domain, owner, GetEventManager());
        mRunning.push_back({key, 0});
        if (isWatched) {
            Watch(key);
        } else {
            details.resolver->Start();
        }
    }
}

// Gives up the oldest resolver that has answered, cannot, or has had its time to.
bool Cmn_BonjourLocatorImpl::MakeRoom(int maxAge) {
    for (const Place& place : mRunning) {
        Details& details = mInstances.find(place.key)->second;
        const bool isHopeless = details.resolver->IsHopeless();
        if (!details.resolver->IsSettled() && !isHopeless && place.age < maxAge) continue;
        const Key key = place.key;
        if (!isHopeless) mResting.push_back(key);
        Vacate(key, details);
        return true;
    }
    return false;
}

void Cmn_BonjourLocatorImpl::Vacate(const Key& key, Details& details) {
    if (!details.resolver) return;
    details.resolver.reset();
    std::erase_if(mRunning, [&](const Place& place) { return place.key == key; });
}

Cmn_BonjourResolver* Cmn_BonjourLocatorImpl::FindResolver(const Key& key) {
    const auto found = mInstances.find(key);
    return found != mInstances.end() ? found->second.resolver.get() : nullptr;
}

// Each step may end in an error that the user takes for a reason to stop.
void Cmn_BonjourLocatorImpl::Watch(const Key& key) {
    for (const auto part : Cmn_BonjourResolver::kWatches)
        if (Cmn_BonjourResolver* const resolver = FindResolver(key)) resolver->Watch(part);
}

void Cmn_BonjourLocatorImpl::OnProbeTimer() {
    const auto self = shared_from_this();
    Probe();
    if (IsRegistered() && FindInterface() != mInterfaceIndex) SearchAnew();
    if (!IsRegistered()) return;
    ProbeResolvers();
    while (mRunning.size() > GetPlaces() && MakeRoom(0)) {  // other locators have come
    }
    for (std::size_t i = GetPlaces(); i > 0 && !mResting.empty(); --i) {
        mWaiting.push_back(mResting.front());
        mResting.pop_front();
    }
    StartWaiting();
}

void Cmn_BonjourLocatorImpl::ProbeResolvers() {
    for (Place& place : mRunning)
        ++place.age;
    const auto running = mRunning;  // which an error may change
    for (const Place& place : running) {
        for (const auto part : Cmn_BonjourResolver::kParts) {
            Cmn_BonjourResolver* const resolver = FindResolver(place.key);
            Cmn_BonjourAsyncHandler* const handler = resolver ? resolver->GetPart(part) : nullptr;
            if (handler) handler->Probe();
        }
    }
}

}  // namespace NorvikLibInternal
