// Runs natively under the sanitizers, too.

#include "JRCmn/Internal/Cmn_TimerQueue.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace {

using namespace NorvikLibInternal;

TEST(IDRuns, FindTheNextFreeNumberAlsoAcrossTheLargest) {
    std::mt19937 random(1);
    for (const int start : {0, IDRuns::kLast - 300, IDRuns::kLast - 1, IDRuns::kLast}) {
        IDRuns runs(start);
        std::set<int> used;
        int last = start;
        for (int step = 0; step < 20'000; ++step) {
            // Lap after lap over the same numbers, some of which stay in use for long.
            if (step % 1'000 == 999) {
                runs = IDRuns(last = start);
                used.clear();
            }
            if (used.size() < 200 && random() % 5 < 3) {
                do
                    last = last == IDRuns::kLast ? 1 : last + 1;
                while (used.count(last));
                used.insert(last);
                ASSERT_EQ(runs.TakeNext(), last);
            } else if (!used.empty()) {
                auto victim = used.lower_bound(static_cast<int>(random() % 400));
                if (victim == used.end() || random() % 2) victim = std::prev(used.end());
                runs.GiveBack(*victim);
                used.erase(victim);
            }
        }
    }
}

// Against a plain model: a map from due time and number of registration.
TEST(TimerQueue, RunsWhatIsDueInOrderWhateverIsAbortedMeanwhile) {
    std::mt19937 random(2);
    TimerQueue queue(IDRuns::kLast - 1'000);
    using Entry = std::pair<uint64_t, int>;
    std::map<Entry, int> pending, expired;
    uint64_t now = 1'794'679'831'000;
    int number = 0, ran = -1, abortedExpired = 0;
    const uint64_t delays[] = {0, 1, 3, 3, 10, 50, 400};
    for (int step = 0; step < 100'000; ++step) {
        switch (random() % 8) {
            case 0:
            case 1:
            case 2: {
                const uint64_t delay = delays[random() % 7];
                const int mine = ++number;
                const int id = queue.Add(
                    now, delay, [&ran, mine] { ran = mine; }, "event");
                for (const auto* map : {&pending, &expired})
                    for (const auto& [entry, other] : *map)
                        ASSERT_NE(other, id);
                pending[{now + delay, mine}] = id;
                ASSERT_EQ(queue.IsEarliest(id), pending.begin()->second == id);
                break;
            }
            case 3:
                for (auto* map : {&expired, &pending}) {
                    if (map->empty()) continue;
                    auto victim = map->upper_bound({now + random() % 20, 0});
                    if (victim == map->end()) victim = map->begin();
                    ASSERT_TRUE(queue.Remove(victim->second));
                    ASSERT_FALSE(queue.Remove(victim->second));
                    map->erase(victim);
                    abortedExpired += map == &expired;
                    break;
                }
                break;
            case 4:
                now += random() % 10;
                queue.TakeExpired(now);
                while (!pending.empty() && pending.begin()->first.first <= now)
                    expired.insert(pending.extract(pending.begin()));
                break;
            case 5:
                if (random() % 20) break;
                queue.PutBackExpired();
                pending.merge(expired);
                break;
            default: {
                TimedEvent event;
                ASSERT_EQ(queue.PopExpired(event), !expired.empty());
                if (expired.empty()) break;
                event.callable();
                ASSERT_EQ(ran, expired.begin()->first.second);
                expired.erase(expired.begin());
            }
        }
        ASSERT_EQ(queue.EarliestDue().value_or(0), pending.empty() ? 0 : pending.begin()->first.first);
    }
    EXPECT_GT(abortedExpired, 100);
}

TEST(TimerQueue, DelaysBeyondAllTimeNeverEndInThePast) {
    TimerQueue queue;
    const uint64_t now = 1'794'679'831'000;
    for (const uint64_t delay : {uint64_t{1} << 63, UINT64_MAX - now, UINT64_MAX - 1, UINT64_MAX}) {
        const int id = queue.Add(
            now, delay, [] {}, "");
        EXPECT_GT(static_cast<int64_t>(*queue.EarliestDue() - now), int64_t{1} << 62) << delay;
        queue.TakeExpired(now + 1'000'000'000'000);
        TimedEvent event;
        EXPECT_FALSE(queue.PopExpired(event)) << delay;
        EXPECT_TRUE(queue.Remove(id));
    }
}

}  // namespace
