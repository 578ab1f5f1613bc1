#include "JRCmn/Cmn_Display.h"

#include <gmock/gmock.h>

#include <functional>
#include <tuple>

#include "JRCmn/Cmn_DisplayManager.h"
#include "tests/support/FakeDisplays.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre, testing::ElementsAreArray, testing::IsEmpty;

constexpr DWORD kAttached = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;

std::string Geometry(const Cmn_Display& d) {
    return std::to_string(d.GetLeft()) + "," + std::to_string(d.GetTop()) + " " +
           std::to_string(d.GetRight()) + "," + std::to_string(d.GetBottom()) + " " +
           GetDisplayOrientationName(d.GetOrientation());
}

TEST(Cmn_DisplayManager, CountsTheOutputsOfEachAdapterInThePlatformsOrder) {
    FakeDisplays fake;
    const std::string foreign(sizeof DISPLAY_DEVICEA::DeviceID, 'F');  // fills its array, without an end
    fake.Add({.width = 1280, .height = 800, .state = kAttached | DISPLAY_DEVICE_PRIMARY_DEVICE});
    fake.Add({.id = foreign, .left = 1280, .width = 1920, .height = 1080});
    fake.Add({.state = 0});
    fake.Add({.state = kAttached | DISPLAY_DEVICE_MIRRORING_DRIVER});
    fake.Add({.canBeRead = false});
    fake.Add({.left = -1080, .width = 1080, .height = 1920, .orientation = DMDO_270});
    Cmn_DisplayManager manager;
    std::string found;
    for (const auto& d : manager.GetDisplays())
        found += std::to_string(d->GetOutputIndex()) + d->GetDeviceName().c_str() + " " + Geometry(*d) + "|";
    EXPECT_EQ(found, R"(0\\.\DISPLAY1 0,0 1280,800 None|0\\.\DISPLAY2 1280,0 3200,1080 None|)"
                     R"(3\\.\DISPLAY6 -1080,0 0,1920 270 degrees|)");
    EXPECT_TRUE(AnyContains(TakeTraces(), "DISPLAY5 is left out"));
    EXPECT_EQ(manager.GetDisplays()[1]->GetDeviceID(), foreign.c_str());
    manager.GetDisplays()[0]->Dump();
    EXPECT_THAT(TakeTraces(),
                ElementsAre(R"(Display \\.\DISPLAY1 (primary): "Panel 1" on output 0 of "Graphics" )"
                            "(PCI\\VEN_8086&DEV_1916&SUBSYS_0), 1280x800 at (0, 0), orientation None.\n"));
    const auto kept = manager.GetDisplays()[1];
    fake.outputs.clear();
    manager.Refresh();
    EXPECT_THAT(manager.GetDisplays(), IsEmpty());
    EXPECT_EQ(kept->GetWidth(), 1920);
}

// A console's panel, and the external monitor as the primary display.
struct Cmn_DisplayTest : testing::Test {
    FakeDisplays fake;
    std::shared_ptr<Cmn_Display> panel;

    Cmn_DisplayTest() {
        fake.Add({.left = 1920, .top = 5, .width = 1280, .height = 800});
        fake.Add({.width = 1920, .height = 1080, .state = kAttached | DISPLAY_DEVICE_PRIMARY_DEVICE});
        panel = Cmn_DisplayManager().GetDisplays().at(0);
    }
};

TEST_F(Cmn_DisplayTest, ChangesOnlyWhatItIsTold) {
    using Change = std::function<EDisplaySettingChangeResult(Cmn_Display&)>;
    const auto turn = [](EDisplayOrientation to) -> Change {
        return [=](Cmn_Display& d) { return d.SetOrientation(to); };
    };
    const std::tuple<Change, std::string, std::string> cases[] = {
        {[](auto& d) { return d.SetPosition(-7, 9); }, "1 position -7,9", "-7,9 1273,809 None"},
        {[](auto& d) { return d.SetResolution(640, 480); }, "1 resolution 640x480", "-7,9 633,489 None"},
        {turn(eDisplayOrientation_90), "1 orientation 1 resolution 480x640", "-7,9 473,649 90 degrees"},
        {turn(eDisplayOrientation_270), "1 orientation 3 resolution 480x640", "-7,9 473,649 270 degrees"},
        {turn(eDisplayOrientation_180), "1 orientation 2 resolution 640x480", "-7,9 633,489 180 degrees"},
    };
    for (const auto& [change, call, geometry] : cases) {
        fake.calls.clear();
        EXPECT_EQ(change(*panel), eDisplaySettingChange_Done);
        EXPECT_THAT(fake.calls, ElementsAre(call));
        EXPECT_EQ(Geometry(*panel), geometry);
    }
}

TEST_F(Cmn_DisplayTest, KeepsThePlatformsAnswersApart) {
    const std::pair<LONG, int> answers[] = {
        {0, 0}, {1, 4}, {-1, -1}, {-2, -2}, {-6, -6}, {4, 1004}, {LONG_MAX, 1'001'000}};
    for (const auto& [platform, result] : answers) {
        fake.outputs[0] = {};
        fake.changeAnswers.assign(4, platform);
        EXPECT_EQ(panel->SetPosition(1, 1), result);
        EXPECT_EQ(panel->SetResolution(1, 1), result);
        EXPECT_EQ(panel->SetOrientation(eDisplayOrientation_None), result);
        fake.outputs[0] = {};
        EXPECT_EQ(panel->BecomePrimaryDisplay(), result);
    }
}

TEST_F(Cmn_DisplayTest, RefusesWhatNoDisplayCanHave) {
    for (const auto& [width, height] : {std::pair{0, 800}, {1280, -1}})
        EXPECT_EQ(panel->SetResolution(width, height), eDisplaySettingChange_BadParameter);
    for (const auto orientation : {EDisplayOrientation{-1}, EDisplayOrientation{4}})
        EXPECT_EQ(panel->SetOrientation(orientation), eDisplaySettingChange_BadParameter);
    EXPECT_FALSE(panel->SetBrightness(-1) || panel->SetBrightness(101));
    EXPECT_EQ(TakeReports().size(), 6u);
    fake.outputs[0].canBeRead = false;
    EXPECT_EQ(panel->SetOrientation(eDisplayOrientation_None), eDisplaySettingChange_SettingsNotRead);
    EXPECT_EQ(panel->BecomePrimaryDisplay(), eDisplaySettingChange_SettingsNotRead);
    EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(Cmn_DisplayTest, MovesTheOriginInOneStepThatIsSeen) {
    const auto outputs = fake.outputs;
    const std::vector<std::string> all = {"1 primary 0,0 later", "2 position -1920,-5 later", "all"};
    for (const LONG answer : {LONG{DISP_CHANGE_NOTUPDATED}, LONG{DISP_CHANGE_RESTART}, LONG{0}}) {
        for (size_t step = 0; step < all.size(); ++step) {
            fake.outputs = outputs;
            fake.calls.clear();
            fake.changeAnswers.assign(step, 0);
            fake.changeAnswers.push_back(answer);
            EXPECT_EQ(panel->BecomePrimaryDisplay(), answer == DISP_CHANGE_RESTART ? 4 : answer);
            EXPECT_THAT(fake.calls, ElementsAreArray(all.data(), answer < 0 ? step + 1 : all.size()));
            EXPECT_EQ(panel->IsPrimary(), answer == 0);
        }
    }
}

TEST_F(Cmn_DisplayTest, EndsBeforeItsRightAndBottom) {
    EXPECT_TRUE(panel->IsPointInDisplay(1920, 5) && panel->IsPointInDisplay(3199, 804));
    for (const auto& [x, y] : {std::pair{1919, 5}, {1920, 4}, {3200, 5}, {1920, 805}})
        EXPECT_FALSE(panel->IsPointInDisplay(x, y)) << x << "," << y;
}

// The monitors at the panel's output, on a wire that loses the first messages.
struct Wire {
    DWORD monitors = 1, minimum = 20, maximum = 220;
    int lost = 0, pauses = 0, open = 0;
    std::vector<DWORD> set{};
} gWire;

TEST_F(Cmn_DisplayTest, SetsTheBrightnessOverAWireThatLosesMessages) {
    DisplayCalls& calls = GetDisplayCalls();
    calls.monitorFromPoint = [](POINT p, DWORD) { return p.x == 1920 && p.y == 5 ? HMONITOR(1) : nullptr; };
    calls.countMonitors = [](auto, DWORD* count) { return *count = gWire.monitors, TRUE; };
    calls.getMonitors = [](auto, DWORD count, auto) { return BOOL{count < 3 && ++gWire.open}; };
    calls.destroyMonitors = [](auto...) { return --gWire.open, TRUE; };
    calls.getBrightness = [](auto, DWORD* low, auto, DWORD* high) {
        return *low = gWire.minimum, *high = gWire.maximum, BOOL{gWire.lost-- <= 0};
    };
    calls.setBrightness = [](auto, DWORD value) {
        return gWire.set.push_back(value), BOOL{gWire.lost-- <= 0};
    };
    calls.sleep = [](DWORD time) { gWire.pauses += time == 50; };
    const auto sets = [&](const Wire& wire, int percent) {
        gWire = wire;
        const bool isSet = panel->SetBrightness(percent);
        return std::tuple(isSet, gWire.pauses, gWire.set, gWire.open);
    };
    using Numbers = std::vector<DWORD>;
    EXPECT_EQ(sets({}, 0), std::tuple(true, 0, Numbers{20}, 0));
    EXPECT_EQ(sets({}, 100), std::tuple(true, 0, Numbers{220}, 0));
    EXPECT_EQ(sets({.lost = 2}, 33), std::tuple(true, 2, Numbers{86}, 0));
    EXPECT_EQ(sets({.lost = 3}, 50), std::tuple(false, 2, Numbers{}, 0));
    EXPECT_EQ(sets({.monitors = 2}, 50), std::tuple(true, 0, Numbers{120, 120}, 0));
    EXPECT_EQ(sets({.monitors = 2, .lost = 3}, 50), std::tuple(false, 2, Numbers{120}, 0));
    EXPECT_EQ(sets({.minimum = 5, .maximum = 5}, 50), std::tuple(false, 2, Numbers{}, 0));
    EXPECT_EQ(sets({.minimum = 0, .maximum = 0xFFFFFFFF}, 100), std::tuple(true, 0, Numbers{0xFFFFFFFF}, 0));
    for (const DWORD count : {0UL, 3UL, 0xFFFFFFFFUL})  // none, one that refuses, nonsense
        EXPECT_EQ(sets({.monitors = count}, 50), std::tuple(false, 0, Numbers{}, 0));
    fake.outputs[0].left = 0;  // nothing is there for the platform
    EXPECT_FALSE(panel->SetBrightness(50));
}

// The platform itself; under Wine with one display.
TEST(Cmn_DisplayReal, IsFoundAndKeepsItsSettings) {
    const Cmn_DisplayManager manager;
    ASSERT_FALSE(manager.GetDisplays().empty());
    Cmn_Display& display = *manager.GetDisplays()[0];
    EXPECT_TRUE(display.GetDeviceName().BeginsWith("\\\\.\\DISPLAY", true));
    EXPECT_TRUE(display.GetDeviceID().BeginsWith("PCI\\VEN_", true));
    EXPECT_TRUE(display.IsPrimary() && display.IsPointInDisplay(0, 0));
    const std::string before = Geometry(display);
    EXPECT_EQ(display.SetResolution(display.GetWidth(), display.GetHeight()), eDisplaySettingChange_Done);
    EXPECT_EQ(display.SetResolution(3, 1), eDisplaySettingChange_BadMode);
    EXPECT_EQ(Geometry(display), before);
}

}  // namespace
