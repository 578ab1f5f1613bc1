// A program that logs, for tests that start several or kill it.
//
//   LogChild run            starts a new run and prints its number
//   LogChild write COUNT EVENT  traces COUNT numbered lines when the named event is set, keeps its log a while, and ends
//   LogChild flood          traces numbered lines, as many as a file holds, and waits to be killed
//   LogChild exit           ends while other threads trace, and traces in a global destructor

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace {

void Write(long long count) {
    for (long long i = 0; i < count; ++i)
        Cmn_Trace("line %I64d end\n", i);
}

// The platform ends the threads before this runs, in the middle of whatever they do.
struct TraceAtExit {
    ~TraceAtExit() {
        if (isOn) Write(100);
    }
    bool isOn = false;
} gTraceAtExit;

}  // namespace

int main(int count, char** arguments) {
    const char* const what = count > 1 ? arguments[1] : "";
    if (std::strcmp(what, "run") == 0) {
        Cmn_Logging::GetInstance().StartNewRun(1000, 1024);
        std::printf("%llu\n", Cmn_Logging::GetInstance().GetCurrentRunNumber());
        return 0;
    }
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    if (std::strcmp(what, "write") == 0 && count == 4) {
        ::WaitForSingleObject(::OpenEventA(SYNCHRONIZE, FALSE, arguments[3]), 30'000);
        Write(std::atoll(arguments[2]));
        ::Sleep(2'000);
        return 0;
    }
    if (std::strcmp(what, "flood") == 0) {
        Write(25'000);
        for (;;)
            std::this_thread::sleep_for(std::chrono::hours(1));
    }
    if (std::strcmp(what, "exit") == 0) {
        for (int i = 0; i < 4; ++i)
            std::thread([] { Write(1'000'000'000); }).detach();
        Write(1000);
        gTraceAtExit.isOn = true;
        return 5;
    }
    return 2;
}
