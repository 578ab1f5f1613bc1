#pragma once

// Names that no other test uses, and the checks that were reported.
//
// Threads: one.  Ownership: none.  Errors: none.  Units: none.

#include <gmock/gmock.h>

#include <regex>
#include <string>

#include "JRCmn/Internal/Cmn_Handle.h"
#include "tests/support/TraceCapture.h"

inline std::string UniqueName(const std::string& what) {
    return "NorvikTest " + std::to_string(::GetCurrentProcessId()) + " " + what;
}

// "28 mMutex != NULL|...": line and text of each.
inline std::string Checks() {
    std::string checks;
    for (const std::string& report : TakeReports())
        checks += std::regex_replace(
            report, std::regex(".*'(.*)' failed in (?:IPC.IPC|Shared.JR)_.*\\((.*)\\).*\n"), "$2 $1|");
    return checks;
}
