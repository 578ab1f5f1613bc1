// Announcing a service and looking up a host, against the stand-in's daemon.

#include "JRCmn/Cmn_BonjourServicePublisher.h"

#include <gmock/gmock.h>

#include <optional>

#include "JRCmn/Cmn_BonjourDNSResolver.h"
#include "tests/support/Discovery.h"
#include "tests/support/TraceCapture.h"

using testing::ElementsAre, testing::HasSubstr;
using Codes = std::vector<int>;

constexpr unsigned kAny = Cmn_BonjourServicePublisher::kInterfaceIndexAny;

static TxtRecord Record(const std::string& value) {
    TxtRecord record;
    record.SetKey("a", value);
    return record;
}

TEST(BonjourServicePublisher, AServiceIsRegisteredUpdatedRestoredAndWithdrawn) {
    Discovery net;
    Cmn_BonjourServicePublisher publisher("_desk._tcp");
    Codes codes;
    const auto callback = [&](Cmn_BonjourError error) {  // again and again the same while it is tried again
        if (codes.empty() || codes.back() != error) codes.push_back(error.GetErrorCode());
    };
    EXPECT_TRUE(publisher.SetTXTRecord(Record("1")).IsOK());
    EXPECT_TRUE(publisher.Register("Desk 1", 8000, kAny, callback).IsOK());
    EXPECT_TRUE(publisher.IsRegistered());
    ASSERT_TRUE(net.RunUntil([&] { return !codes.empty(); }));
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8000 03613d31 client"));

    EXPECT_TRUE(publisher.Register("Other", 1, kAny, callback).IsOK());
    EXPECT_TRUE(ReportedOnce("'!IsRegistered()' failed in JRCmn\\Cmn_BonjourServicePublisher.cpp(130)"));
    EXPECT_TRUE(publisher.SetTXTRecord(Record("2")).IsOK());
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr("Desk\\0321 _desk._tcp"));
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8000 03613d32 client"));

    net.daemon.Kill();
    ASSERT_TRUE(net.RunUntil([&] { return codes.size() == 2; }));
    EXPECT_TRUE(ReportedOnce("'false' failed in JRCmn\\Internal\\Cmn_BonjourAsyncHandler.cpp(151)"));
    EXPECT_FALSE(publisher.IsRegistered());
    EXPECT_TRUE(publisher.SetTXTRecord(Record("3")).IsOK());
    net.daemon.Restart();
    ASSERT_TRUE(net.RunUntil([&] { return codes.size() == 3; }));
    EXPECT_THAT(codes, ElementsAre(0, -65563, 0));
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr("Desk\\0321 _desk._tcp"));
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8000 03613d33 client"));

    EXPECT_TRUE(publisher.SetTXTRecord({}).IsOK());
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8000 00 client"));

    // An update that fails: the service is registered anew, when the daemon answers again.
    net.daemon.Control("fail update 1 -65537");
    EXPECT_TRUE(publisher.SetTXTRecord(Record("4")).IsOK());
    net.daemon.Control("await register 1");
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8000 03613d34 client"));
    NorvikLibInternal::OverrideDnsSdLibrary(::GetModuleHandleA("dnssd"));  // what is known of it is old
    net.daemon.Hold(true);
    const ULONGLONG before = ::GetTickCount64();
    EXPECT_EQ(publisher.SetTXTRecord(Record("5")), -65563);
    EXPECT_LT(::GetTickCount64() - before, 3'000U);
    net.daemon.Hold(false);
    EXPECT_TRUE(net.RunUntil([&] { return publisher.IsRegistered(); }));
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8000 03613d35 client"));

    net.daemon.Control("error register -65548");
    ASSERT_TRUE(net.RunUntil([&] { return codes.size() == 5; }));
    EXPECT_THAT(codes, ElementsAre(0, -65563, 0, -65548, 0));  // registered anew
    const auto traces = TakeTraces();
    EXPECT_TRUE(AnyContains(traces, "'inErrorCode' failed in JRCmn\\Cmn_BonjourServicePublisher.cpp(190)"));
    EXPECT_TRUE(AnyContains(traces, "Bonjour error -65548: Name conflict.\n"));
    publisher.Unregister();
    EXPECT_FALSE(publisher.IsRegistered());
    net.daemon.Control("await register 0");
    EXPECT_EQ(net.daemon.Control("list"), "");
}

TEST(BonjourServicePublisher, WhatCannotBeRegisteredIsToldAndAnAbsentDaemonIsAwaited) {
    Discovery net;
    std::optional<Cmn_BonjourServicePublisher> publisher(std::in_place, "_desk._tcp");
    Codes codes;
    const auto callback = [&](Cmn_BonjourError error) { codes.push_back(error.GetErrorCode()); };
    net.daemon.Kill();
    for (const unsigned short port : {8000, 8001})  // the second in the place of the first
        EXPECT_EQ(publisher->Register("Desk", port, kAny, callback), -65563);
    EXPECT_FALSE(publisher->IsRegistered());
    net.daemon.Restart();
    ASSERT_TRUE(net.RunUntil([&] { return !codes.empty(); }));
    EXPECT_THAT(codes, ElementsAre(0));
    EXPECT_THAT(net.daemon.Control("list"), HasSubstr(" 8001 "));

    // A wrong argument, and the same answer for an adapter that is not up.
    Cmn_BonjourServicePublisher bad("no type"), tied("_tied._tcp");
    EXPECT_EQ(bad.Register("Desk", 8000, kAny, callback), -65540);
    net.daemon.Control("fail register 1 -65540");
    EXPECT_EQ(tied.Register("Desk", 8000, 7, callback), -65540);
    ASSERT_TRUE(net.RunUntil([&] { return codes.size() == 2; }));
    tied.Unregister();

    // Without a callback, and with one that ends its publisher.
    Cmn_BonjourServicePublisher silent("_silent._tcp");
    EXPECT_TRUE(silent.Register("Desk", 8000, kAny, nullptr).IsOK());
    const std::string check = "'callback && *callback' failed in JRCmn\\Cmn_BonjourServicePublisher.cpp(71)";
    EXPECT_TRUE(net.RunUntil([&] { return bool(ReportedOnce(check)); }));
    publisher->Unregister();
    EXPECT_TRUE(publisher->Register("Short", 1, kAny, [&](Cmn_BonjourError) { publisher.reset(); }).IsOK());
    EXPECT_TRUE(net.RunUntil([&] { return !publisher; }));
    net.daemon.Control("await register 1");

    NorvikLibInternal::OverrideDnsSdLibrary(nullptr);
    EXPECT_EQ(bad.Register("Desk", 8000, kAny, callback), -65563);
    EXPECT_THAT(codes, ElementsAre(0, 0));
}

TEST(BonjourDNSResolver, AHostIsLookedUpOnceAndFailuresAreTold) {
    Discovery net;
    std::optional<Cmn_BonjourDNSResolver> resolver(&net.manager);
    std::vector<std::string> told;
    const auto callback = [&](const Cmn_IPv4Address& address, const Cmn_BonjourError& error) {
        told.push_back(std::string(address.ToString()) + " " + std::to_string(error.GetErrorCode()));
    };
    net.daemon.Control("host desk.local. 1 ::1,127.0.0.7,127.0.0.8");
    net.daemon.Control("fail address 1 -65540");  // an interface that is down
    resolver->Query("desk.local.", 1, callback);
    resolver->Query("other.local.", kAny, callback);
    EXPECT_TRUE(ReportedOnce("'!mResolver' failed in JRCmn\\Cmn_BonjourDNSResolver.cpp("));
    ASSERT_TRUE(net.RunUntil([&] { return told.size() == 2; }));
    EXPECT_THAT(std::exchange(told, {}), ElementsAre("255.255.255.255 -65540", "127.0.0.7 0"));

    // Its daemon dies and comes back; the host is known later. That it has no address yet is no error.
    resolver->Query("late.local.", kAny, callback);
    net.daemon.Control("await address 1");
    net.daemon.Control("error address -65554");
    net.manager.ProcessOneEvent(1'000);
    net.daemon.Kill();
    ASSERT_TRUE(net.RunUntil([&] { return told.size() == 1; }));
    EXPECT_TRUE(ReportedOnce("Cmn_BonjourAsyncHandler.cpp(151)"));
    net.daemon.Restart();
    net.daemon.Control("host late.local. 1 127.0.0.9");
    ASSERT_TRUE(net.RunUntil([&] { return told.size() == 2; }));
    EXPECT_THAT(told, ElementsAre("255.255.255.255 -65563", "127.0.0.9 0"));

    // The function asks for the next host, and deletes its resolver.
    resolver->Query("late.local.", kAny, [&](auto&, auto&) {
        resolver->Query("late.local.", kAny, [&](auto&, auto&) { resolver.reset(); });
    });
    EXPECT_TRUE(net.RunUntil([&] { return !resolver; }));

    resolver.emplace(&net.manager);
    resolver->Query("desk.local.", kAny, callback);
    resolver->Cancel();
    net.daemon.Control("await address 0");
    NorvikLibInternal::OverrideDnsSdLibrary(nullptr);
    resolver->Query("desk.local.", kAny, callback);
    EXPECT_EQ(told.size(), 3U);
    EXPECT_EQ(told.back(), "255.255.255.255 -65563");
    Cmn_BonjourDNSResolver nowhere(nullptr);
    EXPECT_TRUE(ReportedOnce("'mEventManager' failed in JRCmn\\Cmn_BonjourDNSResolver.cpp("));
    nowhere.Query("desk.local.", kAny, callback);
}
