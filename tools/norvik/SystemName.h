#pragma once

// A kind of machine, for people.
//
// Threads: any.  Ownership, errors, units: none.

#include <string>

#include "Shared/JR_SystemKinds.h"

namespace NorvikTool {

// A number that is none of them can only come from the setting.
inline std::string SystemName(ESystemType type) {
    const char* const names[] = {"standalone PC", "legacy console", "console", "engine"};
    return type >= eSystem_Standalone && type <= eSystem_Engine ? names[type]
                                                                : "forced to " + std::to_string(type);
}

}  // namespace NorvikTool
