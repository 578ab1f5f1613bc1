#include "JRCmn/Cmn_Watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "tests/support/TraceCapture.h"

using std::chrono::steady_clock, std::chrono::milliseconds, std::chrono::microseconds;

TEST(Cmn_Watchdog, RunsOnceAtZeroAndNeverBeforeTheTimeOut) {
    int runs = 0;
    for (const unsigned timeout : {0u, 90'000u, ~0u})
        const Cmn_Watchdog watchdog(timeout, [&] { ++runs; });
    EXPECT_EQ(runs, 1);
    { const Cmn_Watchdog watchdog(0, nullptr); }
    EXPECT_TRUE(ReportedOnce("'inTimeoutAction' failed in JRCmn\\Cmn_Watchdog.cpp(24)"));
}

// The clock tells on which side of the time-out a lifetime must count. A copy of the action that is left afterwards
// is one that could still run.
TEST(Cmn_Watchdog, InItsLastMillisecondTheLifetimeAloneDecides) {
    std::atomic<int> wrong{0}, outcomes[2] = {};
    const auto live = [&](int seed) {
        for (int i = 0; i < 250; ++i) {
            const auto runs = std::make_shared<std::atomic<int>>(0);
            const auto begin = steady_clock::now();
            auto watchdog = std::make_unique<Cmn_Watchdog>(2, [runs] { ++*runs; });
            const auto made = steady_clock::now();
            bool mustRun = false;
            while (steady_clock::now() < begin + microseconds(1'750 + (i * 37 + seed) % 400))
                mustRun = steady_clock::now() - made >= milliseconds(2);
            watchdog.reset();
            const bool mayRun = steady_clock::now() - begin >= milliseconds(2);
            wrong += runs.use_count() != 1 || *runs < mustRun || *runs > mayRun;
            ++outcomes[*runs != 0];
        }
    };
    { const std::jthread first(live, 0), second(live, 11), third(live, 22), fourth(live, 33); }
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(outcomes[0] && outcomes[1]);
}

TEST(Cmn_Watchdog, ActionMayDestroyItsWatchdog) {
    std::promise<Cmn_Watchdog*> made, destroyed;
    made.set_value(new Cmn_Watchdog(5, [&] {
        delete made.get_future().get();
        destroyed.set_value_at_thread_exit(nullptr);
    }));
    destroyed.get_future().wait();
}
