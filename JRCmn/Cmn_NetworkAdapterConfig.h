#pragma once

// Cmn_NetworkAdapterConfig: which IPv4 address the network adapter has now that serves a part of the system, and a call
// when that changes.
//
//   Cmn_NetworkAdapterConfig adapter(service, ENetworkUser::eRemoteControl, [&] { Listen(adapter.GetIPv4Address()); });
//   if (adapter.GetIPv4Address().IsValid()) Listen(adapter.GetIPv4Address());
//
// Which adapter serves whom stands in the registry, as texts of the console's settings (Cmn_Registry::kSettingsKey) named
// as GetSettingName tells: the adapter's name as the system shows it ("Ethernet 2") or its GUID, "loopback" for this machine
// only, or "any" for all adapters. Without a setting it is the first adapter that is up, leads out of the machine and has
// an address. Changes of the settings take effect within seconds, too.
//
// Threads:   any. The function runs on the thread that runs the service, never inside a call of this class. The destructor
//            waits for a function that is running on another thread; inside the function it does not, so that the function may
//            destroy the object. After the destructor it is not called any more.
// Ownership: points to the service, which must outlive it. While there is an object, the process has one thread that watches
//            the adapters.
// Errors:    an adapter that is missing, down or without an address gives the invalid address; so does a user that does
//            not exist, which is reported. A platform that lists no adapters at the start is traced, later on what was
//            seen last holds.
// Units:     addresses in network byte order; changes are noticed at once where the platform tells of them, otherwise (as
//            under Wine) within 5 seconds

#include <cstdint>
#include <functional>
#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_IPv4Address.h"

namespace boost::asio {
class io_context;
typedef io_context io_service;
}  // namespace boost::asio

// Who uses the network.
enum class ENetworkUser : std::uint32_t {
    eAny = 0,            // no particular adapter: address 0.0.0.0, without a setting, never changes
    eConsole = 1,        // control between console, surfaces and stage boxes
    eEngine = 2,         // the audio engine's transport
    eRemoteControl = 3,  // remote-control clients
    eDiscovery = 4,      // finding services, and being found
};

class NORVIK_API Cmn_NetworkAdapterConfig {
public:
    // Takes a few milliseconds, as it asks the platform. The function may be empty. On another thread it may run before the
    // constructor returns, so what it uses stands before this object.
    Cmn_NetworkAdapterConfig(boost::asio::io_service& service, ENetworkUser user,
                             std::function<void()> onAdapterChanged);
    ~Cmn_NetworkAdapterConfig();
    Cmn_NetworkAdapterConfig(const Cmn_NetworkAdapterConfig&) = delete;
    Cmn_NetworkAdapterConfig& operator=(const Cmn_NetworkAdapterConfig&) = delete;

    // As last seen; every change of it, or of the index, is followed by a call of the function. Several changes may be
    // followed by one call.
    Cmn_IPv4Address GetIPv4Address() const;

    // 0: no particular adapter, or, when the address is invalid, none.
    unsigned int GetInterfaceIndex() const;

    // "Network Adapter Remote Control"; null for eAny, which has none.
    static const char* GetSettingName(ENetworkUser user);

private:
    class Observer;
    class Watch;

    const ENetworkUser mUser;
    std::shared_ptr<Observer> mObserver;  // none for eAny
};
