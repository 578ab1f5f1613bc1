#pragma once

// Cmn_BonjourLocator: finds the instances of a service type on the network and tells of those that come, change or go.
//
//   Cmn_BonjourLocator mDesks("_desk._tcp", ENetworkUser::eConsole,
//                             [this](const Cmn_BonjourService& desk) { Connect(desk); },
//                             [this](const Cmn_BonjourService& desk) { Update(desk); },
//                             [this](const Cmn_BonjourService& desk) { Disconnect(desk); }, *gIF_EventManager);
//   mDesks.SetErrorCallback([](const Cmn_BonjourError&) {});   // traced anyway; without it each error is also reported
//   mDesks.Start();
//
// An instance that is seen on two interfaces is two services. One that moves to another host, address or port is removed and
// added. When the daemon goes, all its services are removed; when it is back they are found again, without a call from here.
// docs/discovery.md tells more.
//
// Threads:   the event manager's, which must be the default one's loop as well (timers go by that). All functions are
//            called there, out of the loop; those for errors and removals also inside Start and Stop.
// Ownership: owns the functions. Each of them may stop, start or delete the locator. After the destructor none is called.
// Errors:    misuse is reported and ignored. What a function throws is traced and goes no further. Without the discovery
//            library Start tells the error callback of error -65563, and nothing else happens.
// Units:     milliseconds

#include <functional>
#include <memory>
#include <string>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Cmn_BonjourService.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_NetworkAdapterConfig.h"

class IF_EventManager;
namespace NorvikLibInternal {
class Cmn_BonjourLocatorImpl;
}

class NORVIK_API Cmn_BonjourLocator {
public:
    static constexpr unsigned int kInterfaceIndexAny = 0;
    static constexpr unsigned int kInterfaceIndexLocalOnly = 0xFFFFFFFF;

    using ServiceCallback = std::function<void(const Cmn_BonjourService&)>;

    // The network user restricts the search to the adapter that serves it; when another one does, all services are removed and
    // it is searched there; while none does, the search stays where it was. Started without one, it is on all adapters until
    // there is one. Functions may be empty.
    Cmn_BonjourLocator(const std::string& inServiceType, ENetworkUser inNetworkUser,
                       ServiceCallback inAddCallback, ServiceCallback inTXTChangeCallback,
                       ServiceCallback inRemoveCallback, IF_EventManager& inEventManager);
    // Stops without notification.
    ~Cmn_BonjourLocator();
    Cmn_BonjourLocator(const Cmn_BonjourLocator&) = delete;
    Cmn_BonjourLocator& operator=(const Cmn_BonjourLocator&) = delete;

    void Start();
    // With `notify` the remove callback is called for every service that is known: before this returns, or, inside one of the
    // service callbacks, soon after it.
    void Stop(bool notify);
    bool IsStarted() const { return mImpl != nullptr; }

    // Told of each error of browsing, resolving and reconfirming.
    void SetErrorCallback(std::function<void(const Cmn_BonjourError&)> inCallback);

    // Lists the known services in the log.
    void TraceServices() const;

    // Asks the network whether the service is still there; if nobody answers for it, it is removed. Reported, because it
    // may change the list, inside a service callback.
    void ReconfirmService(const Cmn_BonjourService& inService);
    // Does that for all services again and again; 0, as at first, switches it off.
    void SetAutoReconfirmInterval(unsigned int inMilliseconds);

    // Whether this computer has the library that discovery needs. That its daemon runs is another thing: see the errors.
    static bool IsLibraryAvailable();

private:
    struct Functions;
    class Observer;

    const std::string mServiceType;
    const ENetworkUser mNetworkUser;
    IF_EventManager& mEventManager;
    unsigned int mAutoReconfirmInterval = 0;
    const std::shared_ptr<Functions> mFunctions;
    std::shared_ptr<NorvikLibInternal::Cmn_BonjourLocatorImpl> mImpl;
    Observer* mObserver = nullptr;  // the implementation's
};
