// Runs natively under the thread sanitizer, too.

#include "JRCmn/Internal/Cmn_JobQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "IPC/IPC_Benaphore.h"

using namespace NorvikLibInternal;

TEST(JobQueue, NoJobWaitsForAWakeUpThatDoesNotCome) {
    constexpr int kThreads = 3, kJobs = 20'000;
    IPC_Benaphore lock;
    JobQueue queue;
    std::atomic<bool> event{false};
    int next[kThreads] = {}, ran = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kJobs; ++i) {
                bool wake;
                {
                    const IPC_BenaphoreLocker locker(lock);
                    wake = queue.Push([&, t, i] { ran += next[t]++ == i; }, "job");
                }
                if (wake) event = true;
            }
        });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (ran < kThreads * kJobs && std::chrono::steady_clock::now() < limit) {
        if (!event) {
            std::this_thread::yield();
            continue;
        }
        JobBatch jobs;
        queue.TakeAll(jobs);
        event = false;
        if (queue.HasMore()) event = true;
        while (!jobs.IsEmpty())
            jobs.Pop()();
    }
    EXPECT_EQ(ran, kThreads * kJobs) << "jobs that ran in their thread's order";
    for (std::thread& producer : threads)
        producer.join();
}
