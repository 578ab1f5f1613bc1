// Runs natively under the sanitizers, too.

#include "JRCmn/Internal/Cmn_FrameAssembler.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using NorvikLibInternal::FrameAssembler;
using NorvikLibInternal::FrameOutcome;

std::string Framed(const std::string& body) {
    const auto size = static_cast<uint32_t>(body.size());
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + body;
}

// What a stream leads to: its messages, each with a stroke behind it, and how it ends.
struct Story {
    std::string messages;
    FrameOutcome end = FrameOutcome::kWaiting;
    bool operator==(const Story&) const = default;
};
void PrintTo(const Story& story, std::ostream* out) {
    *out << story.messages.size() << " bytes, ends with " << static_cast<int>(story.end);
}

// Messages of one byte, the stroke, are not accepted.
bool Accept(Story& story, const unsigned char* body, uint32_t size) {
    story.messages.append(reinterpret_cast<const char*>(body), size) += '|';
    return size != 1 || *body != '|';
}

// The plainest reader there is: copy what fits, look at the front, move the rest down.
class Reference {
public:
    explicit Reference(size_t capacity) : mHolder(capacity) {}

    FrameOutcome Take(const unsigned char* bytes, size_t count, Story& story) {
        for (;;) {
            const size_t fits = std::min(count, mHolder.size() - mUsed);
            std::copy_n(bytes, fits, mHolder.data() + mUsed);
            mUsed += fits, bytes += fits, count -= fits;
            bool isWhole = false;
            if (mUsed >= 4) {
                const uint64_t frame = uint64_t{4} + mHolder[0] + (mHolder[1] << 8) + (mHolder[2] << 16) +
                                       (uint64_t{mHolder[3]} << 24);
                if (frame > mHolder.size()) return FrameOutcome::kTooLong;
                isWhole = mUsed >= frame;
                if (isWhole) {
                    if (!Accept(story, mHolder.data() + 4, static_cast<uint32_t>(frame - 4)))
                        return FrameOutcome::kStopped;
                    mUsed -= frame;
                    std::copy_n(mHolder.data() + frame, mUsed, mHolder.data());
                }
            }
            if (!isWhole && mUsed == mHolder.size() && fits == 0) return FrameOutcome::kNoRoom;
            if (!isWhole) return FrameOutcome::kWaiting;
        }
    }

private:
    std::vector<unsigned char> mHolder;
    size_t mUsed = 0;
};

// The stream in pieces, each on the heap by itself, where the sanitizer sees a byte too far.
template <typename Take>
Story Read(const std::string& stream, const std::vector<size_t>& cuts, Take take) {
    Story story;
    size_t at = 0;
    for (size_t i = 0; i <= cuts.size() && story.end == FrameOutcome::kWaiting; ++i) {
        const size_t end = i < cuts.size() ? cuts[i] : stream.size();
        const std::vector<unsigned char> piece(stream.begin() + static_cast<long>(at),
                                               stream.begin() + static_cast<long>(end));
        if (!piece.empty()) story.end = take(piece.data(), piece.size(), story);
        at = end;
    }
    return story;
}

void ExpectSameAsReference(size_t capacity, const std::string& stream, const std::vector<size_t>& cuts) {
    Reference reference(capacity);
    FrameAssembler assembler(capacity);
    const auto take = [&](const unsigned char* bytes, size_t count, Story& story) {
        return assembler.Take(bytes, count, [&](const unsigned char* body, uint32_t size) {
            return Accept(story, body, size);
        });
    };
    ASSERT_EQ(Read(stream, cuts, take), Read(stream, cuts,
                                             [&](auto bytes, size_t count, Story& story) {
                                                 return reference.Take(bytes, count, story);
                                             }))
        << "capacity " << capacity << ", " << testing::PrintToString(cuts);
}

TEST(FrameAssembler, EverySplitOfAStreamGivesTheSameMessages) {
    const std::string stream =
        Framed("") + Framed("a") + Framed(std::string(16, 'x')) + Framed("") + Framed("four") + "\5";
    for (size_t first = 0; first <= stream.size(); ++first) {
        for (size_t second = first; second <= stream.size(); ++second)
            ExpectSameAsReference(20, stream, {first, second});
    }
}

TEST(FrameAssembler, RandomStreamsInRandomPiecesReadAsByTheReference) {
    std::mt19937 random(5);
    for (int round = 0; round < 20'000; ++round) {
        const size_t capacity = random() % 40;
        std::string stream;
        while (random() % 12 != 0) {
            // Mostly what fits; now and then a message that stops, a length that cannot be, or noise.
            switch (random() % 40) {
                case 0:
                    stream += Framed("|");
                    break;
                case 1:
                    stream += Framed(std::string(capacity, 'L'));
                    break;
                case 2:
                    stream += std::string(1 + random() % 6, static_cast<char>(random()));
                    break;
                default:
                    stream += Framed(std::string(random() % (capacity < 5 ? 1 : capacity - 4), 'm'));
            }
        }
        std::vector<size_t> cuts;
        for (size_t at = random() % 9; at < stream.size(); at += random() % (round % 2 ? 9 : 60))
            cuts.push_back(at);
        ASSERT_NO_FATAL_FAILURE(ExpectSameAsReference(capacity, stream, cuts));
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
