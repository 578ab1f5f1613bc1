#pragma once

// The seam of WMI: the COM calls that lead to it. ole32 is loaded by the first call, not with the program. A test replaces
// entries of the table, gives COM objects of its own, and puts them back.
//
// Threads:   replaced before WMI is asked
// Ownership: as COM
// Errors:    as the platform calls; where the platform lacks one, it fails
// Units:     none

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

// After windows.h, which comes without OLE.
#include <objbase.h>

namespace NorvikLibInternal {

struct WmiCalls {
    decltype(&::CoInitializeEx) initialize;
    decltype(&::CoUninitialize) uninitialize;
    decltype(&::CoCreateInstance) createInstance;
    decltype(&::CoSetProxyBlanket) setProxyBlanket;
};

NORVIK_API WmiCalls& GetWmiCalls();

}  // namespace NorvikLibInternal
