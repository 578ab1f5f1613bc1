// Runs natively under the sanitizers, too.

#include "JRCmn/Internal/Cmn_FrameAssembler.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using NorvikLibInternal::FrameAssembler;
using NorvikLibInternal::FrameOutcome;

std::string Framed(const std::string& body, uint32_t shift = 0) {
    const auto size = static_cast<uint32_t>(body.size()) - shift;
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
bool Accept(Story& story, const char* body, uint32_t size) {
    story.messages.append(body, size) += '|';
    return size != 1 || *body != '|';
}

// By the whole stream, which the assembler gets in pieces.
Story Expected(const std::string& stream, size_t capacity) {
    Story story;
    size_t at = 0;
    for (uint32_t size; stream.size() - at >= sizeof size; at += size) {
        stream.copy(reinterpret_cast<char*>(&size), sizeof size, at);
        at += sizeof size;
        if (size > capacity - sizeof size) return {story.messages, FrameOutcome::kTooLong};
        if (size > stream.size() - at) break;
        if (!Accept(story, stream.data() + at, size)) return {story.messages, FrameOutcome::kStopped};
    }
    return story;
}

// Each piece is on the heap by itself, where the sanitizer sees a byte too far.
Story Read(const std::string& stream, size_t capacity, const std::vector<size_t>& cuts) {
    Story story;
    FrameAssembler assembler(capacity);
    size_t at = 0;
    for (size_t i = 0; i <= cuts.size() && story.end == FrameOutcome::kWaiting; ++i) {
        const size_t end = i < cuts.size() ? cuts[i] : stream.size();
        const std::vector<unsigned char> piece(stream.data() + at, stream.data() + end);
        story.end = assembler.Take(piece.data(), piece.size(), [&](const unsigned char* body, uint32_t size) {
            return Accept(story, reinterpret_cast<const char*>(body), size);
        });
        at = end;
    }
    return story;
}

TEST(FrameAssembler, RandomStreamsInRandomPiecesReadAsTheWholeStreamDoes) {
    std::mt19937 random(5);
    for (int round = 0; round < 20'000; ++round) {
        const size_t capacity = 4 + random() % 36;
        std::string stream;
        while (random() % 12 != 0) {
            // Mostly what fits, up to the last byte; now and then a message that stops, a length that cannot be,
            // also those around the ends of the numbers, or noise.
            switch (random() % 40) {
                case 0:
                    stream += Framed("|");
                    break;
                case 1:
                    stream += Framed(std::string(capacity - 3, 'L'));
                    break;
                case 2:
                    stream += Framed("", random() % 9 + random() % 2 * 0x80000000U);
                    break;
                case 3:
                    stream += std::string(1 + random() % 6, static_cast<char>(random()));
                    break;
                default:
                    stream += Framed(std::string(random() % (capacity - 3), 'm'));
            }
        }
        std::vector<size_t> cuts;
        for (size_t at = random() % 9; at < stream.size(); at += random() % (round % 2 ? 9 : 60))
            cuts.push_back(at);
        ASSERT_EQ(Read(stream, capacity, cuts), Expected(stream, capacity))
            << "capacity " << capacity << ", " << testing::PrintToString(cuts);
    }
    EXPECT_FALSE(FrameAssembler::Fits(UINT64_MAX, 1'024));
    EXPECT_FALSE(FrameAssembler::Fits(uint64_t{1} << 32, UINT64_MAX));
}

}  // namespace
