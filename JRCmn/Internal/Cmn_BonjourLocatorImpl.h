#pragma once

// Cmn_BonjourLocatorImpl: a browse for a type of service, and a resolver for each instance that it finds. One lives from
// Start to Stop of a Cmn_BonjourLocator; see there.
//
//   const auto impl = std::make_shared<Cmn_BonjourLocatorImpl>("_desk._tcp", ENetworkUser::eAny, observer, manager);
//   impl->Start();
//   ...
//   impl->Finish();
//
// An event manager has room for few handlers (63), so the locators of a manager share kMaxResolvers places for resolvers; each
// has one at least. Further instances wait; one that is resolved makes room for them. With more services than places the
// resolvers take turns, so that changes of all TXT records are noticed.
//
// Threads:   the event manager's
// Ownership: shared: an object that is used by a frame on the stack outlives it. Points to the observer, which must outlive
//            it, and whose functions may finish the object.
// Errors:    of the browse and of every resolver go to the observer
// Units:     milliseconds

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "JRCmn/Cmn_NetworkAdapterConfig.h"
#include "JRCmn/Internal/Cmn_BonjourServiceDetails.h"

namespace NorvikLibInternal {

class Cmn_BonjourLocatorObserver {
public:
    virtual ~Cmn_BonjourLocatorObserver() = default;
    virtual void OnAdded(const Cmn_BonjourService& service) = 0;
    virtual void OnTxtChanged(const Cmn_BonjourService& service) = 0;
    virtual void OnRemoved(const Cmn_BonjourService& service) = 0;
    virtual void OnError(const Cmn_BonjourError& error) = 0;
};

class Cmn_BonjourLocatorImpl : public Cmn_BonjourAsyncHandler,
                               public std::enable_shared_from_this<Cmn_BonjourLocatorImpl>,
                               private Cmn_BonjourResolver::Owner {
public:
    Cmn_BonjourLocatorImpl(const std::string& serviceType, ENetworkUser networkUser,
                           std::unique_ptr<Cmn_BonjourLocatorObserver> observer,
                           IF_EventManager& eventManager);
    ~Cmn_BonjourLocatorImpl() override;

    // Ends all operations: from now on nothing is found.
    void Quiet();
    // The same, and drops every known service through the remove path.
    void Finish();
    // Whether a function of the observer that tells of a service is running.
    bool IsInCallback() const { return mReentrance; }

    void TraceServices() const;
    void Reconfirm(const Cmn_BonjourService& service);
    void SetAutoReconfirmInterval(unsigned int milliseconds);

private:
    using Key = Cmn_BonjourServiceKey;
    using Details = Cmn_BonjourServiceDetails;
    using Report = void (Cmn_BonjourLocatorObserver::*)(const Cmn_BonjourService&);

    class Adapter;

    struct Place {
        Key key;
        int age;  // probes that it has seen
    };
    static constexpr std::size_t kMaxResolvers = 12;
    // A resolver without an answer makes room, too, after this many probes.
    static constexpr int kMaxAge = 2;

    Cmn_BonjourError StartOperation(DNSServiceRef& ref) override;
    void OnError(const Cmn_BonjourError& error) override;
    void OnProbeTimer() override;
    void OnResolved(const Cmn_BonjourResolver& resolver) override;
    void OnResolverError(const Cmn_BonjourError& error) override;

    void AddInstance(const char* name, const char* type, const char* domain, unsigned int interfaceIndex);
    void RemoveInstance(const char* name, unsigned int interfaceIndex);
    void AddService(Details& details, const Cmn_BonjourService& service);
    void RemoveService(const Cmn_BonjourService& service);
    void CompareTxtRecord(Details& details, const TxtRecord& txtRecord);
    void ReportDuplicates(Details& details);
    void DropAll();
    void TellDropped();
    unsigned int FindInterface() const;
    void SearchAnew();
    void Tell(Report report, const Cmn_BonjourService& service);
    Cmn_BonjourError ReconfirmKnown(const Cmn_BonjourService& service);
    void ReconfirmAll();

    void StartWaiting();
    std::size_t GetPlaces() const;
    bool MakeRoom(int maxAge = kMaxAge);
    void Vacate(const Key& key, Details& details);
    Cmn_BonjourResolver* FindResolver(const Key& key);
    void Watch(const Key& key);
    void ProbeResolvers();

    static void OnBrowse(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                         DNSServiceErrorType error, const char* name, const char* type, const char* domain,
                         void* context);

    const std::string mServiceType;
    const std::unique_ptr<Adapter> mAdapter;  // of the network user; none for any
    unsigned int mInterfaceIndex = 0;         // of the search that runs
    const std::unique_ptr<Cmn_BonjourLocatorObserver> mObserver;
    std::map<Key, Details> mInstances;
    std::deque<Cmn_BonjourService> mDropped;  // whose removal was not told yet
    // Keys of instances that may be gone, or have a resolver again: looked at when their turn comes.
    std::deque<Key> mWaiting;
    std::deque<Key> mResting;     // had their turn, wait for the next probe
    std::vector<Place> mRunning;  // in the order of their start
    bool mReentrance = false;
    bool mIsQuiet = false;
    Cmn_PeriodicTimer mReconfirmTimer;
};

}  // namespace NorvikLibInternal
