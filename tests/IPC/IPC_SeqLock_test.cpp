#include "IPC/IPC_SeqLock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(IPC_SeqLockCounter, ComparesReadings) {
    constexpr int64_t kMost = INT64_MAX, kLeast = INT64_MIN;
    // {reading, other, equal, soon after}; in the last one the lock's counter wraps around.
    const std::tuple<int64_t, int64_t, bool, bool> cases[] = {
        {4, 4, true, true},           {4, 2, false, true},
        {2, 4, false, false},         {1, 1, false, true},
        {-2, -2, true, true},         {kMost - 1, 0, false, true},
        {kMost, 0, false, false},     {kLeast, 0, false, false},
        {kLeast, kMost, false, true}, {INT32_MIN, INT32_MAX - 1, false, false},
    };
    for (const auto& [value, otherValue, isEqual, isSoonAfter] : cases) {
        const IPC_SeqLockCounter reading(value), other(otherValue);
        EXPECT_TRUE((reading == other) == isEqual && (reading != other) != isEqual) << value;
        EXPECT_EQ(reading.IsSoonAfter(other), isSoonAfter) << value << " " << otherValue;
    }
    EXPECT_FALSE(IPC_SeqLockCounter().IsValid());
}

// {start, what two locks and unlocks return}. The last one: a writer has died before; readers accept inside the write.
TEST(IPC_SeqLock, CountsWritesAndRefusesCopiesThatAWriteTouched) {
    const int32_t cases[][3] = {{0, 2, 4}, {-2, 0, 2}, {INT32_MAX - 1, INT32_MIN, INT32_MIN + 2}, {7, 9, 11}};
    for (const auto& [start, first, second] : cases) {
        IPC_SeqLock lock;
        char copy = 0;
        std::memcpy(static_cast<void*>(&lock), &start, sizeof start);
        const IPC_SeqLockCounter before = lock.ReadBegin(), locked = lock.WriteLock(),
                                 inside = lock.ReadBegin();
        EXPECT_TRUE(lock.ReadEnd(inside) == (start == 7) && !lock.ReadEnd(before)) << start;
        EXPECT_TRUE(locked.GetValue() == first && lock.WriteUnlock().GetValue() == first) << start;
        EXPECT_FALSE(lock.ReadEnd(inside) || lock.ReadEnd(before)) << start;
        EXPECT_TRUE(lock.WriteLock().GetValue() == second && lock.WriteUnlock().GetValue() == second)
            << start;
        EXPECT_EQ(lock.Read(&copy, "", 1, 0).IsValid(), start != 7);
        EXPECT_TRUE(lock.Write(&copy, "w", 1).IsValid() && lock.ReadEnd(lock.ReadBegin()) && copy == 'w');
    }
}

// Every size through each way of copying, at every alignment.
TEST(IPC_SeqLock, CopiesAllBytesAndNoneBeside) {
    for (size_t size = 0; size < 1300; size += size < 150 ? 1 : 31) {
        std::string source(1400, '.'), target(source), expected(source);
        std::generate(source.begin(), source.end(),
                      [value = 0]() mutable { return static_cast<char>(++value % 251); });
        IPC_SeqLock::Copy(&target[1 + size % 8], &source[size % 9], size);
        ASSERT_EQ(target, expected.replace(1 + size % 8, size, source, size % 9, size)) << size;
    }
}

// A copy is whole when all its words are the number of its write.
TEST(IPC_SeqLock, AReaderNeverGetsATornCopy) {
    for (const size_t words : {3, 16, 140}) {
        IPC_SeqLock lock;
        std::vector<int64_t> shared(words, 0), data(words, 0);
        std::atomic<bool> isRead{false};
        std::atomic<int> reads{0};
        std::thread reader([&] {
            std::vector<int64_t> copy(words);
            for (IPC_SeqLockCounter last(0); last.GetValue() < 12'000;) {
                const auto now = lock.Read(copy.data(), shared.data(), words * sizeof copy[0], 0);
                if (!now.IsValid()) continue;  // would sleep: the writer was interrupted in a write
                const bool isWhole = std::ranges::count(copy, now.GetValue() / 2) == std::ssize(copy);
                ASSERT_TRUE(now.IsSoonAfter(last) && isWhole) << (isRead = true);
                last = now;
                ++reads;
            }
            isRead = true;
        });
        while (!isRead) {
            std::ranges::fill(data, data[0] + 1);
            lock.Write(shared.data(), data.data(), words * sizeof data[0]);
            // A writer has other things to do, too: without a break no copy of the large ones would come about.
            if (data[0] % 20 != 0) continue;
            for (const int before = reads; reads == before && !isRead;)
                std::this_thread::yield();
        }
        reader.join();
    }
}

}  // namespace
