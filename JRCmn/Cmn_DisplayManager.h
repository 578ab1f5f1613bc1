#pragma once

// Cmn_DisplayManager: the displays that belong to the desktop now.
//
//   Cmn_DisplayManager displays;
//   for (const auto& display : displays.GetDisplays()) display->Dump();
//
// Threads:   one at a time
// Ownership: shares the displays with whoever keeps them; those of an earlier enumeration stay as they were
// Errors:    nothing throws, except std::bad_alloc. A display whose settings cannot be read is traced and left out; a
//            platform without displays gives none.
// Units:     pixels. The first manager makes the process aware of the displays' scaling (unless the program has chosen
//            for itself before), because it would be told scaled pixels otherwise; windows that exist already may keep
//            being scaled, so make it early.

#include <memory>
#include <vector>

#include "JRCmn/Cmn_Display.h"
#include "JRCmn/Cmn_Export.h"

class NORVIK_API Cmn_DisplayManager {
public:
    using Displays = std::vector<std::shared_ptr<Cmn_Display>>;

    // Enumerates.
    Cmn_DisplayManager();
    virtual ~Cmn_DisplayManager();
    Cmn_DisplayManager(const Cmn_DisplayManager&) = delete;
    Cmn_DisplayManager& operator=(const Cmn_DisplayManager&) = delete;

    // Enumerates again, into new objects.
    void Refresh();

    // In the platform's order.
    const Displays& GetDisplays() const { return mDisplays; }

private:
    Displays mDisplays;
};
