#include "JRCmn/Cmn_CrashMonitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Logging.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

constexpr unsigned kLimit = 60'000;  // ms
constexpr int kAccessViolation = static_cast<int>(0xC0000005);
constexpr int kStackOverflow = static_cast<int>(0xC00000FD);
constexpr int kAborted = 3;

std::vector<std::string> FilesIn(const std::string& folder, const char* pattern) {
    std::vector<std::string> paths;
    for (const Cmn_String& name : Cmn_FS::ListFiles(folder.c_str(), pattern)) {
        paths.push_back(folder + "\\" + name.c_str());
    }
    return paths;
}

// A program that has crashed, and what it has left.
struct Crash {
    int exitCode;
    std::string log;
    std::vector<std::string> dumps;

    Crash(const std::string& root, const std::vector<std::string>& arguments) {
        ChildProcess child("CrashChild.exe", arguments, {{"NORVIKLIB_ROOT", root}});
        exitCode = child.Wait(kLimit);
        for (const std::string& path : FilesIn(root + "\\Logs", "*.log"))
            log += ReadWholeFile(path);
        dumps = FilesIn(root + "\\Logs", "*.dmp");
    }

    int Count(const std::string& text) const {
        int count = 0;
        for (size_t at = 0; (at = log.find(text, at)) != std::string::npos; at += text.size())
            ++count;
        return count;
    }
};

bool IsDump(const std::string& path) {
    return ReadWholeFile(path).rfind("MDMP", 0) == 0;
}

struct Kind {
    const char* argument;
    int exitCode;
    const char* report;    // part of the failure line
    const char* function;  // that the stack names
};

class Cmn_CrashMonitorKinds : public testing::TestWithParam<Kind> {};

}  // namespace

TEST_P(Cmn_CrashMonitorKinds, LeavesReportStackAndDump) {
    const TempFolder root;
    const Crash crash(root.Path(), {GetParam().argument, "trace"});
    EXPECT_EQ(crash.exitCode, GetParam().exitCode);
    EXPECT_EQ(crash.Count("REPORT >>> Failure! "), 1);
    for (const char* const text :
         {GetParam().report, GetParam().function, "  Stack: ", "Crash dump (small", "Cleaned up."}) {
        EXPECT_NE(crash.Count(text), 0) << text << " is missing in:\n" << crash.log;
    }
    ASSERT_EQ(crash.dumps.size(), 1u);
    EXPECT_TRUE(IsDump(crash.dumps[0]));
}

INSTANTIATE_TEST_SUITE_P(
    All, Cmn_CrashMonitorKinds,
    testing::Values(Kind{"write", kAccessViolation, "(access violation) at CrashChild.exe+0x",
                         " WriteToNowhere (children\\CrashChild.cpp:"},
                    Kind{"write-thread", kAccessViolation, ", writing 0x0000000000000010 in thread ",
                         " WriteToNowhere (children\\"},
                    Kind{"many", kAccessViolation, "(access violation)", " WriteToNowhere (children\\"},
                    Kind{"call", kAccessViolation, ", executing 0x0000000000000000 in thread ",
                         " CallNowhere (children\\"},
                    Kind{"overflow", kStackOverflow, "(stack overflow)", " Recurse (children\\"},
                    Kind{"overflow-thread", kStackOverflow, "(stack overflow)", " Recurse (children\\"},
                    Kind{"throw", kAborted, "Uncaught exception, std::runtime_error: the desk is gone, in",
                         " Throw (children\\"},
                    Kind{"noexcept", kAborted, "std::runtime_error: the desk is gone", " Throw"},
                    Kind{"abort", kAborted, "abort() was called", " Crash (children\\"}),
    [](const auto& kind) {
        std::string name = kind.param.argument;
        for (char& c : name)
            c = c == '-' ? '_' : c;
        return name;
    });

TEST(Cmn_CrashMonitor, CleanupThatFailsDoesNotKeepTheProcessFromEnding) {
    for (const char* const cleanup : {"crash", "throw", "hang"}) {
        SCOPED_TRACE(cleanup);
        const TempFolder root;
        const Crash crash(root.Path(), {"write", cleanup});
        EXPECT_EQ(crash.exitCode, kAccessViolation);
        EXPECT_EQ(crash.Count("REPORT >>>"), 1) << crash.log;
        EXPECT_EQ(crash.Count("step \"cleanup\" has crashed itself"), std::string(cleanup) == "crash")
            << crash.log;
    }
}

TEST(Cmn_CrashMonitor, ProcessWithoutALogFolderEndsWithItsCode) {
    const TempFolder folder;
    WriteWholeFile(folder.Path("file"), "no folder can be below this");
    EXPECT_EQ(Crash(folder.Path("file\\root"), {"write", "trace"}).exitCode, kAccessViolation);
}

TEST(Cmn_CrashMonitor, CleanupFunctionIsAcceptedOnce) {
    EXPECT_FALSE(Cmn_Assert::SetUnhandledExceptionCleanupFunc(nullptr));
    EXPECT_TRUE(Cmn_Assert::SetUnhandledExceptionCleanupFunc([] {}));
    EXPECT_FALSE(Cmn_Assert::SetUnhandledExceptionCleanupFunc([] {}));
}

TEST(Cmn_CrashDump, TenNewestOfTheApplicationAreKept) {
    const std::string folder = Cmn_Logging::GetLogFolderPath().c_str();
    const std::string others[] = {"norvik_tests two 2001-01-01 00.00.00 1-1.dmp", "norvik_tests.dmp",
                                  "norvik_tests 2001-01-01.dmp"};
    for (const std::string& name : others)
        WriteWholeFile(folder + name, "not this application's");
    const std::string oldest = "norvik_tests 2003-01-01 00.00.00 1-1.dmp";
    for (int year = 2012; year >= 2003; --year) {
        WriteWholeFile(folder + "norvik_tests " + std::to_string(year) + "-01-01 00.00.00 1-1.dmp", "old");
    }
    TakeTraces();
    ASSERT_TRUE(Cmn_Assert::CrashDump(false, nullptr));

    int real = 0;
    for (const std::string& path : FilesIn(folder, "*.dmp")) {
        real += IsDump(path);
        EXPECT_EQ(path.find(oldest), std::string::npos);
    }
    EXPECT_EQ(real, 1);
    EXPECT_EQ(FilesIn(folder, "*.dmp").size(), std::size(others) + 10);
    EXPECT_TRUE(AnyContains(TakeTraces(), "Crash dump (small, "));
}
