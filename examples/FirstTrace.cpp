// The first program: a run of its own in the log folder, a line, a failure that explains itself.
//
//   ExampleFirstTrace   writes "Run #... ExampleFirstTrace - 01.log" and prints its path

#include <cstdio>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_CrashMonitor.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_Trace.h"

// A wrong argument is a failed check: the caller gets false, the technician a line with stack and context.
bool SetLevel(int channel, double level) {
    if (!CMN_VERIFY(channel >= 1 && channel <= 48)) return false;
    Cmn_Trace("Channel %d is at %.1f dB.\n", channel, level);
    return true;
}

int main() {
    Cmn_Logging::GetInstance().StartNewRun(100, 1'024);  // keeps 100 runs, with files of up to 1,024 KB
    Cmn_CrashMonitor::Install();                         // a crash leaves its stack and a dump beside the log
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);

    Cmn_Trace("The desk starts.\n");
    SetLevel(3, -6);
    for (int i = 0; i < 1'000; ++i)
        SetLevel(49, 0);  // wrong a thousand times: the log does not fill with it
    std::printf("%s\n", Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath().c_str());
    return 0;
}
