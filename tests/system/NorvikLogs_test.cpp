// The tool as a user starts it, with logs, and with something in the way of a support bundle. What is in a good bundle, as
// readers of others see it, is support_bundle.py.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <list>
#include <sstream>

#include "JRCmn/Cmn_LogFile.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

using testing::AllOf, testing::ContainsRegex, testing::HasSubstr, testing::Not, testing::StartsWith;

constexpr unsigned kLimit = 60'000;

TEST(NorvikTool, HelpNamesEveryVerbAndEveryVerbHasHelp) {
    ChildProcess help("norvik.exe", {"--help"}), none("norvik.exe", {});
    EXPECT_EQ(help.Wait(kLimit), 0);
    EXPECT_EQ(help.Output(), none.Output());
    std::istringstream lines(help.Output().substr(help.Output().find("Verbs:\n") + 7));
    int verbs = 0;
    for (std::string line, verb; std::getline(lines, line) && line.starts_with("  "); ++verbs) {
        std::istringstream(line) >> verb;
        EXPECT_THAT(RunProgram("norvik.exe", {verb, "--help"}, ""),
                    AllOf(StartsWith("0 "), HasSubstr("usage: norvik " + verb)));
    }
    EXPECT_GE(verbs, 2);
}

TEST(NorvikTool, OutputAndExitCodeFitTheCommandLine) {
    // Run 7 was begun before run 1, where numbering started again.
    const TempFolder root;
    const std::string logs = root.Path("Logs\\"), newer = logs + "Run #1 My App - 02.log",
                      report = "REPORT >>> Warning! ";
    std::filesystem::create_directory(logs);
    WriteWholeFile(logs + "Run #7 My - App - 01.log", "1000000001.000 " + report + "Fan 1 stands\r\n");
    WriteWholeFile(newer, "1000000101.500 " + report + "no in X.cpp(5).\r\n1000000102.000 last\r\n");
    for (const char* const other :
         {"12 A - 01.log.old", "x A - 01.log", "12 A.log", ".log", "99999999999999999999 A - 01.log"})
        WriteWholeFile(logs + "Run #" + other, "no name of a log");
    const auto isNewer = HasSubstr("X.cpp(5)"), isOlder = HasSubstr("Fan 1 stands");
    const struct {
        Arguments words;
        int exitCode;
        testing::Matcher<const std::string&> output;
    } cases[] = {
        {{"bogus"}, 2, HasSubstr("'bogus'")},
        {{"logs", "--bogus"}, 2, HasSubstr("'--bogus'")},
        {{"logs", "--lines"}, 2, HasSubstr("--lines")},
        {{"logs", "--raw=yes", "1"}, 2, HasSubstr("--raw")},
        {{"logs", "--follow", "--count", "1x"}, 2, HasSubstr("'1x'")},
        {{"logs", "--follow", "--count", "0"}, 2, HasSubstr("--count")},
        {{"logs", "--count", "3"}, 2, HasSubstr("--follow")},
        {{"logs", "99"}, 1, HasSubstr("run 99")},
        {{"logs", "missing.log"}, 1, HasSubstr("missing.log")},
        {{"logs"}, 0, ContainsRegex("NAME\n  1    2 .*My App\n  7    1 .*  My - App\n$")},
        {{"logs", "--raw", "--lines", "1", "1"}, 0, "1000000102.000 last\n"},
        {{"logs", "--raw", "--lines=1", newer}, 0, "1000000102.000 last\n"},
        {{"logs", "--reports"}, 0, AllOf(isNewer, Not(isOlder))},
        {{"logs", "--reports", "7"}, 0, AllOf(Not(isNewer), isOlder)},
        {{"logs", "--reports", "--all"}, 0, AllOf(isNewer, isOlder)},
    };
    std::list<ChildProcess> children;
    for (const auto& test : cases)
        children.emplace_back("norvik.exe", test.words, root.Path());
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.words));
        EXPECT_EQ(children.front().Wait(kLimit), test.exitCode);
        EXPECT_THAT(children.front().Output(), test.output);
        children.pop_front();
    }
}

TEST(NorvikTool, FollowPrintsEveryLineOnceThroughRewindsAndGoesOnWithANewRun) {
    const TempFolder folder;
    ChildProcess child("norvik.exe",
                       {"logs", "--folder", folder.Path(), "--follow", "--lines=1000", "--count=610"});
    Cmn_LogFile file(folder.Path("Run #2 App - 01.log"), 32'000, 28'000);
    for (int i = 0; i < 610; ++i) {
        if (i == 600) file = Cmn_LogFile(folder.Path("Run #3 App - 01.log"), 32'000, 28'000);
        // Two rewinds, written slowly enough for the tool to see each round.
        ASSERT_EQ(child.Wait(i % 2 * 10), ChildProcess::kTimedOut) << child.Output();
        file.EnableTimeStamps(true);
        file.Write(("line " + std::to_string(i) + std::string(100, 'x') + "\n").c_str());
    }
    ASSERT_EQ(child.Wait(kLimit), 0);

    const std::string output = child.Output();
    int next = 0;
    for (std::size_t at = 0; (at = output.find(" line ", at)) != output.npos; ++next)
        ASSERT_EQ(std::stoi(output.substr(at += 6)), next);
    EXPECT_EQ(next, 610);
    EXPECT_THAT(output, AllOf(HasSubstr("--- the file was rewound here ---"),
                              HasSubstr("--- Run #3 App - 01.log ---")));
}

TEST(NorvikCollect, AFileThatNobodyMayReadIsNamedAndTheRestIsCollected) {
    const TempFolder root;
    std::filesystem::create_directory(root.Path("Logs"));
    const std::string log = root.Path("Logs\\Run #7 App - 01.log"), bundle = root.Path("bundle.zip");
    const NorvikLibInternal::KernelHandle locked(
        ::CreateFileA(log.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    ChildProcess child("norvik.exe", {"collect", bundle}, root.Path());
    EXPECT_EQ(child.Wait(kLimit), 0);
    EXPECT_THAT(child.Output(), HasSubstr("Run #7 App - 01.log cannot be read: "));
    EXPECT_THAT(child.Output(), HasSubstr("(error 32)"));
    EXPECT_EQ(ReadWholeFile(bundle).substr(0, 4), "PK\3\4");
}

TEST(NorvikCollect, AFailureLeavesTheOldFileAndNoPart) {
    const TempFolder root;
    const std::string bundle = root.Path("bundle.zip");
    std::filesystem::create_directory(bundle);  // cannot be replaced
    ChildProcess taken("norvik.exe", {"collect", bundle}, root.Path()),
        missing("norvik.exe", {"collect", root.Path("no\\bundle.zip")}, root.Path());
    EXPECT_EQ(taken.Wait(kLimit), 1);
    EXPECT_THAT(taken.Output(), HasSubstr("cannot write " + bundle));
    EXPECT_EQ(missing.Wait(kLimit), 1);
    EXPECT_FALSE(std::filesystem::exists(bundle + ".part"));
}

TEST(MachineSmallDisk, ABundleThatDoesNotFitSaysSoAndLeavesNothing) {
    const char* const disk = std::getenv("NORVIK_TEST_SMALL_DISK");
    if (!disk) GTEST_SKIP() << "no small disk: NORVIK_TEST_SMALL_DISK is not set";
    const TempFolder root;
    std::string noise;
    for (unsigned i = 0, seed = 1; i < 3'000'000; ++i)
        noise += static_cast<char>((seed = seed * 1'664'525 + 1'013'904'223) >> 24);
    std::filesystem::create_directory(root.Path("Logs"));
    WriteWholeFile(root.Path("Logs\\Run #1 Noise - 01.log"), noise);
    const std::string bundle = std::string(disk) + "\\bundle.zip";
    ChildProcess child("norvik.exe", {"collect", bundle}, root.Path());
    EXPECT_EQ(child.Wait(kLimit), 1);
    EXPECT_THAT(child.Output(), HasSubstr("the disk is full"));
    EXPECT_FALSE(std::filesystem::exists(bundle));
    EXPECT_FALSE(std::filesystem::exists(bundle + ".part"));
}
