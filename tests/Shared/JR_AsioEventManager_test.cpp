#include "Shared/JR_AsioEventManager.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gmock/gmock.h>
#include <boost/asio/io_service.hpp>
#include <boost/system/system_error.hpp>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "IPC/IPC_EventHandler.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_QuestionDialog.h"
#include "JRCmn/Internal/Cmn_ThreadCalls.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ReportedChecks.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre;

[[noreturn]] void FailToBind() {
    throw boost::system::system_error(make_error_code(boost::system::errc::address_in_use), "bind");
}

TEST(AsioEventManager, RefusesWhatItCannotTakeAndKeepsWhatItHas) {
    EXPECT_THROW(JR_AsioEventManager::GetGlobalInstance(), Cmn_AssertionFailure);
    Cmn_EventManager other;
    gIF_EventManager = &other;
    EXPECT_THROW(JR_AsioEventManager::GetGlobalInstance(), Cmn_AssertionFailure);
    EXPECT_EQ(Checks(), "577 gIF_EventManager|580 mgr|");
    JR_AsioEventManager manager;
    gIF_EventManager = &manager;
    EXPECT_EQ(&JR_AsioEventManager::GetGlobalInstance(), &manager);
    TestHandler first, stranger;
    EXPECT_TRUE(manager.RegisterHandler(&first, nullptr));
    IPC_EventHandler second(first.event.GetHandle(), "second", [] { FAIL(); });
    IPC_EventHandler null(nullptr, "null", [] { FAIL(); });
    EXPECT_FALSE(manager.RegisterHandler(nullptr, "none"));
    EXPECT_FALSE(manager.UnregisterHandler(nullptr));
    EXPECT_TRUE(manager.UnregisterHandler(&stranger));
    manager.EnableWatchdogThread(0, nullptr);
    EXPECT_EQ(Checks(),
              "420 std::find_if(mPrivate->mHandlers.begin(), mPrivate->mHandlers.end(), pred) == "
              "mPrivate->mHandlers.end()|135 mHandle != NULL|415 inEventHandler|436 inEventHandler|"
              "607 inTimeoutSeconds > 0|");
    // Reported again and again until it goes, and the others are served meanwhile.
    auto closed =
        std::make_unique<IPC_EventHandler>(reinterpret_cast<void*>(uintptr_t{0xABCDE4}), "closed", [] {});
    std::string reports;
    EXPECT_TRUE(RunUntil(manager, [&] { return (reports += Checks()) == "192 false|192 false|"; }));
    EXPECT_TRUE(AnyContains(TakeTraces(), "Failed to wait for an event: "));
    closed.reset();
    first.event.Set();
    EXPECT_TRUE(RunUntil(manager, [&] { return first.calls == 1; }));
    // By the handle, whoever asks for it.
    EXPECT_TRUE(manager.UnregisterHandler(&second));
    EXPECT_TRUE(manager.RegisterHandler(&first, "again"));

    manager.Shutdown();
    manager.Shutdown();
    EXPECT_THAT(TakeTraces(), ElementsAre("Shutting down event loop...\n", "Event loop is shut down.\n"));
    EXPECT_FALSE(manager.RegisterHandler(&first, ""));
    EXPECT_FALSE(manager.StartEventThread(eNormal, [] { FAIL(); }) || manager.ProcessOneEvent(0));
    EXPECT_EQ(Checks(), "452 !mPrivate->mShutdown|");
}

TEST(AsioEventManager, AnErrorOfTheLoopStaysInItAndOtherExceptionsLeaveIt) {
    JR_AsioEventManager manager;
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"552", [&] { manager.Run(); }},
        {"495", [&] { EXPECT_FALSE(manager.ProcessOneEvent(INFINITE)); }},
        {"495", [&] { EXPECT_FALSE(manager.ProcessOneEvent(kLoopLimit)); }},
        {"632", [&] { EXPECT_TRUE(manager.ProcessPendingMessagesAndEvents()); }},
        {"663", [&] { EXPECT_TRUE(manager.ProcessPendingMessagesAndEvents(10)); }},
    };
    for (const auto& [line, process] : ways) {
        manager.Post(&FailToBind);
        process();
        EXPECT_EQ(Checks(), line + std::string(" !\"Caught error in the event loop\"|"));
        EXPECT_TRUE(AnyContains(TakeTraces(), "Caught error in the event loop: bind: "));
        // A handler that throws is waited for again, and Run ends when there is nothing left.
        TestHandler handler([&] {
            if (handler.calls == 1) throw std::runtime_error("first");
            manager.UnregisterHandler(&handler);
        });
        manager.RegisterHandler(&handler, "throws");
        handler.event.Set();
        EXPECT_THROW(while (true) process(), std::runtime_error);
        handler.event.Set();
        manager.Run();
        EXPECT_EQ(handler.calls, 2);
    }
}

TEST(AsioEventManager, ItsThreadServesAnyNumberOfHandlersThroughErrorsUntilItIsStopped) {
    constexpr int kPosts = 20'000;
    std::vector<std::unique_ptr<TestHandler>> handlers;
    JR_AsioEventManager manager;
    const IPC_Event served(IPC_Event::eAutoReset);
    unsigned startedOn = 0, left = 200;
    for (unsigned i = 0; i < left; ++i) {
        handlers.push_back(std::make_unique<TestHandler>([&] { --left == 0 && served.Set(); }));
        ASSERT_TRUE(manager.RegisterHandler(handlers.back().get(), "one of many"));
        handlers.back()->event.Set();
    }
    ASSERT_TRUE(manager.StartEventThread(eHigh, [&] { startedOn = Cmn_Thread::GetCurrentThreadID(); }));
    ASSERT_TRUE(served.Wait(kLoopLimit));
    EXPECT_EQ(manager.GetCurrentEventLoopThreadId(), startedOn);
    int ran = 0;
    for (int i = 0; i < kPosts; ++i)
        manager.Post([&] {
            if (++ran == kPosts) served.Set();
            if (ran % 5'000 == 1) FailToBind();
        });
    EXPECT_TRUE(served.Wait(kLoopLimit));
    EXPECT_EQ(TakeReports().size(), 4u);
    // A handler that processes events itself leaves the stop to the loop.
    manager.Post([&] {
        manager.StopEventThread();
        manager.ProcessPendingMessagesAndEvents();
    });
    EXPECT_TRUE(manager.WaitForEventThread(kLoopLimit));
    EXPECT_FALSE(manager.StartEventThread(eNormal, [] { FAIL(); }));
    manager.Post([&] { ran = 7; });
    manager.ProcessPendingMessagesAndEvents();
    EXPECT_EQ(ran, 7);
}

// An event is set while its handler is unregistered: at any moment of the way from the event to the call.
TEST(AsioEventManager, AHandlerIsNeverCalledAfterItIsUnregistered) {
    constexpr int kRounds = 2'000;
    JR_AsioEventManager manager;
    gIF_EventManager = &manager;
    const IPC_Event event(IPC_Event::eAutoReset), go(IPC_Event::eAutoReset);
    std::atomic<int> alive = 0;
    std::thread setter([&] {
        while (go.Wait(kLoopLimit) && alive >= 0)
            event.Set();
    });
    int calls = 0;
    for (int i = 1; i <= kRounds; ++i) {
        alive = i;
        IPC_EventHandler handler(event.GetHandle(), "", [&, i] { calls += alive == i ? 1 : kRounds; });
        go.Set();
        for (int turns = i % 20; turns > 0; --turns)
            manager.ProcessOneEvent(0);
        manager.UnregisterHandler(&handler);
        alive = 0;
        manager.ProcessPendingMessagesAndEvents();
    }
    EXPECT_TRUE(0 < calls && calls < kRounds) << calls;
    alive = -1;
    go.Set();
    setter.join();
    // None of the waits that were given up takes the signal from the one who registers now.
    event.Reset();
    IPC_EventHandler last(event.GetHandle(), "", [&] { calls = -1; });
    event.Set();
    EXPECT_TRUE(RunUntil(manager, [&] { return calls == -1; }));
}

TEST(AsioEventManager, ShutDownInAHandlerItEndsAndLeavesNothing) {
    const std::string name = UniqueName("waited for");
    KernelHandle named(::CreateEventA(nullptr, TRUE, FALSE, name.c_str()));
    boost::asio::io_service service;
    const auto posted = std::make_shared<int>(0);
    {
        JR_AsioEventManager manager(&service), own;
        gIF_EventManager = &manager;
        IPC_EventHandler waits(named.Get(), "waits", [] { FAIL(); });
        TestHandler ends([&] {
            manager.Shutdown();
            manager.Post([posted] { ++*posted; });
        });
        manager.RegisterHandler(&ends, "ends");
        own.Post([posted] { FAIL(); });
        ASSERT_TRUE(manager.StartEventThread(eNormal, nullptr));
        ends.event.Set();
        EXPECT_TRUE(manager.WaitForEventThread(kLoopLimit));
        EXPECT_EQ(*posted, 1);
        manager.Post([posted] { ++*posted; });
        JR_AsioEventManager third(&service);
        third.RegisterHandler(&ends, "its wait comes to an end when its manager is gone");
    }
    service.poll();
    EXPECT_EQ(*posted, 2);
    EXPECT_EQ(posted.use_count(), 1);
    named.Reset();
    EXPECT_FALSE(::OpenEventA(SYNCHRONIZE, FALSE, name.c_str())) << "a duplicate is still open";
}

[[gnu::noinline]] void WaitForTheWatchdog(const IPC_Event& reported) {
    EXPECT_TRUE(reported.Wait(kLoopLimit));
}

TEST(AsioEventManager, ItsWatchdogNamesTheHandlerThatBlocksAndWhereButNotOneThatAsks) {
    JR_AsioEventManager manager;
    const IPC_Event reported(IPC_Event::eAutoReset);
    std::vector<std::string> lines;
    manager.EnableWatchdogThread(1, [&](bool isAsking, void* done) {
        lines = TakeTraces();
        if (isAsking) lines.push_back("asks");
        reported.Set();
        return ::WaitForSingleObject(done, kLoopLimit) == WAIT_TIMEOUT;
    });
    manager.EnableWatchdogThread(0, nullptr);  // changes nothing, and is not looked at
    Cmn_QuestionDialog::SetImplementation(
        [&](const Cmn_Question&) { return WaitForTheWatchdog(reported), 0; });
    bool asks = false;
    TestHandler inside, handler([&] {
        inside.event.Set();  // its call inside does not hide the one that goes on
        EXPECT_TRUE(RunUntil(manager, [&] { return inside.calls == handler.calls; }));
        if (asks) Cmn_QuestionDialog::Ask({});
        if (!asks) WaitForTheWatchdog(reported);
    });
    manager.RegisterHandler(&inside, "inside");
    manager.RegisterHandler(&handler, std::string(600, 'x').c_str());
    const auto Block = [&](int times) {
        handler.event.Set();
        EXPECT_TRUE(RunUntil(manager, [&] { return handler.calls == times; }));
    };
    Block(1);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "ELW: Handler " + std::string(499, 'x') +
                            " is currently blocking event loop. Event loop thread ID is " +
                            std::to_string(manager.GetCurrentEventLoopThreadId()) + ".\n");
    EXPECT_TRUE(AnyContains(lines, "WaitForTheWatchdog"));

    asks = true;
    Block(2);
    // On a slow machine the report has taken so long that the loop complains of the handler, too.
    EXPECT_TRUE(AnyContains(lines, "ELW: event loop seems to be unblocked.\n"));
    EXPECT_FALSE(AnyContains(lines, "currently blocking"));
    EXPECT_EQ(lines.back(), "asks");

    asks = false;
    const ThreadCalls real = GetThreadCalls();
    GetThreadCalls().suspendThread = [](HANDLE) { return DWORD(-1); };
    Block(3);
    GetThreadCalls() = real;
    EXPECT_TRUE(AnyContains(
        lines, "'::SuspendThread(thread) != (DWORD)-1' failed in Shared\\JR_AsioEventManager.cpp(305)"));
    EXPECT_EQ(lines.back(),
              "ELW: Event loop thread is currently blocking event loop. No thread context is known.\n");
}

}  // namespace
