#include "JRCmn/Cmn_Assert.h"

#include <gmock/gmock.h>

#include <thread>

#include "JRCmn/Cmn_QuestionDialog.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Internal/Cmn_FailureReport.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeTestMode.h"
#include "tests/support/TraceCapture.h"

using namespace testing;

namespace {

const std::string kHere = " in tests\\JRCmn\\Cmn_Assert_test.cpp";

TEST(Checks, FailuresNameExpressionAndPlaceAndTheStackBeginsThere) {
    int evaluated = 0;
    CMN_ASSERT(++evaluated == 1);
    EXPECT_TRUE(CMN_VERIFY(++evaluated == 2) && CMN_CHECK(++evaluated == 3));
    EXPECT_THAT(TakeTraces(), IsEmpty());
    EXPECT_FALSE(CMN_VERIFY_AT(63, ++evaluated == 7));
    EXPECT_EQ(evaluated, 4);
    EXPECT_FALSE(CMN_FAILURE_AT(64, "no answer") || CMN_CHECK_AT(65, evaluated == 8));
    EXPECT_THAT(TakeReports(), ElementsAre(AllOf(StartsWith("REPORT >>> Failed Verify! "),
                                                 EndsWith(" '++evaluated == 7' failed" + kHere + "(63).\n")),
                                           EndsWith(" no answer" + kHere + "(64).\n")));
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_THAT(lines.back(), EndsWith(", 'evaluated == 8' check failed" + kHere + "(65).\n"));
    EXPECT_THAT(lines, Contains(AllOf(HasSubstr("#00"), HasSubstr("AndTheStackBeginsThere"),
                                      HasSubstr("Cmn_Assert_test.cpp"))));
}

TEST(Checks, AFailedAssertThrowsEvenWhenItsReportIsSuppressed) {
    const FakeClock clock;
    const std::string what = "Assertion \"i < 0\" in \"tests\\JRCmn\\Cmn_Assert_test.cpp\", line 5";
    for (int i = 0; i < 60; ++i)
        EXPECT_THAT([=] { CMN_ASSERT_AT(5, i < 0); }, testing::ThrowsMessage<std::exception>(what));
    EXPECT_EQ(TakeReports().size(), 50u);
}

TEST(Checks, LastErrorAndStackAreTracedEveryTimeResourcesAndContextEveryHalfSecond) {
    FakeClock clock;
    static int calls;
    Cmn_Assert::AddContextTracer([] { throw std::runtime_error("out of order"); });
    Cmn_Assert::AddContextTracer([] { ++calls; });
    const auto failAndCountResources = [&](DWORD error) {
        ::SetLastError(error);
        CMN_VERIFY(false);
        EXPECT_EQ(::GetLastError(), error);
        const std::vector<std::string> lines = TakeTraces();
        EXPECT_EQ(AnyContains(lines, "Last Win32 error: Access denied.\n"), error != 0);
        EXPECT_TRUE(AnyContains(lines, "  Stack: norvik_tests.exe 0x"));
        return AnyContains(lines, "Free RAM: ");
    };
    EXPECT_TRUE(failAndCountResources(ERROR_ACCESS_DENIED));
    clock.Advance(499);
    EXPECT_FALSE(failAndCountResources(0));
    clock.Advance(1);
    EXPECT_TRUE(failAndCountResources(ERROR_ACCESS_DENIED));
    EXPECT_EQ(calls, 2);
}

TEST(Checks, FailuresInsideFailureReportsEndInSilence) {
    static FakeClock clock;
    static int wanted;
    Cmn_Assert::AddContextTracer([] {
        clock.Advance(1000);  // so that every report writes its context
        if (wanted-- > 0) Cmn_Assert::FailedVerify("again", "nested.cpp", wanted);
    });
    wanted = 5;
    Cmn_Assert::FailedVerify("outermost", "nested.cpp", 100);
    wanted = 0;
    Cmn_Assert::FailedVerify("later", "nested.cpp", 101);  // the depth is back at 0
    EXPECT_THAT(TakeReports(), ElementsAre(HasSubstr(" 'outermost' failed in nested.cpp(100)."),
                                           HasSubstr(" 'again' failed in nested.cpp(4)."),
                                           HasSubstr(" Nested failure: 'again' failed in nested.cpp(3)."),
                                           HasSubstr(" 'again' failed in nested.cpp(3)."),
                                           HasSubstr(" 'later' failed in nested.cpp(101).")));
}

TEST(Checks, AHookIsCalledInsteadOfThePromptAndMayThrow) {
    static std::vector<std::string> calls;
    Cmn_Assert::SetFailureHook([](const char* expression, const char* location, const char* kind) {
        calls.push_back(std::string(expression) + "|" + location + "|" + kind);
        throw 42;
    });
    // The nesting is restored each time, or the later ones would be silent.
    EXPECT_THROW(Cmn_Assert::FailedVerify("e", "f.cpp", 1), int);
    EXPECT_THROW(Cmn_Assert::FailedVerify("e", "f.cpp", 2), int);
    EXPECT_THROW(Cmn_Assert::Failure("m", "f.cpp", 3), int);
    EXPECT_THROW(Cmn_Assert::FailedAssert("a", "f.cpp", 4), Cmn_AssertionFailure);  // its own, always
    Cmn_Assert::SetFailureHook(nullptr);
    EXPECT_THROW(Cmn_Assert::FailedAssert("a", "f.cpp", 5), Cmn_AssertionFailure);
    EXPECT_THAT(calls, ElementsAre("e|f.cpp:1|Failed Verify", "e|f.cpp:2|Failed Verify", "m|f.cpp:3|Failure",
                                   "a|f.cpp:4|Assert"));
    EXPECT_EQ(TakeReports().size(), 5u);
}

class Prompt : public testing::Test {
protected:
    Prompt() {
        FakeTestMode(2);
        Cmn_QuestionDialog::SetImplementation([](const Cmn_Question& question) {
            EXPECT_TRUE(Cmn_Assert::IsFailing());
            EXPECT_TRUE(Cmn_QuestionDialog::IsAsking(Cmn_Thread::GetCurrentThreadID()));
            const Cmn_String choices = Cmn_String::Join(question.choices, "/", true);
            sAsked.emplace_back(question.title + "|" + question.text + "|" + choices);
            std::fputs(sAsked.back().c_str(), stderr);
            return question.title == "Crash Dump?" ? 2 : sAnswer;
        });
    }
    ~Prompt() override { TakeReports(); }

    static inline std::vector<std::string> sAsked;
    static inline int sAnswer = 0;
};

using PromptDeathTest = Prompt;

TEST_F(Prompt, AsksWithTheWordsOfTheFailureUntilAlwaysIsAnswered) {
    sAnswer = 1;
    EXPECT_TRUE(Cmn_Assert::FailedVerify("x > 0", "f.cpp", 12));
    sAnswer = Cmn_QuestionDialog::kNotAnswered;  // counts as "continue"
    EXPECT_THROW(Cmn_Assert::FailedAssert("y", "f.cpp", 13), Cmn_AssertionFailure);
    EXPECT_FALSE(Cmn_Assert::IsFailing());
    EXPECT_FALSE(Cmn_QuestionDialog::IsAsking(Cmn_Thread::GetCurrentThreadID()));
    sAnswer = 2;
    EXPECT_TRUE(Cmn_Assert::FailedVerify("x > 0", "f.cpp", 12));
    EXPECT_FALSE(Cmn_Assert::FailedVerify("x > 0", "f.cpp", 12));
    // The message of a failure may be composed anew each time; its place is the same.
    EXPECT_TRUE(Cmn_Assert::Failure("fan 1", "f.cpp", 14));
    EXPECT_FALSE(Cmn_Assert::Failure("fan 2", "f.cpp", 14));
    EXPECT_THAT(TakeTraces(), IsSupersetOf({"The user wants to continue...\n", "Auto continue...\n",
                                            "The user wants to always ignore this error...\n"}));
    const auto asked = [](const std::string& kind, const std::string& what, const std::string& go) {
        return kind + " in norvik_tests...|" + what + "\n\nShould we try to continue?|Stop/" + go +
               "/Always " + go;
    };
    const std::string verify = asked("Failed Verify", "'x > 0' failed in f.cpp(12)", "Continue");
    EXPECT_THAT(sAsked, ElementsAre(verify, asked("Assert", "'y' failed in f.cpp(13)", "Throw"), verify,
                                    asked("Failure", "'fan 1' in f.cpp(14)", "Continue")));
}

TEST_F(Prompt, WithTheToggleADumpIsWrittenInsteadOfAQuestion) {
    // A dump of all memory takes long under Wine; without a log folder it is only tried, and that is traced.
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", _pgmptr);  // a file
    NorvikLibInternal::SetFailureDumpToggle([] { return true; });
    EXPECT_FALSE(Cmn_Assert::FailedVerify("x", "f.cpp", 12));
    EXPECT_THAT(sAsked, IsEmpty());
    EXPECT_THAT(TakeTraces(),
                AllOf(Contains("Auto-generating a crash dump on failure...\n"), Contains(HasSubstr(".dmp"))));
}

TEST_F(PromptDeathTest, StopEndsTheProcessAtOnceWithCodeZero) {
    EXPECT_EXIT(
        Cmn_Assert::FailedVerify("x", "f.cpp", 12), testing::ExitedWithCode(0),
        AllOf(HasSubstr("Crash Dump?|norvik_tests will stop now at your request."),
              HasSubstr("What type of crash dump do you want?|Small Crash Dump/Large Crash Dump/None")));
}

TEST(Checks, EightThreadsFailingAtTheSamePlaceReportItOnce) {
    const FakeClock clock;
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 20'000; ++i) {
                Cmn_Assert::FailedCheck("shared", "threads.cpp", 1);
                Cmn_Assert::FailedCheck("own", "threads.cpp", 2 + t);
            }
        });
    }
    threads.clear();
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_THAT(lines, Contains(HasSubstr("'shared' check failed")).Times(50));
    EXPECT_THAT(lines, Contains(HasSubstr("'own' check failed")).Times(50 * 8));
}

}  // namespace
