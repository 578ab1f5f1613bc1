#include "JRCmn/Cmn_DisplayManager.h"

#include <atomic>

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DisplayCalls.h"
#include "JRCmn/Internal/Cmn_DisplayDevices.h"

using namespace NorvikLibInternal;

namespace {

constexpr int kPerMonitorAware = 2;  // of PROCESS_DPI_AWARENESS

// A process asks once.
void AskForDpiAwareness() {
    static std::atomic<bool> sHasAsked{false};
    if (sHasAsked.exchange(true)) return;
    const HRESULT result = GetDisplayCalls().setDpiAwareness(kPerMonitorAware);
    // Refused when the program has chosen already, by a call or in its manifest: its choice stands.
    if (FAILED(result) && result != E_ACCESSDENIED)
        Cmn_Trace("SetProcessDpiAwareness failed: hresult is %#X.\n", static_cast<unsigned>(result));
}

}  // namespace

Cmn_DisplayManager::Cmn_DisplayManager() {
    AskForDpiAwareness();
    Refresh();
}

Cmn_DisplayManager::~Cmn_DisplayManager() = default;

void Cmn_DisplayManager::Refresh() {
    Displays found;
    for (const DisplayDevice& device : EnumerateDisplayDevices()) {
        DEVMODEA mode;
        if (!ReadDisplaySettings(device.name, mode)) {
            Cmn_Trace("Display %s is left out: its settings cannot be read.\n", device.name.c_str());
            continue;
        }
        found.push_back(std::make_shared<Cmn_Display>(Cmn_Display::Properties{
            .deviceName = device.name,
            .deviceID = device.id,
            .displayName = device.adapterName,
            .panelName = GetMonitorName(device.name),
            .outputIndex = device.outputIndex,
            .left = static_cast<int>(mode.dmPosition.x),
            .top = static_cast<int>(mode.dmPosition.y),
            .width = static_cast<int>(mode.dmPelsWidth),
            .height = static_cast<int>(mode.dmPelsHeight),
            .orientation = static_cast<EDisplayOrientation>(mode.dmDisplayOrientation),
            .isPrimary = device.isPrimary}));
    }
    mDisplays.swap(found);
}
