#include "JRCmn/Cmn_BitMask.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(Cmn_BitMask, ThreadsDoNotDisturbEachOthersBitsInOneByte) {
    Cmn_BitMask<11> mask;
    static_assert(mask.cArraySize == 2);
    std::vector<std::jthread> threads;
    for (unsigned bit = 0; bit < 11; ++bit) {
        threads.emplace_back([&mask, bit] {
            for (int i = 0; i <= 10'000; ++i) {
                mask.SetBit(bit, i % 2 == 0);
                EXPECT_EQ(mask.GetBit(bit), i % 2 == 0);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(mask.GetByte(0), 0xFF);
    EXPECT_EQ(mask.GetByte(1), 0x07);
}
