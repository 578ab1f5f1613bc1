#include "JRCmn/Cmn_Trace.h"

#include <gmock/gmock.h>

#include <regex>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_AutoTestTrace.h"
#include "JRCmn/Cmn_QuestionDialog.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Internal/Cmn_RegistryCalls.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;

// The registry answers every look-up of "Test Mode" in this process with one value.
void FakeTestMode(DWORD type, uint32_t value, DWORD size = 4) {
    static DWORD sType, sValue, sSize;
    sType = type;
    sValue = value;
    sSize = size;
    NorvikLibInternal::RegistryCalls& calls = NorvikLibInternal::GetRegistryCalls();
    calls.openKey = [](HKEY root, LPCSTR path, DWORD, REGSAM, PHKEY key) -> LSTATUS {
        EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
        EXPECT_STREQ(path, "Software\\NorvikLib");
        return ::RegOpenKeyExA(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, key);
    };
    calls.queryValue = [](HKEY, LPCSTR name, LPDWORD, LPDWORD outType, LPBYTE data,
                          LPDWORD outSize) -> LSTATUS {
        EXPECT_STREQ(name, "Test Mode");
        if (*outSize < sSize) return ERROR_MORE_DATA;
        *outType = sType;
        *outSize = sSize;
        memcpy(data, &sValue, std::min<DWORD>(sSize, 4));
        return ERROR_SUCCESS;
    };
}

std::string Time() {
    return Cmn_Time::Now().ToString("MMM d yyyy", "H:mm:ss", " @ ").c_str();
}

struct RecordingSender : Cmn_AutoTestTrace::StrategyTraceSender_IF {
    void Send(const char* text) override {
        texts.push_back(text);
        if (throws) throw 1;
        if (fails) {
            Cmn_Warning("a warning in the sender");
            CMN_VERIFY(!fails);
        }
    }
    std::vector<std::string> texts;
    bool throws = false, fails = false;
};

// Every test is a process of its own, so the level is read anew in each.
class TestMode : public testing::TestWithParam<std::tuple<DWORD, uint32_t, DWORD, int>> {};

TEST_P(TestMode, FollowsTheRegistryAndCountsAnythingMalformedAsZero) {
    const auto& [type, value, size, level] = GetParam();
    FakeTestMode(type, value, size);
    EXPECT_EQ(Cmn_InTestMode(), level != 0);
    EXPECT_EQ(Cmn_TestAlertsEnabled(), level >= 2);
    EXPECT_EQ(Cmn_InAutomationTestMode(), level == 5);
    Cmn_TestTrace("only in test mode %d\n", 1);
    EXPECT_EQ(TakeTraces().size(), level != 0 ? 1u : 0u);
    FakeTestMode(REG_DWORD, value + 1);  // the answer is kept
    EXPECT_EQ(Cmn_InTestMode(), level != 0);
}

INSTANTIATE_TEST_SUITE_P(Registry, TestMode,
                         testing::Values(std::tuple(REG_DWORD, 0, 4, 0), std::tuple(REG_DWORD, 1, 4, 1),
                                         std::tuple(REG_DWORD, 2, 4, 2), std::tuple(REG_DWORD, 5, 4, 5),
                                         std::tuple(REG_DWORD, 0xFFFFFFFF, 4, 6), std::tuple(REG_SZ, 5, 4, 0),
                                         std::tuple(REG_DWORD, 5, 2, 0), std::tuple(REG_QWORD, 5, 8, 0)));

TEST(Cmn_Trace, AFailureHookMakesTheLevelTwoWhichIsNotAutomation) {
    FakeTestMode(REG_DWORD, 5);
    Cmn_Assert::SetFailureHook([](const char*, const char*, const char*) {});
    Cmn_AutoTestTrace::SetGlobalStrategy(std::make_shared<RecordingSender>());
    EXPECT_TRUE(Cmn_InTestMode() && Cmn_TestAlertsEnabled() && !Cmn_InAutomationTestMode());
    EXPECT_EQ(Cmn_AutoTestTrace::GetCurrentStrategy(), nullptr);
}

TEST(Cmn_TraceFailure, LinesCarryTagTypeTimeAndMessage) {
    const FakeClock clock;
    const std::string time = Time();
    EXPECT_TRUE(std::regex_match(
        time, std::regex("[A-Z][a-z]{2} [0-9]{1,2} [0-9]{4} @ [0-9]{1,2}:[0-9]{2}:[0-9]{2}")))
        << time;
    Cmn_TraceFailure(eFailureType_FailedAssert, "a %s", "b");
    Cmn_TraceFailure(eFailureType_FailedDebugAssert, "two line feeds\n\n");
    Cmn_TraceFailureNoTerminal(eFailureType_FailedVerify, "inner\nkept\n");
    Cmn_TraceFailure(eFailureType_Failure, "\n");
    Cmn_TraceFailure(static_cast<EFailureType>(4), "x");
    Cmn_TraceFailure(static_cast<EFailureType>(-1), "y");
    Cmn_Warning("careful");
    EXPECT_THAT(
        TakeReports(),
        ElementsAre("REPORT >>> Failed Assert! " + time + " a b\n",
                    "REPORT >>> Failed Debug Assert! " + time + " two line feeds\n",
                    "REPORT >>> Failed Verify! " + time + " inner\nkept\n",
                    "REPORT >>> Failure! " + time + " \n", "REPORT >>> Failure! " + time + " x\n",
                    "REPORT >>> Failure! " + time + " y\n", "REPORT >>> Warning! " + time + " careful\n"));
}

TEST(Cmn_TraceFailure, AMessageBeyondItsLimitIsCutWithANotice) {
    const FakeClock clock;
    const std::string prefix = "REPORT >>> Warning! " + Time() + " ";
    for (const size_t length : {2046u, 2047u, 2048u, 3000u, 1'000'000u}) {
        const std::string message(length, 'm');
        Cmn_Warning("%s", message.c_str());
        const std::string expected =
            length <= 2047
                ? message
                : message.substr(0, 1988) + "...\n(This message was truncated because it was too long!)";
        EXPECT_THAT(TakeReports(), ElementsAre(prefix + expected + "\n")) << length;
    }
    Cmn_Warning("%ls", L"\x4e2d");  // no code page of the test machine has it: the formatter refuses
    EXPECT_TRUE(AnyContains(TakeReports(), "cannot be formatted"));
}

TEST(Cmn_LocationFilteredWarning, CountsByPlaceAndSaysWhenItStops) {
    FakeClock clock;
    const char* const kFile = CMN_SOURCE_FILE;
    EXPECT_EQ(kFile, CMN_SOURCE_FILE);  // every place of a file has the same text
    for (int i = 0; i < 51; ++i)
        Cmn_LocationFilteredWarning(CMN_SOURCE_FILE, 7).Warn("late by %d", i);
    std::vector<std::string> lines = TakeTraces();
    ASSERT_EQ(lines.size(), 51u);  // 50 warnings and the notice before the last
    EXPECT_EQ(lines[49], "The following issue occurred 50 times. We stop reporting every occurrence...\n");
    EXPECT_TRUE(lines[50].ends_with("late by 49\n"));

    Cmn_LocationFilteredWarning(kFile, 8).Warn("another line");
    EXPECT_EQ(TakeReports().size(), 1u);

    clock.Advance(900'001);
    Cmn_LocationFilteredWarning(kFile, 7).Warn("again");
    lines = TakeTraces();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "The following issue occurred 52 times (We are not reporting every occurrence).\n");
    EXPECT_LT(Cmn_LocationFilteredWarning(kFile, 7), Cmn_LocationFilteredWarning(kFile, 8));
    EXPECT_FALSE(Cmn_LocationFilteredWarning(kFile, 7) < Cmn_LocationFilteredWarning(kFile, 7));
}

TEST(Cmn_LocationAndMessageFilteredWarning, CountsEveryMessageOfAPlaceByItself) {
    const FakeClock clock;
    for (int i = 0; i < 120; ++i)
        Cmn_LocationAndMessageFilteredWarning(CMN_SOURCE_FILE, 7).Warn("fan %d", i % 2);
    const std::vector<std::string> reports = TakeReports();
    EXPECT_EQ(reports.size(), 100u);
    EXPECT_EQ(reports[0], "REPORT >>> Warning! " + Time() + " fan 0\n");
}

TEST(Cmn_AutoTestTrace, InAutomationEveryFailureTextGoesToTheSender) {
    const FakeClock clock;
    FakeTestMode(REG_DWORD, 5);
    Cmn_QuestionDialog::SetImplementation([](const Cmn_Question&) { return 1; });
    const auto sender = std::make_shared<RecordingSender>();
    Cmn_TraceFailure(eFailureType_Failure, "nobody listens yet");
    Cmn_AutoTestTrace::SetGlobalStrategy(sender);
    EXPECT_EQ(Cmn_AutoTestTrace::GetCurrentStrategy(), sender);
    Cmn_TraceFailure(eFailureType_FailedVerify, "seen\n");
    static const char kFile[] = "a.cpp";
    Cmn_LocationFilteredWarning(kFile, 1).Warn("counted");
    Cmn_LocationAndMessageFilteredWarning(kFile, 2).Warn("not for the automation");
    sender->throws = true;
    Cmn_Warning("a sender that throws harms nobody");
    sender->throws = false;
    sender->fails = true;
    Cmn_Warning("what fails in the sender does not come back to it");
    Cmn_AutoTestTrace::ResetGlobalStrategy();
    Cmn_Warning("not seen");
    EXPECT_THAT(sender->texts,
                ElementsAre("Failed Verify | " + Time() + "|seen", "Warning | " + Time() + "|counted",
                            "Warning | " + Time() + "|a sender that throws harms nobody",
                            "Warning | " + Time() + "|what fails in the sender does not come back to it"));
    EXPECT_EQ(TakeReports().size(), 9u);
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
    EXPECT_FALSE(key.Open(HKEY_LOCAL_MACHINE, path, eRegistryAccess_AllOperations));
    EXPECT_FALSE(key.Read("Number", number) || key.Read("Text", text) || key.Write("Number", number));
    ASSERT_TRUE(key.Open(HKEY_LOCAL_MACHINE, path, eRegistryAccess_Create));
    EXPECT_TRUE(key.Write("Number", 0xFFFFFFFFu) && key.Write("Text", Cmn_String("abc")) &&
                key.Write("None", Cmn_String()));
    // A string without its terminator, and one that is far too long.
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, path, "Open", REG_SZ, "unterminated", 4);
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, path, "Huge", REG_SZ, std::string(2'000'000, 'x').data(),
                      2'000'000);
    EXPECT_FALSE(key.Read("Text", number) || key.Read("Number", text) || key.Read("Missing", text) ||
                 key.Read("Huge", text));
    EXPECT_EQ(number, 7u);
    EXPECT_STREQ(text, "as it was");
    EXPECT_TRUE(key.Read("Number", number) && number == 0xFFFFFFFF);
    EXPECT_TRUE(key.Read("Text", text) && text == "abc");
    EXPECT_TRUE(key.Read("Open", text) && text == "unte");
    EXPECT_TRUE(key.Read("None", text) && text.IsEmpty());
    EXPECT_TRUE(key.Remove("Text") && !key.Read("Text", text));
    key.Close();
    ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
}

}  // namespace
