#pragma once

// The thread's last system error: kept over work that would change it, and as text.
//
//   LastErrorKeeper keeper;                     // reports and traces leave the caller's last error alone
//   Cmn_Trace("Failed: %s\n", DescribeSystemError(keeper.Get()).c_str());
//
// Threads:   each thread its own
// Ownership: none
// Errors:    an unknown code reads "error <code>"
// Units:     platform error codes

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

class LastErrorKeeper {
public:
    LastErrorKeeper() : mError(::GetLastError()) {}
    ~LastErrorKeeper() { ::SetLastError(mError); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

    DWORD Get() const { return mError; }

private:
    const DWORD mError;
};

// "Access denied.": the system's description without its line end.
NORVIK_API Cmn_String DescribeSystemError(DWORD error);

}  // namespace NorvikLibInternal
