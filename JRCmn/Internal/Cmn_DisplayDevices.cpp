#include "JRCmn/Internal/Cmn_DisplayDevices.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "JRCmn/Internal/Cmn_DisplayCalls.h"

namespace NorvikLibInternal {
namespace {

constexpr DWORD kMostOutputs = 256;  // a driver that never comes to an end does not hold us

// The platform's texts lie in arrays, which a long one may fill.
template <size_t size>
Cmn_String ToText(const CHAR (&text)[size]) {
    return Cmn_String(std::string_view(text, ::strnlen(text, size)));
}

bool EnumDevice(const char* parent, DWORD index, DISPLAY_DEVICEA& outDevice) {
    outDevice = {};
    outDevice.cb = sizeof outDevice;
    return GetDisplayCalls().enumDevices(parent, index, &outDevice, 0) != FALSE;
}

}  // namespace

std::vector<DisplayDevice> EnumerateDisplayDevices() {
    std::vector<DisplayDevice> attached;
    std::vector<Cmn_String> adapters;  // of every output so far
    DISPLAY_DEVICEA entry;
    for (DWORD i = 0; i < kMostOutputs && EnumDevice(nullptr, i, entry); ++i) {
        // Drivers that copy the screen to somewhere else; they are no adapters.
        if (entry.StateFlags & DISPLAY_DEVICE_MIRRORING_DRIVER) continue;
        const Cmn_String id = ToText(entry.DeviceID);
        const auto outputIndex = std::count(adapters.begin(), adapters.end(), id);
        adapters.push_back(id);
        if (!(entry.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP)) continue;
        attached.push_back({.name = ToText(entry.DeviceName),
                            .id = id,
                            .adapterName = ToText(entry.DeviceString),
                            .isPrimary = (entry.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0,
                            .outputIndex = static_cast<int>(outputIndex)});
    }
    return attached;
}

Cmn_String GetMonitorName(const char* device) {
    DISPLAY_DEVICEA monitor;
    return EnumDevice(device, 0, monitor) ? ToText(monitor.DeviceString) : Cmn_String();
}

bool ReadDisplaySettings(const char* device, DEVMODEA& outMode) {
    outMode = {};
    outMode.dmSize = sizeof outMode;
    return GetDisplayCalls().enumSettings(device, ENUM_CURRENT_SETTINGS, &outMode, 0) != FALSE;
}

}  // namespace NorvikLibInternal
