// The tool as a user starts it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "JRCmn/Cmn_LogFile.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr unsigned kLimit = 30'000;

struct Result {
    int code;
    std::string output;
};

Result Norvik(const std::vector<std::string>& arguments) {
    ChildProcess child("norvik.exe", arguments);
    const int code = child.Wait(kLimit);
    if (code == ChildProcess::kTimedOut) child.Kill();
    return {code, child.Output()};
}

// Two runs: number 7 was begun before number 1, where numbering started again.
class NorvikLogs : public testing::Test {
protected:
    NorvikLogs() {
        WriteWholeFile(folder.Path("Run #7 App - 01.log"),
                       "1000000000.000 old\r\n"
                       "1000000001.000 REPORT >>> Warning! Nov 14 2026 @ 18:10:31 Fan 1 stands\r\n");
        WriteWholeFile(
            folder.Path("Run #1 My App - 02.log"),
            "1000000100.000 first\r\n"
            "1000000101.500 REPORT >>> Failed Verify! Nov 14 2026 @ 18:10:31 'x' failed in X.cpp(5).\r\n"
            "1000000102.000 last\r\n");
    }

    Result Logs(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"logs", "--folder", folder.Path()});
        return Norvik(arguments);
    }

    const TempFolder folder;
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != text.npos;
}

}  // namespace

TEST(NorvikTool, HelpNamesEveryVerbAndEveryVerbHasHelp) {
    const Result list = Norvik({"--help"});
    EXPECT_EQ(list.code, 0);
    EXPECT_EQ(Norvik({}).output, list.output);
    std::size_t at = list.output.find("Verbs:\n");
    int verbs = 0;
    while (at != std::string::npos &&
           list.output.compare(at = list.output.find('\n', at) + 1, 2, "  ") == 0) {
        const std::string verb = list.output.substr(at + 2, list.output.find(' ', at + 2) - at - 2);
        const Result help = Norvik({verb, "--help"});
        EXPECT_EQ(help.code, 0) << verb;
        EXPECT_TRUE(Contains(help.output, "usage: norvik " + verb)) << help.output;
        ++verbs;
    }
    EXPECT_GE(verbs, 2);
}

TEST(NorvikTool, WrongUsageIsExitCode2AndNamesWhatIsWrong) {
    const struct {
        std::vector<std::string> arguments;
        const char* named;
    } cases[] = {
        {{"bogus"}, "'bogus'"},
        {{"--bogus"}, "'--bogus'"},
        {{"logs", "--bogus"}, "'--bogus'"},
        {{"logs", "--lines"}, "--lines"},
        {{"logs", "--raw=yes", "1"}, "--raw"},
        {{"logs", "--follow", "--count", "1x"}, "'1x'"},
        {{"logs", "--follow", "--count", "0"}, "--count"},
        {{"logs", "--count", "3"}, "--follow"},
    };
    for (const auto& test : cases) {
        const Result result = Norvik(test.arguments);
        EXPECT_EQ(result.code, 2) << result.output;
        EXPECT_TRUE(Contains(result.output, test.named)) << result.output;
    }
}

TEST_F(NorvikLogs, ListShowsTheRunBegunLastFirst) {
    const Result result = Logs({});
    EXPECT_EQ(result.code, 0);
    const std::size_t newer = result.output.find("My App\n"), older = result.output.find("  App\n");
    ASSERT_NE(older, std::string::npos) << result.output;
    EXPECT_LT(newer, older) << result.output;
}

TEST_F(NorvikLogs, LinesOfARunOrFileArePrinted) {
    EXPECT_EQ(Logs({"--raw", "--lines", "1", "1"}).output, "1000000102.000 last\n");
    EXPECT_EQ(Logs({"--raw", "--lines=1", folder.Path("Run #1 My App - 02.log")}).output,
              "1000000102.000 last\n");
    EXPECT_EQ(Logs({"99"}).code, 1);
    const Result missing = Logs({"missing.log"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(Contains(missing.output, "missing.log"));
}

TEST_F(NorvikLogs, ReportsAreThoseOfTheNewestRunUnlessOthersAreAskedFor) {
    const struct {
        std::vector<std::string> arguments;
        bool verify, warning;
    } cases[] = {{{"--reports"}, true, false},
                 {{"--reports", "7"}, false, true},
                 {{"--reports", "--all"}, true, true}};
    for (const auto& test : cases) {
        const Result result = Logs(test.arguments);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(Contains(result.output, "X.cpp(5)"), test.verify) << result.output;
        EXPECT_EQ(Contains(result.output, "Fan 1 stands"), test.warning) << result.output;
    }
}

TEST(NorvikTool, FollowPrintsEveryLineOnceThroughRewindsAndGoesOnWithANewRun) {
    constexpr int kLines = 600, kLinesOfTheNewRun = 10;
    const TempFolder folder;
    ChildProcess child("norvik.exe", {"logs", "--folder", folder.Path(), "--follow", "--lines=1000",
                                      "--count", std::to_string(kLines + kLinesOfTheNewRun)});
    {
        // Two rewinds, written slowly enough for the tool to see each round.
        Cmn_LogFile file(folder.Path("Run #2 App - 01.log"), 32'000, 28'000);
        file.EnableTimeStamps(true);
        for (int i = 0; i < kLines; ++i) {
            file.Write(("line " + std::to_string(i) + " " + std::string(100, 'x') + "\n").c_str());
            if (i % 2 == 0) {
                ASSERT_EQ(child.Wait(10), ChildProcess::kTimedOut) << child.Output();
            }
        }
    }
    Cmn_LogFile next(folder.Path("Run #3 App - 01.log"), 32'000, 28'000);
    next.EnableTimeStamps(true);
    for (int i = kLines; i < kLines + kLinesOfTheNewRun; ++i)
        next.Write(("line " + std::to_string(i) + "\n").c_str());

    ASSERT_EQ(child.Wait(kLimit), 0);
    const std::string output = child.Output();
    std::size_t at = 0;
    for (int i = 0; i < kLines + kLinesOfTheNewRun; ++i) {
        at = output.find(" line ", at);
        ASSERT_NE(at, output.npos) << i;
        ASSERT_EQ(std::stoi(output.substr(at += 6)), i);
    }
    EXPECT_EQ(output.find(" line ", at), output.npos);
    EXPECT_TRUE(Contains(output, "--- the file was rewound here ---"));
    EXPECT_TRUE(Contains(output, "--- Run #3 App - 01.log ---"));
}
