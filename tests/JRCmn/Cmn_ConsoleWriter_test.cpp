#include "JRCmn/Internal/Cmn_ConsoleWriter.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using NorvikLibInternal::ConsoleCalls;
using NorvikLibInternal::ConsoleWriter;

// Standard output as the test wants it: `current` is what a fetch answers, `working` the one that takes text.
HANDLE gCurrent, gWorking;
int gFetches, gWrites;
std::string gText;

const ConsoleCalls kCalls = {[] {
                                 ++gFetches;
                                 return gCurrent;
                             },
                             [](HANDLE console, const char* text, std::size_t size) {
                                 ++gWrites;
                                 if (console != gWorking) return false;
                                 gText.append(text, size);
                                 return true;
                             }};

HANDLE Number(intptr_t number) { return reinterpret_cast<HANDLE>(number); }

class ConsoleWriterTest : public testing::Test {
protected:
    void SetUp() override {
        gCurrent = gWorking = Number(8);
        gFetches = gWrites = 0;
        gText.clear();
    }
    void Write(const char* text) { mWriter.Write(text, std::string(text).size()); }

    ConsoleWriter mWriter{kCalls};
};

TEST_F(ConsoleWriterTest, AConsoleIsFetchedOnceAndKept) {
    for (int i = 0; i < 3; ++i) Write("x");
    EXPECT_EQ(gText, "xxx");
    EXPECT_EQ(gFetches, 1);
    EXPECT_EQ(gWrites, 3);
}

TEST_F(ConsoleWriterTest, ALineThatFailsIsWrittenOnceMoreAfterANewFetch) {
    Write("a");
    gCurrent = gWorking = Number(12);
    Write("b");
    EXPECT_EQ(gText, "ab");
    EXPECT_EQ(gFetches, 2);
    EXPECT_EQ(gWrites, 3);
}

TEST_F(ConsoleWriterTest, OutputThatIsNoConsoleIsNotTriedAgainUntilItIsAnother) {
    gWorking = nullptr;
    for (int i = 0; i < 100; ++i) Write("lost");
    EXPECT_EQ(gWrites, 1);
    gCurrent = gWorking = Number(12);
    Write("found");
    Write(" again");
    EXPECT_EQ(gText, "found again");
}

TEST_F(ConsoleWriterTest, WithoutStandardOutputNothingIsWritten) {
    for (const HANDLE none : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE}) {
        gCurrent = none;
        for (int i = 0; i < 10; ++i) Write("lost");
    }
    EXPECT_EQ(gWrites, 0);
    gCurrent = gWorking;
    Write("found");
    EXPECT_EQ(gText, "found");
}

}  // namespace
