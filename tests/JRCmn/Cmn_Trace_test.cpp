#include "JRCmn/Cmn_Trace.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_AutoTestTrace.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Cmn_Time.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeTestMode.h"
#include "tests/support/TraceCapture.h"

using testing::ElementsAre, testing::EndsWith;

namespace {

std::string Time() {
    return Cmn_Time::Now().ToString("MMM d yyyy", "H:mm:ss", " @ ").c_str();
}

std::string Report(const std::string& type, const std::string& message) {
    return "REPORT >>> " + type + "! " + Time() + " " + message + "\n";
}

struct RecordingSender : Cmn_AutoTestTrace::StrategyTraceSender_IF {
    void Send(const char* text) override {
        texts.push_back(text);
        Cmn_Warning("what fails in the sender does not come back to it");
        throw 1;
    }
    std::vector<std::string> texts;
};

// Every test is a process of its own, so the level is read anew in each.
class TestMode : public testing::TestWithParam<DWORD> {};

TEST_P(TestMode, FollowsTheRegistryAsItWasFirstRead) {
    for (const DWORD level : {GetParam(), GetParam() + 1}) {
        FakeTestMode(level);
        EXPECT_EQ(Cmn_InTestMode(), GetParam() != 0);
        EXPECT_EQ(Cmn_TestAlertsEnabled(), GetParam() >= 2);
        EXPECT_EQ(Cmn_InAutomationTestMode(), GetParam() == 5);
    }
    Cmn_TestTrace("only in test mode %d\n", 1);
    EXPECT_EQ(TakeTraces().size(), GetParam() != 0);
}

INSTANTIATE_TEST_SUITE_P(Registry, TestMode, testing::Values(0, 1, 2, 5, 0xFFFFFFFF));

TEST(Cmn_Trace, AFailureHookMakesTheLevelTwoWhichIsNotAutomation) {
    FakeTestMode(5);
    Cmn_Assert::SetFailureHook([](const char*, const char*, const char*) {});
    Cmn_AutoTestTrace::SetGlobalStrategy(std::make_shared<RecordingSender>());
    EXPECT_TRUE(Cmn_InTestMode() && Cmn_TestAlertsEnabled() && !Cmn_InAutomationTestMode());
    EXPECT_EQ(Cmn_AutoTestTrace::GetCurrentStrategy(), nullptr);
}

TEST(Cmn_TraceFailure, LinesCarryTagTypeTimeAndMessage) {
    const FakeClock clock;
    const std::regex time("[A-Z][a-z]{2} [0-9]{1,2} [0-9]{4} @ [0-9]{1,2}:[0-9]{2}:[0-9]{2}");
    EXPECT_TRUE(std::regex_match(Time(), time)) << Time();
    Cmn_TraceFailure(eFailureType_FailedAssert, "a %s", "b");
    Cmn_TraceFailure(eFailureType_FailedDebugAssert, "two line feeds\n\n");
    Cmn_TraceFailureNoTerminal(eFailureType_FailedVerify, "inner\nkept\n");
    Cmn_TraceFailure(static_cast<EFailureType>(4), "\n");
    Cmn_TraceFailure(static_cast<EFailureType>(-1), "y");
    const std::string longest(2047, 'm');
    Cmn_Warning("%s", longest.c_str());
    Cmn_Warning("%sm", longest.c_str());
    Cmn_Warning("%ls", L"\x4e2d");  // no code page of the test machine has it: the formatter refuses
    const std::string cut = "...\n(This message was truncated because it was too long!)";
    EXPECT_THAT(
        TakeReports(),
        ElementsAre(Report("Failed Assert", "a b"), Report("Failed Debug Assert", "two line feeds"),
                    Report("Failed Verify", "inner\nkept"), Report("Failure", ""), Report("Failure", "y"),
                    Report("Warning", longest), Report("Warning", longest.substr(0, 1988) + cut),
                    Report("Warning", "(a message that cannot be formatted: \"%ls\")")));
}

TEST(Cmn_LocationFilteredWarning, CountsByPlaceAndSaysWhenItStops) {
    FakeClock clock;
    const char* const kFile = CMN_SOURCE_FILE;
    for (int i = 0; i < 51; ++i)  // every place of a file has the same text
        Cmn_LocationFilteredWarning(CMN_SOURCE_FILE, 7).Warn("late by %d", i);
    Cmn_LocationFilteredWarning(kFile, 8).Warn("another line");
    clock.Advance(900'001);
    Cmn_LocationFilteredWarning(kFile, 7).Warn("again");
    const std::vector<std::string> lines = TakeTraces();
    ASSERT_EQ(lines.size(), 54u);  // a notice comes before its warning
    EXPECT_EQ(lines[49], "The following issue occurred 50 times. We stop reporting every occurrence...\n");
    EXPECT_THAT(lines[50], EndsWith(" late by 49\n"));
    EXPECT_EQ(lines[52], "The following issue occurred 52 times (We are not reporting every occurrence).\n");
    EXPECT_EQ((std::set<Cmn_LocationFilteredWarning>{{kFile, 7}, {kFile, 8}, {kFile, 7}}.size()), 2u);
}

TEST(Cmn_LocationAndMessageFilteredWarning, CountsEveryMessageOfAPlaceByItself) {
    const FakeClock clock;
    for (int i = 0; i < 120; ++i)
        Cmn_LocationAndMessageFilteredWarning(CMN_SOURCE_FILE, 7).Warn("fan %d", i % 2);
    EXPECT_THAT(TakeReports(), testing::Contains(Report("Warning", "fan 0")).Times(50));
}

TEST(Cmn_AutoTestTrace, InAutomationEveryFailureTextGoesToTheSenderWhateverHappensThere) {
    const FakeClock clock;
    FakeTestMode(5);
    const auto sender = std::make_shared<RecordingSender>();
    Cmn_TraceFailure(eFailureType_Failure, "nobody listens yet");
    Cmn_AutoTestTrace::SetGlobalStrategy(sender);
    Cmn_TraceFailure(eFailureType_FailedVerify, "seen\n");
    Cmn_LocationFilteredWarning(CMN_SOURCE_FILE, 1).Warn("counted");
    Cmn_LocationAndMessageFilteredWarning(CMN_SOURCE_FILE, 2).Warn("not for the automation");
    Cmn_AutoTestTrace::ResetGlobalStrategy();
    Cmn_Warning("not seen");
    EXPECT_THAT(sender->texts,
                ElementsAre("Failed Verify | " + Time() + "|seen", "Warning | " + Time() + "|counted"));
    EXPECT_EQ(TakeReports().size(), 7u);
}

TEST(Cmn_Trace, LeavesTheLastErrorAlone) {
    void (*const calls[])() = {[] { Cmn_Trace("a line\n"); }, [] { Cmn_Warning("a warning"); },
                               [] { Cmn_VerboseTrace("Any", "asks the settings\n"); },
                               [] { CMN_CHECK(::GetCurrentProcessId() == 0); }};
    for (const auto call : calls) {
        ::SetLastError(1234);
        call();
        EXPECT_EQ(::GetLastError(), 1234u);
    }
    EXPECT_EQ(TakeReports().size(), 1u);
}

TEST(MachineRegistry, ValuesAreWrittenReadAndOfTheirType) {
    const char* const path = "Software\\NorvikLib\\Test";
    Cmn_Registry key;
    uint32_t number = 7;
    Cmn_String text = "as it was";
    EXPECT_FALSE(key.Open(HKEY_LOCAL_MACHINE, path, eRegistryAccess_AllOperations) || key.Read("Text", text));
    ASSERT_TRUE(key.Open(HKEY_LOCAL_MACHINE, path, eRegistryAccess_Create));
    EXPECT_TRUE(key.Write("Number", 0xFFFFFFFFu) && key.Write("Text", "abc"));
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, path, "Short", REG_DWORD, "..", 2);
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, path, "Long", REG_QWORD, "........", 8);
    for (const char* const other : {"Text", "Missing", "Short", "Long"})
        EXPECT_FALSE(key.Read(other, number)) << other;
    for (const char* const other : {"Number", "Missing"})
        EXPECT_FALSE(key.Read(other, text)) << other;
    EXPECT_TRUE(number == 7 && text == "as it was");
    EXPECT_TRUE(key.Read("Number", number) && number == 0xFFFFFFFF);
    EXPECT_TRUE(key.Read("Text", text) && text == "abc" && key.Remove("Text") && !key.Read("Text", text));
    key.Close();
    ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
}

}  // namespace
