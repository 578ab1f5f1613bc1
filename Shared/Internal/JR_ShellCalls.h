#pragma once

// The seam of the shell services: the platform calls that they make, but for the registry's (Cmn_RegistryCalls.h). user32 is
// loaded by the first call, not with the program. A test replaces a single entry of the table and puts it back.
//
// Threads:   replaced before the threads start that use the shell services
// Ownership, errors, units: as the platform calls

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct ShellCalls {
    decltype(&::FindWindowA) findWindow;
    decltype(&::PostMessageA) post;
    decltype(&::SendMessageTimeoutA) sendTimeout;
    decltype(&::GetDesktopWindow) getDesktop;
    decltype(&::OpenClipboard) openClipboard;
    decltype(&::EmptyClipboard) emptyClipboard;
    decltype(&::SetClipboardData) setClipboardData;
    decltype(&::CloseClipboard) closeClipboard;
    decltype(&::GlobalMemoryStatusEx) getMemory;
    Cmn_String (*getBrand)();  // of the processor
};

NORVIK_API ShellCalls& GetShellCalls();

}  // namespace NorvikLibInternal
