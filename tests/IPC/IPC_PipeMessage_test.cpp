// Runs natively under the sanitizers, too.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "JRCmn/Internal/Cmn_PipeMessage.h"

namespace {

using NorvikLibInternal::PipeMessageReader;

std::string Framed(const std::string& message) {
    std::string bytes(8, '\0');
    bytes[0] = static_cast<char>(message.size());
    bytes[1] = static_cast<char>(message.size() >> 8);
    return bytes + message;
}

// A stream arrives in pieces as the platform likes; every message comes out whole.
TEST(PipeMessage, ByteModePutsMessagesTogetherFromAnyPieces) {
    std::mt19937 random(3);
    std::vector<std::string> messages;
    std::string stream;
    for (int i = 0; i < 2'000; ++i) {
        messages.push_back(std::string(random() % 4 ? random() % 20 : random() % 600, static_cast<char>(i)));
        stream += Framed(messages.back());
    }
    char buffer[600];
    size_t at = 0;
    for (const std::string& message : messages) {
        PipeMessageReader reader(true, buffer, sizeof buffer);
        auto state = PipeMessageReader::kIncomplete;
        while (state == PipeMessageReader::kIncomplete) {
            ASSERT_GT(reader.Wanted(), 0);
            const size_t count = 1 + random() % static_cast<unsigned>(reader.Wanted());
            stream.copy(static_cast<char*>(reader.Target()), count, at);
            at += count;
            state = reader.Took(static_cast<int>(count), false);
        }
        ASSERT_EQ(state, PipeMessageReader::kMessage);
        ASSERT_EQ(std::string(buffer, static_cast<size_t>(reader.Size())), message);
    }
    EXPECT_EQ(at, stream.size());
}

TEST(PipeMessage, ALengthThatCannotBeIsRefusedBeforeAnythingIsReadByIt) {
    const struct {
        const char* situation;
        std::string prefix;
        int bytes;  // that arrive
        PipeMessageReader::State state;
    } cases[] = {
        {"as large as the buffer", std::string("\x64\0\0\0\0\0\0\0", 8), 8, PipeMessageReader::kIncomplete},
        {"larger than the buffer", std::string("\x65\0\0\0", 4), 4, PipeMessageReader::kBadLength},
        {"the largest", "\xFF\xFF\xFF\xFF", 4, PipeMessageReader::kBadLength},
        {"the largest signed", "\xFF\xFF\xFF\x7F", 4, PipeMessageReader::kBadLength},
        {"an upper half", std::string("\x01\0\0\0\0\0\0\1", 8), 8, PipeMessageReader::kBadLength},
        {"none", std::string(8, '\0'), 8, PipeMessageReader::kMessage},
        {"half a length", "\xFF\xFF\xFF", 3, PipeMessageReader::kIncomplete},
    };
    for (const auto& c : cases) {
        char buffer[100];
        PipeMessageReader reader(true, buffer, sizeof buffer);
        c.prefix.copy(static_cast<char*>(reader.Target()), c.prefix.size());
        EXPECT_EQ(reader.Took(c.bytes, false), c.state) << c.situation;
    }
}

TEST(PipeMessage, TheRestOfAMessageGoesBesideABufferThatHasNoRoom) {
    char buffer[1];
    PipeMessageReader none(false, buffer, 0);
    none.Took(0, true);
    EXPECT_NE(none.Target(), buffer);
    EXPECT_GT(none.Wanted(), 0);
}

}  // namespace
