#pragma once

// The seam of the displays: the platform calls that enumerate, change and arrange them. Their DLLs (user32, dxva2, shcore)
// are loaded by the first call, not with the program. A test replaces entries of the table and puts them back.
//
// Threads:   replaced before displays are asked for
// Ownership: none
// Errors:    as the platform calls; where the platform lacks one, it fails
// Units:     as the platform calls; milliseconds

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

// After windows.h.
#include <highlevelmonitorconfigurationapi.h>
#include <physicalmonitorenumerationapi.h>

namespace NorvikLibInternal {

struct DisplayCalls {
    decltype(&::EnumDisplayDevicesA) enumDevices;
    decltype(&::EnumDisplaySettingsExA) enumSettings;
    decltype(&::ChangeDisplaySettingsExA) changeSettings;

    decltype(&::GetDisplayConfigBufferSizes) getBufferSizes;
    decltype(&::QueryDisplayConfig) queryConfig;
    decltype(&::SetDisplayConfig) setConfig;

    decltype(&::MonitorFromPoint) monitorFromPoint;
    decltype(&::GetNumberOfPhysicalMonitorsFromHMONITOR) countMonitors;
    decltype(&::GetPhysicalMonitorsFromHMONITOR) getMonitors;
    decltype(&::DestroyPhysicalMonitors) destroyMonitors;
    decltype(&::GetMonitorBrightness) getBrightness;
    decltype(&::SetMonitorBrightness) setBrightness;

    // The value of PROCESS_DPI_AWARENESS; the platform's HRESULT.
    HRESULT(WINAPI* setDpiAwareness)(int awareness);
    void(WINAPI* sleep)(DWORD time);
};

NORVIK_API DisplayCalls& GetDisplayCalls();

}  // namespace NorvikLibInternal
