#include "JRCmn/Internal/Cmn_ConsoleWriter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

using NorvikLibInternal::ConsoleCalls, NorvikLibInternal::ConsoleWriter;

// Standard output as the test wants it: `current` is what a fetch answers, `working` the one that takes text.
static HANDLE gCurrent, gWorking;
static int gFetches, gWrites;
static std::string gText;

static const ConsoleCalls kCalls = {[] { return ++gFetches, gCurrent; },
                                    [](HANDLE console, const char* text, std::size_t size) {
                                        ++gWrites;
                                        if (console == gWorking) gText.append(text, size);
                                        return console == gWorking;
                                    }};

static HANDLE Number(intptr_t number) {
    return reinterpret_cast<HANDLE>(number);
}

TEST(ConsoleWriter, FollowsStandardOutputAndTriesWhatIsNoConsoleOnlyOnce) {
    ConsoleWriter writer{kCalls};
    const auto write = [&](const char* text, HANDLE current, HANDLE working) {
        gCurrent = current;
        gWorking = working;
        gFetches = gWrites = 0;
        for (int i = 0; i < 3; ++i)
            writer.Write(text, 1);
        return std::pair(gFetches, gWrites);
    };
    EXPECT_EQ(write("a", Number(8), Number(8)), std::pair(1, 3));    // fetched once and kept
    EXPECT_EQ(write("b", Number(12), Number(12)), std::pair(1, 4));  // what failed is written once more
    // No console: one line is tried with the old handle and with the new one, then none until the fetch answers another.
    EXPECT_EQ(write("x", Number(16), nullptr), std::pair(3, 2));
    EXPECT_EQ(write("c", Number(20), Number(20)), std::pair(1, 3));
    EXPECT_EQ(write("x", nullptr, nullptr).second, 1);
    EXPECT_EQ(write("x", INVALID_HANDLE_VALUE, nullptr).second, 0);
    EXPECT_EQ(write("d", Number(20), Number(20)), std::pair(1, 3));
    EXPECT_EQ(gText, "aaabbbcccddd");
}
