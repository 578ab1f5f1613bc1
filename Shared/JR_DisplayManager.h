#pragma once

// JR_DisplayManager: the console's screens: which display is the built-in touch screen (TKV), which one the external
// monitor, and their fixed arrangement on the desktop. docs/displays.md has the rules.
//
//   JR_DisplayManager::InitRegistryInfo();         // once, when the shell starts, in this order
//   JR_DisplayManager::UseNewDisplayPosChanges();
//   JR_DisplayManager displays;
//   bool restart = false, changed = false;
//   if (displays.ArrangeDisplayConfig(restart, changed) && restart) AskForRestart();
//   if (const auto screen = displays.FindDisplayByFunction(eDisplayFunction_TKV)) screen->SetBrightness(80);
//
// Threads:   one at a time. InitRegistryInfo may ask WMI (on a thread of its own) and a board library: it takes as long as
//            they take.
// Ownership: as Cmn_DisplayManager
// Errors:    what fails is traced and reported and gives false, eDisplayFunction_Unknown or null; the displays are left as
//            the platform has them
// Units:     pixels of the desktop, whose origin is the upper left corner of the built-in screen

#include <cstdint>
#include <memory>

#include "JRCmn/Cmn_DisplayManager.h"
#include "JRCmn/Cmn_Export.h"

enum EDisplayFunction : int32_t {
    eDisplayFunction_Unknown = 0,      // on another adapter, or not to be told
    eDisplayFunction_ExternalGUI = 1,  // the external monitor
    eDisplayFunction_TKV = 2,          // the built-in touch screen
};

class NORVIK_API JR_DisplayManager : public Cmn_DisplayManager {
public:
    // Where the external monitor stands, seen from the built-in screen.
    enum EExternalDisplayPos : int32_t {
        eExternalDisplayPos_Left = 0,
        eExternalDisplayPos_Right = 1,
        eExternalDisplayPos_Above = 2,  // counts as left while the feature "external display above" is off
    };

    // ---- The built-in screen.
    // Finds out whether it is fitted and stores that. A screen that was there once never disappears silently: it stays stored
    // as present, with a report.
    static void InitRegistryInfo();
    // What was stored, unless a marker file in the root of drive C says otherwise.
    static bool IsTKVScreenAvailable();

    // ---- Which display is which. Unknown, without a word, on anything but the system's own Windows image.
    static EDisplayFunction GetDisplayFunction(const Cmn_Display& display);
    // Of an output of the on-board graphics.
    static EDisplayFunction GetDisplayFunction(int displayNumber, int outputIndex);
    // The display number that a setting gives to the function, if there is one.
    static int GetOverridenDisplayNumber(EDisplayFunction function, int defaultNumber);
    // The first with the function, null when there is none.
    std::shared_ptr<Cmn_Display> FindDisplayByFunction(EDisplayFunction function);
    std::shared_ptr<const Cmn_Display> FindDisplayByFunction(EDisplayFunction function) const;

    // ---- The arrangement.
    // Brings the console's screens into their places; enumerates them again. Nothing happens, successfully, on a standalone PC.
    // `outChanged` tells whether something was not in its place, `outRestartRequired` whether a change waits for a restart.
    bool ArrangeDisplayConfig(bool& outRestartRequired, bool& outChanged);
    // The same for built-in screen and external monitor, in one step from explicit paths and modes. Needs exactly one built-in
    // panel, at most one other monitor and two sources; ArrangeDisplayConfig uses it where there are, and both displays are
    // recognised.
    bool ArrangeK7RDisplayConfigWithTKVUsingCCD();
    // Whether the platform arranges the displays by this one of its topologies: 1 internal, 2 clone, 4 extend, 8 external.
    static bool CheckDisplayTopology(uint32_t wantedTopology);
    // Makes the active configuration what the platform's own database has for these monitors.
    static bool StoreCurrentDisplayConfigToDatabase();

    // ---- The external monitor's place. A change waits for the next start of the shell.
    static bool SetExternalDisplayPos(EExternalDisplayPos position);
    // Left when none is stored; a number that is no position comes back as it is.
    static EExternalDisplayPos GetExternalDisplayPos();
    // Makes a waiting change the present position. False when it could not be stored; it then goes on waiting.
    static bool UseNewDisplayPosChanges();
    // "Left", "Right", "Above". Any other number is reported.
    static const char* GetExternalDisplayPositionAsString(EExternalDisplayPos position);
    // Above is left while its feature is off. Every other number stays.
    static EExternalDisplayPos ValidateExternalDisplayPos(EExternalDisplayPos position);
};
