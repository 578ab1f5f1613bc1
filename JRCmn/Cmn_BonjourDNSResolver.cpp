#include "JRCmn/Cmn_BonjourDNSResolver.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_BonjourDNSResolverImpl.h"

using namespace NorvikLibInternal;

Cmn_BonjourDNSResolver::Cmn_BonjourDNSResolver(IF_EventManager* inEventManager)
    : mEventManager(inEventManager) {
    CMN_VERIFY(mEventManager);
}

Cmn_BonjourDNSResolver::~Cmn_BonjourDNSResolver() = default;

void Cmn_BonjourDNSResolver::Query(const std::string& inHostName, unsigned int inInterfaceIndex,
                                   Callback inCallback) {
    if (!mEventManager || !CMN_VERIFY(!mResolver)) return;
    mResolver = std::make_shared<Cmn_BonjourDNSResolverImpl>(
        inHostName, inInterfaceIndex,
        [this, callback = std::move(inCallback)](const Cmn_IPv4Address& address,
                                                 const Cmn_BonjourError& error) {
            // The query ends before the call, so that the function may begin the next one.
            if (error.IsOK() || mResolver->IsIdle()) Cancel();
            if (callback) callback(address, error);
        },
        *mEventManager);
    const auto resolver = mResolver;  // this object may be deleted by the function
    resolver->ProbeRegularly();
    resolver->Start();
}

void Cmn_BonjourDNSResolver::Cancel() {
    mResolver.reset();
}
