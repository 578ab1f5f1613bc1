#include "JRCmn/Cmn_ScheduleLater.h"

#include <gmock/gmock.h>

#include <thread>

#include "tests/support/EventLoop.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TraceCapture.h"

using testing::ElementsAre;

static void Schedule(Cmn_ScheduleLater& later, std::function<void()> job) {
    later.ScheduleLater(std::move(job), "job");
}

using ScheduleLater = LoopTest;
ON_BOTH_LOOPS(ScheduleLater);

TEST_P(ScheduleLater, RunsABatchInOneResponseThatNamesItsJobs) {
    FakeClock clock;
    AnyManager manager(GetParam());
    Cmn_ScheduleLater later;
    std::string order;
    for (const char* name : {"a", "b", "c", "d", "e"})
        later.ScheduleLater([&, name] { (order += name, clock.Advance(500)); }, name);
    later.ScheduleLater(nullptr, "empty");
    EXPECT_TRUE(ReportedOnce("'inJob' failed in JRCmn\\Cmn_ScheduleLaterWin32.cpp(53)"));
    TakeTraces();
    EXPECT_TRUE(manager.ProcessOneEvent(kLoopLimit));
    EXPECT_EQ(order, "abcde");
    EXPECT_THAT(TakeTraces(),
                ElementsAre("Event handler a;b;c;d;e has blocked event loop for 2500 milliseconds.\n"));
    EXPECT_FALSE(manager.ProcessOneEvent(0));
    later.ScheduleLater([] { FAIL(); }, "dropped");
    later.DiscardPendingJobs();
    RunLoop(manager);
    later.ScheduleLater([&] { order += 'f'; }, nullptr);
    EXPECT_TRUE(RunUntil(manager, [&] { return order == "abcdef"; }));
}

TEST(ScheduleLaterInAPump, NoJobIsLostToAnotherThatThrowsAndNoneOvertakesThere) {
    DefaultManager manager;
    Cmn_ScheduleLater later;
    std::string order;
    const auto Add = [&](char c) { Schedule(later, [&order, c] { order += c; }); };
    Add('a');
    Schedule(later, [&] {
        Add('x');
        throw std::runtime_error("first");
    });
    Add('b');
    // Processes events itself, which runs what is newer; that throws, too, and leaves something over.
    Schedule(later, [&] {
        Schedule(later, [] { throw 1; });
        Add('z');
        EXPECT_THROW(manager.ProcessOneEvent(0), int);
        throw std::runtime_error("second");
    });
    Add('c');
    EXPECT_THROW(manager.ProcessOneEvent(0), std::runtime_error);
    EXPECT_EQ(order, "a");
    EXPECT_THROW(manager.ProcessOneEvent(0), std::runtime_error);
    EXPECT_EQ(order, "ab");
    Add('n');
    RunLoop(manager);
    EXPECT_EQ(order, "abcxzn");
}

TEST(ScheduleLaterInAPump, AJobMayDeleteTheObjectWhichDropsThoseBehindIt) {
    DefaultManager manager;
    auto later = std::make_unique<Cmn_ScheduleLater>();
    bool ran = false;
    Schedule(*later, [&] {
        Schedule(*later, [&] { later.reset(); });
        Schedule(*later, [] { FAIL(); });
        manager.ProcessOneEvent(0);
        ran = true;
    });
    Schedule(*later, [] { FAIL(); });
    RunLoop(manager);
    EXPECT_TRUE(ran);
    EXPECT_FALSE(later);
}

TEST_P(ScheduleLater, RegistersWithTheFirstManagerThatComes) {
    Cmn_ScheduleLater later;
    bool ran = false;
    later.ScheduleLater([] { FAIL(); }, "dropped");
    EXPECT_TRUE(ReportedOnce("'gIF_EventManager' failed in JRCmn\\Cmn_ScheduleLaterWin32.cpp(46)"));
    AnyManager manager(GetParam());
    later.ScheduleLater([&] { ran = true; }, "kept");
    EXPECT_TRUE(RunUntil(manager, [&] { return ran; }));
}

TEST(ScheduleLaterFactory, TheFactoryTakesAnotherImplementationUntilItIsUsed) {
    struct Direct : Cmn_ScheduleLater_IF {
        void ScheduleLater(std::function<void()> job, const char*) override { job(); }
        void DiscardPendingJobs() override {}
    };
    int ran = 0;
    Cmn_ScheduleLaterFactory::OverrideImplementation([] { return std::unique_ptr<Cmn_ScheduleLater_IF>(); });
    Cmn_ScheduleLaterFactory::OverrideImplementation([] { return std::make_unique<Direct>(); });
    Cmn_ScheduleLater().ScheduleLater([&] { ++ran; }, "");
    EXPECT_EQ(ran, 1);
    Cmn_ScheduleLaterFactory::OverrideImplementation(nullptr);
    EXPECT_TRUE(ReportedOnce("'!sInUse' failed in JRCmn\\Cmn_ScheduleLaterFactory.cpp(47)"));
    Cmn_ScheduleLater().ScheduleLater([&] { ++ran; }, "");
    EXPECT_EQ(ran, 2);
}

TEST(ScheduleLaterFactory, WithoutAnImplementationJobsAreDropped) {
    Cmn_ScheduleLaterFactory::OverrideImplementation([] { return std::unique_ptr<Cmn_ScheduleLater_IF>(); });
    Cmn_ScheduleLater later;
    EXPECT_TRUE(ReportedOnce("'mImpl' failed in JRCmn\\Cmn_ScheduleLater.cpp(26)"));
    later.ScheduleLater([] { FAIL(); }, "");
    later.DiscardPendingJobs();
}

// Jobs come while the loop takes, resets, runs and sleeps. A wake-up that is lost leaves the loop waiting.
TEST_P(ScheduleLater, FourThreadsLoseNoJobAndKeepTheirOrder) {
    constexpr int kThreads = 4, kJobs = 100'000;
    AnyManager manager(GetParam());
    Cmn_ScheduleLater later;
    int next[kThreads] = {}, outOfOrder = 0, ran = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kJobs; ++i) {
                Schedule(later, [&, t, i] {
                    outOfOrder += next[t]++ != i;
                    if (++ran % 20'000 == 0) Cmn_Thread::Snooze(5);  // a consumer that is slow at times
                });
                if (i % 1'000 == 0) Cmn_Thread::Snooze(1);  // lets the loop go to sleep now and then
            }
        });
    while (ran < kThreads * kJobs)
        ASSERT_TRUE(manager.ProcessOneEvent(20'000)) << ran << " jobs ran, then the loop was not woken";
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_FALSE(manager.ProcessOneEvent(0));
}
