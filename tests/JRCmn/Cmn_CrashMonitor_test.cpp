#include "JRCmn/Cmn_CrashMonitor.h"

#include <gmock/gmock.h>

#include <list>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Logging.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

using testing::AllOf, testing::Contains, testing::ElementsAre, testing::HasSubstr, testing::StartsWith;

// The bytes of all such files in a folder.
static std::vector<std::string> FilesIn(const std::string& folder, const char* pattern) {
    std::vector<std::string> files;
    for (const Cmn_String& name : Cmn_FS::ListFiles(folder.c_str(), pattern))
        files.push_back(ReadWholeFile(folder + "\\" + name.c_str()));
    return files;
}

TEST(Cmn_CrashMonitor, EveryKindOfCrashLeavesReportStackAndDumpAndEndsWithItsCode) {
    constexpr int kAbort = 3, kAccess = static_cast<int>(0xC0000005), kStack = static_cast<int>(0xC00000FD);
    const struct Case {
        const char *action, *cleanup;
        int exitCode;
        const char *failure, *function, *end;  // what the log holds of the failure, the stack and the cleanup
    } cases[] = {
        {"write", "write", kAccess, "(access violation) at CrashChild.exe+0x", "WriteToNowhere", "itself"},
        {"write-threads", "trace", kAccess, ", writing 0x0000000000000010 in", "WriteToNowhere", "Cleaned"},
        {"call", "throw", kAccess, ", executing 0x0000000000000000 in", "operator()", ""},
        {"overflow", "trace", kStack, "(stack overflow)", "Recurse", "Cleaned"},
        {"overflow-thread", "trace", kStack, "(stack overflow)", "Recurse", "Cleaned"},
        {"throw", "trace", kAbort, "Uncaught exception, std::runtime_error: ", "Throw", "Cleaned"},
        {"noexcept", "trace", kAbort, "::runtime_error: the desk is gone, in", "Throw", "Cleaned"},
        {"abort", "trace", kAbort, "abort() was called", "main", "Cleaned"},
        {"write", "hang", kAccess, nullptr, nullptr, nullptr},  // ended by the limit, whatever it has left
        {"write", "no-folder", kAccess, nullptr, nullptr, nullptr},
    };
    const TempFolder root;
    WriteWholeFile(root.Path("no-folder"), "no folder can be below this");
    std::list<ChildProcess> children;
    const auto folder = [&](const Case& test) { return root.Path(test.end ? test.action : test.cleanup); };
    for (const Case& test : cases)
        children.emplace_back("CrashChild.exe", Arguments{test.action, test.cleanup}, folder(test));
    for (const Case& test : cases) {
        SCOPED_TRACE(std::string(test.action) + " " + test.cleanup);
        EXPECT_EQ(children.front().Wait(60'000), test.exitCode);
        children.pop_front();
        if (!test.end) continue;
        const std::string log = FilesIn(folder(test) + "\\Logs", "*.log").at(0);
        EXPECT_THAT(log, AllOf(HasSubstr(test.failure), HasSubstr("  Stack: "),
                               HasSubstr("Crash dump (small"), HasSubstr(test.end),
                               HasSubstr(" " + std::string(test.function) + " (children\\CrashChild.cpp:")));
        EXPECT_EQ(log.find("REPORT >>> "), log.rfind("REPORT >>> ")) << log;
        EXPECT_THAT(FilesIn(folder(test) + "\\Logs", "*.dmp"), ElementsAre(StartsWith("MDMP")));
    }
}

TEST(Cmn_CrashMonitor, CleanupFunctionIsAcceptedOnce) {
    EXPECT_FALSE(Cmn_Assert::SetUnhandledExceptionCleanupFunc(nullptr));
    EXPECT_TRUE(Cmn_Assert::SetUnhandledExceptionCleanupFunc([] {}));
    EXPECT_FALSE(Cmn_Assert::SetUnhandledExceptionCleanupFunc([] {}));
}

TEST(Cmn_CrashDump, TenNewestOfTheApplicationAreKept) {
    const std::string folder = Cmn_Logging::GetLogFolderPath().c_str(), begin = folder + "norvik_tests";
    for (const char* const other : {" two 2001-01-01 00.00.00 1-1.dmp", ".dmp", " 2001-01-01.dmp"})
        WriteWholeFile(begin + other, "not this application's");
    for (int year = 2012; year >= 2003; --year)
        WriteWholeFile(begin + " " + std::to_string(year) + "-01-01 00.00.00 1-1.dmp", std::to_string(year));
    EXPECT_TRUE(Cmn_Assert::CrashDump(false, nullptr));
    const auto dumps = FilesIn(folder, "*.dmp");
    EXPECT_EQ(dumps.size(), 3u + 10);
    EXPECT_THAT(dumps, Contains("2003").Times(0));
    EXPECT_THAT(dumps, Contains(StartsWith("MDMP")).Times(1));
}
