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

std::string LogText() {
    return ReadWholeFile(Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath());
}

// The platform tells a debugger by an exception, which a handler in the process sees, too.
std::vector<std::string> gDebuggerOutput;
LONG CALLBACK CatchDebuggerOutput(EXCEPTION_POINTERS* pointers) {
    constexpr DWORD kPrintException = 0x40010006;
    if (pointers->ExceptionRecord->ExceptionCode != kPrintException) return EXCEPTION_CONTINUE_SEARCH;
    gDebuggerOutput.push_back(
        reinterpret_cast<const char*>(pointers->ExceptionRecord->ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(Cmn_DefaultLog, SwitchesDecideWhatIsStampedAndWhereItGoes) {
    const FakeClock clock(1'763'139'631'007);
    ::AddVectoredExceptionHandler(1, &CatchDebuggerOutput);
    Cmn_DefaultLog& log = Cmn_DefaultLog::GetInstance();
    EXPECT_TRUE(log.GetLogToFile() && log.GetLogToTerminal() && !log.IsSyslogEnabled());
    Cmn_Trace("first\nsecond %d\n", 2);
    EXPECT_FALSE(log.SuspendTraceTimeStamp(true));
    Cmn_Trace("bare\n");
    EXPECT_TRUE(log.SuspendTraceTimeStamp(false));
    log.SetLogToFile(false);
    Cmn_Trace("terminal only\n");
    log.SetLogToFile(true);
    log.SetLogToTerminal(false);
    log.EnableSyslog(true);
    Cmn_Trace("file only\n");
    EXPECT_TRUE(log.IsSyslogEnabled());
    const std::string stamp = "1763139631.007 ";
    EXPECT_EQ(LogText(), stamp + "first\r\nsecond 2\r\nbare\r\n" + stamp + "file only\r\n");
    EXPECT_THAT(gDebuggerOutput,
                testing::ElementsAre(stamp + "first\nsecond 2\n", "bare\n", stamp + "terminal only\n"));
    EXPECT_EQ(log.GetLogFile().GetFilePath(),
              std::string(Cmn_Logging::GetLogFolderPath()) + "Run #1 norvik_tests - 01.log");
}

TEST(Cmn_DefaultLog, ALineBeyondItsLimitIsCutWithANotice) {
    const FakeClock clock(1'763'139'631'007);
    const std::string stamp = "1763139631.007 ";
    std::string expected;
    for (const size_t total : {15u, 1'023u, 1'024u, 8'190u, 8'191u, 8'192u, 1'000'000u}) {
        const std::string text(total - stamp.size(), 't');
        Cmn_Trace("%s", text.c_str());
        expected += total <= 8'191
                        ? stamp + text
                        : (stamp + text).substr(0, 8'126) +
                              "...\r\n(The previous line was truncated because it was too long!)\r\n";
    }
    Cmn_Trace("tone %ls\n", L"\x4e2d");
    expected += stamp + "(A line cannot be formatted: \"tone %ls\r\n\")\r\n";
    EXPECT_EQ(LogText(), expected);
}

TEST(Cmn_DefaultLog, AConstructionBesideTheInstanceIsReported) {
    const Cmn_DefaultLog second;
    const std::vector<std::string> reports = TakeReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].ends_with(
        "'Double construction of Cmn_DefaultLog!' failed in JRCmn\\Cmn_DefaultLog.cpp(58).\n"));
}

TEST(Cmn_DefaultLog, AnotherFileMayTakeTheLines) {
    const TempFolder folder;
    Cmn_DefaultLog::GetInstance().GetLogFile() = Cmn_LogFile(folder.Path("mine.log"), 1'000'000, 1000);
    Cmn_Trace("to mine\n");
    EXPECT_TRUE(ReadWholeFile(folder.Path("mine.log")).ends_with(" to mine\r\n"));
    Cmn_DefaultLog::GetInstance().GetLogFile() = Cmn_LogFile();
    Cmn_Trace("to nowhere, and nothing hangs\n");
}

}  // namespace
