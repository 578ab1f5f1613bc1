#pragma once

// Whether the process runs under Wine, where some of the platform's calls differ.
//
// Threads:   any
// Ownership: none
// Errors:    none
// Units:     none

#include <optional>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

// Found out at the first call.
NORVIK_API bool IsWine();

// Tests only: the answer from here on; without one it is the real one again.
NORVIK_API void OverrideWineProbe(std::optional<bool> answer);

}  // namespace NorvikLibInternal
