// Several programs and one log folder.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace {

std::map<std::string, std::string> Root(const TempFolder& folder) { return {{"NORVIKLIB_ROOT", folder.Path()}}; }

TEST(LoggingSystem, ProgramsThatStartARunAtOnceGetDifferentNumbers) {
    constexpr int kRounds = 5, kPrograms = 4;
    const TempFolder folder;
    std::set<std::string> numbers;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<std::unique_ptr<ChildProcess>> children;
        for (int i = 0; i < kPrograms; ++i) {
            children.push_back(
                std::make_unique<ChildProcess>("LogChild.exe", std::vector<std::string>{"run"}, Root(folder)));
        }
        for (auto& child : children) {
            EXPECT_EQ(child->Wait(30'000), 0);
            numbers.insert(child->Output());
        }
    }
    EXPECT_EQ(numbers.size(), static_cast<size_t>(kRounds * kPrograms));
}

TEST(LoggingSystem, TheSameProgramTwiceAtOnceWritesTwoFiles) {
    const TempFolder folder;
    const std::vector<std::string> arguments = {"write", "2000"};
    ChildProcess one("LogChild.exe", arguments, Root(folder)), two("LogChild.exe", arguments, Root(folder));
    EXPECT_EQ(one.Wait(30'000), 0);
    EXPECT_EQ(two.Wait(30'000), 0);
    for (const char* name : {"01", "02"}) {
        const std::string text = ReadWholeFile(folder.Path("Logs\\Run #1 LogChild - " + std::string(name) + ".log"));
        size_t at = 0;
        for (int i = 0; i < 2000 && at != text.npos; ++i) at = text.find(" line " + std::to_string(i) + " end\r\n", at);
        EXPECT_NE(at, text.npos) << name;
    }
}

// Every line of a killed program is in its file, whole and in order.
TEST(LoggingSystem, AKilledProgramLosesNoLine) {
    for (int round = 0; round < 10; ++round) {
        const TempFolder folder;
        const std::string path = folder.Path("Logs\\Run #1 LogChild - 01.log");
        ChildProcess child("LogChild.exe", {"flood"}, Root(folder));
        while (child.IsRunning() && ReadWholeFile(path).size() < 20'000 + 3'000u * static_cast<unsigned>(round)) {
        }
        child.Kill();
        const std::string text = ReadWholeFile(path);
        ASSERT_TRUE(text.ends_with(" end\r\n"));
        int number = 0;
        size_t at = 0;
        while ((at = text.find(" line " + std::to_string(number) + " end\r\n", at)) != text.npos) ++number;
        EXPECT_EQ(number, std::count(text.begin(), text.end(), '\n'));  // none missing, none out of order
    }
}

TEST(LoggingSystem, AProgramEndsWhileItsThreadsStillTrace) {
    const TempFolder folder;
    ChildProcess child("LogChild.exe", {"exit"}, Root(folder));
    EXPECT_EQ(child.Wait(30'000), 5);
}

}  // namespace
