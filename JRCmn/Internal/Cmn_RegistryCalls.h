#pragma once

// The seam of the registry: the platform calls that Cmn_Registry and the shell services make. A test replaces a single
// entry of the table and puts it back. Their DLL is loaded with the table: few programs use the registry, and an import
// costs all of them 1 ms.
//
// Threads:   replaced before the threads start that use the registry
// Ownership: none
// Errors, units: as the platform calls

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct RegistryCalls {
    decltype(&::RegOpenKeyExA) openKey = Bind<decltype(&::RegOpenKeyExA)>("RegOpenKeyExA");
    decltype(&::RegCreateKeyExA) createKey = Bind<decltype(&::RegCreateKeyExA)>("RegCreateKeyExA");
    decltype(&::RegQueryValueExA) queryValue = Bind<decltype(&::RegQueryValueExA)>("RegQueryValueExA");
    decltype(&::RegSetValueExA) setValue = Bind<decltype(&::RegSetValueExA)>("RegSetValueExA");
    decltype(&::RegDeleteValueA) deleteValue = Bind<decltype(&::RegDeleteValueA)>("RegDeleteValueA");
    decltype(&::RegFlushKey) flushKey = Bind<decltype(&::RegFlushKey)>("RegFlushKey");
    decltype(&::RegQueryInfoKeyA) queryInfo = Bind<decltype(&::RegQueryInfoKeyA)>("RegQueryInfoKeyA");
    decltype(&::RegCloseKey) closeKey = Bind<decltype(&::RegCloseKey)>("RegCloseKey");

private:
    template <typename Function>
    static Function Bind(const char* name) {
        return DynamicFunction<Function>("advapi32.dll", name).Get();
    }
};

NORVIK_API RegistryCalls& GetRegistryCalls();

}  // namespace NorvikLibInternal
