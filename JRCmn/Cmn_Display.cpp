#include "JRCmn/Cmn_Display.h"

#include <algorithm>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DisplayCalls.h"
#include "JRCmn/Internal/Cmn_DisplayDevices.h"

using namespace NorvikLibInternal;

namespace {

constexpr int kTries = 3;
constexpr DWORD kPause = 50;         // the time that the wire's rules give a monitor between two messages
constexpr DWORD kMostMonitors = 64;  // at one output; more is a driver's mistake
constexpr LONG kLargestAnswer = 1'000'000;

EDisplaySettingChangeResult ToResult(LONG answer) {
    if (answer == DISP_CHANGE_RESTART) return eDisplaySettingChange_RestartNeeded;
    if (answer > DISP_CHANGE_RESTART)
        answer = eDisplaySettingChange_UnknownAnswer + std::min(answer, kLargestAnswer);
    return static_cast<EDisplaySettingChangeResult>(answer);
}

bool IsRefusal(EDisplaySettingChangeResult result) {
    return result != eDisplaySettingChange_Done && result != eDisplaySettingChange_RestartNeeded;
}

EDisplaySettingChangeResult Change(const char* device, DEVMODEA* mode, DWORD flags) {
    return ToResult(GetDisplayCalls().changeSettings(device, mode, nullptr, flags, nullptr));
}

// Only the fields that are named change; the rest of the mode is not looked at.
DEVMODEA MakeMode(DWORD fields) {
    DEVMODEA mode = {};
    mode.dmSize = sizeof mode;
    mode.dmFields = fields;
    return mode;
}

DEVMODEA MakePosition(LONG x, LONG y) {
    DEVMODEA mode = MakeMode(DM_POSITION);
    mode.dmPosition = {x, y};
    return mode;
}

// Several changes stored one after the other; the first refusal ends them, and a restart for one is a restart for all.
class ChangeSequence {
public:
    bool Do(const char* device, DEVMODEA* mode, DWORD flags) {
        const EDisplaySettingChangeResult result = Change(device, mode, flags);
        if (result != eDisplaySettingChange_Done) mResult = result;
        return !IsRefusal(result);
    }
    EDisplaySettingChangeResult GetResult() const { return mResult; }

private:
    EDisplaySettingChangeResult mResult = eDisplaySettingChange_Done;
};

// Without applying them: the platform would see displays overlap in between and move them away.
EDisplaySettingChangeResult MoveOriginTo(const Cmn_String& primary, POINTL origin) {
    constexpr DWORD kStoreOnly = CDS_UPDATEREGISTRY | CDS_NORESET;
    ChangeSequence changes;
    DEVMODEA mode = MakePosition(0, 0);
    if (!changes.Do(primary, &mode, kStoreOnly | CDS_SET_PRIMARY)) return changes.GetResult();
    for (const DisplayDevice& device : EnumerateDisplayDevices()) {
        DEVMODEA now;
        if (device.name == primary || !ReadDisplaySettings(device.name, now)) continue;
        mode = MakePosition(now.dmPosition.x - origin.x, now.dmPosition.y - origin.y);
        if (!changes.Do(device.name, &mode, kStoreOnly)) return changes.GetResult();
    }
    changes.Do(nullptr, nullptr, 0);
    return changes.GetResult();
}

template <typename Attempt>
bool Retry(Attempt attempt) {
    for (int i = 0; i < kTries; ++i) {
        if (i > 0) GetDisplayCalls().sleep(kPause);
        if (attempt()) return true;
    }
    return false;
}

// The monitors that show what an output gives: one, or more when they are cloned.
class PhysicalMonitors {
public:
    explicit PhysicalMonitors(HMONITOR monitor) {
        DWORD count = 0;
        if (!GetDisplayCalls().countMonitors(monitor, &count) || count == 0 || count > kMostMonitors) return;
        mMonitors.resize(count);
        if (!GetDisplayCalls().getMonitors(monitor, count, mMonitors.data())) mMonitors.clear();
    }
    ~PhysicalMonitors() {
        if (!mMonitors.empty())
            GetDisplayCalls().destroyMonitors(static_cast<DWORD>(mMonitors.size()), mMonitors.data());
    }
    PhysicalMonitors(const PhysicalMonitors&) = delete;
    PhysicalMonitors& operator=(const PhysicalMonitors&) = delete;

    const std::vector<PHYSICAL_MONITOR>& Get() const { return mMonitors; }

private:
    std::vector<PHYSICAL_MONITOR> mMonitors;
};

// 0 to 100 percent in the monitor's range.
DWORD ScaleBrightness(int percent, DWORD minimum, DWORD maximum) {
    const uint64_t range = maximum - minimum;
    return static_cast<DWORD>(minimum + (range * static_cast<unsigned>(percent) + 50) / 100);
}

bool SetMonitorBrightness(HANDLE monitor, int percent) {
    DWORD minimum = 0, current = 0, maximum = 0;
    const bool isKnown = Retry([&] {
        return GetDisplayCalls().getBrightness(monitor, &minimum, &current, &maximum) && minimum < maximum;
    });
    if (!isKnown) return false;
    const DWORD brightness = ScaleBrightness(percent, minimum, maximum);
    return Retry([&] { return GetDisplayCalls().setBrightness(monitor, brightness) != FALSE; });
}

}  // namespace

const char* GetDisplayOrientationName(EDisplayOrientation orientation) {
    switch (orientation) {
        case eDisplayOrientation_None:
            return "None";
        case eDisplayOrientation_90:
            return "90 degrees";
        case eDisplayOrientation_180:
            return "180 degrees";
        case eDisplayOrientation_270:
            return "270 degrees";
        default:
            return "Unknown";
    }
}

EDisplaySettingChangeResult Cmn_Display::SetResolution(int width, int height) {
    if (!CMN_VERIFY(width > 0 && height > 0)) return eDisplaySettingChange_BadParameter;
    DEVMODEA mode = MakeMode(DM_PELSWIDTH | DM_PELSHEIGHT);
    mode.dmPelsWidth = static_cast<DWORD>(width);
    mode.dmPelsHeight = static_cast<DWORD>(height);
    const auto result = Change(mProperties.deviceName, &mode, CDS_UPDATEREGISTRY);
    TakeSettings();
    return result;
}

EDisplaySettingChangeResult Cmn_Display::SetPosition(int x, int y) {
    DEVMODEA mode = MakePosition(x, y);
    const auto result = Change(mProperties.deviceName, &mode, CDS_UPDATEREGISTRY);
    TakeSettings();
    return result;
}

EDisplaySettingChangeResult Cmn_Display::SetOrientation(EDisplayOrientation orientation) {
    if (!CMN_VERIFY(eDisplayOrientation_None <= orientation && orientation <= eDisplayOrientation_270))
        return eDisplaySettingChange_BadParameter;
    DEVMODEA now;
    if (!ReadDisplaySettings(mProperties.deviceName, now)) return eDisplaySettingChange_SettingsNotRead;
    // A turned picture needs a turned mode; the platform refuses the orientation without it.
    DEVMODEA mode = MakeMode(DM_DISPLAYORIENTATION | DM_PELSWIDTH | DM_PELSHEIGHT);
    const bool isQuarterTurn = (now.dmDisplayOrientation + static_cast<DWORD>(orientation)) % 2 != 0;
    mode.dmDisplayOrientation = static_cast<DWORD>(orientation);
    mode.dmPelsWidth = isQuarterTurn ? now.dmPelsHeight : now.dmPelsWidth;
    mode.dmPelsHeight = isQuarterTurn ? now.dmPelsWidth : now.dmPelsHeight;
    const auto result = Change(mProperties.deviceName, &mode, CDS_UPDATEREGISTRY);
    TakeSettings();
    return result;
}

EDisplaySettingChangeResult Cmn_Display::BecomePrimaryDisplay() {
    DEVMODEA now;
    if (!ReadDisplaySettings(mProperties.deviceName, now)) return eDisplaySettingChange_SettingsNotRead;
    DEVMODEA mode = MakePosition(0, 0);
    const bool isAtOrigin = now.dmPosition.x == 0 && now.dmPosition.y == 0;
    const auto result = isAtOrigin
                            ? Change(mProperties.deviceName, &mode, CDS_UPDATEREGISTRY | CDS_SET_PRIMARY)
                            : MoveOriginTo(mProperties.deviceName, now.dmPosition);
    if (result == eDisplaySettingChange_Done) mProperties.isPrimary = true;
    TakeSettings();
    return result;
}

bool Cmn_Display::SetBrightness(int percent) {
    if (!CMN_VERIFY(0 <= percent && percent <= 100)) return false;
    DEVMODEA now;
    if (!ReadDisplaySettings(mProperties.deviceName, now)) return false;
    const HMONITOR monitor =
        GetDisplayCalls().monitorFromPoint({now.dmPosition.x, now.dmPosition.y}, MONITOR_DEFAULTTONULL);
    if (!monitor) return false;
    const PhysicalMonitors monitors(monitor);
    bool isSet = !monitors.Get().empty();
    for (const PHYSICAL_MONITOR& physical : monitors.Get())
        isSet = SetMonitorBrightness(physical.hPhysicalMonitor, percent) && isSet;
    return isSet;
}

bool Cmn_Display::IsPointInDisplay(int x, int y) const {
    return GetLeft() <= x && x < GetRight() && GetTop() <= y && y < GetBottom();
}

void Cmn_Display::Dump() const {
    Cmn_Trace("Display %s%s: \"%s\" on output %d of \"%s\" (%s), %dx%d at (%d, %d), orientation %s.\n",
              GetDeviceName().c_str(), IsPrimary() ? " (primary)" : "", GetPanelName().c_str(),
              GetOutputIndex(), GetDisplayName().c_str(), GetDeviceID().c_str(), GetWidth(), GetHeight(),
              GetLeft(), GetTop(), GetDisplayOrientationName(GetOrientation()));
}

void Cmn_Display::TakeSettings() {
    DEVMODEA now;
    if (!ReadDisplaySettings(mProperties.deviceName, now)) return;
    mProperties.left = static_cast<int>(now.dmPosition.x);
    mProperties.top = static_cast<int>(now.dmPosition.y);
    mProperties.width = static_cast<int>(now.dmPelsWidth);
    mProperties.height = static_cast<int>(now.dmPelsHeight);
    mProperties.orientation = static_cast<EDisplayOrientation>(now.dmDisplayOrientation);
}
