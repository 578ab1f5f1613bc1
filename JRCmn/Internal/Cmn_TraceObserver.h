#pragma once

// A slot that sees every line the default log writes, before it goes out: tests and the demo read back what was traced.
//
// Threads:   called on the thread that traces, several at once; it must not trace
// Ownership: the line is valid during the call only
// Errors:    the observer must not throw
// Units:     the line without its time stamp

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

using TraceObserver = void (*)(const char* line);

// Null takes the observer away.
NORVIK_API void SetTraceObserver(TraceObserver observer);

}  // namespace NorvikLibInternal
