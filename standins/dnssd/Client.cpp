// The library's side of operations: each has a connection of its own to the daemon, whose socket the caller waits on.

#include <ws2tcpip.h>

#include <cstring>
#include <memory>
#include <utility>

#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "standins/dnssd/Connection.h"
#include "standins/dnssd/Names.h"
#include "standins/dnssd/Wire.h"

namespace NorvikLibInternal {

using namespace DnsSdStandin;

struct DNSServiceRefTag {
    // Calls the callback for one result. False: this is no result of this operation.
    using Deliver = bool(DNSServiceRef, std::string_view body, DNSServiceFlags more);

    Connection connection;
    uint64_t id = 0;
    Kind kind = kControl;
    Deliver* deliver = nullptr;
    void (*callback)() = nullptr;
    void* context = nullptr;
    DNSServiceErrorType failure = kDNSServiceErr_NoError;
    // Of the ProcessResult that runs: set when a callback ends its own operation.
    bool* isGone = nullptr;
};

namespace {

bool FitsName(const char* text) {
    return !text || std::strlen(text) < kDNSServiceMaxDomainName;
}

std::string_view TextOf(const char* text) {
    return text ? text : "";
}

// A client library may try for long to reach a daemon that is absent: as long as the environment says.
bool Connect(Connection& connection) {
    if (connection.Open(DaemonPort())) return true;
    ::Sleep(EnvironmentNumber("NORVIK_DNSSD_PATIENCE"));
    return false;
}

// The daemon's answer to a request.
DNSServiceErrorType Ask(Connection& connection, const std::string& request, uint64_t* id = nullptr) {
    if (!Connect(connection) || !connection.Send(request)) return kDNSServiceErr_ServiceNotRunning;
    const std::optional<std::string> answer = connection.Receive(kMaxMessage, kAnswerLimit);
    if (!answer) return kDNSServiceErr_ServiceNotRunning;
    Reader reader(*answer);
    const bool isAnswer = reader.U8() == kAnswer;
    const auto error = static_cast<DNSServiceErrorType>(reader.U32());
    const uint64_t operation = reader.U64();
    reader.Rest();
    if (!isAnswer || !reader.IsWhole()) return kDNSServiceErr_Incompatible;
    if (id) *id = operation;
    return error;
}

template <typename Callback>
DNSServiceErrorType Start(DNSServiceRef* out, Kind kind, Writer& request, DNSServiceRefTag::Deliver* deliver,
                          Callback callback, void* context) {
    auto operation = std::make_unique<DNSServiceRefTag>();
    operation->kind = kind;
    operation->deliver = deliver;
    operation->callback = reinterpret_cast<void (*)()>(callback);
    operation->context = context;
    const DNSServiceErrorType error = Ask(operation->connection, request.Take(), &operation->id);
    if (error != kDNSServiceErr_NoError) return error;
    *out = operation.release();
    return error;
}

bool DeliverBrowse(DNSServiceRef ref, std::string_view body, DNSServiceFlags more) {
    Reader reader(body);
    if (reader.U8() != kBrowseResult) return false;
    const uint32_t flags = reader.U32();
    const uint32_t interfaceIndex = reader.U32();
    const auto error = static_cast<DNSServiceErrorType>(reader.U32());
    const std::string name = reader.Text();
    const std::string type = reader.Text();
    const std::string domain = reader.Text();
    if (!reader.IsWhole()) return false;
    reinterpret_cast<DNSServiceBrowseReply>(ref->callback)(
        ref, flags | more, interfaceIndex, error, name.c_str(), type.c_str(), domain.c_str(), ref->context);
    return true;
}

bool DeliverResolve(DNSServiceRef ref, std::string_view body, DNSServiceFlags more) {
    Reader reader(body);
    if (reader.U8() != kResolveResult) return false;
    const uint32_t flags = reader.U32();
    const uint32_t interfaceIndex = reader.U32();
    const auto error = static_cast<DNSServiceErrorType>(reader.U32());
    const std::string fullName = reader.Text();
    const std::string host = reader.Text();
    const uint16_t port = reader.U16();
    const std::string txt = reader.Text();
    if (!reader.IsWhole()) return false;
    const auto* const bytes = txt.empty() ? nullptr : reinterpret_cast<const unsigned char*>(txt.data());
    reinterpret_cast<DNSServiceResolveReply>(ref->callback)(
        ref, flags | more, interfaceIndex, error, fullName.c_str(), host.c_str(), htons(port),
        static_cast<uint16_t>(txt.size()), bytes, ref->context);
    return true;
}

// The bytes of an IPv4 or IPv6 address as a socket address; null for others.
const sockaddr* SocketAddress(std::string_view bytes, uint32_t interfaceIndex, sockaddr_storage& storage) {
    storage = {};
    if (bytes.size() == sizeof(in_addr)) {
        auto& address = reinterpret_cast<sockaddr_in&>(storage);
        address.sin_family = AF_INET;
        std::memcpy(&address.sin_addr, bytes.data(), bytes.size());
    } else if (bytes.size() == sizeof(in6_addr)) {
        auto& address = reinterpret_cast<sockaddr_in6&>(storage);
        address.sin6_family = AF_INET6;
        std::memcpy(&address.sin6_addr, bytes.data(), bytes.size());
        // A link-local address means something on its own link only.
        if (IN6_IS_ADDR_LINKLOCAL(&address.sin6_addr)) address.sin6_scope_id = interfaceIndex;
    } else {
        return nullptr;
    }
    return reinterpret_cast<const sockaddr*>(&storage);
}

bool DeliverAddress(DNSServiceRef ref, std::string_view body, DNSServiceFlags more) {
    Reader reader(body);
    if (reader.U8() != kAddressResult) return false;
    const uint32_t flags = reader.U32();
    const uint32_t interfaceIndex = reader.U32();
    const auto error = static_cast<DNSServiceErrorType>(reader.U32());
    const std::string host = reader.Text();
    const std::string bytes = reader.Text();
    const uint32_t ttl = reader.U32();
    if (!reader.IsWhole()) return false;
    sockaddr_storage storage;
    const sockaddr* const address = SocketAddress(bytes, interfaceIndex, storage);
    reinterpret_cast<DNSServiceGetAddrInfoReply>(ref->callback)(ref, flags | more, interfaceIndex, error,
                                                                host.c_str(), address, ttl, ref->context);
    return true;
}

bool DeliverRegister(DNSServiceRef ref, std::string_view body, DNSServiceFlags more) {
    Reader reader(body);
    if (reader.U8() != kRegisterResult) return false;
    const uint32_t flags = reader.U32();
    const auto error = static_cast<DNSServiceErrorType>(reader.U32());
    const std::string name = reader.Text();
    const std::string type = reader.Text();
    const std::string domain = reader.Text();
    if (!reader.IsWhole()) return false;
    // A registration may have no callback.
    if (ref->callback)
        reinterpret_cast<DNSServiceRegisterReply>(ref->callback)(ref, flags | more, error, name.c_str(),
                                                                 type.c_str(), domain.c_str(), ref->context);
    return true;
}

bool DeliverQuery(DNSServiceRef ref, std::string_view body, DNSServiceFlags more) {
    Reader reader(body);
    if (reader.U8() != kQueryResult) return false;
    const uint32_t flags = reader.U32();
    const uint32_t interfaceIndex = reader.U32();
    const auto error = static_cast<DNSServiceErrorType>(reader.U32());
    const std::string fullName = reader.Text();
    const uint16_t type = reader.U16();
    const std::string data = reader.Text();
    const uint32_t ttl = reader.U32();
    if (!reader.IsWhole()) return false;
    reinterpret_cast<DNSServiceQueryRecordReply>(ref->callback)(
        ref, flags | more, interfaceIndex, error, fullName.c_str(), type, kDNSServiceClass_IN,
        static_cast<uint16_t>(data.size()), data.empty() ? nullptr : data.data(), ttl, ref->context);
    return true;
}

// Reads the next message, and not beyond it. The socket blocks or does not, as its owner has set it; one that does not must
// have the whole message already, because not every library goes on later.
enum class Read { kMessage, kLater, kFailed };

Read ReadMessage(const DNSServiceRefTag& operation, std::string& input) {
    for (;;) {
        size_t wanted = kPrefixSize;
        if (input.size() >= kPrefixSize) {
            const uint32_t length = MessageLength(input.data());
            if (length == 0 || length > kMaxMessage) return Read::kFailed;
            wanted += length;
            if (input.size() == wanted) return Read::kMessage;
        }
        const size_t size = input.size();
        input.resize(wanted);
        const int count =
            ::recv(operation.connection.Socket(), input.data() + size, static_cast<int>(wanted - size), 0);
        const int error = count < 0 ? ::WSAGetLastError() : 0;
        input.resize(size + static_cast<size_t>(count > 0 ? count : 0));
        if (error == WSAEWOULDBLOCK && input.empty()) return Read::kLater;
        if (count <= 0) return Read::kFailed;
    }
}

bool HasMore(const DNSServiceRefTag& operation) {
    u_long bytes = 0;
    return ::ioctlsocket(operation.connection.Socket(), FIONREAD, &bytes) == 0 && bytes > 0;
}

// Watches whether the callbacks end the operation. A callback that throws leaves it as it is.
struct GoneWatch {
    explicit GoneWatch(DNSServiceRef ref) : operation(ref) { operation->isGone = &isGone; }
    ~GoneWatch() {
        if (!isGone) operation->isGone = nullptr;
    }
    GoneWatch(const GoneWatch&) = delete;
    GoneWatch& operator=(const GoneWatch&) = delete;

    const DNSServiceRef operation;
    bool isGone = false;
};

}  // namespace

extern "C" {

DNSServiceRefSockFDCall DNSServiceRefSockFD;
DNSServiceProcessResultCall DNSServiceProcessResult;
DNSServiceRefDeallocateCall DNSServiceRefDeallocate;
DNSServiceRegisterCall DNSServiceRegister;
DNSServiceUpdateRecordCall DNSServiceUpdateRecord;
DNSServiceBrowseCall DNSServiceBrowse;
DNSServiceResolveCall DNSServiceResolve;
DNSServiceConstructFullNameCall DNSServiceConstructFullName;
DNSServiceReconfirmRecordCall DNSServiceReconfirmRecord;
DNSServiceGetAddrInfoCall DNSServiceGetAddrInfo;
DNSServiceQueryRecordCall DNSServiceQueryRecord;
DNSServiceGetPropertyCall DNSServiceGetProperty;

dnssd_sock_t DNSServiceRefSockFD(DNSServiceRef ref) {
    return ref ? static_cast<dnssd_sock_t>(ref->connection.Socket()) : -1;
}

DNSServiceErrorType DNSServiceProcessResult(DNSServiceRef ref) {
    if (!ref) return kDNSServiceErr_BadParam;
    if (ref->isGone != nullptr) return kDNSServiceErr_BadState;
    if (ref->failure != kDNSServiceErr_NoError) return ref->failure;
    const GoneWatch watch(ref);
    bool hasMore = true;
    while (hasMore) {
        std::string message;
        const Read read = ReadMessage(*ref, message);
        if (read == Read::kLater) return kDNSServiceErr_NoError;
        if (read == Read::kFailed) return ref->failure = kDNSServiceErr_ServiceNotRunning;
        hasMore = HasMore(*ref);
        const bool isResult = ref->deliver(ref, std::string_view(message).substr(kPrefixSize),
                                           hasMore ? kDNSServiceFlagsMoreComing : 0);
        if (watch.isGone) return kDNSServiceErr_NoError;
        if (!isResult) return ref->failure = kDNSServiceErr_Incompatible;
    }
    return kDNSServiceErr_NoError;
}

void DNSServiceRefDeallocate(DNSServiceRef ref) {
    if (ref && ref->isGone) *ref->isGone = true;
    delete ref;
}

DNSServiceErrorType DNSServiceBrowse(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                     const char* regtype, const char* domain, DNSServiceBrowseReply callback,
                                     void* context) {
    if (!ref || !callback || !regtype || !FitsName(regtype) || !FitsName(domain))
        return kDNSServiceErr_BadParam;
    *ref = nullptr;
    Writer request(kBrowse);
    request.U32(flags).U32(interfaceIndex).Text(regtype).Text(TextOf(domain));
    return Start(ref, kBrowse, request, &DeliverBrowse, callback, context);
}

DNSServiceErrorType DNSServiceResolve(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                      const char* name, const char* regtype, const char* domain,
                                      DNSServiceResolveReply callback, void* context) {
    const bool isGood = ref && callback && name && regtype && domain && FitsName(name) && FitsName(regtype);
    if (!isGood || !FitsName(domain)) return kDNSServiceErr_BadParam;
    *ref = nullptr;
    Writer request(kResolve);
    request.U32(flags).U32(interfaceIndex).Text(name).Text(regtype).Text(domain);
    return Start(ref, kResolve, request, &DeliverResolve, callback, context);
}

DNSServiceErrorType DNSServiceGetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                          DNSServiceProtocol protocol, const char* hostname,
                                          DNSServiceGetAddrInfoReply callback, void* context) {
    if (!ref || !callback || !hostname || !FitsName(hostname)) return kDNSServiceErr_BadParam;
    *ref = nullptr;
    Writer request(kAddress);
    request.U32(flags).U32(interfaceIndex).U32(protocol).Text(hostname);
    return Start(ref, kAddress, request, &DeliverAddress, callback, context);
}

DNSServiceErrorType DNSServiceQueryRecord(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                          const char* fullname, uint16_t rrtype, uint16_t rrclass,
                                          DNSServiceQueryRecordReply callback, void* context) {
    if (!ref || !callback || !fullname || !FitsName(fullname)) return kDNSServiceErr_BadParam;
    *ref = nullptr;
    Writer request(kQuery);
    request.U32(flags).U32(interfaceIndex).U16(rrtype).U16(rrclass).Text(fullname);
    return Start(ref, kQuery, request, &DeliverQuery, callback, context);
}

DNSServiceErrorType DNSServiceGetProperty(const char* property, void* result, uint32_t* size) {
    if (!property || !result || !size) return kDNSServiceErr_BadParam;
    if (std::string_view(property) != kDNSServiceProperty_DaemonVersion || *size < sizeof(uint32_t))
        return kDNSServiceErr_Unsupported;
    constexpr uint32_t kOne = 10'000;
    Connection connection;
    const DNSServiceErrorType error = Ask(connection, Writer(kVersion).Take());
    if (error == kDNSServiceErr_NoError) std::memcpy(result, &kOne, *size = sizeof kOne);
    return error;
}

DNSServiceErrorType DNSServiceRegister(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                       const char* name, const char* regtype, const char* domain,
                                       const char* host, uint16_t port, uint16_t txtLen,
                                       const void* txtRecord, DNSServiceRegisterReply callback,
                                       void* context) {
    if (!ref || !regtype || (txtLen > 0 && !txtRecord)) return kDNSServiceErr_BadParam;
    for (const char* text : {name, regtype, domain, host})
        if (!FitsName(text)) return kDNSServiceErr_BadParam;
    *ref = nullptr;
    Writer request(kRegister);
    request.U32(flags).U32(interfaceIndex).U16(ntohs(port)).Text(TextOf(name)).Text(regtype);
    request.Text(TextOf(domain)).Text(TextOf(host)).Text({static_cast<const char*>(txtRecord), txtLen});
    return Start(ref, kRegister, request, &DeliverRegister, callback, context);
}

// The time to live is not taken: nothing expires here.
DNSServiceErrorType DNSServiceUpdateRecord(DNSServiceRef ref, DNSRecordRef record, DNSServiceFlags,
                                           uint16_t rdlen, const void* rdata, uint32_t) {
    if (!ref || (rdlen > 0 && !rdata)) return kDNSServiceErr_BadParam;
    // There are no records but the primary one.
    if (ref->kind != kRegister || record) return kDNSServiceErr_BadReference;
    // The answer must not come between the operation's results, so this goes by a connection of its own.
    Connection connection;
    Writer request(kUpdate);
    request.U64(ref->id).Text({static_cast<const char*>(rdata), rdlen});
    return Ask(connection, request.Take());
}

DNSServiceErrorType DNSServiceReconfirmRecord(DNSServiceFlags flags, uint32_t interfaceIndex,
                                              const char* fullname, uint16_t rrtype, uint16_t rrclass,
                                              uint16_t rdlen, const void* rdata) {
    if (!fullname || !FitsName(fullname) || (rdlen > 0 && !rdata)) return kDNSServiceErr_BadParam;
    Connection connection;
    Writer request(kReconfirm);
    request.U32(flags).U32(interfaceIndex).U16(rrtype).U16(rrclass).Text(fullname);
    request.Text({static_cast<const char*>(rdata), rdlen});
    return Ask(connection, request.Take());
}

DNSServiceErrorType DNSServiceConstructFullName(char* fullName, const char* service, const char* regtype,
                                                const char* domain) {
    if (!fullName || !regtype || !domain || !*domain) return kDNSServiceErr_BadParam;
    const std::string_view name = TextOf(service);
    const std::optional<std::string> type = ServiceType(regtype);
    if (name.size() > kMaxLabel || !type) return kDNSServiceErr_BadParam;
    std::string text = name.empty() ? "" : EscapedLabel(name) + ".";
    text += *type + "." + HostName(domain);
    if (text.size() >= kDNSServiceMaxDomainName) return kDNSServiceErr_BadParam;
    std::memcpy(fullName, text.c_str(), text.size() + 1);
    return kDNSServiceErr_NoError;
}

}  // extern "C"

}  // namespace NorvikLibInternal
