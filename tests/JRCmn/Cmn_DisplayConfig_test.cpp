#include "JRCmn/Internal/Cmn_DisplayConfig.h"

#include <gmock/gmock.h>

#include <tuple>

#include "tests/support/FakeDisplays.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;

constexpr LONG kGrown = ERROR_INSUFFICIENT_BUFFER;
const std::string kFile = "' failed in JRCmn\\Internal\\Cmn_DisplayConfig.cpp";

struct Cmn_DisplayConfigTest : testing::Test {
    FakeDisplays fake;
    DisplayConfig config{{2, DISPLAYCONFIG_PATH_INFO()}, {}, 7};

    Cmn_DisplayConfigTest() {
        fake.topology = 4;
        fake.paths.resize(2);
        fake.modes.resize(1);
    }
};

TEST_F(Cmn_DisplayConfigTest, IsAskedForAtMostFourTimes) {
    for (const auto query : {EDisplayQuery::Active, EDisplayQuery::DatabaseCurrent, EDisplayQuery::All}) {
        fake.queryAnswers = {kGrown, kGrown, kGrown};
        EXPECT_TRUE(ReadDisplayConfig(query, config));
        EXPECT_EQ(config.paths.size(), 2u);
        EXPECT_EQ(config.topology, query == EDisplayQuery::DatabaseCurrent ? 4u : 0u);
    }
    fake.queryAnswers = {kGrown, kGrown, kGrown, kGrown, 87};
    EXPECT_FALSE(ReadDisplayConfig(EDisplayQuery::Active, config));
    EXPECT_TRUE(ReportedOnce("'!\"Cannot query display topology after 4 retries. Giving up.\"" + kFile));
    EXPECT_TRUE(config.paths.empty());
    EXPECT_FALSE(ReadDisplayConfig(EDisplayQuery::Active, config));
    EXPECT_TRUE(ReportedOnce("'false' failed"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "QueryDisplayConfig failed with exit code 87.\n"));
}

TEST_F(Cmn_DisplayConfigTest, SurvivesCountsThatCannotBe) {
    static UINT32 sCount, sTold;
    static LONG sAnswer;
    GetDisplayCalls().getBufferSizes = [](auto, auto* paths, auto* modes) {
        return *paths = *modes = sCount, sAnswer;
    };
    GetDisplayCalls().queryConfig = [](auto, auto* paths, auto* outPaths, auto* modes, auto* outModes, auto) {
        *paths = *modes = sTold;
        return outPaths && outModes ? LONG{0} : LONG{ERROR_INVALID_PARAMETER};
    };
    for (const auto& [count, told, answer, code] : {std::tuple{0U, 0U, 0L, ""},
                                                    {4U, 9U, 0L, ""},
                                                    {0xFFFFFFFFU, 0U, 0L, "code 13."},
                                                    {2U, 2U, 5L, "code 5."}}) {
        std::tie(sCount, sTold, sAnswer) = std::tie(count, told, answer);
        EXPECT_EQ(ReadDisplayConfig(EDisplayQuery::Active, config), *code == 0);
        EXPECT_EQ(config.paths.size(), *code ? 0 : count);
        EXPECT_EQ(config.modes.size(), *code ? 0 : count);
        EXPECT_TRUE(!*code || AnyContains(TakeTraces(), code));
    }
}

TEST_F(Cmn_DisplayConfigTest, IsTracedWithItsWrongIndexes) {
    config.paths.resize(3);
    auto &good = config.paths[0], &wrong = config.paths[1], &beyond = config.paths[2];
    good.flags = DISPLAYCONFIG_PATH_ACTIVE;
    good.targetInfo.outputTechnology = DISPLAYCONFIG_OUTPUT_TECHNOLOGY_LVDS;
    good.targetInfo.modeInfoIdx = wrong.sourceInfo.modeInfoIdx = 1;
    good.targetInfo.targetAvailable = TRUE;
    good.targetInfo.refreshRate = {60'000, 1'000};
    wrong.targetInfo.modeInfoIdx = DISPLAYCONFIG_PATH_MODE_IDX_INVALID;
    beyond.targetInfo.modeInfoIdx = 3;
    config.modes.resize(3);
    config.modes[0].infoType = DISPLAYCONFIG_MODE_INFO_TYPE_SOURCE;
    config.modes[0].sourceMode = {1280, 800, DISPLAYCONFIG_PIXELFORMAT_32BPP, {-3, 4}};
    config.modes[1].infoType = DISPLAYCONFIG_MODE_INFO_TYPE_TARGET;
    TraceDisplayConfig(config);
    std::string text;
    for (const std::string& trace : TakeTraces())
        text += trace;
    // clang-format off
    EXPECT_EQ(text,
        "  Path 0: adapter 0:0, source 0 with mode 0 to target 0 with mode 1, LDVS, rotation 0, 60.00 Hz, active.\n"
        "  Path 1: adapter 0:0, source 0 with mode 1 (which it cannot have) to target 0 with no mode, Unknown, rotation 0, 0.00 Hz, nothing connected.\n"
        "  Path 2: adapter 0:0, source 0 with mode 0 to target 0 with mode 3 (which it cannot have), Unknown, rotation 0, 0.00 Hz, nothing connected.\n"
        "  Mode 0: source 0, 1280x800 at (-3, 4).\n  Mode 1: target 0, 0x0, 0.00 Hz.\n  Mode 2: of type 0.\n");
    // clang-format on
}

// The platform itself; under Wine with one display.
TEST(Cmn_DisplayConfigReal, IsTold) {
    DisplayConfig config;
    for (const auto query : {EDisplayQuery::Active, EDisplayQuery::DatabaseCurrent}) {
        ASSERT_TRUE(ReadDisplayConfig(query, config));
        ASSERT_FALSE(config.paths.empty());
        TraceDisplayConfig(config);
    }
    EXPECT_FALSE(AnyContains(TakeTraces(), "which it cannot have"));
    EXPECT_NE(config.topology, 0u);
}

}  // namespace
