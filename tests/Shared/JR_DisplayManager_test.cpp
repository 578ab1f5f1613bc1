#include "Shared/JR_DisplayManager.h"

#include <gmock/gmock.h>

#include <tuple>

#include "JRCmn/Internal/Cmn_RegistryCalls.h"
#include "Shared/Internal/JR_WmiCalls.h"
#include "Shared/JR_FeatureToggles.h"
#include "Shared/JR_ShellApp.h"
#include "tests/support/FakeDisplays.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/SimulatedBoard.h"
#include "tests/support/TraceCapture.h"

namespace {

using Manager = JR_DisplayManager;
using NorvikLibInternal::GetRegistryCalls;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

constexpr char cPresent[] = "TKV Display Is Present", cForced[] = "Force System Type",
               cPosition[] = "External Display Position", cNewPosition[] = "New External Display Position";

// A console with the CGOS board, whose vendor's library is missing, and displays of which the test says what they are.
class MachineDisplays : public testing::Test {
protected:
    MachineDisplays() {
        machine.SetText(kWindowsKey, "EditionID", "Embedded");
        machine.SetText(kFirmwareKey, "BaseBoardProduct", "IC17X");
        machine.SetNumber(kSettings, cPresent, 1);
        for (const char* name : {cForced, cPosition, cNewPosition, "DisplayNumber1"})
            machine.Remove(kSettings, name);
        JR_FeatureToggleManager::Init(false, "");
    }
    ~MachineDisplays() override { JR_FeatureToggleManager::Destroy(); }

    // Built-in screen and monitor, both in the wrong place.
    void Start(uint32_t topology) {
        displays.outputs.clear();
        displays.Add({.left = 100, .width = 640, .height = 480});
        displays.Add({.left = 1280, .width = 1280, .height = 1024});
        displays.topology = topology;
        TakeTraces();
    }

    std::string Arrange() {
        displays.calls.clear();
        bool restart = true, changed = true;
        const bool isDone = Manager().ArrangeDisplayConfig(restart, changed);
        traces = TakeTraces();
        EXPECT_EQ(AnyContains(traces, "'ArrangeScreens("), !isDone);
        return std::string(isDone ? "ok" : "failed") + (restart ? " restart" : "") +
               (changed ? " changed" : "");
    }

    MachineSettings machine;
    FakeDisplays displays;
    std::vector<std::string> traces;
};

TEST_F(MachineDisplays, FunctionsFollowAdapterOutputAndStoredNumbers) {
    Start(4);
    displays.outputs.push_front({.id = "PCI\\VEN_10DE&DEV_1916", .width = 800, .height = 600});
    const auto left = [](const auto& display) { return display ? display->GetLeft() : -1; };
    Manager manager;
    EXPECT_EQ(left(manager.FindDisplayByFunction(eDisplayFunction_TKV)), 100);
    EXPECT_EQ(left(std::as_const(manager).FindDisplayByFunction(eDisplayFunction_ExternalGUI)), 1280);
    EXPECT_EQ(left(manager.FindDisplayByFunction(eDisplayFunction_Unknown)), 0);
    machine.SetNumber(kSettings, "DisplayNumber1", 1);
    EXPECT_EQ(left(manager.FindDisplayByFunction(eDisplayFunction_ExternalGUI)), 0);
    EXPECT_EQ(Manager::GetDisplayFunction(5, 1), eDisplayFunction_Unknown);
    EXPECT_EQ(Manager::GetOverridenDisplayNumber(eDisplayFunction_ExternalGUI, 9), 1);
    Cmn_Display::Properties nobody;
    nobody.deviceName = "\\\\.\\DISPLAY0";
    EXPECT_EQ(Manager::GetDisplayFunction(Cmn_Display(nobody)), eDisplayFunction_Unknown);
    EXPECT_TRUE(ReportedOnce("'displayNumber != 0' failed in Shared\\JR_DisplayManager.cpp("));
}

TEST_F(MachineDisplays, AScreenThatWasThereStaysStoredAndMarkerFilesGoBefore) {
    const auto init = [&](int stored, const char* trace) {
        machine.SetNumber(kSettings, cPresent, static_cast<DWORD>(stored));
        if (stored < 0) machine.Remove(kSettings, cPresent);
        Manager::InitRegistryInfo();
        EXPECT_TRUE(AnyContains(TakeTraces(), trace)) << trace;
        return Manager::IsTKVScreenAvailable();
    };
    EXPECT_FALSE(init(-1, "K7R control surface without TKV screen.\n"));
    EXPECT_TRUE(init(1,
                     "'!\"TKV display is no more detected (KPL-29108).\"' failed in Shared\\JR_Display"
                     "Manager.cpp(121)."));
    machine.SetNumber(kSettings, cForced, 2);
    EXPECT_TRUE(init(-1, "Forcing TKV to be present for forced K7R console.\n"));
    machine.Remove(kSettings, cForced);
    {
        const SimulatedBoard board("cgos", "Cgos.dll");
        EXPECT_TRUE(init(0, "K7R control surface with TKV screen.\n"));
    }
    machine.Remove(kSettings, cPresent);
    EXPECT_FALSE(Manager::IsTKVScreenAvailable());
    EXPECT_TRUE(ReportedOnce(
        "'Cmn_Preferences::Get(PREFERENCE_TKV_DISPLAY_PRESENT, isTKVDisplayConnected)' failed in "));
    machine.MakeFile("C:\\ForceTKVPresent.txt");
    EXPECT_TRUE(Manager::IsTKVScreenAvailable());
    machine.SetNumber(kSettings, cPresent, 1);
    machine.MakeFile("C:\\K7R16C.txt");
    EXPECT_FALSE(Manager::IsTKVScreenAvailable());
}

TEST_F(MachineDisplays, ArrangesScreenAndMonitorAndThenHasNothingToDo) {
    Start(2);
    displays.outputs[0].orientation = DMDO_90;
    displays.outputs[1].orientation = DMDO_270;
    machine.SetNumber(kSettings, cPosition, 1);
    EXPECT_EQ(Arrange(), "ok changed");
    auto at = traces.begin();
    for (const std::string line :
         {"Tracing all we know about Active display configurations:\n",
          "Tracing all we know about DB current display configurations:\n", "Topology is Clone.\n",
          "Tracing all we know about display configurations done.\n",
          "Current topology is Clone, while we need Extend.\n",
          "Going to change display configuration because of topology and position...\n",
          "Will set display configuration for external screen + TKV system, external screen is on the "
          "Right...\n",
          "Current topology is Extend, as expected.\n"}) {
        at = std::find(at, traces.end(), line);
        ASSERT_NE(at, traces.end()) << line;
    }
    EXPECT_EQ(displays.calls.front(), "topology 132");
    EXPECT_TRUE(displays.outputs[0].left == 0 && displays.outputs[1].left == 1280);
    EXPECT_TRUE(displays.outputs[0].state & DISPLAY_DEVICE_PRIMARY_DEVICE);
    EXPECT_EQ(Arrange(), "ok");
    EXPECT_THAT(displays.calls, IsEmpty());
}

TEST_F(MachineDisplays, EverySetterMayFailOrWantARestart) {
    const auto arrange = [&](size_t good, LONG answer) {
        Start(4);
        displays.changeAnswers.assign(good, 0);
        displays.changeAnswers.push_back(answer);
        return Arrange();
    };
    ASSERT_EQ(arrange(0, 0), "ok changed");
    const auto all = displays.calls;
    std::string failed;  // the names in their order; becoming the primary display takes several calls
    for (size_t n = 0; n < all.size(); ++n) {
        EXPECT_EQ(arrange(n, DISP_CHANGE_BADMODE), "failed changed") << n;
        EXPECT_EQ(displays.calls.size(), n + 1);  // and no further
        for (const std::string& line : traces) {
            const size_t from = line.find("for "), to = line.find(" failed with error -2.\n");
            if (line.find("Setting display setting ") == line.npos || to == line.npos) continue;
            const std::string name = line.substr(from + 4, to - from - 4) + "|";
            if (!failed.ends_with(name)) failed += name;
        }
        EXPECT_EQ(arrange(n, DISP_CHANGE_RESTART), "ok restart changed") << n;
        EXPECT_THAT(displays.calls.back(), testing::StartsWith("2 orientation 0 ")) << n;
    }
    EXPECT_EQ(failed,
              "builtinDisplay->SetPosition|builtinDisplay->SetResolution|builtinDisplay->SetOrientation|"
              "builtinDisplay->BecomePrimaryDisplay|externalDisplay->SetPosition|"
              "externalDisplay->SetResolution|externalDisplay->SetOrientation|");
}

TEST_F(MachineDisplays, ATopologyThatCannotBeHadDoesNotKeepTheScreensFromTheirPlaces) {
    const std::tuple<bool, bool, std::deque<LONG>, const char*, const char*> cases[] = {
        {true, true, {31}, "ok changed", "SetDisplayConfig failed with 31!\n"},
        {true, true, {31, 87}, "failed changed", "SetDisplayConfig failed again with 87!\n"},
        {true, false, {}, "failed changed", "Current topology is Internal, while we need Extend.\n"},
        {false, true, {31, 31}, "ok changed", "Forcing display topology changes with hope"},
    };
    for (const auto& [hasMonitor, canChange, answers, expected, trace] : cases) {
        Start(1);
        if (!hasMonitor) displays.outputs.pop_back();
        displays.canChangeTopology = canChange;
        displays.configAnswers = answers;
        EXPECT_EQ(Arrange(), expected) << trace;
        EXPECT_TRUE(AnyContains(traces, trace)) << trace;
        EXPECT_EQ(displays.calls[0] + displays.calls[1].substr(0, 13),
                  answers.empty() ? "topology 1321 position 0," : "topology 132topology 2180");
        EXPECT_EQ(displays.outputs[0].width, 1280);
    }
}

TEST_F(MachineDisplays, AQueryOrAScreenThatFailsLeavesTheDisplaysAlone) {
    Start(4);
    displays.queryAnswers = {5, 5, 5};
    EXPECT_EQ(Arrange(), "failed");
    EXPECT_THAT(displays.calls, IsEmpty());
    displays.outputs[0].id = displays.outputs[1].id = "other";
    EXPECT_EQ(Arrange(), "failed changed");
    EXPECT_THAT(displays.calls, IsEmpty());
    EXPECT_TRUE(!Manager::CheckDisplayTopology(1) && Manager::CheckDisplayTopology(4));
}

TEST_F(MachineDisplays, ArrangesTheMonitorAlone) {
    machine.SetNumber(kSettings, cPresent, 0);
    displays.Add({.left = 5, .width = 1920, .height = 1080});
    displays.topology = 4;
    EXPECT_EQ(Arrange(), "ok changed");
    EXPECT_EQ(displays.calls.front(), "topology 129");
    EXPECT_EQ(displays.outputs[0].left, 0);
    EXPECT_EQ(Arrange(), "ok");
    displays.topology = 2;
    displays.configAnswers = {5};
    EXPECT_EQ(Arrange(), "failed changed");
    EXPECT_THAT(displays.calls, ElementsAre("topology 129"));
}

TEST_F(MachineDisplays, ArrangesByExplicitPathsWhereTheirConditionsHold) {
    Start(2);
    for (UINT32 i = 0; i < 4; ++i) {  // two sources, each for panel and monitor
        DISPLAYCONFIG_PATH_INFO path = {};
        path.sourceInfo.id = i / 2;
        path.targetInfo.id = i % 2;
        path.sourceInfo.modeInfoIdx = path.targetInfo.modeInfoIdx = 77;
        path.targetInfo.outputTechnology =
            i % 2 ? DISPLAYCONFIG_OUTPUT_TECHNOLOGY_HDMI : DISPLAYCONFIG_OUTPUT_TECHNOLOGY_LVDS;
        path.targetInfo.targetAvailable = TRUE;
        displays.paths.push_back(path);
    }
    machine.SetNumber(kSettings, cPosition, 1);
    displays.outputs[1].state = 0;  // the topology is forced, and the monitor found after that
    EXPECT_EQ(Arrange(), "ok changed");
    EXPECT_TRUE(
        AnyContains(traces, "Forcing display topology changes with hope to detect Ext GUI monitor...\n"));
    EXPECT_TRUE(displays.calls[0] == "topology 132" && displays.outputs[1].left == 1280);
    Start(2);
    EXPECT_EQ(Arrange(), "ok changed");
    EXPECT_THAT(displays.calls, ElementsAre("config 1696"));
    EXPECT_TRUE(AnyContains(traces, "Successfully applied the config.\n"));
    const auto& [paths, modes, topology] = displays.lastConfig;
    ASSERT_TRUE(paths.size() == 2 && modes.size() == 2);
    EXPECT_NE(paths[0].sourceInfo.id, paths[1].sourceInfo.id);
    EXPECT_EQ(paths[1].targetInfo.modeInfoIdx, DISPLAYCONFIG_PATH_MODE_IDX_INVALID);
    EXPECT_EQ(modes[paths[0].sourceInfo.modeInfoIdx].sourceMode.width, 1280u);
    EXPECT_EQ(modes[paths[1].sourceInfo.modeInfoIdx].sourceMode.position.x, 1280);
    displays.configAnswers = {87};
    EXPECT_EQ(Arrange(), "failed changed");
    EXPECT_TRUE(AnyContains(traces, "SetDisplayConfig failed with exit code 87.\n") &&
                AnyContains(traces, "'!\"SetDisplayConfig failed\"' failed in "));
    EXPECT_TRUE(Manager().ArrangeK7RDisplayConfigWithTKVUsingCCD());
    displays.paths.resize(2);
    EXPECT_FALSE(Manager().ArrangeK7RDisplayConfigWithTKVUsingCCD());
    EXPECT_TRUE(ReportedOnce("'sources.size() >= 2' failed in "));
    EXPECT_TRUE(Manager::StoreCurrentDisplayConfigToDatabase());
    EXPECT_EQ(displays.calls.back(), "config 672");
    displays.queryAnswers = {5};
    EXPECT_FALSE(Manager::StoreCurrentDisplayConfigToDatabase());
    EXPECT_TRUE(ReportedOnce("'false'"));
}

TEST_F(MachineDisplays, PositionsWaitForTheNextStart) {
    machine.SetText(kSettings, cPosition, "1");  // no number
    EXPECT_EQ(Manager::GetExternalDisplayPos(), Manager::eExternalDisplayPos_Left);
    EXPECT_TRUE(Manager::UseNewDisplayPosChanges());
    const std::tuple<bool, int, int, std::string> cases[] = {{false, 0, 0, "Left"}, {false, 1, 1, "Right"},
                                                             {false, 2, 0, "Left"}, {false, 3, 3, "WTF"},
                                                             {true, -1, -1, "WTF"}, {true, 2, 2, "Above"}};
    for (const auto& [isAboveOn, position, stored, name] : cases) {
        std::vector<unsigned char> toggles(21, 0);
        toggles[92 / 8] = isAboveOn ? 1 << 92 % 8 : 0;
        JR_FeatureToggleManager::GetInstance()->Deserialize(toggles, nullptr);
        const int before = Manager::GetExternalDisplayPos();
        EXPECT_TRUE(Manager::SetExternalDisplayPos(static_cast<Manager::EExternalDisplayPos>(position)));
        EXPECT_EQ(Manager::GetExternalDisplayPos(), before);
        EXPECT_TRUE(Manager::UseNewDisplayPosChanges());
        EXPECT_EQ(Manager::GetExternalDisplayPos(), stored);
        EXPECT_TRUE(Manager::UseNewDisplayPosChanges());  // finds nothing any more
        std::string said;
        for (const std::string& line : TakeTraces())
            if (line.find("display position") != line.npos) said += line;
        EXPECT_EQ(said, "Storing new display position " + name +
                            ". Changes will be applied on the next ShellApp startup.\n"
                            "Using new display position " +
                            name + ".\n");
    }
    JR_FeatureToggleManager::GetInstance()->Deserialize(std::vector<unsigned char>(21, 0), nullptr);
    EXPECT_EQ(Manager::GetExternalDisplayPos(), Manager::eExternalDisplayPos_Left);
}

TEST_F(MachineDisplays, WhatCannotBeStoredIsReported) {
    machine.SetNumber(kSettings, cNewPosition, 1);
    GetRegistryCalls().setValue = [](auto...) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    EXPECT_FALSE(Manager::SetExternalDisplayPos(Manager::eExternalDisplayPos_Left));
    EXPECT_FALSE(Manager::UseNewDisplayPosChanges());
    Manager::InitRegistryInfo();
    GetRegistryCalls() = {};
    EXPECT_THAT(TakeReports(),
                ElementsAre(HasSubstr("Set(cNewPosition, "), HasSubstr("Set(cPosition, "),
                            HasSubstr("no more detected"), HasSubstr("Set(cScreenIsPresent, ")));
    EXPECT_TRUE(Manager::UseNewDisplayPosChanges());  // it went on waiting
    EXPECT_EQ(Manager::GetExternalDisplayPos(), Manager::eExternalDisplayPos_Right);
}

// Each in a process of its own: a process knows one kind of machine.
class MachineOtherDisplays : public testing::TestWithParam<std::pair<int, int>> {};

TEST_P(MachineOtherDisplays, AreNotArranged) {
    const auto [type, line] = GetParam();
    MachineSettings machine;
    machine.SetNumber(kSettings, cForced, static_cast<DWORD>(type));
    FakeDisplays displays;
    displays.Add({.width = 640, .height = 480});
    bool restart = true, changed = true;
    EXPECT_EQ(Manager().ArrangeDisplayConfig(restart, changed), line == 0);
    EXPECT_FALSE(restart || changed);
    const std::string report = "'false' failed in Shared\\JR_DisplayManager.cpp(";
    EXPECT_TRUE(line == 0 || ReportedOnce(report + std::to_string(line) + ")."));
    EXPECT_THAT(displays.calls, IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(Types, MachineOtherDisplays,
                         testing::Values(std::pair(0, 0), std::pair(1, 356), std::pair(3, 367),
                                         std::pair(77, 371)));

// The type that the process knows is a forced one, which is not stored any more.
struct ForcedConsole : MachineSettings {
    explicit ForcedConsole(const char* board) {
        SetText(kFirmwareKey, "BaseBoardProduct", board);
        SetNumber(kSettings, cPresent, 0);
        SetNumber(kSettings, cForced, 2);
        EXPECT_EQ(JR_ShellApp::GetSystemType(), eSystem_Console);
        Remove(kSettings, cForced);
    }
};

TEST(MachineForcedDisplays, AConsoleWithoutAConsolesBoardHasNoScreen) {
    const ForcedConsole machine("none of ours");
    Manager::InitRegistryInfo();
    EXPECT_TRUE(ReportedOnce("'!\"Unknown motherboard\"' failed in Shared\\JR_DisplayManager.cpp(89)."));
    EXPECT_FALSE(Manager::IsTKVScreenAvailable());
}

// The caller's thread may have windows, and COM with which WMI cannot be asked.
TEST(MachinePanelDisplays, AreLookedForOnAThreadOfTheirOwn) {
    const ForcedConsole machine("WADE-8132-K7R");
    static DWORD asker = 0;
    auto& initialize = NorvikLibInternal::GetWmiCalls().initialize;
    const auto real = initialize;
    initialize = [](auto...) -> HRESULT { return asker = ::GetCurrentThreadId(), E_FAIL; };
    Manager::InitRegistryInfo();
    initialize = real;
    EXPECT_TRUE(asker != 0 && asker != ::GetCurrentThreadId());
}

}  // namespace
