// A program that crashes in the way its argument says. The crash monitor decides what it leaves and how it ends.

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_CrashMonitor.h"
#include "JRCmn/Cmn_Trace.h"

namespace {

volatile int gSink = 0;
volatile uintptr_t gNowhere = 0x10;

[[gnu::noinline]] void WriteToNowhere() {
    *reinterpret_cast<volatile int*>(gNowhere) = 1;
    gSink = 1;  // so that the function stays a frame of its own
}

[[gnu::noinline]] void CallNowhere() {
    reinterpret_cast<void (*)()>(gNowhere - 0x10)();
    gSink = 1;
}

int Recurse(int depth);
int (*volatile gRecurse)(int) = &Recurse;  // what the compiler cannot turn into a loop

int Recurse(int depth) {
    volatile char block[1000];
    block[depth % 1000] = 1;
    return gRecurse(depth + 1) + block[0];
}

[[gnu::noinline]] void Throw() {
    throw std::runtime_error("the desk is gone");
}

void ThrowNoFurther() noexcept {
    Throw();
}

[[gnu::noinline]] void Crash(const char* kind) {
    const auto is = [kind](const char* name) { return std::strcmp(kind, name) == 0; };
    if (is("write")) WriteToNowhere();
    if (is("call")) CallNowhere();
    if (is("throw")) Throw();
    if (is("noexcept")) ThrowNoFurther();
    if (is("abort")) std::abort();
    if (is("overflow")) gSink = Recurse(0);
    if (is("overflow-thread")) std::thread([] { gSink = Recurse(0); }).join();
    if (is("write-thread")) std::thread(&WriteToNowhere).join();
    if (is("many")) {
        std::thread threads[8];
        for (std::thread& thread : threads)
            thread = std::thread(&WriteToNowhere);
        for (std::thread& thread : threads)
            thread.join();
    }
}

}  // namespace

// CrashChild KIND [CLEANUP]
int main(int count, char** arguments) {
    Cmn_CrashMonitor::Install();
    const char* const cleanup = count > 2 ? arguments[2] : "";
    if (std::strcmp(cleanup, "trace") == 0) {
        Cmn_Assert::SetUnhandledExceptionCleanupFunc([] { Cmn_Trace("Cleaned up.\n"); });
    } else if (std::strcmp(cleanup, "crash") == 0) {
        Cmn_Assert::SetUnhandledExceptionCleanupFunc(&WriteToNowhere);
    } else if (std::strcmp(cleanup, "throw") == 0) {
        Cmn_Assert::SetUnhandledExceptionCleanupFunc(&Throw);
    } else if (std::strcmp(cleanup, "hang") == 0) {
        Cmn_CrashMonitor::SetReportTimeLimit(3'000);
        Cmn_Assert::SetUnhandledExceptionCleanupFunc([] { ::Sleep(INFINITE); });
    }
    try {
        Crash(count > 1 ? arguments[1] : "");
    } catch (const std::logic_error&) {  // not what is thrown
    }
    return 77;
}
