#pragma once

// Whether the process runs under Wine, where some of the platform's calls differ.
//
// Threads:   any
// Ownership: texts live as long as the process
// Errors:    a process without the platform's own library is reported, and is not under Wine
// Units:     none

#include <optional>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

// Found out at the first call.
NORVIK_API bool IsWine();

// What Wine says of its version, at the first call; null outside Wine.
NORVIK_API const char* GetWineVersion();

// What a library (an HMODULE) says of Wine's version; null when it says nothing. None at all is reported.
NORVIK_API const char* AskWineVersion(void* libraryHandle);

// Tests only: the answer of IsWine from here on; without one it is the real one again.
NORVIK_API void OverrideWineProbe(std::optional<bool> answer);

}  // namespace NorvikLibInternal
