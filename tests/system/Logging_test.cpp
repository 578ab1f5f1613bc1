// Several programs and one log folder.

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <set>

#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace {

TEST(LoggingSystem, ProgramsThatStartARunAtOnceGetDifferentNumbers) {
    const TempFolder folder;
    std::set<std::string> numbers;
    for (int round = 0; round < 5; ++round) {
        std::list<ChildProcess> children;
        for (int i = 0; i < 4; ++i)
            children.emplace_back("LogChild.exe", Arguments{"run"}, folder.Path());
        for (ChildProcess& child : children) {
            EXPECT_EQ(child.Wait(30'000), 0);
            EXPECT_TRUE(numbers.insert(child.Output()).second) << child.Output();
        }
    }
}

TEST(LoggingSystem, ProgramsThatBeginAtOnceWriteAFileEach) {
    constexpr int kPrograms = 6, kLines = 300;
    const TempFolder folder;
    const std::string name = "norviklib-begin-" + std::to_string(::GetCurrentProcessId());
    const HANDLE begin = ::CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    std::list<ChildProcess> children;
    for (int i = 0; i < kPrograms; ++i)
        children.emplace_back("LogChild.exe", Arguments{"write", std::to_string(kLines), name},
                              folder.Path());
    ::Sleep(500);  // not for the result: the later they start, the less they get in each other's way
    ::SetEvent(begin);
    for (ChildProcess& child : children)
        EXPECT_EQ(child.Wait(60'000), 0);
    ::CloseHandle(begin);
    for (int file = 1; file <= kPrograms; ++file) {
        const std::string text =
            ReadWholeFile(folder.Path("Logs\\Run #1 LogChild - 0" + std::to_string(file) + ".log"));
        EXPECT_EQ(std::ranges::count(text, '\n'), kLines) << file;
    }
}

// Every line of a killed program is in its file, whole and in order.
TEST(LoggingSystem, AKilledProgramLosesNoLine) {
    for (unsigned round = 0; round < 10; ++round) {
        const TempFolder folder;
        const std::string path = folder.Path("Logs\\Run #1 LogChild - 01.log");
        ChildProcess child("LogChild.exe", {"flood"}, folder.Path());
        while (child.IsRunning() && ReadWholeFile(path).size() < 20'000u + 3'000u * round) {
        }
        child.Kill();
        std::string text = ReadWholeFile(path);
        // The line whose call was under way may be cut: under Wine the kill may come between two pages of one write.
        text.erase(text.rfind('\n') + 1);
        int number = 0;
        size_t at = 0;
        while ((at = text.find(" line " + std::to_string(number) + " end\r\n", at)) != text.npos)
            ++number;
        EXPECT_EQ(number, std::count(text.begin(), text.end(), '\n'));  // none missing, none out of order
    }
}

TEST(LoggingSystem, AProgramEndsWhileItsThreadsStillTrace) {
    EXPECT_EQ(ChildProcess("LogChild.exe", {"exit"}, TempFolder().Path()).Wait(30'000), 5);
}

}  // namespace
