// Runs natively under the sanitizers, too.

#include "JRCmn/Internal/Cmn_IDRuns.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

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
