#pragma once

// Cmn_Display: one display that belongs to the desktop, with what it is, where it stands, and its settings to change.
//
//   for (const auto& display : Cmn_DisplayManager().GetDisplays())
//       if (display->SetResolution(1920, 1080) == eDisplaySettingChange_RestartNeeded) restart = true;
//
// Threads:   one at a time
// Ownership: copies everything; shared by std::shared_ptr. It describes the display as it was found: after a change it asks
//            the platform what has become of its own geometry, but a change of another display shows in a new enumeration only.
// Errors:    setters return the platform's answer and change nothing when it is a refusal (BecomePrimaryDisplay says what
//            it may leave behind). Arguments that no display can have are reported and give eDisplaySettingChange_BadParameter
//            or false.
// Units:     pixels of the desktop, whose origin is the upper left corner of the primary display; right and bottom are the
//            first pixel outside. Width and height are those that the user sees, after the rotation. Brightness in percent

#include <cstdint>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

enum EDisplayOrientation : int32_t {
    eDisplayOrientation_None = 0,
    eDisplayOrientation_90 = 1,
    eDisplayOrientation_180 = 2,
    eDisplayOrientation_270 = 3,
};

// What became of a change. Refusals have the platform's own numbers (DISP_CHANGE_...), so that a trace of the number can be
// looked up; only "restart needed" is renumbered.
enum EDisplaySettingChangeResult : int32_t {
    eDisplaySettingChange_Done = 0,
    eDisplaySettingChange_RestartNeeded = 4,  // done, but the machine must be restarted; the platform's 1
    eDisplaySettingChange_Failed = -1,        // the driver failed
    eDisplaySettingChange_BadMode = -2,       // the display has no such mode
    eDisplaySettingChange_NotUpdated = -3,    // the settings could not be stored
    eDisplaySettingChange_BadFlags = -4,
    eDisplaySettingChange_BadParameter = -5,
    eDisplaySettingChange_BadDualView = -6,  // refused because the adapter drives its outputs as one
    // The current settings, on which the change builds, could not be read; nothing was asked of the platform.
    eDisplaySettingChange_SettingsNotRead = -1000,
    // Answers n > 1, which the platform does not define, are this plus n: 4 of them would otherwise mean a restart.
    eDisplaySettingChange_UnknownAnswer = 1000,
};

// "None", "90 degrees", "180 degrees", "270 degrees", else "Unknown".
NORVIK_API const char* GetDisplayOrientationName(EDisplayOrientation orientation);

class NORVIK_API Cmn_Display {
public:
    struct Properties {
        Cmn_String deviceName;   // "\\.\DISPLAY1"
        Cmn_String deviceID;     // PnP ID of the adapter, "PCI\VEN_8086&DEV_1916&..."
        Cmn_String displayName;  // the adapter's name for people
        Cmn_String panelName;    // the monitor's name for people; empty when none is known
        int outputIndex = 0;     // of the output on its adapter, in the platform's order
        int left = 0, top = 0, width = 0, height = 0;
        EDisplayOrientation orientation = eDisplayOrientation_None;
        bool isPrimary = false;
    };

    explicit Cmn_Display(const Properties& properties) : mProperties(properties) {}
    Cmn_Display(const Cmn_Display&) = delete;
    Cmn_Display& operator=(const Cmn_Display&) = delete;

    const Cmn_String& GetDeviceName() const { return mProperties.deviceName; }
    const Cmn_String& GetDeviceID() const { return mProperties.deviceID; }
    const Cmn_String& GetDisplayName() const { return mProperties.displayName; }
    const Cmn_String& GetPanelName() const { return mProperties.panelName; }
    int GetOutputIndex() const { return mProperties.outputIndex; }
    int GetLeft() const { return mProperties.left; }
    int GetTop() const { return mProperties.top; }
    int GetRight() const { return mProperties.left + mProperties.width; }
    int GetBottom() const { return mProperties.top + mProperties.height; }
    int GetWidth() const { return mProperties.width; }
    int GetHeight() const { return mProperties.height; }
    EDisplayOrientation GetOrientation() const { return mProperties.orientation; }
    bool IsPrimary() const { return mProperties.isPrimary; }

    // Each setter stores the change for the user, too, so that it outlives the session.
    EDisplaySettingChangeResult SetResolution(int width, int height);
    // The platform may move displays so that they touch and do not overlap.
    EDisplaySettingChangeResult SetPosition(int x, int y);
    // A quarter turn swaps width and height.
    EDisplaySettingChangeResult SetOrientation(EDisplayOrientation orientation);
    // Makes this display's upper left corner the origin; the others keep their places relative to it. When it lies elsewhere
    // now, the settings of all displays are stored one by one and then applied at once: a refusal on the way leaves what is
    // stored already, but shows nothing of it.
    EDisplaySettingChangeResult BecomePrimaryDisplay();

    // Over the wire to the monitor (DDC/CI), scaled to the monitor's own range. The wire loses messages, so each step is
    // tried three times, 50 ms apart. False when no monitor at the display takes it; where several show the same picture,
    // true when all took it.
    bool SetBrightness(int percent);

    bool IsPointInDisplay(int x, int y) const;

    // Traces all of it.
    void Dump() const;

private:
    void TakeSettings();

    Properties mProperties;
};
