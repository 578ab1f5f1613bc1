#pragma once

// Calls a function that may fault in code that is not ours, such as a library of the platform that reads what
// files hold.
//
//   unsigned long code = 0;
//   if (!CallGuarded(&ReadSymbols, &query, &code)) Cmn_Trace("The reader has crashed (0x%08lX).\n", code);
//
// Threads:   any, several at once; guards may be nested
// Ownership: none. The frames between are left without their destructors: the function must hold nothing that
//            one would have to give back.
// Errors:    false for an exception of the platform that nobody handles on the way here. A stack overflow is
//            left to the crash report, and what programs raise themselves, C++ exceptions above all, passes.
// Units:     codes are those of the platform's exceptions

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

// `outCode` is written only when the answer is false.
NORVIK_API bool CallGuarded(void (*function)(void*), void* argument, unsigned long* outCode);

}  // namespace NorvikLibInternal
