#include "JRCmn/Cmn_DefaultLog.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;

std::string LogText() { return ReadWholeFile(Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath()); }

TEST(Cmn_DefaultLog, TheFirstLineOpensTheRunsFile) {
    const FakeClock clock(1'763'139'631'007);
    Cmn_Trace("first\nsecond %d\n", 2);
    const std::string expected = std::string(Cmn_Logging::GetLogFolderPath()) + "Run #1 norvik_tests - 01.log";
    EXPECT_EQ(Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath(), expected);
    EXPECT_EQ(LogText(), "1763139631.007 first\r\nsecond 2\r\n");
}

TEST(Cmn_DefaultLog, SwitchesDecideWhatIsStampedAndWritten) {
    const FakeClock clock(1'763'139'631'007);
    Cmn_DefaultLog& log = Cmn_DefaultLog::GetInstance();
    EXPECT_TRUE(log.GetLogToFile() && log.GetLogToTerminal());
    EXPECT_FALSE(log.IsSyslogEnabled());
    EXPECT_FALSE(log.SuspendTraceTimeStamp(true));
    Cmn_Trace("bare\n");
    EXPECT_TRUE(log.SuspendTraceTimeStamp(false));
    log.SetLogToFile(false);
    Cmn_Trace("not in the file\n");
    log.SetLogToFile(true);
    log.SetLogToTerminal(false);
    log.EnableSyslog(true);
    Cmn_Trace("stamped\n");
    EXPECT_TRUE(log.IsSyslogEnabled());
    EXPECT_EQ(LogText(), "bare\r\n1763139631.007 stamped\r\n");
}

TEST(Cmn_DefaultLog, ALineBeyondItsLimitIsCutWithANotice) {
    const FakeClock clock(1'763'139'631'007);
    const std::string stamp = "1763139631.007 ";
    const std::string notice = "...\r\n(The previous line was truncated because it was too long!)\r\n";
    std::string expected;
    for (const size_t total : {0u, 1'023u, 1'024u, 8'190u, 8'191u, 8'192u, 1'000'000u}) {
        const std::string text(total < stamp.size() ? 0 : total - stamp.size(), 't');
        Cmn_Trace("%s", text.c_str());
        const std::string line = stamp + text;
        expected += line.size() <= 8'191 ? line : line.substr(0, 8'126) + notice;
    }
    EXPECT_EQ(LogText(), expected);
}

TEST(Cmn_DefaultLog, ALineThatCannotBeFormattedNamesItsFormat) {
    Cmn_Trace("tone %ls\n", L"\x4e2d");
    EXPECT_THAT(TakeTraces(), ElementsAre("(A line cannot be formatted: \"tone %ls\n\")\n"));
}

TEST(Cmn_DefaultLog, ASecondConstructionIsReported) {
    Cmn_DefaultLog::GetInstance();
    const Cmn_DefaultLog second;
    const std::vector<std::string> reports = TakeReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].ends_with("'Double construction of Cmn_DefaultLog!' failed in JRCmn\\Cmn_DefaultLog.cpp(58).\n"));
}

TEST(Cmn_DefaultLog, AnotherFileMayTakeTheLinesWhileThreadsTrace) {
    const TempFolder folder;
    Cmn_Trace("to the run's file\n");
    Cmn_DefaultLog::GetInstance().GetLogFile() = Cmn_LogFile(folder.Path("mine.log"), 1'000'000, 1000);
    Cmn_Trace("to mine\n");
    EXPECT_TRUE(ReadWholeFile(folder.Path("mine.log")).ends_with(" to mine\r\n"));
    Cmn_DefaultLog::GetInstance().GetLogFile() = Cmn_LogFile();
    Cmn_Trace("to nowhere, and nothing hangs\n");
}

// The platform tells a debugger by an exception, which a handler in the process sees, too.
std::vector<std::string>* gDebuggerOutput;
LONG CALLBACK CatchDebuggerOutput(EXCEPTION_POINTERS* pointers) {
    constexpr DWORD kPrintException = 0x40010006;
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode != kPrintException) return EXCEPTION_CONTINUE_SEARCH;
    gDebuggerOutput->push_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(Cmn_DefaultLog, TheDebuggerSeesEveryLineAlsoThoseNotForTheConsole) {
    std::vector<std::string> seen;
    gDebuggerOutput = &seen;
    void* const handler = ::AddVectoredExceptionHandler(1, &CatchDebuggerOutput);
    Cmn_DefaultLog::GetInstance().SuspendTraceTimeStamp(true);
    Cmn_Trace("one\n");
    Cmn_TraceFailureNoTerminal(eFailureType_Failure, "two");
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    Cmn_Trace("three\n");
    ::RemoveVectoredExceptionHandler(handler);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0], "one\n");
    EXPECT_TRUE(seen[1].ends_with(" two\n"));
    EXPECT_EQ(TakeReports().size(), 1u);
}

}  // namespace
