#include "JRCmn/Internal/Cmn_BonjourDNSResolverImpl.h"

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

Cmn_BonjourDNSResolverImpl::Cmn_BonjourDNSResolverImpl(const std::string& hostName,
                                                       unsigned int interfaceIndex, Callback callback,
                                                       IF_EventManager& eventManager)
    : Cmn_BonjourAsyncHandler("Cmn_BonjourDNSResolver for " + hostName, eventManager),
      mHostName(hostName),
      mInterfaceIndex(interfaceIndex),
      mCallback(std::move(callback)) {}

Cmn_BonjourError Cmn_BonjourDNSResolverImpl::StartOperation(DNSServiceRef& ref) {
    SetTiedToInterface(mInterfaceIndex);
    return DNSServiceGetAddrInfo(&ref, 0, mInterfaceIndex, kDNSServiceProtocol_IPv4, mHostName.c_str(),
                                 &Cmn_BonjourDNSResolverImpl::OnAddress, this);
}

void Cmn_BonjourDNSResolverImpl::OnAddress(DNSServiceRef, DNSServiceFlags flags, uint32_t,
                                           DNSServiceErrorType error, const char*, const sockaddr* address,
                                           uint32_t, void* context) {
    Guarded([&] {
        auto& self = *static_cast<Cmn_BonjourDNSResolverImpl*>(context);
        if (error == kDNSServiceErr_NoSuchRecord) return;  // at the moment; one that comes is told
        if (error != kDNSServiceErr_NoError) {
            self.SetResultError(error);
        } else if ((flags & kDNSServiceFlagsAdd) != 0 && address && address->sa_family == AF_INET) {
            self.Answer(reinterpret_cast<const sockaddr_in*>(address)->sin_addr, {});
        }
    });
}

void Cmn_BonjourDNSResolverImpl::Answer(const Cmn_IPv4Address& address, const Cmn_BonjourError& error) const {
    const Callback callback = mCallback;  // which may delete this object
    if (callback) callback(address, error);
}

}  // namespace NorvikLibInternal
