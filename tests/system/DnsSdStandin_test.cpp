// The stand-in of dnssd.dll against the published rules of its interface: what the library is developed and tested
// with must not be kinder than the real one.

#include <gmock/gmock.h>
#include <ws2tcpip.h>

#include <stdexcept>

#include "JRCmn/Internal/Cmn_Handle.h"
#include "standins/dnssd/Connection.h"
#include "standins/dnssd/Wire.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DnsSdCalls.h"
#include "tests/support/DnsSdDaemon.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Lines = std::vector<std::string>;

constexpr DWORD kLimit = 20'000;
constexpr char kType[] = "_desk._tcp";

std::string Text(const char* text) {
    return text ? text : "null";
}

// One running operation, waited on as an event loop does it. Results are kept as text.
class Running {
public:
    Running() = default;
    ~Running() { End(); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    DNSServiceErrorType Browse(uint32_t interfaceIndex = 0, const char* type = kType) {
        return Started(
            DNS_SD(DNSServiceBrowse)(&ref, 0, interfaceIndex, type, nullptr, &Running::OnBrowse, this));
    }
    DNSServiceErrorType Resolve(const char* name, uint32_t interfaceIndex = 0) {
        return Started(DNS_SD(DNSServiceResolve)(&ref, 0, interfaceIndex, name, "_desk._tcp.", "local.",
                                                 &Running::OnResolve, this));
    }
    DNSServiceErrorType Address(const char* host, DNSServiceProtocol protocol = 0,
                                uint32_t interfaceIndex = 0) {
        return Started(DNS_SD(DNSServiceGetAddrInfo)(&ref, 0, interfaceIndex, protocol, host,
                                                     &Running::OnAddress, this));
    }
    DNSServiceErrorType Register(const char* name, const std::string& txt = "", uint16_t port = 8000,
                                 DNSServiceFlags flags = 0, uint32_t interfaceIndex = 0) {
        return Started(DNS_SD(DNSServiceRegister)(&ref, flags, interfaceIndex, name, kType, nullptr, nullptr,
                                                  ::htons(port), static_cast<uint16_t>(txt.size()),
                                                  txt.data(), &Running::OnRegister, this));
    }
    void End() {
        if (ref) DNS_SD(DNSServiceRefDeallocate)(std::exchange(ref, nullptr));
        if (event) ::WSACloseEvent(std::exchange(event, nullptr));
    }

    // Waits for the socket's event and takes what is there.
    DNSServiceErrorType Process() {
        if (::WaitForSingleObject(event, kLimit) != WAIT_OBJECT_0) throw std::runtime_error("no result");
        WSANETWORKEVENTS events;
        ::WSAEnumNetworkEvents(static_cast<SOCKET>(DNS_SD(DNSServiceRefSockFD)(ref)), event, &events);
        return DNS_SD(DNSServiceProcessResult)(ref);
    }
    // The next results, as many as are asked for or arrive together with them.
    Lines Take(size_t count = 1) {
        while (results.size() < count && Process() == kDNSServiceErr_NoError) {
        }
        return std::exchange(results, {});
    }

    DNSServiceRef ref = nullptr;
    WSAEVENT event = nullptr;
    Lines results;
    std::vector<bool> more;
    std::function<void()> inCallback = [] {};

private:
    DNSServiceErrorType Started(DNSServiceErrorType error) {
        if (error != kDNSServiceErr_NoError) return error;
        event = ::WSACreateEvent();
        const auto socket = static_cast<SOCKET>(DNS_SD(DNSServiceRefSockFD)(ref));
        EXPECT_EQ(::WSAEventSelect(socket, event, FD_READ | FD_CLOSE), 0);
        return error;
    }
    void Got(DNSServiceFlags flags, DNSServiceErrorType error, const std::string& text) {
        more.push_back((flags & kDNSServiceFlagsMoreComing) != 0);
        const std::string sign = (flags & kDNSServiceFlagsAdd) != 0 ? "+" : "-";
        results.push_back(error != 0 ? "error " + std::to_string(error) : sign + text);
        inCallback();
    }
    static void OnBrowse(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                         DNSServiceErrorType error, const char* name, const char* type, const char* domain,
                         void* context) {
        static_cast<Running*>(context)->Got(flags, error,
                                            std::to_string(static_cast<int32_t>(interfaceIndex)) + " " +
                                                Text(name) + "|" + Text(type) + "|" + Text(domain));
    }
    static void OnResolve(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                          DNSServiceErrorType error, const char* fullName, const char* host, uint16_t port,
                          uint16_t txtLen, const unsigned char* txt, void* context) {
        static_cast<Running*>(context)->Got(flags, error,
                                            std::to_string(interfaceIndex) + " " + Text(fullName) + " " +
                                                Text(host) + ":" + std::to_string(::ntohs(port)) + " " +
                                                std::string(reinterpret_cast<const char*>(txt), txtLen));
    }
    static void OnAddress(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                          DNSServiceErrorType error, const char* host, const sockaddr* address, uint32_t,
                          void* context) {
        char text[INET6_ADDRSTRLEN] = "none";
        uint32_t scope = 0;
        if (address && address->sa_family == AF_INET) {
            const auto* const v4 = reinterpret_cast<const sockaddr_in*>(address);
            ::inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
        } else if (address && address->sa_family == AF_INET6) {
            const auto* const v6 = reinterpret_cast<const sockaddr_in6*>(address);
            ::inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
            scope = v6->sin6_scope_id;
        }
        const std::string suffix = scope != 0 ? "%" + std::to_string(scope) : "";
        static_cast<Running*>(context)->Got(
            flags, error, std::to_string(interfaceIndex) + " " + Text(host) + " " + text + suffix);
    }
    static void OnRegister(DNSServiceRef, DNSServiceFlags flags, DNSServiceErrorType error, const char* name,
                           const char* type, const char* domain, void* context) {
        static_cast<Running*>(context)->Got(flags, error, Text(name) + "|" + Text(type) + "|" + Text(domain));
    }
};

// Rules: an instance is announced once per interface; types and domains come back with a dot at the end, the full name
// escaped; a resolve and an address query go on answering; a registration ends with its reference.
TEST(DnsSdStandin, ARegisteredServiceIsFoundResolvedUpdatedAndWithdrawn) {
    const DnsSdDaemon daemon("--host studio --interfaces 2,7");
    Running browse, browse7, service, resolve, address, address4;
    ASSERT_EQ(browse.Browse(), 0);
    ASSERT_EQ(browse7.Browse(7), 0);
    ASSERT_EQ(service.Register("Desk 1.2", "\003a=1"), 0);
    EXPECT_THAT(service.Take(), ElementsAre("+Desk 1.2|_desk._tcp.|local."));
    EXPECT_THAT(browse.Take(2),
                ElementsAre("+2 Desk 1.2|_desk._tcp.|local.", "+7 Desk 1.2|_desk._tcp.|local."));
    EXPECT_THAT(browse7.Take(), ElementsAre("+7 Desk 1.2|_desk._tcp.|local."));

    ASSERT_EQ(resolve.Resolve("desk 1.2", 2), 0);
    const std::string fullName = "-2 Desk\\0321\\.2._desk._tcp.local. studio.local.:";
    EXPECT_THAT(resolve.Take(), ElementsAre(fullName + "8000 \003a=1"));
    ASSERT_EQ(address.Address("Studio.local", 0, 2), 0);
    EXPECT_THAT(address.Take(2), ElementsAre("+2 studio.local. 127.0.0.1", "+2 studio.local. ::1"));
    ASSERT_EQ(address4.Address("studio.local.", kDNSServiceProtocol_IPv4), 0);
    EXPECT_THAT(address4.Take(2), ElementsAre("+2 studio.local. 127.0.0.1", "+7 studio.local. 127.0.0.1"));

    const auto update = DNS_SD(DNSServiceUpdateRecord);
    EXPECT_EQ(update(service.ref, nullptr, 0, 5, "\004b=22", 0), 0);
    EXPECT_THAT(resolve.Take(), ElementsAre(fullName + "8000 \004b=22"));
    EXPECT_THAT(daemon.Control("list"), "Desk\\0321\\.2 _desk._tcp 0 studio.local. 8000 04623d3232 client\n");
    // No TXT record is one empty string.
    EXPECT_EQ(update(service.ref, nullptr, 0, 0, nullptr, 0), 0);
    EXPECT_THAT(resolve.Take(), ElementsAre(fullName + "8000 " + std::string(1, '\0')));
    EXPECT_EQ(update(service.ref, nullptr, 0, 2, "\002a", 0), kDNSServiceErr_Invalid);
    EXPECT_EQ(update(browse.ref, nullptr, 0, 2, "\001a", 0), kDNSServiceErr_BadReference);
    daemon.Control("port Desk\\0321\\.2 _desk._tcp 9000");
    EXPECT_THAT(resolve.Take(), ElementsAre(fullName + "9000 " + std::string(1, '\0')));
    daemon.Control("host studio.local. 0 127.0.0.1,fe80::5");
    EXPECT_THAT(address.Take(2), ElementsAre("-2 studio.local. ::1", "+2 studio.local. fe80::5%2"));

    service.End();
    EXPECT_THAT(browse.Take(2),
                ElementsAre("-2 Desk 1.2|_desk._tcp.|local.", "-7 Desk 1.2|_desk._tcp.|local."));
    EXPECT_EQ(daemon.Control("list"), "");
}

// Rules: a name that is taken (without regard to case, on the same interface) is renamed unless that is forbidden; a
// long name is cut to 63 bytes; no name is the computer's; port 0 holds a name and cannot be found.
TEST(DnsSdStandin, NamesThatAreTakenAreRenamed) {
    const DnsSdDaemon daemon("--host studio");
    const std::string longest(63, '\xC3');
    const std::string cut = std::string(60, 'x') + "\xE2\x82\xAC";
    const struct {
        std::string name;
        DNSServiceFlags flags;
        uint32_t interfaceIndex;
        uint16_t port;
        std::string result;
    } cases[] = {
        {"Desk", 0, 0, 80, "+Desk"},
        {"desk", 0, 0, 80, "+desk (2)"},
        {"Desk", 0, 4, 80, "+Desk (3)"},
        {"Desk (2)", 0, 0, 80, "+Desk (4)"},
        {"DESK", kDNSServiceFlagsNoAutoRename, 0, 80, "error -65548"},
        {"Far", kDNSServiceFlagsNoAutoRename, 3, 80, "+Far"},
        {"Far", kDNSServiceFlagsNoAutoRename, 4, 80, "+Far"},
        {longest, 0, 0, 80, "+" + longest},
        {longest, 0, 0, 80, "+" + longest.substr(0, 59) + " (2)"},
        {cut + "y", 0, 0, 80, "+" + cut},
        {cut.substr(1) + "\xE2\x82\xAC", 0, 0, 80, "+" + cut.substr(1)},
        {"", 0, 0, 80, "+studio"},
        {"Held", 0, 0, 0, "+Held"},
        {"Held", 0, 0, 80, "+Held (2)"},
    };
    Running services[std::size(cases)];
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto& each = cases[i];
        ASSERT_EQ(services[i].Register(each.name.c_str(), "", each.port, each.flags, each.interfaceIndex), 0);
        const std::string result = services[i].Take()[0];
        EXPECT_EQ(result.substr(0, result.find('|')), each.result) << each.name;
    }
    Running refused, browse;
    EXPECT_EQ(refused.Register(std::string(64, 'x').c_str(), "", 80, kDNSServiceFlagsNoAutoRename),
              kDNSServiceErr_BadParam);
    ASSERT_EQ(browse.Browse(), 0);
    EXPECT_THAT(browse.Take(std::size(cases) - 2), Not(testing::Contains(HasSubstr("Held|"))));
}

// Rules: bad arguments are told by the start call; a reference is set by a success only.
TEST(DnsSdStandin, BadArgumentsAreToldAtOnce) {
    const DnsSdDaemon daemon;
    Running operation;
    for (const char* type : {"desk._tcp", "_desk", "_desk._sctp", "_._tcp", "_sixteen-letters-x._tcp",
                             "_de sk._udp", "", "_a.b._tcp"})
        EXPECT_EQ(operation.Browse(0, type), kDNSServiceErr_BadParam) << type;
    EXPECT_EQ(operation.Browse(0, nullptr), kDNSServiceErr_BadParam);
    EXPECT_EQ(operation.Browse(0, "_desk._tcp,_small"), kDNSServiceErr_Unsupported);
    EXPECT_EQ(operation.Resolve(std::string(64, 'x').c_str()), kDNSServiceErr_BadParam);
    EXPECT_EQ(operation.Resolve(std::string(1100, 'x').c_str()), kDNSServiceErr_BadParam);
    EXPECT_EQ(operation.Address(""), kDNSServiceErr_BadParam);
    EXPECT_EQ(operation.Address("a.local.", kDNSServiceProtocol_TCP), kDNSServiceErr_BadParam);
    // The one fault that has a code of its own: -65549 for what is no TXT record.
    EXPECT_EQ(operation.Register("Desk", "txt=1"), kDNSServiceErr_Invalid);
    EXPECT_EQ(operation.ref, nullptr);
    EXPECT_EQ(DNS_SD(DNSServiceRefSockFD)(nullptr), -1);
    EXPECT_EQ(DNS_SD(DNSServiceProcessResult)(nullptr), kDNSServiceErr_BadParam);
    EXPECT_EQ(DNS_SD(DNSServiceCreateConnection)(&operation.ref), kDNSServiceErr_Unsupported);
    // Found by name like all the others, although they can do nothing here.
    for (const char* name : {"DNSServiceEnumerateDomains", "DNSServiceAddRecord", "DNSServiceRemoveRecord",
                             "DNSServiceRegisterRecord", "DNSServiceQueryRecord",
                             "DNSServiceNATPortMappingCreate", "DNSServiceGetProperty"})
        EXPECT_NO_THROW(FindDnsSd<void()>(name)) << name;
}

// Rules: "more coming" is said of every result that another one follows at once; a callback may end its own operation;
// ProcessResult does not wait on a socket that does not block.
TEST(DnsSdStandin, ManyResultsComeInFewCalls) {
    const DnsSdDaemon daemon;
    Running browse, other;
    ASSERT_EQ(browse.Browse(), 0);
    EXPECT_EQ(DNS_SD(DNSServiceProcessResult)(browse.ref), 0);
    daemon.Control("many _desk._tcp 300 1,2");
    int calls = 0;
    for (; browse.results.size() < 600; ++calls)
        ASSERT_EQ(browse.Process(), 0);
    EXPECT_LT(calls, 30);
    EXPECT_THAT(browse.results.front(), "+1 Instance 1|_desk._tcp.|local.");
    EXPECT_THAT(browse.results.back(), "+2 Instance 300|_desk._tcp.|local.");
    EXPECT_TRUE(browse.more.front());
    EXPECT_FALSE(browse.more.back());

    ASSERT_EQ(other.Browse(), 0);
    other.inCallback = [&] {
        if (other.results.size() == 3) DNS_SD(DNSServiceRefDeallocate)(std::exchange(other.ref, nullptr));
    };
    EXPECT_EQ(other.Process(), 0);
    EXPECT_EQ(other.results.size(), 3U);

    // What a callback throws reaches the caller, and the next call goes on behind that result.
    daemon.Control("deliver add Again _desk._tcp 1,2");
    browse.results.clear();
    browse.inCallback = [] { throw std::runtime_error("from a callback"); };
    EXPECT_THROW(browse.Process(), std::runtime_error);
    browse.inCallback = [] {};
    EXPECT_THAT(browse.Take(2), ElementsAre(HasSubstr("+1 Again|"), HasSubstr("+2 Again|")));
}

// Rules: without its daemon every start, and every call of an operation that it has left, is "not running".
TEST(DnsSdStandin, ADaemonThatDiesEndsEveryOperation) {
    DnsSdDaemon daemon;
    Running browse, service;
    ASSERT_EQ(browse.Browse(), 0);
    ASSERT_EQ(service.Register("Desk"), 0);
    service.Take();
    browse.Take();
    for (int round = 0; round < 3; ++round) {
        round == 0 ? daemon.Kill() : static_cast<void>(daemon.Control(round == 1 ? "exit" : "drop"));
        EXPECT_EQ(browse.Process(), kDNSServiceErr_ServiceNotRunning);
        EXPECT_EQ(DNS_SD(DNSServiceProcessResult)(browse.ref), kDNSServiceErr_ServiceNotRunning);
        EXPECT_EQ(DNS_SD(DNSServiceUpdateRecord)(service.ref, nullptr, 0, 2, "\001a", 0),
                  kDNSServiceErr_ServiceNotRunning);
        browse.End();
        if (round < 2) {
            EXPECT_EQ(browse.Browse(), kDNSServiceErr_ServiceNotRunning);
            EXPECT_EQ(DNS_SD(DNSServiceReconfirmRecord)(0, 0, "a._b._tcp.local.", 33, 1, 0, nullptr),
                      kDNSServiceErr_ServiceNotRunning);
            daemon.Restart();
        }
        ASSERT_EQ(browse.Browse(), 0);
        EXPECT_EQ(daemon.Control("list"), "");
    }
}

// Rules: a service ends with the process that registered it; a browse sees what others register.
TEST(DnsSdStandin, AKilledProcessWithdrawsItsService) {
    const DnsSdDaemon daemon;
    Running browse;
    ASSERT_EQ(browse.Browse(), 0);
    const std::string readyName = "DnsSdChild" + std::to_string(::GetCurrentProcessId());
    const KernelHandle ready(::CreateEventA(nullptr, TRUE, FALSE, readyName.c_str()));
    ChildProcess child("DnsSdChild.exe", {DnsSdLibrary(), "Second", kType, readyName});
    ASSERT_EQ(::WaitForSingleObject(ready.Get(), kLimit), WAIT_OBJECT_0);
    EXPECT_THAT(browse.Take(), ElementsAre("+1 Second|_desk._tcp.|local."));
    child.Kill();
    EXPECT_THAT(browse.Take(), ElementsAre("-1 Second|_desk._tcp.|local."));
    daemon.Control("await register 0");

    const std::string port = std::to_string(daemon.Port());
    ChildProcess good("..\\standins\\dnssd-daemon.exe", {"--control", port, "operations"});
    EXPECT_EQ(good.Wait(kLimit), 0);
    EXPECT_THAT(good.Output(), HasSubstr("browse 1 running 1 started"));
    ChildProcess bad("..\\standins\\dnssd-daemon.exe", {"--control", port, "add Desk _desk._tcp x h 1"});
    EXPECT_EQ(bad.Wait(kLimit), 2);
    EXPECT_THAT(bad.Output(), HasSubstr("usage: add NAME TYPE"));
}

// What a network does to its programs, by script.
TEST(DnsSdStandin, ScriptsMakeGhostsErrorsAndDuplicates) {
    const DnsSdDaemon daemon;
    const std::string name = "Desk\\032\\046\\1921";
    Running browse, resolve, address, service, failing;
    ASSERT_EQ(browse.Browse(), 0);
    daemon.Control("add " + name + " _desk._tcp 1,2 far.local. 80 03613d31");
    EXPECT_THAT(browse.Take(2), ElementsAre(HasSubstr("+1 Desk .\3001|"), HasSubstr("+2 Desk ")));
    daemon.Control("deliver add " + name + " _desk._tcp 2");
    daemon.Control("deliver remove Nobody _desk._tcp 9");
    EXPECT_THAT(browse.Take(2), ElementsAre(HasSubstr("+2 Desk "), HasSubstr("-9 Nobody|")));

    // A record that still answers stays, and one that does not goes.
    const auto reconfirm = DNS_SD(DNSServiceReconfirmRecord);
    const std::string fullName = name + "._desk._tcp.local.";
    EXPECT_EQ(reconfirm(0, 0, fullName.c_str(), kDNSServiceType_SRV, kDNSServiceClass_IN, 0, nullptr), 0);
    daemon.Control("remove " + name + " _desk._tcp 1");
    daemon.Control("ghost " + name + " _desk._tcp");
    EXPECT_THAT(browse.Take(), ElementsAre(HasSubstr("-1 Desk ")));
    EXPECT_EQ(reconfirm(0, 0, fullName.c_str(), kDNSServiceType_SRV, kDNSServiceClass_IN, 0, nullptr), 0);
    EXPECT_THAT(browse.Take(), ElementsAre(HasSubstr("-2 Desk ")));
    EXPECT_EQ(reconfirm(0, 0, "no\\escape", kDNSServiceType_SRV, 1, 0, nullptr), kDNSServiceErr_BadParam);

    // An operation waits for what it asks for.
    ASSERT_EQ(resolve.Resolve("Late", 5), 0);
    ASSERT_EQ(address.Address("late.local.", kDNSServiceProtocol_IPv6), 0);
    daemon.Control("add Late _desk._tcp 5 late.local. 81");
    daemon.Control("host late.local. 5 127.0.0.9,2001:db8::1");
    EXPECT_THAT(resolve.Take(), ElementsAre(HasSubstr("-5 Late._desk._tcp.local. late.local.:81 ")));
    EXPECT_THAT(address.Take(), ElementsAre("+5 late.local. 2001:db8::1"));
    browse.Take();

    ASSERT_EQ(service.Register("Mine"), 0);
    service.Take();
    browse.Take();
    for (const auto& [kind, operation] : std::vector<std::pair<std::string, Running*>>{
             {"browse", &browse}, {"resolve", &resolve}, {"address", &address}, {"register", &service}}) {
        daemon.Control("error " + kind + " -65568");
        EXPECT_THAT(operation->Take(), ElementsAre("error -65568")) << kind;
    }
    daemon.Control("fail browse 2 -65553");
    EXPECT_EQ(failing.Browse(9), kDNSServiceErr_Refused);
    EXPECT_EQ(failing.Browse(9), kDNSServiceErr_Refused);
    EXPECT_EQ(failing.Browse(9), 0);
    daemon.Control("interfaces 1,3");
    EXPECT_THAT(browse.Take(), ElementsAre("+3 Mine|_desk._tcp.|local."));
}

// A length is judged before it is used, and the others do not notice.
TEST(DnsSdStandin, ADaemonSurvivesWhatIsNoMessage) {
    const DnsSdDaemon daemon;
    Running browse;
    ASSERT_EQ(browse.Browse(), 0);
    const std::string zeros(8, '\0');
    const std::string messages[] = {
        std::string(4, '\0'),                                         // no length
        std::string(4, '\xFF'),                                       // the largest
        std::string("\x01\x00\x02\x00", 4) + zeros,                   // one more than is taken
        std::string("\x01\x00\x00\x00\x63", 5),                       // an unknown kind
        std::string("\x02\x00\x00\x00\x01\x00", 6),                   // cut short
        std::string("\x0B\x00\x00\x00\x01", 5) + zeros + "\xFF\xFF",  // a text that leaves the message
        std::string("\x0E\x00\x00\x00\x01", 5) + zeros + std::string(5, '\0'),  // bytes left over
    };
    for (const std::string& message : messages) {
        DnsSdStandin::Connection connection;
        ASSERT_TRUE(connection.Open(daemon.Port()) && connection.Send(message));
        const ULONGLONG start = ::GetTickCount64();
        EXPECT_FALSE(connection.Receive(DnsSdStandin::kMaxMessage, kLimit));
        EXPECT_LT(::GetTickCount64() - start, kLimit) << testing::PrintToString(message);
    }
    daemon.Control("add Desk _desk._tcp 1 h.local. 80");
    EXPECT_THAT(browse.Take(), ElementsAre("+1 Desk|_desk._tcp.|local."));
}

}  // namespace
