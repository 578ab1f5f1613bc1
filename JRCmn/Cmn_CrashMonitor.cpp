#include "JRCmn/Cmn_CrashMonitor.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <typeinfo>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_CrashDump.h"
#include "JRCmn/Internal/Cmn_FrameName.h"
#include "JRCmn/Internal/Cmn_Windows.h"

#if defined(__GNUG__)
#include <cxxabi.h>
#endif

using namespace NorvikLibInternal;

#if !defined(NORVIK_VERSION)
#error The build defines NORVIK_VERSION.
#endif

const char* const Cmn_Assert::SoftwareVersion = NORVIK_VERSION;

namespace {

constexpr DWORD kAbortExitCode = 3;               // that of the run-time's abort()
constexpr DWORD kCompilerException = 0x20474343;  // what this compiler's run-time raises for a throw
constexpr DWORD kUncaughtException = 0xE04E4F54;  // 'NOT': std::terminate and abort in a dump
constexpr SIZE_T kMonitorStack = 0x80000;         // 512 KB; naming a frame takes most of it
constexpr ULONG kStackReserve = 0x8000;           // 32 KB; the platform's own handling needs some of them

struct Crash {
    const char* text;  // of std::terminate and abort; null for an exception of the platform
    EXCEPTION_POINTERS* exception;
    DWORD threadId;
    DWORD exitCode;
};

Crash gCrash;
std::atomic<DWORD> gReporter{0};  // ID of the thread that runs the steps
std::atomic<unsigned> gNextStep{0};
std::atomic<unsigned> gReportLimit{30'000};
std::atomic<void (*)()> gCleanup{nullptr};

// The monitor's thread. It ends the process when the report takes too long, and runs what is left of the
// steps when the thread that has crashed cannot.
DWORD gMonitorThread = 0;
HANDLE gCrashed = nullptr;
HANDLE gHandedOver = nullptr;

// ---- What is said

const char* ExceptionName(DWORD code) {
    switch (code) {
        case EXCEPTION_ACCESS_VIOLATION:
            return "access violation";
        case EXCEPTION_IN_PAGE_ERROR:
            return "page that cannot be read";
        case EXCEPTION_STACK_OVERFLOW:
            return "stack overflow";
        case EXCEPTION_ILLEGAL_INSTRUCTION:
            return "illegal instruction";
        case EXCEPTION_PRIV_INSTRUCTION:
            return "privileged instruction";
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
            return "division by zero";
        case EXCEPTION_INT_OVERFLOW:
            return "division overflow";
        case EXCEPTION_DATATYPE_MISALIGNMENT:
            return "misaligned access";
        case EXCEPTION_BREAKPOINT:
            return "breakpoint";
        case 0xC0000374:
            return "damaged heap";
        case 0xE06D7363:
            return "C++ exception";
        default:
            return "exception";
    }
}

void TraceException(const EXCEPTION_RECORD& record, DWORD threadId) {
    const FrameName at = NameFrame(reinterpret_cast<uint64_t>(record.ExceptionAddress), false);
    char access[64] = "";
    const bool isAccess =
        record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION || record.ExceptionCode == EXCEPTION_IN_PAGE_ERROR;
    if (isAccess && record.NumberParameters >= 2) {
        const auto kind = record.ExceptionInformation[0];
        _snprintf(access, sizeof access - 1, ", %s 0x%016I64x",
                  kind == 0   ? "reading"
                  : kind == 1 ? "writing"
                              : "executing",
                  record.ExceptionInformation[1]);
    }
    Cmn_TraceFailure(eFailureType_Failure, "Unhandled exception 0x%08lX (%s) at %s+0x%I64x%s in thread %lu.",
                     record.ExceptionCode, ExceptionName(record.ExceptionCode), at.module, at.offset, access,
                     threadId);
}

// "std::runtime_error: the text of it", as far as it can be known.
void DescribeCurrentException(char (&text)[512]) {
    const char* type = "unknown type";
    char* readable = nullptr;
#if defined(__GNUG__)
    if (const std::type_info* const info = abi::__cxa_current_exception_type()) {
        readable = abi::__cxa_demangle(info->name(), nullptr, nullptr, nullptr);
        type = readable ? readable : info->name();
    }
#endif
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::exception& e) {
        _snprintf(text, sizeof text - 1, "Uncaught exception, %s: %s", type, e.what());
    } catch (...) {
        _snprintf(text, sizeof text - 1, "Uncaught exception, %s", type);
    }
    std::free(readable);
}

// ---- The steps

void ReportCrash() {
    if (gCrash.text) {
        Cmn_TraceFailure(eFailureType_Failure, "%s, in thread %lu.", gCrash.text, gCrash.threadId);
    } else {
        TraceException(*gCrash.exception->ExceptionRecord, gCrash.threadId);
    }
}

void PrintCrashedStack() {
    Cmn_Assert::PrintStackTrace(0, gCrash.exception->ContextRecord, true);
}

void FlushLog() {
    Cmn_DefaultLog::GetInstance().Flush();
}

void DumpCrash() {
    WriteCrashDump(false, gCrash.exception, gCrash.threadId);
}

void CallCleanup() {
    if (void (*const cleanup)() = gCleanup.load()) cleanup();
}

struct Step {
    const char* name;
    void (*run)();
};

// Flushed early, because what follows may not come back.
constexpr Step kSteps[] = {{"failure line", &ReportCrash}, {"stack", &PrintCrashedStack},
                           {"flush", &FlushLog},           {"dump", &DumpCrash},
                           {"cleanup", &CallCleanup},      {"last flush", &FlushLog}};

void NoteFailedStep(unsigned step) {
    // Tracing itself may be what crashes: said once for a step.
    static std::atomic<unsigned> noted{0};
    if (step == 0 || noted.exchange(step) == step) return;
    Cmn_Trace("The crash report's step \"%s\" has crashed itself.\n", kSteps[step - 1].name);
}

// Goes on where an earlier call has got to, so that each step is begun once, whatever happens in it.
[[noreturn]] void RunSteps() {
    try {
        NoteFailedStep(gNextStep);
    } catch (...) {
    }
    for (unsigned step; (step = gNextStep.fetch_add(1)) < std::size(kSteps);) {
        try {
            kSteps[step].run();
        } catch (...) {
            // An exception must not get to the handlers of the code that has crashed.
        }
    }
    ::TerminateProcess(::GetCurrentProcess(), gCrash.exitCode);
    std::abort();
}

// ---- Who runs them

[[noreturn]] void EndAfterLimit() {
    ::Sleep(gReportLimit);
    ::TerminateProcess(::GetCurrentProcess(), gCrash.exitCode);
    std::abort();
}

DWORD WINAPI WatchForCrash(void*) {
    ::WaitForSingleObject(gCrashed, INFINITE);
    if (::WaitForSingleObject(gHandedOver, gReportLimit) == WAIT_OBJECT_0) RunSteps();
    ::TerminateProcess(::GetCurrentProcess(), gCrash.exitCode);
    return 0;
}

[[noreturn]] void ReportAndEnd(const Crash& crash, bool isStackUsedUp) {
    const DWORD self = ::GetCurrentThreadId();
    DWORD reporter = 0;
    if (gReporter.compare_exchange_strong(reporter, self)) {
        gCrash = crash;
        ::SetEvent(gCrashed);
    } else if (reporter != self) {
        EndAfterLimit();  // another thread is being reported, and ends the process when it is done
    }
    if (isStackUsedUp && gMonitorThread && self != gMonitorThread) {
        gReporter = gMonitorThread;
        ::SetEvent(gHandedOver);
        EndAfterLimit();
    }
    RunSteps();
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    // The compiler's run-time calls std::terminate when the raising of its exception returns.
    if (record.ExceptionCode == kCompilerException && !(record.ExceptionFlags & EXCEPTION_NONCONTINUABLE)) {
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    ReportAndEnd({nullptr, exception, ::GetCurrentThreadId(), record.ExceptionCode}, false);
}

// Comes before the handlers of the code: going through those of all frames down to the unhandled-exception
// filter would take more stack than is left, and none of them expects this exception.
LONG WINAPI OnStackOverflow(EXCEPTION_POINTERS* exception) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    if (code != EXCEPTION_STACK_OVERFLOW) return EXCEPTION_CONTINUE_SEARCH;
    ReportAndEnd({nullptr, exception, ::GetCurrentThreadId(), code}, true);
}

[[noreturn]] void ReportAbort(const char* text) {
    CONTEXT context;
    ::RtlCaptureContext(&context);
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = kUncaughtException;
    record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
    EXCEPTION_POINTERS exception = {&record, &context};
    ReportAndEnd({text, &exception, ::GetCurrentThreadId(), kAbortExitCode}, false);
}

[[noreturn]] void OnTerminate() {
    char text[512] = "std::terminate was called";
    if (std::current_exception()) DescribeCurrentException(text);
    ReportAbort(text);
}

void OnAbort(int) {
    ReportAbort("abort() was called");
}

void StartMonitor() {
    // The platform calls the library when a crash comes, so it must never be unloaded.
    HMODULE self = nullptr;
    ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<const char*>(&StartMonitor), &self);
    gCrashed = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    gHandedOver = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (const HANDLE thread = ::CreateThread(nullptr, kMonitorStack, &WatchForCrash, nullptr,
                                             STACK_SIZE_PARAM_IS_A_RESERVATION, &gMonitorThread)) {
        ::CloseHandle(thread);
    } else {
        gMonitorThread = 0;
        Cmn_Trace("The crash monitor has no thread: a stack overflow may go without a report.\n");
    }
    ::SetUnhandledExceptionFilter(&OnUnhandledException);
    ::AddVectoredExceptionHandler(FALSE, &OnStackOverflow);
    std::set_terminate(&OnTerminate);
    std::signal(SIGABRT, &OnAbort);
}

}  // namespace

void Cmn_CrashMonitor::Install() {
    static const bool started = (StartMonitor(), true);
    if (started) PrepareThread();
}

void Cmn_CrashMonitor::PrepareThread() {
    ULONG bytes = kStackReserve;
    ::SetThreadStackGuarantee(&bytes);
}

void Cmn_CrashMonitor::SetReportTimeLimit(unsigned milliseconds) {
    gReportLimit = milliseconds;
}

bool Cmn_Assert::SetUnhandledExceptionCleanupFunc(void (*cleanup)()) {
    if (!cleanup) return false;
    Cmn_CrashMonitor::Install();
    void (*none)() = nullptr;
    return gCleanup.compare_exchange_strong(none, cleanup);
}
