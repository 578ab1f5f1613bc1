// Entry points of the published interface that this stand-in has for the sake of their names only.

#include "JRCmn/Internal/Cmn_DnsSd.h"

namespace NorvikLibInternal {

extern "C" {

DNSServiceEnumerateDomainsCall DNSServiceEnumerateDomains;
DNSServiceAddRecordCall DNSServiceAddRecord;
DNSServiceRemoveRecordCall DNSServiceRemoveRecord;
DNSServiceCreateConnectionCall DNSServiceCreateConnection;
DNSServiceRegisterRecordCall DNSServiceRegisterRecord;
DNSServiceNATPortMappingCreateCall DNSServiceNATPortMappingCreate;

DNSServiceErrorType DNSServiceEnumerateDomains(DNSServiceRef*, DNSServiceFlags, uint32_t,
                                               DNSServiceDomainEnumReply, void*) {
    return kDNSServiceErr_Unsupported;
}

DNSServiceErrorType DNSServiceAddRecord(DNSServiceRef, DNSRecordRef*, DNSServiceFlags, uint16_t, uint16_t,
                                        const void*, uint32_t) {
    return kDNSServiceErr_Unsupported;
}

DNSServiceErrorType DNSServiceRemoveRecord(DNSServiceRef, DNSRecordRef, DNSServiceFlags) {
    return kDNSServiceErr_Unsupported;
}

DNSServiceErrorType DNSServiceCreateConnection(DNSServiceRef*) {
    return kDNSServiceErr_Unsupported;
}

DNSServiceErrorType DNSServiceRegisterRecord(DNSServiceRef, DNSRecordRef*, DNSServiceFlags, uint32_t,
                                             const char*, uint16_t, uint16_t, uint16_t, const void*, uint32_t,
                                             DNSServiceRegisterRecordReply, void*) {
    return kDNSServiceErr_Unsupported;
}

DNSServiceErrorType DNSServiceNATPortMappingCreate(DNSServiceRef*, DNSServiceFlags, uint32_t,
                                                   DNSServiceProtocol, uint16_t, uint16_t, uint32_t,
                                                   DNSServiceNATPortMappingReply, void*) {
    return kDNSServiceErr_Unsupported;
}

}  // extern "C"

}  // namespace NorvikLibInternal
