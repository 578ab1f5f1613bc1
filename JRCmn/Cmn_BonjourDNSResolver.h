#pragma once

// Cmn_BonjourDNSResolver: finds the IPv4 address of a host on the local network ("desk.local.").
//
//   Cmn_BonjourDNSResolver mResolver(gIF_EventManager);
//   mResolver.Query("desk.local.", Cmn_BonjourLocator::kInterfaceIndexAny,
//                   [this](const Cmn_IPv4Address& address, const Cmn_BonjourError& error) {
//                       if (error.IsOK()) Connect(address);
//                   });
//
// Threads:   the event manager's, which must be the default one's loop as well
// Ownership: owns the function, which may delete the resolver, cancel, or query anew. Points to the event manager.
// Errors:    passed to the function, with an invalid address, as often as there are any: the query goes on until there is an
//            address. It is over, with one call inside Query, where it could never succeed: without the discovery
//            library, and for arguments that are wrong (on an interface -65540 is tried again: it may be down).
// Units:     none

#include <functional>
#include <memory>
#include <string>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_IPv4Address.h"

class IF_EventManager;
namespace NorvikLibInternal {
class Cmn_BonjourDNSResolverImpl;
}

class NORVIK_API Cmn_BonjourDNSResolver {
public:
    using Callback = std::function<void(const Cmn_IPv4Address&, const Cmn_BonjourError&)>;

    // Null is reported; queries then do nothing.
    explicit Cmn_BonjourDNSResolver(IF_EventManager* inEventManager);
    // Cancels.
    ~Cmn_BonjourDNSResolver();
    Cmn_BonjourDNSResolver(const Cmn_BonjourDNSResolver&) = delete;
    Cmn_BonjourDNSResolver& operator=(const Cmn_BonjourDNSResolver&) = delete;

    // One at a time: a second one is reported and ignored.
    void Query(const std::string& inHostName, unsigned int inInterfaceIndex, Callback inCallback);
    // The function is not called any more. Nothing happens without a query.
    void Cancel();

private:
    IF_EventManager* const mEventManager;
    std::shared_ptr<NorvikLibInternal::Cmn_BonjourDNSResolverImpl> mResolver;  // of the query that runs
};
