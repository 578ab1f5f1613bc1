// Runs natively under the sanitizers, too.

#include "JRCmn/Internal/Cmn_FrameAssembler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using NorvikLibInternal::FrameAssembler;
using NorvikLibInternal::FrameOutcome;

std::string Framed(const std::string& body) {
    const auto size = static_cast<uint32_t>(body.size());
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + body;
}

TEST(FrameAssembler, EverySplitOfAStreamGivesTheSameMessages) {
    const std::string stream =
        Framed("") + Framed("a") + Framed(std::string(16, 'x')) + Framed("") + Framed("four") + "\5";
    for (size_t first = 0; first <= stream.size(); ++first) {
        for (size_t second = first; second <= stream.size(); ++second) {
            FrameAssembler assembler(20);
            std::string messages;
            size_t from = 0;
            for (const size_t to : {first, second, stream.size()}) {
                const std::vector<unsigned char> piece(stream.begin() + static_cast<long>(from),
                                                       stream.begin() + static_cast<long>(to));
                const FrameOutcome outcome =
                    assembler.Take(piece.data(), piece.size(), [&](auto body, uint32_t size) {
                        messages.append(reinterpret_cast<const char*>(body), size) += '|';
                        return true;
                    });
                ASSERT_EQ(outcome, FrameOutcome::kWaiting);
                from = to;
            }
            ASSERT_EQ(messages, "|a|xxxxxxxxxxxxxxxx||four|") << first << ", " << second;
        }
    }
}

TEST(FrameAssembler, LengthsThatCannotBeAreRefusedBeforeAnythingIsDoneByThem) {
    for (const uint32_t length :
         {0U, 60U, 61U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFCU, 0xFFFFFFFDU, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        for (const size_t firstPiece : {4, 3}) {
            FrameAssembler assembler(64);
            unsigned char bytes[4];
            std::memcpy(bytes, &length, 4);
            int messages = 0;
            const auto count = [&](const unsigned char*, uint32_t) { return ++messages != 0; };
            FrameOutcome outcome = assembler.Take(bytes, firstPiece, count);
            if (firstPiece < 4) outcome = assembler.Take(bytes + firstPiece, 4 - firstPiece, count);
            EXPECT_EQ(outcome, length <= 60 ? FrameOutcome::kWaiting : FrameOutcome::kTooLong) << length;
            EXPECT_EQ(messages, length == 0);
        }
    }
    EXPECT_FALSE(FrameAssembler::Fits(UINT64_MAX, 1'024));
    EXPECT_FALSE(FrameAssembler::Fits(uint64_t{1} << 32, UINT64_MAX));
}

}  // namespace
