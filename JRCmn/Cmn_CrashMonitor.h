#pragma once

// Cmn_CrashMonitor: what happens when the program crashes. An exception of the platform that nobody handles,
// an uncaught C++ exception and abort() leave a failure line, the stack and a small dump in the log folder
// before the process ends.
//
//   int main() {
//       Cmn_CrashMonitor::Install();
//       Cmn_Assert::SetUnhandledExceptionCleanupFunc(&SwitchOutputsOff);
//       ...
//   }
//
// The steps are: failure line, stack, dump, cleanup function, flush of the log. One that crashes itself is
// left out, the others still come. The process ends with the exception's code, or with 3 after std::terminate
// and abort().
//
// Threads:   any. When several threads crash, the first is reported and the others wait for the end. The report runs on the
//            thread that has crashed, but that of a stack overflow on a thread of the monitor's own.
// Ownership: one thread, one event pair, for the life of the process; the library stays loaded
// Errors:    what a step cannot do is traced. A report that takes longer than the limit ends the process without the rest.
//            Not reported: a process that another one kills, and what the platform ends at once by itself (a fast fail).
// Units:     milliseconds

#include "JRCmn/Cmn_Export.h"

namespace Cmn_CrashMonitor {

// Once for the process; further calls do nothing. Also does PrepareThread.
NORVIK_API void Install();

// Keeps enough of the calling thread's stack in reserve for a stack overflow to be reported.
NORVIK_API void PrepareThread();

// How long a report may take, 30,000 unless set: a lock that the crash has left behind must not keep the
// process from ending and being started anew.
NORVIK_API void SetReportTimeLimit(unsigned milliseconds);

}  // namespace Cmn_CrashMonitor
