// Discovery on a network, and with a library, that misbehave.

#include <gmock/gmock.h>

#include <map>
#include <random>

#include "JRCmn/Cmn_BonjourLocator.h"
#include "tests/support/Discovery.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

using testing::AnyOf, testing::Each, testing::HasSubstr;
using Instance = std::pair<std::string, uint32_t>;  // with its interface

// Random scripts, with a model of what is to be known at the end. What has no name that fits is never known.
TEST(BonjourHostile, TheListIsExactWhateverTheNetworkSays) {
    const std::string longest(63, 'n'), tooLong(1005, 'x');
    const std::string names[] = {"Desk", "%s%n%p", "a.b\\c", "\xC3(\xFF\n", longest, "", "\1\x7F", tooLong};
    const std::string hosts[] = {"a.local.", "%n.local.", "\\000\\255.local."};
    const std::string records[] = {"00", "05613d31", "ffffff", "03613d3103613d32", "023d3d", "0000", "0461"};
    std::mt19937 random(5);
    const auto Any = [&](const auto& list) { return list[random() % std::size(list)]; };
    Discovery net;
    for (int script = 0; script < 15; ++script) {
        SCOPED_TRACE(script);
        std::map<Instance, int> known, expected;
        std::optional<Cmn_BonjourLocator> locator;
        const auto Tells = [&](int change) {
            return [&, change](const Cmn_BonjourService& service) {
                const Instance instance(service.mName, service.mInterfaceIndex);
                if ((known[instance] += change) == 0) known.erase(instance);
                if (random() % 4 == 0) net.manager.ProcessOneEvent(0);  // a callback inside a callback
                if (random() % 32 != 0 || !locator->IsStarted()) return;
                locator->Stop(true);
                locator->Start();
            };
        };
        locator.emplace("_desk._tcp", ENetworkUser::eAny, Tells(1), Tells(0), Tells(-1), net.manager);
        locator->SetErrorCallback([](const Cmn_BonjourError&) {});
        locator->Start();
        for (const std::string& host : hosts)
            net.daemon.Control("host " + host + " 1,2 127.0.0.1");
        for (int step = 0; step < 30; ++step) {
            const Instance instance(Any(names), 1 + random() % 2);
            const bool isThere = expected.contains(instance);
            const std::string name =
                (instance.first.empty() ? "\\000" : DnsSdDaemon::Label(instance.first)) + " _desk._tcp ";
            const std::string interfaceIndex = std::to_string(instance.second);
            const auto what = random() % 4;
            if (what == 0) {
                net.daemon.Control("remove " + name + interfaceIndex);
                expected.erase(instance);
            } else if (what == 1) {
                net.daemon.Control((isThere ? "deliver add " : "deliver remove ") + name + interfaceIndex);
            } else {
                net.daemon.Control("add " + name + interfaceIndex + " " + Any(hosts) +
                                   (random() % 2 == 0 ? " 0 " : " 80 ") + Any(records));
                if (!instance.first.empty() && instance.first.size() <= 63) expected[instance] = 1;
            }
            if (random() % 2 == 0) net.manager.ProcessOneEvent(0);
        }
        EXPECT_TRUE(net.RunUntil([&] { return !net.manager.ProcessOneEvent(20) && known == expected; }));
        EXPECT_EQ(known, expected);
        locator.reset();
        net.daemon.Control("clear");
        EXPECT_THAT(TakeReports(), Each(AnyOf(HasSubstr("Cmn_BonjourLocatorImpl.cpp("),
                                              HasSubstr("Cmn_BonjourTXTRecordCodec.cpp("))));
        TakeTraces();
    }
}

TEST(BonjourHostile, AnyOneEntryPointMayBeMissing) {
    const TempFolder folder;
    Discovery net;
    net.daemon.Control("many _desk._tcp 1");
    const std::string whole = ReadWholeFile(DnsSdDaemon::Folder() + "\\dnssd.dll");
    // One that is needed, one that would be called again and again, and one that asks for the daemon.
    for (const std::string name : {"DNSServiceResolve", "DNSServiceQueryRecord", "DNSServiceGetProperty"}) {
        SCOPED_TRACE(name);
        std::string bytes = whole;
        const std::string text = '\0' + name + '\0';
        for (size_t at = 0; (at = bytes.find(text, at)) != bytes.npos; ++at)
            bytes[at + name.size()] = '-';
        WriteWholeFile(folder.Path(name + ".dll"), bytes);
        const HMODULE library = ::LoadLibraryA(folder.Path(name + ".dll").c_str());
        ASSERT_TRUE(library);
        NorvikLibInternal::OverrideDnsSdLibrary(library);
        {
            std::optional<Cmn_BonjourService> found;
            std::string error;
            const auto onAdded = [&](const Cmn_BonjourService& service) { found = service; };
            Cmn_BonjourLocator locator("_desk._tcp", ENetworkUser::eAny, onAdded, {}, {}, net.manager);
            locator.SetErrorCallback([&](const Cmn_BonjourError& each) { error = each.ToString(); });
            locator.Start();
            EXPECT_TRUE(net.RunUntil([&] { return found || !error.empty(); }));
            EXPECT_EQ(error, name == "DNSServiceResolve" ? "Background daemon not running" : "");
            EXPECT_EQ(found.has_value(), error.empty());
        }
        NorvikLibInternal::OverrideDnsSdLibrary(nullptr);
        ::FreeLibrary(library);
    }
}
