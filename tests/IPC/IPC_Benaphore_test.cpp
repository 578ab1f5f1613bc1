#include "IPC/IPC_Benaphore.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(IPC_Benaphore, ExcludesManyThreadsFromEachOther) {
    IPC_Benaphore lock;
    long long counter = 0;  // plain on purpose: a lost update shows a broken lock
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100'000; ++round) {
                IPC_BenaphoreLocker locker(lock);
                counter = counter + 1;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 800'000);
    EXPECT_EQ(lock.GetHoldersAndWaiters(), 0);
    EXPECT_EQ(lock.GetPendingReleases(), 0);
}

}  // namespace
