#include "JRCmn/Cmn_Assert.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "JRCmn/Cmn_QuestionDialog.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_FailureReport.h"
#include "JRCmn/Internal/Cmn_RegistryCalls.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::HasSubstr;

// The test level that turns prompts on.
void EnablePrompts() {
    NorvikLibInternal::GetRegistryCalls().openKey = [](HKEY, LPCSTR, DWORD, REGSAM, PHKEY key) -> LSTATUS {
        return ::RegOpenKeyExA(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, key);
    };
    NorvikLibInternal::GetRegistryCalls().queryValue = [](HKEY, LPCSTR, LPDWORD, LPDWORD type, LPBYTE data,
                                                          LPDWORD) -> LSTATUS {
        *type = REG_DWORD;
        *reinterpret_cast<DWORD*>(data) = 2;
        return ERROR_SUCCESS;
    };
}

TEST(Checks, FailuresNameExpressionFileAndLine) {
    int evaluated = 0;
    CMN_ASSERT(++evaluated == 1);
    if (CMN_VERIFY(++evaluated == 2) && CMN_CHECK(++evaluated == 3))
        CMN_ASSERT(true);
    else
        CMN_FAILURE("the macros work inside if and else");
    EXPECT_TRUE(TakeTraces().empty());
    EXPECT_FALSE(CMN_VERIFY_AT(63, ++evaluated == 7));
    EXPECT_EQ(evaluated, 4);
    EXPECT_FALSE(CMN_FAILURE_AT(64, "no answer"));
    EXPECT_FALSE(CMN_CHECK_AT(65, evaluated == 8));
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_TRUE(AnyContains(lines, " '++evaluated == 7' failed in tests\\JRCmn\\Cmn_Assert_test.cpp(63).\n"));
    EXPECT_TRUE(lines[0].starts_with("REPORT >>> Failed Verify! "));
    EXPECT_TRUE(AnyContains(lines, " no answer in tests\\JRCmn\\Cmn_Assert_test.cpp(64).\n"));
    EXPECT_THAT(lines.back(),
                HasSubstr(", 'evaluated == 8' check failed in tests\\JRCmn\\Cmn_Assert_test.cpp(65).\n"));
    EXPECT_FALSE(lines.back().starts_with("REPORT"));
}

TEST(Checks, AFailedAssertThrowsEvenWhenItsReportIsSuppressed) {
    const FakeClock clock;
    for (int i = 0; i < 60; ++i) {
        try {
            CMN_ASSERT_AT(5, i < 0);
            FAIL();
        } catch (const std::exception& e) {
            EXPECT_STREQ(e.what(), "Assertion \"i < 0\" in \"tests\\JRCmn\\Cmn_Assert_test.cpp\", line 5");
        }
    }
    EXPECT_EQ(TakeReports().size(), 50u);
}

TEST(Checks, TheStackOfAReportBeginsWithTheFunctionThatFailed) {
    CMN_VERIFY(false);
    const std::vector<std::string> lines = TakeTraces();
    const auto firstFrame =
        std::ranges::find_if(lines, [](auto& line) { return line.find("#00") != line.npos; });
    ASSERT_NE(firstFrame, lines.end());
    EXPECT_THAT(*firstFrame, HasSubstr("TheStackOfAReportBeginsWithTheFunctionThatFailed"));
    EXPECT_THAT(*firstFrame, HasSubstr("Cmn_Assert_test.cpp"));
}

TEST(Checks, TheLastErrorIsReportedAndKept) {
    for (const DWORD error : {DWORD{ERROR_ACCESS_DENIED}, DWORD{0}}) {
        ::SetLastError(error);
        CMN_VERIFY(false);
        EXPECT_EQ(::GetLastError(), error);
        EXPECT_EQ(AnyContains(TakeTraces(), "Last Win32 error: Access denied.\n"), error != 0);
    }
}

TEST(Checks, ResourcesAndContextAreTracedAtMostEveryHalfSecond) {
    FakeClock clock;
    static int calls;
    Cmn_Assert::AddContextTracer([] { throw std::runtime_error("out of order"); });
    Cmn_Assert::AddContextTracer([] { ++calls; });
    const auto failAndCountResources = [&] {
        CMN_VERIFY(false);
        const std::vector<std::string> lines = TakeTraces();
        EXPECT_TRUE(AnyContains(lines, "  Stack: norvik_tests.exe 0x"));  // a stack every time
        return AnyContains(lines, "Free RAM: ");
    };
    EXPECT_TRUE(failAndCountResources());
    clock.Advance(499);
    EXPECT_FALSE(failAndCountResources());
    clock.Advance(1);
    EXPECT_TRUE(failAndCountResources());
    EXPECT_EQ(calls, 2);
}

// A context tracer that fails a check, to the given depth.
int gDepthWanted;
void FailAgain() {
    if (gDepthWanted-- > 0) Cmn_Assert::FailedVerify("again", "nested.cpp", gDepthWanted);
}

TEST(Checks, FailuresInsideFailureReportsEndInSilence) {
    // Time runs on, so that every report writes its context and the tracer is called again.
    static uint64_t now = 1'794'679'831'000;
    NorvikLibInternal::OverrideClock([] { return now += 1000; });
    Cmn_Assert::AddContextTracer(&FailAgain);
    gDepthWanted = 5;
    Cmn_Assert::FailedVerify("outermost", "nested.cpp", 100);
    std::vector<std::string> reports = TakeReports();
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_THAT(reports[0], HasSubstr(" 'outermost' failed in nested.cpp(100)."));
    EXPECT_THAT(reports[1], HasSubstr(" 'again' failed in nested.cpp(4)."));
    EXPECT_THAT(reports[2], HasSubstr(" Nested failure: 'again' failed in nested.cpp(3)."));
    EXPECT_THAT(reports[3], HasSubstr(" 'again' failed in nested.cpp(3)."));
    // The depth is back at 0: the next failure is an ordinary one.
    gDepthWanted = 0;
    Cmn_Assert::FailedVerify("later", "nested.cpp", 101);
    reports = TakeReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_THAT(reports[0], HasSubstr(" 'later' failed"));
    NorvikLibInternal::OverrideClock(nullptr);
}

TEST(Checks, AHookIsCalledInsteadOfThePromptAndMayThrow) {
    static std::vector<std::string> calls;
    Cmn_Assert::SetFailureHook([](const char* expression, const char* location, const char* kind) {
        calls.push_back(std::string(expression) + "|" + location + "|" + kind);
        throw 42;
    });
    // The nesting is restored each time, or the later ones would be silent.
    for (int line = 1; line <= 4; ++line)
        EXPECT_THROW(Cmn_Assert::FailedVerify("e", "f.cpp", line), int);
    EXPECT_THROW(Cmn_Assert::Failure("m", "f.cpp", 5), int);
    EXPECT_THROW(Cmn_Assert::FailedAssert("a", "f.cpp", 6),
                 Cmn_AssertionFailure);  // an assertion's own, always
    EXPECT_FALSE(Cmn_Assert::IsFailing());
    Cmn_Assert::SetFailureHook(nullptr);
    EXPECT_THROW(Cmn_Assert::FailedAssert("a", "f.cpp", 7), Cmn_AssertionFailure);
    EXPECT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0], "e|f.cpp:1|Failed Verify");
    EXPECT_EQ(calls[4], "m|f.cpp:5|Failure");
    EXPECT_EQ(calls[5], "a|f.cpp:6|Assert");
    EXPECT_EQ(TakeReports().size(), 7u);
}

class Prompt : public testing::Test {
protected:
    void SetUp() override {
        EnablePrompts();
        Cmn_QuestionDialog::SetImplementation([](const Cmn_Question& question) {
            sQuestion = question;
            EXPECT_TRUE(Cmn_Assert::IsFailing());
            return sAnswer;
        });
    }
    void TearDown() override { TakeReports(); }

    static inline Cmn_Question sQuestion;
    static inline int sAnswer = 0;
};

TEST_F(Prompt, AsksWithTheWordsOfTheFailure) {
    sAnswer = 1;
    EXPECT_TRUE(Cmn_Assert::FailedVerify("x > 0", "f.cpp", 12));
    EXPECT_STREQ(sQuestion.title, "Failed Verify in norvik_tests...");
    EXPECT_STREQ(sQuestion.text, "'x > 0' failed in f.cpp(12)\n\nShould we try to continue?");
    EXPECT_THAT(sQuestion.choices, testing::ElementsAre("Stop", "Continue", "Always Continue"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "The user wants to continue...\n"));

    EXPECT_TRUE(Cmn_Assert::Failure("no answer", "f.cpp", 13));
    EXPECT_STREQ(sQuestion.title, "Failure in norvik_tests...");
    EXPECT_STREQ(sQuestion.text, "'no answer' in f.cpp(13)\n\nShould we try to continue?");

    sAnswer = Cmn_QuestionDialog::kNotAnswered;  // counts as "continue"
    EXPECT_THROW(Cmn_Assert::FailedAssert("y", "f.cpp", 14), Cmn_AssertionFailure);
    EXPECT_STREQ(sQuestion.title, "Assert in norvik_tests...");
    EXPECT_THAT(sQuestion.choices, testing::ElementsAre("Stop", "Throw", "Always Throw"));
    EXPECT_FALSE(Cmn_Assert::IsFailing());
}

TEST_F(Prompt, AlwaysIsRememberedForThePlace) {
    sAnswer = 2;
    EXPECT_TRUE(Cmn_Assert::FailedVerify("x", "f.cpp", 12));
    EXPECT_TRUE(AnyContains(TakeTraces(), "The user wants to always ignore this error...\n"));
    sQuestion = {};
    EXPECT_FALSE(Cmn_Assert::FailedVerify("x", "f.cpp", 12));
    EXPECT_TRUE(AnyContains(TakeTraces(), "Auto continue...\n"));
    EXPECT_TRUE(sQuestion.title.IsEmpty());
    Cmn_Assert::FailedVerify("x", "f.cpp", 13);
    EXPECT_FALSE(sQuestion.title.IsEmpty());
    // The message of a failure may be composed anew each time; its place is the same.
    Cmn_Assert::Failure(Cmn_String("fan 1"), "f.cpp", 14);
    sQuestion = {};
    Cmn_Assert::Failure(Cmn_String("fan 2"), "f.cpp", 14);
    EXPECT_TRUE(sQuestion.title.IsEmpty());
}

TEST_F(Prompt, WithTheToggleADumpIsWrittenInsteadOfAQuestion) {
    // A dump of all memory takes long under Wine; without a log folder it is only tried, and that is traced.
    const TempFolder folder;
    WriteWholeFile(folder.Path("file"), "x");
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", folder.Path("file").c_str());
    NorvikLibInternal::SetFailureDumpToggle([] { return true; });
    EXPECT_FALSE(Cmn_Assert::FailedVerify("x", "f.cpp", 12));
    EXPECT_TRUE(sQuestion.title.IsEmpty());
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_TRUE(AnyContains(lines, "Auto-generating a crash dump on failure...\n"));
    EXPECT_TRUE(AnyContains(lines, ".dmp"));
}

TEST(PromptDeathTest, StopEndsTheProcessAtOnceWithCodeZero) {
    EnablePrompts();
    static std::vector<std::string> titles;
    Cmn_QuestionDialog::SetImplementation([](const Cmn_Question& question) {
        titles.push_back(question.title.c_str());
        if (titles.size() == 1) return 0;
        // The second question comes last, so what happened so far is judged here: any mistake hangs in the check below.
        const bool right =
            question.title == "Crash Dump?" && question.choices.size() == 3 &&
            question.text ==
                "norvik_tests will stop now at your request.\n\nWhat type of crash dump do you want?";
        if (!right) ::TerminateProcess(::GetCurrentProcess(), 3);
        return 2;
    });
    EXPECT_EXIT(Cmn_Assert::FailedVerify("x", "f.cpp", 12), testing::ExitedWithCode(0), "");
}

TEST(Checks, EightThreadsFailingAtTheSamePlaceReportItOnce) {
    const FakeClock clock;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 20'000; ++i) {
                Cmn_Assert::FailedCheck("shared", "threads.cpp", 1);
                Cmn_Assert::FailedCheck("own", "threads.cpp", 2 + t);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_EQ(std::ranges::count_if(lines, [](auto& l) { return l.find("'shared' check failed") != l.npos; }),
              50);
    EXPECT_EQ(std::ranges::count_if(lines, [](auto& l) { return l.find("'own' check failed") != l.npos; }),
              50 * 8);
}

}  // namespace
