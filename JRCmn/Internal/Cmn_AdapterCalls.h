#pragma once

// The seam of the network adapters: what there are, and the platform's word that their addresses have changed. iphlpapi is
// loaded by the first call, not with the program. A test replaces a single entry of the table and puts it back.
//
// Threads:   replaced before the first Cmn_NetworkAdapterConfig. `list` is called by whoever makes one and by the watching
//            thread, the others by that thread only.
// Ownership: the event stays the table's
// Errors:    as each entry says
// Units:     milliseconds

#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_AdapterRule.h"

namespace NorvikLibInternal {

struct AdapterCalls {
    // In the platform's order. False leaves the list alone.
    bool (*list)(std::vector<Adapter>& outAdapters);
    // The event (a HANDLE) that is set at the next change; null when the platform cannot tell. Armed again after each
    // change; arming what is armed does nothing.
    void* (*arm)();
    // The event is not set by the platform any more.
    void (*disarm)();
    // How often to look all the same: a platform may accept to tell of changes and then never do it, and a change of the
    // settings is told by nobody. A look takes 2 ms under Wine.
    unsigned int lookEvery;
};

NORVIK_API AdapterCalls& GetAdapterCalls();

}  // namespace NorvikLibInternal
