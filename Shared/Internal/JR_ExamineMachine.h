#pragma once

// Whether one of the signs that Windows wants to be restarted is there: for tools that want to know all of them. Programs
// ask JR_ShellApp::IsRestartNecessary.
//
//   for (const RestartSign& sign : kRestartSigns) if (ShowsRestartNeeded(sign)) Print(sign.key);
//
// Threads:   any
// Ownership: none
// Errors:    a key that cannot be opened shows nothing; nothing is traced. A missing key is created.
// Units:     none

#include "Shared/Internal/JR_ShellRules.h"

namespace NorvikLibInternal {

NORVIK_API bool ShowsRestartNeeded(const RestartSign& sign);

}  // namespace NorvikLibInternal
