#include "Shared/Internal/JR_DisplayPlan.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <tuple>

namespace {

using namespace NorvikLibInternal;
using Manager = JR_DisplayManager;
using std::string;

// ---- Whether the built-in screen is fitted.

struct FakeScreen : ScreenSource {
    bool IsStandAlone() override { return type == eSystem_Standalone; }
    ESystemType GetSystemType() override { return static_cast<ESystemType>(type); }
    std::optional<int> ReadForcedSystemType() override { return forced; }
    EMotherboard GetBoard() override { return asked += " board", board; }
    bool HasLVDS() override { return asked += " lvds", isDetected; }
    bool IsFixedResolutionDisplayConnected(int width, int height) override {
        asked += " " + std::to_string(width) + "x" + std::to_string(height);
        return isDetected;
    }
    std::optional<bool> ReadStored() override { return stored; }

    int type = 0;
    std::optional<int> forced;
    EMotherboard board = eMB_Unknown;
    bool isDetected = false;
    std::optional<bool> stored;
    string asked;
};

TEST(JR_DisplayPlan, DecidesWhetherTheScreenIsFitted) {
    constexpr std::optional<int> none;
    constexpr std::optional<bool> unset;
    // Type, forced type, board, detected, stored; then: fitted or not, who was asked, what is said.
    const std::tuple<int, std::optional<int>, EMotherboard, bool, std::optional<bool>, string> cases[] = {
        {0, none, eMB_Unknown, false, unset, "yes"},
        {1, none, eMB_CongatecIC170, true, false, "no"},
        {3, none, eMB_AICTucana, true, true, "yes lost"},
        // A forced type decides before the board is asked, whatever board it is.
        {2, 2, eMB_AICPhoenix, false, false, "yes Forcing TKV to be present for forced K7R console.\n"},
        {2, 3, eMB_CongatecIC170, true, unset,
         "no Forcing TKV to be absent for forced non-console system.\n"},
        {2, -1, eMB_Unknown, true, true,
         "yes Forcing TKV to be absent for forced non-console system.\n lost"},
        {2, none, eMB_CongatecIC170, true, unset, "yes board lvds"},
        {2, none, eMB_CongatecIC170, false, true, "yes board lvds lost"},
        {2, none, eMB_PortwellWade8132, true, true, "yes board 1280x800"},
        {2, none, eMB_EmersonMITXCore810, false, unset, "no board 1280x800"},
        {2, none, eMB_PortwellWade8020, true, unset, "no board unknown"},
        {2, none, eMB_AICTucana, true, true, "yes board unknown lost"},
    };
    for (const auto& [type, forced, board, isDetected, stored, expected] : cases) {
        FakeScreen source;
        source.type = type, source.forced = forced, source.board = board;
        source.isDetected = isDetected, source.stored = stored;
        const ScreenVerdict verdict = DecideScreen(source);
        EXPECT_EQ((verdict.isFitted ? "yes" : "no") + source.asked +
                      (verdict.forcedTrace ? string(" ") + verdict.forcedTrace : "") +
                      (verdict.isUnknownBoard ? " unknown" : "") + (verdict.isNoMoreDetected ? " lost" : ""),
                  expected);
        const char* const result = verdict.isFitted ? "K7R control surface with TKV screen.\n"
                                                    : "K7R control surface without TKV screen.\n";
        EXPECT_STREQ(verdict.resultTrace, type == 2 ? result : nullptr);
    }
}

// ---- Which display is which.

struct FakeRules : DisplayRuleSource {
    std::optional<int> ReadDisplayNumber(EDisplayFunction function) override { return numbers[function]; }
    EMotherboard GetBoard() override { return board; }
    bool IsScreenAvailable() override { return hasScreen; }

    std::optional<int> numbers[3];
    EMotherboard board = eMB_CongatecIC170;
    bool hasScreen = true;
};

string Text(const DisplayVerdict& verdict) {
    return std::to_string(verdict.function) + (verdict.failedCheck ? verdict.failedCheck : "");
}

constexpr char cOnBoard[] = "PCI\\VEN_8086&DEV_1916&SUBSYS_0";
constexpr char cOtherOutput[] = "0!\"Unexpected output of the on-board graphics\"";

TEST(JR_DisplayPlan, TellsDisplaysApartByAdapterAndOutput) {
    const string begins = "0displayString.BeginsWith(cDisplayDeviceStrStart)", number = "0displayNumber != 0";
    const std::tuple<string, const char*, int, EMotherboard, bool, string> cases[] = {
        {"\\\\.\\DISPLAY1", cOnBoard, 0, eMB_CongatecIC170, true, "2"},
        {"\\\\.\\DISPLAY12", cOnBoard, 1, eMB_CongatecIC170, true, "1"},
        {"\\\\.\\DISPLAY3", cOnBoard, 2, eMB_CongatecIC170, true, cOtherOutput},
        {"\\\\.\\DISPLAY1", cOnBoard, 0, eMB_CongatecIC170, false, "1"},
        {"\\\\.\\DISPLAY2", cOnBoard, 1, eMB_CongatecIC170, false, cOtherOutput},
        {"\\\\.\\DISPLAY1", "PCI\\VEN_8086&DEV_0116", 0, eMB_EmersonMITXCore810, true, "2"},
        {"\\\\.\\DISPLAY1", "PCI\\VEN_8086&DEV_3E92&x", 1, eMB_PortwellWade8132, true, "1"},
        {"\\\\.\\DISPLAY1", cOnBoard, 0, eMB_PortwellWade8132, true, "0"},
        {"\\\\.\\DISPLAY1", "", 5, eMB_CongatecIC170, true, "0"},
        {"\\\\.\\DISPLAY1", cOnBoard, 0, eMB_AICTucana, true, "0"},
        {"\\\\.\\DISPLAY0", cOnBoard, 0, eMB_CongatecIC170, true, number},
        {"\\\\.\\DISPLAY", cOnBoard, 0, eMB_CongatecIC170, true, number},
        {"\\\\.\\DISPLAY-1", cOnBoard, 0, eMB_CongatecIC170, true, number},
        {"\\\\.\\DISPLAY99999999999", cOnBoard, 0, eMB_CongatecIC170, true, number},
        {"DISPLAY", cOnBoard, 0, eMB_CongatecIC170, true, begins},
    };
    for (const auto& [name, id, output, board, hasScreen, expected] : cases) {
        FakeRules rules;
        rules.board = board, rules.hasScreen = hasScreen;
        EXPECT_EQ(Text(ClassifyDisplay(rules, name, id, output)), expected) << name << id;
    }
}

TEST(JR_DisplayPlan, AStoredDisplayNumberGoesBeforeAdapterAndOutput) {
    FakeRules rules;
    EXPECT_EQ(Text(ClassifyOutput(rules, 8, 1)), "1");
    rules.numbers[eDisplayFunction_TKV] = 2;
    EXPECT_EQ(Text(ClassifyDisplay(rules, "\\\\.\\DISPLAY2", cOnBoard, 1)), "2");
    EXPECT_EQ(Text(ClassifyDisplay(rules, "\\\\.\\DISPLAY1", cOnBoard, 0)),
              "0");  // there is one touch screen only
    rules.numbers[eDisplayFunction_ExternalGUI] = 7;
    EXPECT_EQ(Text(ClassifyDisplay(rules, "\\\\.\\DISPLAY7", "other", 9)), "1");
    EXPECT_EQ(Text(ClassifyOutput(rules, 7, 9)), "1");
    EXPECT_EQ(Text(ClassifyOutput(rules, 8, 9)), cOtherOutput);
}

// ---- The arrangement.

string Text(const ArrangementPlan& plan) {
    std::ostringstream text;
    for (const Cmn_String& line : plan.announcements)
        text << line.c_str();
    for (const uint32_t flags : plan.topologyFlags)
        text << flags << " ";
    text << (plan.hopesForMonitor ? "hopes " : "");
    for (const auto& [display, setting, place, call] : plan.steps) {
        const string name = call;
        EXPECT_EQ(name.starts_with("builtinDisplay->"), display == eDisplayFunction_TKV);
        text << name.substr(name.find('>') + 1);
        if (setting == EDisplaySetting::Position) text << " " << place.left << "," << place.top;
        if (setting == EDisplaySetting::Resolution) text << " " << place.width << "x" << place.height;
        if (setting == EDisplaySetting::Orientation) text << " " << place.orientation;
        text << ";";
    }
    return text.str();
}

TEST(JR_DisplayPlan, ArrangesScreenAndExternalMonitor) {
    constexpr auto left = Manager::eExternalDisplayPos_Left, right = Manager::eExternalDisplayPos_Right,
                   above = Manager::eExternalDisplayPos_Above, nowhere = Manager::EExternalDisplayPos{-7};
    using Place = std::optional<DisplayPlace>;
    const Place none, onScreen = kScreenPlace, atLeft = {{-1920, 0, 1920, 1080}},
                      atRight = {{1280, 0, 1920, 1080}};
    const Place tooHigh = {{-1920, 0, 1920, 1200}}, beside = {{1, 0, 1280, 800}};
    const Place turned = {{-1920, 0, 1920, 1080, eDisplayOrientation_180}};
    const Place upsideDown = {{0, 0, 1280, 800, eDisplayOrientation_180}};
    const std::tuple<bool, Place, Place, Manager::EExternalDisplayPos, string, string, string> cases[] = {
        {true, onScreen, atLeft, left, "", "", ""},
        {true, upsideDown, atLeft, left, "", "", ""},
        {true, onScreen, atLeft, right, "position", "Right", "1280,0"},
        {true, onScreen, atLeft, above, "position", "Above", "0,-1080"},
        {true, onScreen, atRight, nowhere, "position", "WTF", "-1920,0"},
        {true, onScreen, tooHigh, left, "position", "Left", "-1920,0"},
        {true, onScreen, turned, left, "position", "Left", "-1920,0"},
        {true, beside, atLeft, left, "position", "Left", "-1920,0"},
        {true, none, atLeft, left, "position", "Left", "-1920,0"},
        {false, onScreen, atLeft, left, "topology", "Left", "-1920,0"},
        {false, onScreen, none, right, "topology and position", "Right", "1280,0"},
    };
    for (const auto& [isTopologyRight, screen, external, position, reason, where, at] : cases) {
        const string tries = isTopologyRight ? "" : external ? "132 2180 " : "132 2180 hopes ";
        const string expected =
            "Going to change display configuration because of " + reason +
            "...\nWill set display configuration for external screen + TKV system, external screen is on "
            "the " +
            where + "...\n" + tries +
            "SetPosition 0,0;SetResolution 1280x800;SetOrientation 0;BecomePrimaryDisplay;" + "SetPosition " +
            at + ";SetResolution 1920x1080;SetOrientation 0;";
        EXPECT_EQ(Text(PlanArrangement({true, isTopologyRight, screen, external, position})),
                  reason.empty() ? "" : expected);
    }
}

TEST(JR_DisplayPlan, ArrangesTheExternalMonitorAlone) {
    const string going = "Going to change display configuration because of ",
                 will = "...\nWill set display configuration for external screen-only system...\n",
                 steps = "SetPosition 0,0;SetResolution 1920x1080;SetOrientation 0;";
    const DisplayPlace moved = {1, 0, 1920, 1080}, turned = {0, 0, 1920, 1080, eDisplayOrientation_180};
    const std::tuple<bool, std::optional<DisplayPlace>, string> cases[] = {
        {true, kOnlyExternalPlace, ""},
        {false, kOnlyExternalPlace, going + "topology" + will + "129 "},
        {true, moved, going + "position" + will + steps},
        {true, turned, going + "position" + will + steps},
        {true, std::nullopt, going + "position" + will + steps},
    };
    for (const auto& [isTopologyRight, external, expected] : cases)
        EXPECT_EQ(Text(PlanArrangement({false, isTopologyRight, kScreenPlace, external})), expected);
}

TEST(JR_DisplayPlan, ChoosesPathsForBothScreens) {
    // An offer: adapter, source, target; then "i" for a panel, "a" available, "u" in use.
    const std::pair<string, string> cases[] = {
        {"", "internalTargets.size() == 1"},
        {"1 0 5i 1 1 5i", "internalTargets.size() == 1"},
        {"1 0 5ia 1 1 6ia", "internalTargets.size() == 1"},
        {"1 0 5ia 2 0 5ia", "internalTargets.size() == 1"},
        {"1 0 5ia 1 1 6a 1 1 7a", "externalTargets.size() <= 1"},
        {"1 0 5ia 1 0 6a", "sources.size() >= 2"},
        {"1 0 5iau 1 0 6a 1 1 7", "!\"No sources for both screens\""},
        {"1 0 5ia 1 1 5iau 1 0 6", "1 -"},
        {"1 0 5ia 1 1 5ia 1 0 6a 1 1 6a", "0 3"},
        {"1 0 5iau 1 1 5ia 1 0 6au 1 1 6a", "0 3"},  // clone: both are in use with the same source
        {"1 0 5ia 1 1 5iau 1 0 6au 1 1 6a", "1 2"},
        {"1 0 5ia 2 0 5a", "0 1"},
    };
    for (const auto& [text, expected] : cases) {
        std::vector<PathOffer> offers;
        std::istringstream stream(text);
        PathOffer offer;
        for (string target; stream >> offer.adapter >> offer.source >> target;) {
            const auto is = [&](char mark) { return target.find(mark) != target.npos; };
            offer.target = static_cast<uint32_t>(target[0]);
            offer.isInternal = is('i'), offer.isAvailable = is('a'), offer.isActive = is('u');
            offers.push_back(offer);
        }
        const PathChoice choice = ChoosePaths(offers);
        const string external = choice.external ? std::to_string(*choice.external) : "-";
        EXPECT_EQ(choice.failedCheck ? choice.failedCheck : std::to_string(choice.screen) + " " + external,
                  expected);
    }
}

}  // namespace
