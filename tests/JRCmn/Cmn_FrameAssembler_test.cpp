// Runs natively under the sanitizers, too. Streams of any lengths, cut anywhere, are the fuzz target's.

#include "JRCmn/Internal/Cmn_FrameAssembler.h"

#include <gtest/gtest.h>

using NorvikLibInternal::FrameAssembler;

TEST(FrameAssembler, SizesThatNoLengthCanSayDoNotFit) {
    EXPECT_FALSE(FrameAssembler::Fits(UINT64_MAX, 1'024));
    EXPECT_FALSE(FrameAssembler::Fits(uint64_t{1} << 32, UINT64_MAX));
}
