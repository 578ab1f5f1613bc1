// The stand-in of dnssd.dll against the published rules of its interface, as far as the library's own tests do not see them:
// what the library is developed and tested with must not be kinder than the real one.

#include <gmock/gmock.h>

#include "tests/support/DnsSdCalls.h"
#include "tests/support/DnsSdDaemon.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

constexpr char kType[] = "_desk._tcp";

// One running operation, with its results as text. Its socket blocks.
class Running {
public:
    Running() = default;
    ~Running() { End(); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    DNSServiceErrorType Browse(uint32_t interfaceIndex = 0, const char* type = kType) {
        return DNS_SD(DNSServiceBrowse)(&ref, 0, interfaceIndex, type, nullptr, &Running::OnBrowse, this);
    }
    DNSServiceErrorType Query(const char* fullName, uint16_t recordType) {
        return DNS_SD(DNSServiceQueryRecord)(&ref, 0, 2, fullName, recordType, kDNSServiceClass_IN,
                                             &Running::OnRecord, this);
    }
    DNSServiceErrorType Register(const std::string& name, const std::string& txt = "", uint16_t port = 8000,
                                 DNSServiceFlags flags = 0, uint32_t interfaceIndex = 0) {
        return DNS_SD(DNSServiceRegister)(&ref, flags, interfaceIndex, name.c_str(), kType, nullptr, nullptr,
                                          ::htons(port), static_cast<uint16_t>(txt.size()), txt.data(),
                                          &Running::OnRegister, this);
    }
    void End() {
        if (ref) DNS_SD(DNSServiceRefDeallocate)(std::exchange(ref, nullptr));
    }
    // The next results, as many as are asked for or arrive together with them.
    Lines Take(size_t count = 1) {
        while (results.size() < count && DNS_SD(DNSServiceProcessResult)(ref) == kDNSServiceErr_NoError) {
        }
        return std::exchange(results, {});
    }

    DNSServiceRef ref = nullptr;
    Lines results;

private:
    void Got(DNSServiceFlags flags, DNSServiceErrorType error, const std::string& text) {
        const std::string sign = (flags & kDNSServiceFlagsAdd) != 0 ? "+" : "-";
        results.push_back(error != 0 ? "error " + std::to_string(error) : sign + text);
    }
    static void OnBrowse(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                         DNSServiceErrorType error, const char* name, const char* type, const char* domain,
                         void* context) {
        static_cast<Running*>(context)->Got(
            flags, error, std::to_string(interfaceIndex) + " " + name + "|" + type + "|" + domain);
    }
    static void OnRecord(DNSServiceRef, DNSServiceFlags flags, uint32_t, DNSServiceErrorType error,
                         const char*, uint16_t, uint16_t, uint16_t size, const void* data, uint32_t,
                         void* context) {
        static_cast<Running*>(context)->Got(flags, error, std::string(static_cast<const char*>(data), size));
    }
    static void OnRegister(DNSServiceRef, DNSServiceFlags flags, DNSServiceErrorType error, const char* name,
                           const char*, const char*, void* context) {
        static_cast<Running*>(context)->Got(flags, error, name);
    }
};

// Rules: an instance is announced once per interface; types and domains come back with a dot at the end; a query goes on
// answering, the new data before the old ones go; a registration ends with its reference.
TEST(DnsSdStandin, ARegisteredServiceIsAnnouncedUpdatedAndWithdrawn) {
    const DnsSdDaemon daemon("--host studio --interfaces 2,7");
    Running browse, service, txt, srv;
    ASSERT_EQ(browse.Browse(), 0);
    ASSERT_EQ(service.Register("Desk 1.2", "\003a=1"), 0);
    EXPECT_THAT(browse.Take(2),
                ElementsAre("+2 Desk 1.2|_desk._tcp.|local.", "+7 Desk 1.2|_desk._tcp.|local."));
    const char* const fullName = "Desk\\0321\\.2._desk._tcp.local.";
    ASSERT_EQ(txt.Query(fullName, kDNSServiceType_TXT), 0);
    ASSERT_EQ(srv.Query(fullName, kDNSServiceType_SRV), 0);
    EXPECT_THAT(txt.Take(), ElementsAre("+\003a=1"));
    const std::string data("\0\0\0\0\x1F\x40\006studio\005local\0", 20);
    EXPECT_THAT(srv.Take(), ElementsAre("+" + data));

    const auto update = DNS_SD(DNSServiceUpdateRecord);
    EXPECT_EQ(update(service.ref, nullptr, 0, 0, nullptr, 0), 0);
    EXPECT_THAT(txt.Take(2), ElementsAre("+" + std::string(1, '\0'), "-\003a=1"));
    EXPECT_EQ(update(service.ref, nullptr, 0, 2, "\002a", 0), kDNSServiceErr_Invalid);
    EXPECT_EQ(update(browse.ref, nullptr, 0, 2, "\001a", 0), kDNSServiceErr_BadReference);
    service.End();
    EXPECT_THAT(browse.Take(2),
                ElementsAre("-2 Desk 1.2|_desk._tcp.|local.", "-7 Desk 1.2|_desk._tcp.|local."));
    EXPECT_THAT(srv.Take(), ElementsAre("-" + data));
    EXPECT_EQ(daemon.Control("list"), "");
}

// Rules: a name that is taken (without regard to case, on the same interface) is renamed unless that is forbidden; a
// long name is cut to 63 bytes; no name is the computer's.
TEST(DnsSdStandin, NamesThatAreTakenAreRenamed) {
    const DnsSdDaemon daemon("--host studio");
    const std::string longest(63, '\xC3');
    const std::string cut = std::string(60, 'x') + "\xE2\x82\xAC";
    const struct {
        std::string name;
        DNSServiceFlags flags;
        uint32_t interfaceIndex;
        std::string result;
    } cases[] = {
        {"Desk", 0, 0, "+Desk"},        {"desk", 0, 0, "+desk (2)"},
        {"Desk", 0, 4, "+Desk (3)"},    {"DESK", kDNSServiceFlagsNoAutoRename, 0, "error -65548"},
        {longest, 0, 0, "+" + longest}, {longest, 0, 0, "+" + longest.substr(0, 59) + " (2)"},
        {cut + "y", 0, 0, "+" + cut},   {"", 0, 0, "+studio"},
    };
    Running services[std::size(cases)];
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto& each = cases[i];
        ASSERT_EQ(services[i].Register(each.name, "", 80, each.flags, each.interfaceIndex), 0);
        EXPECT_THAT(services[i].Take(), ElementsAre(each.result)) << each.name;
    }
}

// Rules: bad arguments are told by the start call; a reference is set by a success only.
TEST(DnsSdStandin, BadArgumentsAreToldAtOnce) {
    const DnsSdDaemon daemon;
    Running operation;
    for (const char* type : {"desk._tcp", "_desk", "_desk._sctp", "_._tcp", "_sixteen-letters-x._tcp",
                             "_de sk._udp", "", "_a.b._tcp"})
        EXPECT_EQ(operation.Browse(0, type), kDNSServiceErr_BadParam) << type;
    EXPECT_EQ(operation.Query("no\\escape", kDNSServiceType_TXT), kDNSServiceErr_BadParam);
    EXPECT_EQ(operation.Query(std::string(1100, 'x').c_str(), kDNSServiceType_TXT), kDNSServiceErr_BadParam);
    EXPECT_EQ(operation.Register("Desk", "txt=1"), kDNSServiceErr_Invalid);
    EXPECT_EQ(operation.ref, nullptr);
}

// Rule: dots and backslashes get a backslash, blanks and control characters become \DDD, the rest of UTF-8 stays; no
// service name makes the name of the type.
TEST(DnsSdStandin, FullNamesAreEscaped) {
    const std::string tooLong(64, 'x');
    const struct {
        const char* service;
        const char* type;
        const char* domain;
        const char* fullName;  // null: a bad parameter
    } cases[] = {
        {"1st. Floor\\2", "_desk._udp.", "local", "1st\\.\\032Floor\\\\2._desk._udp.local."},
        {"\x01\x7F\t\"%", "_desk._tcp", "local.", "\\001\\127\\009\"%._desk._tcp.local."},
        {"Gr\xC3\xBC\xC3\237e", "_desk._tcp", "a\\.b.com.", "Gr\xC3\xBC\xC3\237e._desk._tcp.a\\.b.com."},
        {nullptr, "_desk._tcp", "local.", "_desk._tcp.local."},
        {"Desk", "_desk", "local.", nullptr},
        {tooLong.c_str(), "_desk._tcp", "local.", nullptr},
    };
    const auto construct = DNS_SD(DNSServiceConstructFullName);
    for (const auto& each : cases) {
        char fullName[kDNSServiceMaxDomainName] = "";
        const DNSServiceErrorType error = construct(fullName, each.service, each.type, each.domain);
        EXPECT_EQ(error, each.fullName ? 0 : kDNSServiceErr_BadParam);
        EXPECT_STREQ(fullName, each.fullName ? each.fullName : "");
    }
}

}  // namespace
