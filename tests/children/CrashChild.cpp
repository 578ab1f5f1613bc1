// A program that crashes in the way its argument says. The crash monitor decides what it leaves and how it ends.

#include <windows.h>

#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_CrashMonitor.h"
#include "JRCmn/Cmn_Trace.h"

namespace {

volatile int gSink = 0;  // what is stored there after a call keeps its function a frame of its own
volatile uintptr_t gNowhere = 0x10;

int Recurse(int depth) {
    volatile char block[1000];
    block[depth % 1000] = 1;
    return gNowhere ? Recurse(depth + 1) + block[0] : 0;
}

void WriteToNowhere() {
    *reinterpret_cast<volatile int*>(gNowhere) = 1;
    gSink = 1;
}

void WriteInManyThreads() {
    for (int i = 0; i < 8; ++i)
        std::thread(&WriteToNowhere).detach();
    ::Sleep(INFINITE);
}

[[gnu::noinline]] void Throw() {
    throw std::runtime_error("the desk is gone");
}

const std::map<std::string, void (*)()> kActions = {
    {"write", &WriteToNowhere},
    {"write-threads", &WriteInManyThreads},
    {"call", [] { gSink = reinterpret_cast<int (*)()>(gNowhere - 0x10)(); }},
    {"overflow", [] { gSink = Recurse(0); }},
    {"overflow-thread", [] { std::thread(&Recurse, 0).join(); }},
    {"throw", &Throw},
    {"noexcept", []() noexcept { Throw(); }},
    {"abort", [] { std::abort(); }},
    {"no-folder", [] {}},
    {"trace", [] { Cmn_Trace("Cleaned up.\n"); }},
    {"hang", [] { ::Sleep(INFINITE); }},
};

}  // namespace

// CrashChild ACTION CLEANUP
int main(int, char** arguments) {
    Cmn_CrashMonitor::Install();
    if (arguments[2] == std::string("hang")) Cmn_CrashMonitor::SetReportTimeLimit(5'000);
    Cmn_Assert::SetUnhandledExceptionCleanupFunc(kActions.at(arguments[2]));
    try {
        kActions.at(arguments[1])();
    } catch (const std::logic_error&) {  // not what is thrown
    }
    return 77;
}
