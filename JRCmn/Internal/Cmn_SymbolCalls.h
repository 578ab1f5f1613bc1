#pragma once

// The seam of the platform's symbol library (dbghelp): its calls that name frames. A test replaces a single entry of the
// table and puts it back.
//
// Threads:   replaced while no other thread names frames
// Ownership: the library is loaded when the table is first asked for, and stays loaded
// Errors:    a function that the machine does not have is null; otherwise as the platform calls
// Units:     as the platform calls

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

// After the gate header, whose types it uses.
#include <dbghelp.h>

namespace NorvikLibInternal {

struct SymbolCalls {
    decltype(&::SymInitialize) initialize;
    decltype(&::SymSetOptions) setOptions;
    decltype(&::SymLoadModuleEx) loadModule;
    decltype(&::SymUnloadModule64) unloadModule;
    decltype(&::SymFromAddr) symbolAt;
    decltype(&::SymGetLineFromAddr64) lineAt;
};

NORVIK_API SymbolCalls& GetSymbolCalls();

}  // namespace NorvikLibInternal
