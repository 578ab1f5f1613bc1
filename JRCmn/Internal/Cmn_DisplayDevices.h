#pragma once

// The outputs of the graphics adapters, as the platform lists them, and their settings.
//
// Threads:   any
// Ownership: copies
// Errors:    false when a display has no settings
// Units:     pixels

#include <vector>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct DisplayDevice {
    Cmn_String name;         // "\\.\DISPLAY1"
    Cmn_String id;           // of the adapter
    Cmn_String adapterName;  // for people
    bool isPrimary = false;
    int outputIndex = 0;  // among the adapter's outputs, those included that show nothing
};

// Those that belong to the desktop, in the platform's order.
std::vector<DisplayDevice> EnumerateDisplayDevices();

// The monitor at an output, for people; empty when there is none.
Cmn_String GetMonitorName(const char* device);

bool ReadDisplaySettings(const char* device, DEVMODEA& outMode);

}  // namespace NorvikLibInternal
