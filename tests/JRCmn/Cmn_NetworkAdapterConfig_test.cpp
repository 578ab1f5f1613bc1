#include "JRCmn/Cmn_NetworkAdapterConfig.h"

#include <gmock/gmock.h>

#include "JRCmn/Internal/Cmn_Windows.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <optional>
#include <thread>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Registry.h"
#include "tests/support/FakeAdapter.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;
using testing::Contains;

constexpr std::chrono::seconds kLimit{20};

struct NetworkAdapterConfig : testing::Test {
    FakeAdapter adapter;
    boost::asio::io_context service;
    const decltype(boost::asio::make_work_guard(service)) work{service.get_executor()};
};

TEST_F(NetworkAdapterConfig, TellsOnTheLoopWhenTheAddressChanges) {
    int calls = 0;
    const Cmn_NetworkAdapterConfig any(service, ENetworkUser::eAny, [] { ADD_FAILURE(); });
    EXPECT_EQ(any.GetIPv4Address(), Cmn_IPv4Address::GetAddrAny());
    {
        Cmn_NetworkAdapterConfig config(service, ENetworkUser::eConsole, [&] { ++calls; });
        Cmn_NetworkAdapterConfig silent(service, ENetworkUser::eEngine, nullptr);
        EXPECT_EQ(config.GetIPv4Address(), kFakeFirst);
        for (const uint32_t address : {kFakeNone, kFakeSecond}) {
            adapter.Change(address);
            const int before = calls;
            while (calls == before)
                ASSERT_NE(service.run_one_for(kLimit), 0u);
            EXPECT_EQ(calls, before + 1);
            EXPECT_EQ(config.GetIPv4Address(), address != 0 ? address : Cmn_IPv4Address());
            EXPECT_EQ(config.GetInterfaceIndex(), address != 0 ? 7u : 0u);
        }
    }
    EXPECT_EQ(adapter.TimesDisarmed(), 1);
    EXPECT_THAT(TakeTraces(), Contains("Network Adapter Console is now interface 7, address 127.0.0.2.\n"));
    const Cmn_NetworkAdapterConfig unknown(service, static_cast<ENetworkUser>(77), nullptr);
    EXPECT_TRUE(ReportedOnce("'GetSettingName(user)' failed in JRCmn\\Cmn_NetworkAdapterConfig.cpp"));
    EXPECT_FALSE(unknown.GetIPv4Address().IsValid());
}

TEST_F(NetworkAdapterConfig, MayGoInItsFunctionAndIsNotCalledAfterThat) {
    std::optional<Cmn_NetworkAdapterConfig> first, second;
    const std::string text(100, 'x');
    first.emplace(service, ENetworkUser::eConsole, [&, text] {
        second.reset();  // its call is posted already
        first.reset();
        EXPECT_EQ(text[99], 'x');
    });
    second.emplace(service, ENetworkUser::eConsole, [] { ADD_FAILURE(); });
    adapter.Change(kFakeSecond);
    EXPECT_EQ(service.run_one_for(kLimit), 1u);
    EXPECT_FALSE(first || second);
    service.poll();
}

// Objects come and go while the address changes all the time and another thread runs the loop.
TEST_F(NetworkAdapterConfig, IsNotCalledAfterItsDestructorOnAnotherThread) {
    std::atomic<bool> stop{false};
    std::thread loop([&] { service.run(); });
    std::thread changes([&] {
        for (uint32_t i = 1; !stop; ++i)
            adapter.Change(i);
    });
    for (int i = 0; i < 100; ++i) {
        const auto isAlive = std::make_shared<std::atomic<bool>>(true);
        const auto called = std::make_shared<IPC_Event>();
        {
            const Cmn_NetworkAdapterConfig config(service, ENetworkUser::eConsole, [isAlive, called] {
                EXPECT_TRUE(*isAlive);
                called->Set();
            });
            EXPECT_TRUE(called->Wait(20'000));
        }
        *isAlive = false;
    }
    stop = true;
    changes.join();
    service.stop();
    loop.join();
}

// With the platform's adapters; where it does not tell of changes, they are noticed all the same.
TEST(MachineNetworkAdapters, AreThoseOfThePlatformAndOfTheSettings) {
    GetAdapterCalls().lookEvery = 10;
    boost::asio::io_context service;
    const auto work = boost::asio::make_work_guard(service);
    const char* const name = Cmn_NetworkAdapterConfig::GetSettingName(ENetworkUser::eDiscovery);
    Cmn_Registry settings;
    ASSERT_TRUE(settings.Open(HKEY_LOCAL_MACHINE, Cmn_Registry::kSettingsKey, eRegistryAccess_Create));
    settings.Write(name, Cmn_String("Not there"));
    std::vector<Adapter> list;
    ASSERT_TRUE(GetAdapterCalls().list(list));
    std::erase_if(list, [](const Adapter& adapter) { return !adapter.isLoopback || !adapter.isUp; });
    ASSERT_EQ(list.size(), 1u);
    int calls = 0;
    Cmn_NetworkAdapterConfig config(service, ENetworkUser::eDiscovery, [&] { ++calls; });
    EXPECT_FALSE(config.GetIPv4Address().IsValid());
    for (const std::string& setting : {list[0].friendlyName, std::string("?"), list[0].guid}) {
        settings.Write(name, Cmn_String(setting.c_str()));
        service.run_one_for(kLimit);
        EXPECT_EQ(config.GetIPv4Address(), setting != "?" ? Cmn_IPv4Address("127.0.0.1") : Cmn_IPv4Address());
        EXPECT_EQ(config.GetInterfaceIndex(), setting != "?" ? list[0].index : 0);
    }
    EXPECT_EQ(calls, 3);
    settings.Remove(name);
    GetAdapterCalls().lookEvery = 5'000;
}

}  // namespace
