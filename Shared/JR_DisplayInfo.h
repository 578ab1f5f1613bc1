#pragma once

// JR_DisplayInfo: the monitors' own lists of modes, as WMI knows them. It tells a built-in panel, which has one mode, from
// a monitor, which has many.
//
//   JR_DisplayInfo info;
//   const bool hasPanel = info.IsFixedResolutionDisplayConnected(1280, 800);
//
// Threads:   one: the object is made, used and destroyed on the same thread, because COM belongs to the thread
// Ownership: holds the connection to WMI, and COM on this thread when it initialised it
// Errors:    what fails is traced and makes the answer false. A thread whose COM is single-threaded already (a window's
//            thread, mostly) cannot have it: ask on another one.
// Units:     pixels. A question may take as long as WMI takes, at most 10 s a monitor (and the constructor 2 minutes).

#include "JRCmn/Cmn_Export.h"

struct IWbemServices;

class NORVIK_API JR_DisplayInfo {
public:
    // Connects to WMI.
    JR_DisplayInfo();
    ~JR_DisplayInfo();
    JR_DisplayInfo(const JR_DisplayInfo&) = delete;
    JR_DisplayInfo& operator=(const JR_DisplayInfo&) = delete;

    // Whether a monitor is connected that has a single mode, and that is this one.
    bool IsFixedResolutionDisplayConnected(int width, int height);

private:
    bool mHasInitializedCOM = false;
    IWbemServices* mServices = nullptr;
};
