#pragma once

// The DNS Service Discovery interface of "dnssd.dll" as far as it is used: types, constants, and the types of its entry
// points and callbacks, under their published names and with their published widths on 64-bit Windows.
//
//   const auto browse = FindFunction<DNSServiceBrowseCall*>(library, "DNSServiceBrowse");
//   DNSServiceRef ref = nullptr;
//   const auto error = browse(&ref, 0, kDNSServiceInterfaceIndexAny, "_desk._tcp", nullptr, &OnBrowse, this);
//
// Threads:   a DNSServiceRef belongs to one thread at a time; its callbacks run inside DNSServiceProcessResult
// Ownership: DNSServiceRefDeallocate ends the operation and closes its socket, also from inside its own callback. What a
//            callback is given is valid during the call only.
// Errors:    DNSServiceErrorType, 0 is success. With an error, the other arguments of a callback mean nothing.
// Units:     ports in network byte order; time to live in seconds; texts are UTF-8

#include <cstdint>

struct sockaddr;

namespace NorvikLibInternal {

// There is one calling convention on 64-bit Windows, so the published macro for it has no counterpart here.
static_assert(sizeof(void*) == 8);

using DNSServiceRef = struct DNSServiceRefTag*;
using DNSRecordRef = struct DNSRecordRefTag*;
using DNSServiceFlags = uint32_t;
using DNSServiceProtocol = uint32_t;
using DNSServiceErrorType = int32_t;
using dnssd_sock_t = int;

// Opaque: only the TXTRecord functions look inside.
union TXTRecordRef {
    char PrivateData[16];
    char* ForceNaturalAlignment;
};
static_assert(sizeof(TXTRecordRef) == 16);

// Of results: another one follows at once. A display may wait for the last of them.
constexpr DNSServiceFlags kDNSServiceFlagsMoreComing = 0x1;
// Of results: there, or (without it) gone.
constexpr DNSServiceFlags kDNSServiceFlagsAdd = 0x2;
constexpr DNSServiceFlags kDNSServiceFlagsDefault = 0x4;
// Of a registration: a name that is taken is an error, not a reason for another name.
constexpr DNSServiceFlags kDNSServiceFlagsNoAutoRename = 0x8;
constexpr DNSServiceFlags kDNSServiceFlagsShared = 0x10;
constexpr DNSServiceFlags kDNSServiceFlagsUnique = 0x20;
constexpr DNSServiceFlags kDNSServiceFlagsBrowseDomains = 0x40;
constexpr DNSServiceFlags kDNSServiceFlagsRegistrationDomains = 0x80;
constexpr DNSServiceFlags kDNSServiceFlagsLongLivedQuery = 0x100;
constexpr DNSServiceFlags kDNSServiceFlagsAllowRemoteQuery = 0x200;
constexpr DNSServiceFlags kDNSServiceFlagsForceMulticast = 0x400;
constexpr DNSServiceFlags kDNSServiceFlagsForce = 0x800;
constexpr DNSServiceFlags kDNSServiceFlagsReturnIntermediates = 0x1000;
constexpr DNSServiceFlags kDNSServiceFlagsNonBrowsable = 0x2000;
constexpr DNSServiceFlags kDNSServiceFlagsShareConnection = 0x4000;
constexpr DNSServiceFlags kDNSServiceFlagsSuppressUnusable = 0x8000;

constexpr DNSServiceProtocol kDNSServiceProtocol_IPv4 = 0x01;
constexpr DNSServiceProtocol kDNSServiceProtocol_IPv6 = 0x02;
constexpr DNSServiceProtocol kDNSServiceProtocol_UDP = 0x10;
constexpr DNSServiceProtocol kDNSServiceProtocol_TCP = 0x20;

// -65546 is not assigned.
constexpr DNSServiceErrorType kDNSServiceErr_NoError = 0;
constexpr DNSServiceErrorType kDNSServiceErr_Unknown = -65537;
constexpr DNSServiceErrorType kDNSServiceErr_NoSuchName = -65538;
constexpr DNSServiceErrorType kDNSServiceErr_NoMemory = -65539;
constexpr DNSServiceErrorType kDNSServiceErr_BadParam = -65540;
constexpr DNSServiceErrorType kDNSServiceErr_BadReference = -65541;
constexpr DNSServiceErrorType kDNSServiceErr_BadState = -65542;
constexpr DNSServiceErrorType kDNSServiceErr_BadFlags = -65543;
constexpr DNSServiceErrorType kDNSServiceErr_Unsupported = -65544;
constexpr DNSServiceErrorType kDNSServiceErr_NotInitialized = -65545;
constexpr DNSServiceErrorType kDNSServiceErr_AlreadyRegistered = -65547;
constexpr DNSServiceErrorType kDNSServiceErr_NameConflict = -65548;
constexpr DNSServiceErrorType kDNSServiceErr_Invalid = -65549;
constexpr DNSServiceErrorType kDNSServiceErr_Firewall = -65550;
constexpr DNSServiceErrorType kDNSServiceErr_Incompatible = -65551;
constexpr DNSServiceErrorType kDNSServiceErr_BadInterfaceIndex = -65552;
constexpr DNSServiceErrorType kDNSServiceErr_Refused = -65553;
constexpr DNSServiceErrorType kDNSServiceErr_NoSuchRecord = -65554;
constexpr DNSServiceErrorType kDNSServiceErr_NoAuth = -65555;
constexpr DNSServiceErrorType kDNSServiceErr_NoSuchKey = -65556;
constexpr DNSServiceErrorType kDNSServiceErr_NATTraversal = -65557;
constexpr DNSServiceErrorType kDNSServiceErr_DoubleNAT = -65558;
constexpr DNSServiceErrorType kDNSServiceErr_BadTime = -65559;
constexpr DNSServiceErrorType kDNSServiceErr_BadSig = -65560;
constexpr DNSServiceErrorType kDNSServiceErr_BadKey = -65561;
constexpr DNSServiceErrorType kDNSServiceErr_Transient = -65562;
constexpr DNSServiceErrorType kDNSServiceErr_ServiceNotRunning = -65563;
constexpr DNSServiceErrorType kDNSServiceErr_NATPortMappingUnsupported = -65564;
constexpr DNSServiceErrorType kDNSServiceErr_NATPortMappingDisabled = -65565;
constexpr DNSServiceErrorType kDNSServiceErr_NoRouter = -65566;
constexpr DNSServiceErrorType kDNSServiceErr_PollingMode = -65567;
constexpr DNSServiceErrorType kDNSServiceErr_Timeout = -65568;

constexpr uint32_t kDNSServiceInterfaceIndexAny = 0;
constexpr uint32_t kDNSServiceInterfaceIndexLocalOnly = UINT32_MAX;
constexpr uint32_t kDNSServiceInterfaceIndexUnicast = UINT32_MAX - 1;
constexpr uint32_t kDNSServiceInterfaceIndexP2P = UINT32_MAX - 2;

constexpr uint16_t kDNSServiceClass_IN = 1;

constexpr uint16_t kDNSServiceType_A = 1;
constexpr uint16_t kDNSServiceType_NS = 2;
constexpr uint16_t kDNSServiceType_CNAME = 5;
constexpr uint16_t kDNSServiceType_PTR = 12;
constexpr uint16_t kDNSServiceType_TXT = 16;
constexpr uint16_t kDNSServiceType_AAAA = 28;
constexpr uint16_t kDNSServiceType_SRV = 33;
constexpr uint16_t kDNSServiceType_ANY = 255;

// Sizes of buffers with the terminator: an instance name (not escaped), and a full name (escaped).
constexpr int kDNSServiceMaxServiceName = 64;
constexpr int kDNSServiceMaxDomainName = 1009;

constexpr char kDNSServiceProperty_DaemonVersion[] = "DaemonVersion";

// ---- Callbacks -----------------------------------------------------------------------------------------------------
using DNSServiceDomainEnumReply = void (*)(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex,
                                           DNSServiceErrorType, const char* replyDomain, void* context);
using DNSServiceRegisterReply = void (*)(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType,
                                         const char* name, const char* regtype, const char* domain,
                                         void* context);
using DNSServiceBrowseReply = void (*)(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex,
                                       DNSServiceErrorType, const char* serviceName, const char* regtype,
                                       const char* replyDomain, void* context);
using DNSServiceResolveReply = void (*)(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex,
                                        DNSServiceErrorType, const char* fullname, const char* hosttarget,
                                        uint16_t port, uint16_t txtLen, const unsigned char* txtRecord,
                                        void* context);
using DNSServiceRegisterRecordReply = void (*)(DNSServiceRef, DNSRecordRef, DNSServiceFlags,
                                               DNSServiceErrorType, void* context);
using DNSServiceQueryRecordReply = void (*)(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex,
                                            DNSServiceErrorType, const char* fullname, uint16_t rrtype,
                                            uint16_t rrclass, uint16_t rdlen, const void* rdata, uint32_t ttl,
                                            void* context);
using DNSServiceNATPortMappingReply = void (*)(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex,
                                               DNSServiceErrorType, uint32_t externalAddress,
                                               DNSServiceProtocol, uint16_t internalPort,
                                               uint16_t externalPort, uint32_t ttl, void* context);
using DNSServiceGetAddrInfoReply = void (*)(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex,
                                            DNSServiceErrorType, const char* hostname,
                                            const sockaddr* address, uint32_t ttl, void* context);

// ---- Entry points --------------------------------------------------------------------------------------------------
using DNSServiceRefSockFDCall = dnssd_sock_t(DNSServiceRef);
using DNSServiceProcessResultCall = DNSServiceErrorType(DNSServiceRef);
using DNSServiceRefDeallocateCall = void(DNSServiceRef);
using DNSServiceEnumerateDomainsCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags,
                                                           uint32_t interfaceIndex, DNSServiceDomainEnumReply,
                                                           void* context);
using DNSServiceRegisterCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags, uint32_t interfaceIndex,
                                                   const char* name, const char* regtype, const char* domain,
                                                   const char* host, uint16_t port, uint16_t txtLen,
                                                   const void* txtRecord, DNSServiceRegisterReply,
                                                   void* context);
using DNSServiceAddRecordCall = DNSServiceErrorType(DNSServiceRef, DNSRecordRef*, DNSServiceFlags,
                                                    uint16_t rrtype, uint16_t rdlen, const void* rdata,
                                                    uint32_t ttl);
using DNSServiceUpdateRecordCall = DNSServiceErrorType(DNSServiceRef, DNSRecordRef, DNSServiceFlags,
                                                       uint16_t rdlen, const void* rdata, uint32_t ttl);
using DNSServiceRemoveRecordCall = DNSServiceErrorType(DNSServiceRef, DNSRecordRef, DNSServiceFlags);
using DNSServiceBrowseCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags, uint32_t interfaceIndex,
                                                 const char* regtype, const char* domain,
                                                 DNSServiceBrowseReply, void* context);
using DNSServiceResolveCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags, uint32_t interfaceIndex,
                                                  const char* name, const char* regtype, const char* domain,
                                                  DNSServiceResolveReply, void* context);
using DNSServiceConstructFullNameCall = DNSServiceErrorType(char* fullName, const char* service,
                                                            const char* regtype, const char* domain);
using DNSServiceCreateConnectionCall = DNSServiceErrorType(DNSServiceRef*);
using DNSServiceRegisterRecordCall = DNSServiceErrorType(DNSServiceRef, DNSRecordRef*, DNSServiceFlags,
                                                         uint32_t interfaceIndex, const char* fullname,
                                                         uint16_t rrtype, uint16_t rrclass, uint16_t rdlen,
                                                         const void* rdata, uint32_t ttl,
                                                         DNSServiceRegisterRecordReply, void* context);
using DNSServiceQueryRecordCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags,
                                                      uint32_t interfaceIndex, const char* fullname,
                                                      uint16_t rrtype, uint16_t rrclass,
                                                      DNSServiceQueryRecordReply, void* context);
using DNSServiceReconfirmRecordCall = DNSServiceErrorType(DNSServiceFlags, uint32_t interfaceIndex,
                                                          const char* fullname, uint16_t rrtype,
                                                          uint16_t rrclass, uint16_t rdlen,
                                                          const void* rdata);
using DNSServiceNATPortMappingCreateCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags,
                                                               uint32_t interfaceIndex, DNSServiceProtocol,
                                                               uint16_t internalPort, uint16_t externalPort,
                                                               uint32_t ttl, DNSServiceNATPortMappingReply,
                                                               void* context);
using DNSServiceGetAddrInfoCall = DNSServiceErrorType(DNSServiceRef*, DNSServiceFlags,
                                                      uint32_t interfaceIndex, DNSServiceProtocol,
                                                      const char* hostname, DNSServiceGetAddrInfoReply,
                                                      void* context);
using DNSServiceGetPropertyCall = DNSServiceErrorType(const char* property, void* result, uint32_t* size);

using TXTRecordCreateCall = void(TXTRecordRef*, uint16_t bufferLen, void* buffer);
using TXTRecordDeallocateCall = void(TXTRecordRef*);
using TXTRecordSetValueCall = DNSServiceErrorType(TXTRecordRef*, const char* key, uint8_t valueSize,
                                                  const void* value);
using TXTRecordRemoveValueCall = DNSServiceErrorType(TXTRecordRef*, const char* key);
using TXTRecordContainsKeyCall = int(uint16_t txtLen, const void* txtRecord, const char* key);
using TXTRecordGetCountCall = uint16_t(uint16_t txtLen, const void* txtRecord);
using TXTRecordGetLengthCall = uint16_t(const TXTRecordRef*);
using TXTRecordGetBytesPtrCall = const void*(const TXTRecordRef*);
using TXTRecordGetValuePtrCall = const void*(uint16_t txtLen, const void* txtRecord, const char* key,
                                             uint8_t* valueLen);
using TXTRecordGetItemAtIndexCall = DNSServiceErrorType(uint16_t txtLen, const void* txtRecord,
                                                        uint16_t itemIndex, uint16_t keyBufLen, char* key,
                                                        uint8_t* valueLen, const void** value);

}  // namespace NorvikLibInternal
