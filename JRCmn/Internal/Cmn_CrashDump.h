#pragma once

// Minidumps of this process in the log folder, named "<application> <yyyy-mm-dd hh.mm.ss> <pid>-<n>.dmp".
//
//   WriteCrashDump(false, exceptionPointers, crashedThreadId);
//
// Threads:   any, one at a time
// Ownership: of the application's dumps in the folder the 10 newest are kept, older ones are deleted
// Errors:    false, traced; what was written of the file is removed
// Units:     none

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

// `exception` is of the thread `threadId`. Null: the dump shows the calling thread as it is here.
bool WriteCrashDump(bool large, EXCEPTION_POINTERS* exception, DWORD threadId);

}  // namespace NorvikLibInternal
