#pragma once

// The seam of the registry: the platform calls that Cmn_Registry makes. A test replaces a single entry of the table and
// puts it back.
//
// Threads:   replaced before the threads start that use the registry
// Ownership: none
// Errors, units: as the platform calls

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct RegistryCalls {
    decltype(&::RegOpenKeyExA) openKey = &::RegOpenKeyExA;
    decltype(&::RegCreateKeyExA) createKey = &::RegCreateKeyExA;
    decltype(&::RegQueryValueExA) queryValue = &::RegQueryValueExA;
    decltype(&::RegSetValueExA) setValue = &::RegSetValueExA;
    decltype(&::RegDeleteValueA) deleteValue = &::RegDeleteValueA;
};

NORVIK_API RegistryCalls& GetRegistryCalls();

}  // namespace NorvikLibInternal
