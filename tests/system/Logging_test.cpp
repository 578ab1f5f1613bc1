// Several programs and one log folder.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace {

std::map<std::string, std::string> Root(const TempFolder& folder) {
    return {{"NORVIKLIB_ROOT", folder.Path()}};
}

TEST(LoggingSystem, ProgramsThatStartARunAtOnceGetDifferentNumbers) {
    constexpr int kRounds = 5, kPrograms = 4;
    const TempFolder folder;
    std::set<std::string> numbers;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<std::unique_ptr<ChildProcess>> children;
        for (int i = 0; i < kPrograms; ++i) {
            children.push_back(std::make_unique<ChildProcess>("LogChild.exe", std::vector<std::string>{"run"},
                                                              Root(folder)));
        }
        for (auto& child : children) {
            EXPECT_EQ(child->Wait(30'000), 0);
            numbers.insert(child->Output());
        }
    }
    EXPECT_EQ(numbers.size(), static_cast<size_t>(kRounds * kPrograms));
}

TEST(LoggingSystem, ProgramsThatBeginAtOnceWriteAFileEach) {
    constexpr int kPrograms = 6, kLines = 300;
    const TempFolder folder;
    const std::string name = "norviklib-begin-" + std::to_string(::GetCurrentProcessId());
    const HANDLE begin = ::CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int i = 0; i < kPrograms; ++i) {
        const std::vector<std::string> arguments = {"write", std::to_string(kLines), name};
        children.push_back(std::make_unique<ChildProcess>("LogChild.exe", arguments, Root(folder)));
    }
    ::Sleep(500);  // not for the result: the later they start, the less they get in each other's way
    ::SetEvent(begin);
    for (auto& child : children)
        EXPECT_EQ(child->Wait(60'000), 0);
    ::CloseHandle(begin);
    // The first ones write and stay open to the end; who comes after one has ended may overwrite it.
    int whole = 0;
    for (int file = 1; file <= kPrograms; ++file) {
        const std::string text =
            ReadWholeFile(folder.Path("Logs\\Run #1 LogChild - 0" + std::to_string(file) + ".log"));
        const auto lines = std::count(text.begin(), text.end(), '\n');
        EXPECT_TRUE(lines == 0 || lines == kLines) << file << ": " << lines;
        whole += lines == kLines;
    }
    EXPECT_EQ(whole, kPrograms);
}

// Every line of a killed program is in its file, whole and in order.
TEST(LoggingSystem, AKilledProgramLosesNoLine) {
    for (int round = 0; round < 10; ++round) {
        const TempFolder folder;
        const std::string path = folder.Path("Logs\\Run #1 LogChild - 01.log");
        ChildProcess child("LogChild.exe", {"flood"}, Root(folder));
        while (child.IsRunning() &&
               ReadWholeFile(path).size() < 20'000 + 3'000u * static_cast<unsigned>(round)) {
        }
        child.Kill();
        const std::string text = ReadWholeFile(path);
        ASSERT_TRUE(text.ends_with(" end\r\n"));
        int number = 0;
        size_t at = 0;
        while ((at = text.find(" line " + std::to_string(number) + " end\r\n", at)) != text.npos)
            ++number;
        EXPECT_EQ(number, std::count(text.begin(), text.end(), '\n'));  // none missing, none out of order
    }
}

TEST(LoggingSystem, AProgramEndsWhileItsThreadsStillTrace) {
    const TempFolder folder;
    ChildProcess child("LogChild.exe", {"exit"}, Root(folder));
    EXPECT_EQ(child.Wait(30'000), 5);
}

}  // namespace
