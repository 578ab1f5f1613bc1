#include "JRCmn/Cmn_DefaultLog.h"

#include <gmock/gmock.h>

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

const std::string kStamp = "1763139631.007 ";

static std::string LogText() {
    return ReadWholeFile(Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath());
}

// The platform tells a debugger by an exception, which a handler in the process sees, too.
static std::vector<std::string> gDebuggerOutput;
static LONG CALLBACK CatchDebuggerOutput(EXCEPTION_POINTERS* pointers) {
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
    EXPECT_EQ(LogText(), kStamp + "first\r\nsecond 2\r\nbare\r\n" + kStamp + "file only\r\n");
    EXPECT_THAT(gDebuggerOutput,
                testing::ElementsAre(kStamp + "first\nsecond 2\n", "bare\n", kStamp + "terminal only\n"));
    EXPECT_TRUE(log.GetLogFile().GetFilePath().ends_with("\\Logs\\Run #1 norvik_tests - 01.log"));
    log.GetLogFile() = Cmn_LogFile();
    Cmn_Trace("to nowhere, and nothing hangs\n");
}

TEST(Cmn_DefaultLog, ALineBeyondItsLimitIsCutWithANotice) {
    const FakeClock clock(1'763'139'631'007);
    const std::string longest(8'191 - kStamp.size(), 't');
    Cmn_Trace("%s", longest.c_str());
    Cmn_Trace("%st", longest.c_str());
    Cmn_Trace("tone %ls\n", L"\x4e2d");
    EXPECT_EQ(LogText(), kStamp + longest + (kStamp + longest).substr(0, 8'126) +
                             "...\r\n(The previous line was truncated because it was too long!)\r\n" +
                             kStamp + "(A line cannot be formatted: \"tone %ls\r\n\")\r\n");
}

TEST(Cmn_DefaultLog, AConstructionBesideTheInstanceIsReported) {
    const Cmn_DefaultLog second;
    EXPECT_TRUE(
        ReportedOnce(" 'Double construction of Cmn_DefaultLog!' failed in JRCmn\\Cmn_DefaultLog.cpp(58).\n"));
}
