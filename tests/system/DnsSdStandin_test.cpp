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

    DNSServiceErrorType Browse() {
        return DNS_SD(DNSServiceBrowse)(&ref, 0, 0, kType, nullptr, &Running::OnBrowse, this);
    }
    DNSServiceErrorType Query(const char* fullName, uint16_t recordType) {
        return DNS_SD(DNSServiceQueryRecord)(&ref, 0, 2, fullName, recordType, kDNSServiceClass_IN,
                                             &Running::OnRecord, this);
    }
    DNSServiceErrorType Register(const std::string& name, const std::string& txt) {
        return DNS_SD(DNSServiceRegister)(&ref, 0, 0, name.c_str(), kType, nullptr, nullptr, ::htons(8000),
                                          static_cast<uint16_t>(txt.size()), txt.data(), nullptr, nullptr);
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
};

// Rules: an instance is announced once per interface; types and domains come back with a dot at the end; a query goes on
// answering, the new data before the old ones go; a registration ends with its reference.
TEST(DnsSdStandin, ARegisteredServiceIsAnnouncedUpdatedAndWithdrawn) {
    const DnsSdDaemon daemon({"--host", "studio", "--interfaces", "2,7"});
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
    EXPECT_EQ(update(service.ref, nullptr, 0, 0, nullptr, 0), kDNSServiceErr_Invalid);
    EXPECT_EQ(update(service.ref, nullptr, 0, 1, "", 0), 0);
    EXPECT_THAT(txt.Take(2), ElementsAre("+" + std::string(1, '\0'), "-\003a=1"));
    EXPECT_EQ(update(service.ref, nullptr, 0, 2, "\002a", 0), kDNSServiceErr_Invalid);
    EXPECT_EQ(update(browse.ref, nullptr, 0, 2, "\001a", 0), kDNSServiceErr_BadReference);
    service.End();
    EXPECT_THAT(browse.Take(2),
                ElementsAre("-2 Desk 1.2|_desk._tcp.|local.", "-7 Desk 1.2|_desk._tcp.|local."));
    EXPECT_THAT(srv.Take(), ElementsAre("-" + data));
    EXPECT_EQ(daemon.Control("list"), "");
}

}  // namespace
