#include "JRCmn/Internal/Cmn_DisplayCalls.h"

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

#define DISPLAY_FUNCTION(library, name) DynamicFunction<decltype(&::name)> g##name(library, #name)

DISPLAY_FUNCTION("user32.dll", EnumDisplayDevicesA);
DISPLAY_FUNCTION("user32.dll", EnumDisplaySettingsExA);
DISPLAY_FUNCTION("user32.dll", ChangeDisplaySettingsExA);
DISPLAY_FUNCTION("user32.dll", GetDisplayConfigBufferSizes);
DISPLAY_FUNCTION("user32.dll", QueryDisplayConfig);
DISPLAY_FUNCTION("user32.dll", SetDisplayConfig);
DISPLAY_FUNCTION("user32.dll", MonitorFromPoint);
DISPLAY_FUNCTION("dxva2.dll", GetNumberOfPhysicalMonitorsFromHMONITOR);
DISPLAY_FUNCTION("dxva2.dll", GetPhysicalMonitorsFromHMONITOR);
DISPLAY_FUNCTION("dxva2.dll", DestroyPhysicalMonitors);
DISPLAY_FUNCTION("dxva2.dll", GetMonitorBrightness);
DISPLAY_FUNCTION("dxva2.dll", SetMonitorBrightness);
DynamicFunction<HRESULT(WINAPI*)(int)> gSetProcessDpiAwareness("shcore.dll", "SetProcessDpiAwareness");

DisplayCalls gCalls = {
    &OrMissing<gEnumDisplayDevicesA, FALSE>::Call,
    &OrMissing<gEnumDisplaySettingsExA, FALSE>::Call,
    &OrMissing<gChangeDisplaySettingsExA, DISP_CHANGE_FAILED>::Call,
    &OrMissing<gGetDisplayConfigBufferSizes, ERROR_PROC_NOT_FOUND>::Call,
    &OrMissing<gQueryDisplayConfig, ERROR_PROC_NOT_FOUND>::Call,
    &OrMissing<gSetDisplayConfig, ERROR_PROC_NOT_FOUND>::Call,
    &OrMissing<gMonitorFromPoint, nullptr>::Call,
    &OrMissing<gGetNumberOfPhysicalMonitorsFromHMONITOR, FALSE>::Call,
    &OrMissing<gGetPhysicalMonitorsFromHMONITOR, FALSE>::Call,
    &OrMissing<gDestroyPhysicalMonitors, FALSE>::Call,
    &OrMissing<gGetMonitorBrightness, FALSE>::Call,
    &OrMissing<gSetMonitorBrightness, FALSE>::Call,
    &OrMissing<gSetProcessDpiAwareness, E_NOTIMPL>::Call,
    &::Sleep,
};

}  // namespace

DisplayCalls& GetDisplayCalls() {
    return gCalls;
}

}  // namespace NorvikLibInternal
