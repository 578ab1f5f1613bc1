#pragma once

// Cmn_BonjourDNSResolverImpl: asks for the IPv4 address of a host until it has one, and on.
//
//   Cmn_BonjourDNSResolverImpl lookup("desk.local.", interfaceIndex, [&](const Cmn_IPv4Address& address,
//                                     const Cmn_BonjourError& error) { ... }, manager);
//   lookup.Start();
//
// Threads:   the event manager's
// Ownership: owns the function, which may delete the object
// Errors:    an invalid address and the error; the lookup goes on as its base says
// Units:     none

#include <functional>

#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/Internal/Cmn_BonjourAsyncHandler.h"

namespace NorvikLibInternal {

class Cmn_BonjourDNSResolverImpl : public Cmn_BonjourAsyncHandler {
public:
    using Callback = std::function<void(const Cmn_IPv4Address&, const Cmn_BonjourError&)>;

    Cmn_BonjourDNSResolverImpl(const std::string& hostName, unsigned int interfaceIndex, Callback callback,
                               IF_EventManager& eventManager);

private:
    Cmn_BonjourError StartOperation(DNSServiceRef& ref) override;
    void OnError(const Cmn_BonjourError& error) override { Answer({}, error); }
    void Answer(const Cmn_IPv4Address& address, const Cmn_BonjourError& error) const;

    static void OnAddress(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                          DNSServiceErrorType error, const char* hostName, const sockaddr* address,
                          uint32_t ttl, void* context);

    const std::string mHostName;
    const unsigned int mInterfaceIndex;
    const Callback mCallback;
};

}  // namespace NorvikLibInternal
