// Timers: the service on a recorded platform timer and a hand-advanced clock, the classes on top of it, and all of them
// for real.

#include "JRCmn/Cmn_Timer.h"

#include <gmock/gmock.h>

#include <memory>

#include "IPC/IPC_Timer.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Cmn_TimerService.h"
#include "JRCmn/Internal/Cmn_TimerCalls.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/EventLoop.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre;

// The platform timer is recorded, and fires when the test says so.
class RecordedTimer {
public:
    struct Start {
        unsigned delay, resolution, flags;
        bool operator==(const Start&) const = default;
    };

    RecordedTimer() {
        sInstance = this;
        GetTimerCalls().start = [](unsigned delay, unsigned resolution, void* wakes, unsigned flags) {
            RecordedTimer& self = *sInstance;
            self.starts.push_back({delay, resolution, flags});
            if (self.fails) return 0U;
            EXPECT_FALSE(self.event) << "two platform timers at once";
            self.event = wakes;
            return ++self.lastID;
        };
        GetTimerCalls().kill = [](unsigned id) {
            ++sInstance->kills;
            if (id == sInstance->lastID) sInstance->event = nullptr;
        };
    }
    ~RecordedTimer() { GetTimerCalls() = mReal; }

    bool IsArmed() const { return event != nullptr; }
    void Fire() { EXPECT_TRUE(::SetEvent(event)) << "no timer is armed"; }
    // 0 when none was started.
    unsigned TakeDelay() {
        const auto taken = std::exchange(starts, {});
        return taken.empty() ? 0 : taken.back().delay;
    }

    std::vector<Start> starts;
    unsigned lastID = 0;
    int kills = 0;
    bool fails = false;
    void* event = nullptr;

private:
    static inline RecordedTimer* sInstance = nullptr;
    const TimerCalls mReal = GetTimerCalls();
};

class TimerServiceTest : public LoopTest {
protected:
    std::function<void()> Append(char c) {
        return [this, c] { order += c; };
    }
    int After(unsigned long long delay, std::function<void()> function) {
        return service.RegisterOneShotEvent(delay, std::move(function), "");
    }
    void FireAfter(unsigned milliseconds) {
        clock.Advance(milliseconds);
        void* const wakes = platform.event;
        platform.Fire();
        EXPECT_TRUE(RunUntil(manager, [=] { return ::WaitForSingleObject(wakes, 0) == WAIT_TIMEOUT; }));
    }

    FakeClock clock;
    RecordedTimer platform;
    AnyManager manager{GetParam()};
    Cmn_TimerService_IF& service = manager->GetTimerService();
    std::string order;
};
ON_BOTH_LOOPS(TimerServiceTest);

TEST_P(TimerServiceTest, ArmsThePlatformTimerForTheEarliestEventOnly) {
    const std::pair<unsigned long long, RecordedTimer::Start> cases[] = {
        {0, {1, 0, 16}},
        {49, {49, 0, 16}},
        {50, {50, 50, 16}},
        {60'000, {60'000, 50, 16}},
        {60'001, {60'000, 50, 16}},
        {~0ull, {60'000, 50, 16}},
    };
    for (const auto& [delay, start] : cases) {
        platform.starts.clear();
        const int id = After(delay, Append('x'));
        EXPECT_THAT(platform.starts, ElementsAre(start)) << delay;
        EXPECT_TRUE(service.AbortEvent(id));
        EXPECT_FALSE(platform.IsArmed());
        EXPECT_FALSE(service.AbortEvent(id));
    }
    platform.starts.clear();
    const int first = After(100, Append('a'));
    EXPECT_EQ(After(200, Append('b')), first + 1);
    const int third = After(300, Append('c'));
    EXPECT_EQ(platform.starts.size(), 1u);
    EXPECT_TRUE(service.AbortEvent(third));
    EXPECT_EQ(platform.starts.size(), 1u);
    EXPECT_TRUE(service.AbortEvent(first));
    EXPECT_EQ(platform.TakeDelay(), 200u);
    After(199, Append('d'));
    EXPECT_EQ(platform.TakeDelay(), 199u);
    FireAfter(199);
    EXPECT_EQ(order, "d");
    EXPECT_EQ(platform.TakeDelay(), 1u);
    FireAfter(1);
    After(180'000, Append('x'));
    for (int minute = 0; minute < 3; ++minute) {
        EXPECT_EQ(platform.TakeDelay(), 60'000u);
        EXPECT_EQ(order, "db");
        FireAfter(60'000);
    }
    EXPECT_EQ(order, "dbx");
    EXPECT_FALSE(platform.IsArmed());
}

TEST_P(TimerServiceTest, APassRunsWhatWasDueWhenItBegan) {
    int later = 0;
    After(20, Append('c'));
    After(10, Append('a'));
    After(10, [&] {
        order += 'b';
        EXPECT_TRUE(service.AbortEvent(later));  // due in this pass, and later than this one
        After(0, Append('n'));
    });
    later = After(15, Append('-'));
    After(25, Append('e'));
    After(31, Append('z'));
    FireAfter(30);
    EXPECT_EQ(order, "abce");
    FireAfter(0);
    EXPECT_EQ(order, "abcen");
    // A timer that fires early, as platform timers do, costs another one of a millisecond.
    FireAfter(0);
    EXPECT_EQ(platform.starts.back().delay, 1u);
    FireAfter(1);
    EXPECT_EQ(order, "abcenz");
}

TEST_P(TimerServiceTest, WhatAThrowingFunctionLeavesBehindRunsInTheNextPass) {
    After(10, Append('a'));
    After(10, [] { throw 7; });
    After(10, Append('b'));
    After(11, Append('c'));
    clock.Advance(11);
    platform.Fire();
    EXPECT_THROW(manager.ProcessOneEvent(kLoopLimit), int);
    EXPECT_EQ(order, "a");
    EXPECT_EQ(platform.starts.back().delay, 1u);
    After(0, Append('d'));
    FireAfter(0);
    EXPECT_EQ(order, "abcd");
}

TEST_P(TimerServiceTest, AFunctionThatProcessesEventsHoldsNobodyUp) {
    After(10, [&] {
        After(5'000, Append('z'));
        platform.Fire();
        manager.ProcessOneEvent(20);
        order += 'a';
    });
    After(10, Append('b'));
    FireAfter(10);
    EXPECT_EQ(order, IsAsio() ? "ab" : "ba");  // asio's does not call a handler inside its own call
    EXPECT_EQ(platform.starts.back().delay, 5'000u);
}

TEST_P(TimerServiceTest, NamesTheFunctionThatBlocksTheLoop) {
    After(5, [] {});
    const auto block = [&] { clock.Advance(2'001); };
    service.RegisterOneShotEvent(6, block, "Poll fans");
    FireAfter(6);
    EXPECT_THAT(TakeTraces(),
                ElementsAre("Event handler Poll fans has blocked event loop for 2001 milliseconds.\n"));
}

TEST_P(TimerServiceTest, ReportsMisuseAndAPlatformWithoutTimers) {
    EXPECT_EQ(service.RegisterOneShotEvent(5, nullptr, "empty"), 0);
    EXPECT_TRUE(ReportedOnce("'inCallable' failed in JRCmn\\Cmn_TimerServiceWin32.cpp(51)"));
    EXPECT_FALSE(service.AbortEvent(0));
    EXPECT_TRUE(ReportedOnce("'inTimerId != kInvalidID' failed in JRCmn\\Cmn_TimerServiceWin32.cpp(77)"));
    platform.fails = true;
    TakeTraces();
    EXPECT_NE(After(70, Append('a')), 0);
    const auto lines = TakeTraces();
    EXPECT_TRUE(AnyContains(lines, "Cmn_TimerServiceWin32: timeSetEvent(70, 50) returned 0.\n"));
    EXPECT_TRUE(AnyContains(lines, "'mTimerID != 0' failed in JRCmn\\Cmn_TimerServiceWin32.cpp(152)"));
    platform.fails = false;
    After(100, Append('b'));  // not the earliest, but a chance to arm the timer
    FireAfter(100);
    EXPECT_EQ(order, "ab");
}

TEST_P(TimerServiceTest, ATimerKeepsOrMovesItsTimeWhenScheduledAgain) {
    Cmn_Timer keeps(100, Append('k'), "keeps", Cmn_Timer::eKeepScheduled),
        moves(100, Append('m'), "moves", Cmn_Timer::eReschedule),
        odd(100, Append('o'), "odd", static_cast<Cmn_Timer::EAlreadyScheduledPolicy>(2));
    std::unique_ptr<Cmn_Timer> gone(new Cmn_Timer(100, Append('-'), "gone", Cmn_Timer::eReschedule));
    for (Cmn_Timer* timer : {&keeps, &moves, &odd, gone.get()})
        timer->Schedule();
    clock.Advance(60);
    for (Cmn_Timer* timer : {&keeps, &moves, &odd})
        timer->Schedule();
    EXPECT_TRUE(ReportedOnce("'false' failed in JRCmn\\Cmn_Timer.cpp(53)"));
    gone.reset();
    FireAfter(40);
    EXPECT_EQ(order, "k");
    EXPECT_TRUE(!keeps.IsScheduled() && moves.IsScheduled());
    keeps.AbortIfRunning();
    odd.AbortIfRunning();
    FireAfter(60);
    EXPECT_EQ(order, "km");

    keeps.SetTime(0);
    EXPECT_TRUE(ReportedOnce("'inMS != 0' failed in JRCmn\\Cmn_Timer.cpp(82)"));
    keeps.Schedule();
    EXPECT_EQ(platform.TakeDelay(), 100u);
    keeps.SetTime(30);
    EXPECT_TRUE(ReportedOnce("'mID == Cmn_TimerService_IF::kInvalidID' failed in JRCmn\\Cmn_Timer.cpp(81)"));
    keeps.AbortIfRunning();
    keeps.Schedule();
    EXPECT_EQ(platform.TakeDelay(), 30u);
    Cmn_Timer zero(0, Append('0'), "zero", Cmn_Timer::eReschedule);
    zero.Schedule();
    EXPECT_TRUE(ReportedOnce("'mMS != 0' failed in JRCmn\\Cmn_Timer.cpp(39)"));
    FireAfter(1);
    EXPECT_EQ(order, "km0");
}

TEST_P(TimerServiceTest, TimersMayScheduleStopAndDeleteThemselvesInTheirFunctions) {
    std::unique_ptr<Cmn_Timer> timer;
    std::unique_ptr<Cmn_PeriodicTimer> periodic;
    const std::string text(100, 'x');
    timer.reset(new Cmn_Timer(
        10,
        [&, text, n = 0]() mutable {
            EXPECT_FALSE(timer->IsScheduled());
            if (++n < 3) return timer->Schedule();
            timer.reset();
            order += text[99];
        },
        "self", Cmn_Timer::eReschedule));
    periodic.reset(new Cmn_PeriodicTimer(
        [&, text, n = 0]() mutable {
            EXPECT_TRUE(periodic->IsStarted());
            clock.Advance(5);  // the next period began before
            if (++n < 4) return;
            periodic.reset();
            order += text[99];
        },
        "periodic"));
    timer->Schedule();
    for (int i = 0; i < 3; ++i)
        FireAfter(10);
    EXPECT_EQ(order, "x");
    periodic->Start(20);
    periodic->Start(40);
    EXPECT_TRUE(ReportedOnce("'!IsScheduled()' failed in JRCmn\\Cmn_PeriodicTimer.cpp(29)"));
    FireAfter(40);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(platform.starts.back().delay, 35u);
        FireAfter(35);
    }
    EXPECT_EQ(order, "xx");
    EXPECT_FALSE(platform.IsArmed());
    Cmn_PeriodicTimer idle([] {}, "idle");
    idle.Stop();
    EXPECT_TRUE(ReportedOnce("'IsScheduled()' failed in JRCmn\\Cmn_PeriodicTimer.cpp(38)"));
}

TEST(TimerService, TakesAnOverrideOnlyBeforeTimersAreUsed) {
    struct Fake : Cmn_TimerService_IF {
        explicit Fake(int id) : mID(id) {}
        int RegisterOneShotEvent(unsigned long long, std::function<void()>, const Cmn_String&) override {
            return mID;
        }
        bool AbortEvent(const int& id) override { return id == mID; }
        int mID;
    };
    const std::function<void()> nothing = [] {};
    const auto Register = [&] { return Cmn_TimerService::RegisterOneShotEvent(1, nothing, ""); };
    EXPECT_EQ(Register(), 0);
    EXPECT_TRUE(ReportedOnce("'service' failed in JRCmn\\Cmn_TimerService.cpp(48)"));
    EXPECT_FALSE(Cmn_TimerService::AbortEvent(7));
    Cmn_TimerService::OverrideTimerService(std::make_unique<Fake>(7));
    Cmn_TimerService::OverrideTimerService(std::make_unique<Fake>(8));
    EXPECT_EQ(Register(), 8);
    EXPECT_TRUE(Cmn_TimerService::AbortEvent(8));
    std::unique_ptr<Cmn_TimerService_IF> late = std::make_unique<Fake>(9);
    Cmn_TimerService::OverrideTimerService(std::move(late));
    EXPECT_TRUE(ReportedOnce("'!sTimersInUse' failed in JRCmn\\Cmn_TimerService.cpp(67)"));
    EXPECT_TRUE(late);
}

void Count(void* number) {
    ++*static_cast<int*>(number);
}

using RealTimers = LoopTest;
ON_BOTH_LOOPS(RealTimers);

TEST_P(RealTimers, APlatformTimerPulsesUntilThereAreTooMany) {
    AnyManager manager(GetParam());
    int calls = 0;
    TestHandler target;
    {
        IPC_Timer timer(5, "Blink", Count, &calls);
        IPC_Timer forwards(5, &target);
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(manager.ProcessOneEvent(20'000));
        EXPECT_EQ(calls + target.calls, 20);
        EXPECT_GT(target.calls, 0);
    }
    std::vector<std::unique_ptr<IPC_Timer>> timers;
    std::vector<std::string> reports;
    while (reports.empty() && timers.size() < 17) {
        timers.push_back(std::make_unique<IPC_Timer>(1'000, "Many", Count, &calls));
        reports = TakeReports();
    }
    EXPECT_GE(timers.size(), 16u);
    EXPECT_TRUE(AnyContains(reports, "'mTimerID != 0' failed in IPC\\IPC_Timer.cpp(114)"));
    EXPECT_EQ(manager->UnregisterHandler(timers.back().get()), IsAsio());  // which says so to strangers, too
}

TEST_P(TimerServiceTest, ACopyOfAPlatformTimerSharesItAndEndsItOnce) {
    int calls = 0;
    {
        IPC_Timer original(500, "Blink", Count, &calls);
        EXPECT_THAT(platform.starts, ElementsAre(RecordedTimer::Start{500, 0, 33}));
        platform.event = nullptr;
        IPC_Timer other(700, "Other", Count, &calls);
        other = original;
        EXPECT_EQ(platform.kills, 1);
        {
            IPC_Timer copy(original);
            EXPECT_EQ(manager->UnregisterHandler(&copy), IsAsio());
            copy.Set();  // the same event
            EXPECT_TRUE(original.Wait(0));
            copy.RespondToEvent();
            EXPECT_STREQ(copy.GetLastEventDescription(), "Blink");
        }
        EXPECT_EQ(platform.kills, 2);
        EXPECT_EQ(manager->UnregisterHandler(&other), IsAsio());
        EXPECT_EQ(calls, 1);
    }
    EXPECT_EQ(platform.kills, 2);
}

}  // namespace
