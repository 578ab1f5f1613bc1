#include "IPC/IPC_Benaphore.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(IPC_Benaphore, LockAndUnlockOnOneThreadLeaveBothWordsAtZero) {
    IPC_Benaphore lock;
    for (int i = 0; i < 3; ++i) {
        lock.Lock();
        EXPECT_EQ(lock.GetHoldersAndWaiters(), 1);
        lock.Unlock();
    }
    EXPECT_EQ(lock.GetHoldersAndWaiters(), 0);
    EXPECT_EQ(lock.GetPendingReleases(), 0);
}

TEST(IPC_Benaphore, UnlockWithAWaiterHandsOneReleaseToIt) {
    IPC_Benaphore lock;
    lock.Lock();
    std::atomic<bool> entered{false};
    std::thread waiter([&] {
        lock.Lock();
        entered = true;
        lock.Unlock();
    });
    while (lock.GetHoldersAndWaiters() != 2) std::this_thread::yield();
    EXPECT_FALSE(entered);
    EXPECT_EQ(lock.GetPendingReleases(), 0);
    lock.Unlock();
    waiter.join();
    EXPECT_TRUE(entered);
    EXPECT_EQ(lock.GetHoldersAndWaiters(), 0);
    EXPECT_EQ(lock.GetPendingReleases(), 0);
}

TEST(IPC_Benaphore, ExcludesManyThreadsFromEachOther) {
    constexpr int kThreads = 8, kRounds = 100'000;
    IPC_Benaphore lock;
    long long counter = 0;  // plain on purpose: a lost update shows a broken lock
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                IPC_BenaphoreLocker locker(lock);
                counter = counter + 1;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 1LL * kThreads * kRounds);
    EXPECT_EQ(lock.GetHoldersAndWaiters(), 0);
    EXPECT_EQ(lock.GetPendingReleases(), 0);
}

}  // namespace
