#pragma once

// Checks and failure reports. A check that fails leaves one "REPORT >>>" line in the log (rate-limited per place), with
// resources, the last system error and a stack trace; in the test modes it asks the user whether to go on.
//
//   CMN_ASSERT(index < count);                        // throws Cmn_AssertionFailure when false
//   if (!CMN_VERIFY(handle != nullptr)) return false;  // reports, and yields the condition
//   CMN_CHECK(value <= limit);                         // one quiet line in the log
//   CMN_FAILURE("unexpected answer from the board");
//
// Threads:   any
// Ownership: texts of expressions and files are literals and are kept by pointer
// Errors:    only CMN_ASSERT throws, and what a failure hook throws goes through. A condition is evaluated once.
// Units:     lines are source lines; the _AT forms carry a fixed number, which identifies the report in the logs of all
//            releases and stays when the file is edited

#include <functional>
#include <stdexcept>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_SourcePath.h"

// What a failed assertion throws.
class NORVIK_API Cmn_AssertionFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    Cmn_AssertionFailure(const Cmn_AssertionFailure&) = default;
    ~Cmn_AssertionFailure() override;
};

namespace Cmn_Assert {

// (expression or message, "file:line", kind of failure)
using FailureHook = std::function<void(const char*, const char*, const char*)>;
using ContextTracer = std::function<void()>;

// What the macros below call. Both "return true" mean: the caller should break into the debugger.
[[noreturn]] NORVIK_API void FailedAssert(const char* expression, const char* file, int line);
NORVIK_API bool FailedVerify(const char* expression, const char* file, int line);
NORVIK_API bool FailedCheck(const char* expression, const char* file, int line);  // always false
NORVIK_API bool Failure(const char* message, const char* file, int line);

// Whether a failure prompt is on the screen, whichever thread failed.
NORVIK_API bool IsFailing();
NORVIK_API bool IsDebuggerPresent();

// With a hook, failure prompts call it instead of asking the user, and the test level counts as 2: install it before
// the level is first asked for. An empty function removes the hook. What the hook throws reaches the failing code.
NORVIK_API void SetFailureHook(FailureHook hook);

// Adds a function that failure reports call for the application's own context, in the order of adding. It traces what
// it has to say. What it throws is traced and goes no further.
NORVIK_API void AddContextTracer(ContextTracer tracer);

// Writes the context block of a failure report: free memory and the context tracers at most every 500 ms, the system
// error when `lastError` is not 0, and the stack, from `context` (a CONTEXT of the platform) or, when null, of this
// thread. Within 500 ms of a block the stack is one line of addresses.
NORVIK_API void TraceContext(unsigned long lastError, const void* context);

// Traces the stack of this thread without its `skipFrames` innermost frames, or the one that `context` describes.
// With `symbols`, a line a frame (module and offset, function, source line); without, only the line of addresses that
// both forms end with, ready for addr2line.
NORVIK_API void PrintStackTrace(int skipFrames, const void* context, bool symbols);

// Writes a minidump of this process into the log folder and traces where it lies; a large one holds all memory.
// `exceptionPointers` (EXCEPTION_POINTERS of the platform) may be null. False, traced, when it cannot be written.
NORVIK_API bool CrashDump(bool large, const void* exceptionPointers);

// The function that an unhandled exception calls last, after report, stack and dump. Accepted once: false when there is
// one already. Also switches the handling of unhandled exceptions on (Cmn_CrashMonitor).
NORVIK_API bool SetUnhandledExceptionCleanupFunc(void (*cleanup)());

// Version of the library, as reports show it.
NORVIK_API extern const char* const SoftwareVersion;

}  // namespace Cmn_Assert

namespace NorvikLibInternal {

#if defined(_MSC_VER)
#define CMN_BREAK() __debugbreak()
#define CMN_ALWAYS_INLINE __forceinline
#else
#define CMN_BREAK() __asm__ volatile("int $3")
#define CMN_ALWAYS_INLINE [[gnu::always_inline]] inline
#endif

// With a debugger the program stops first, while the failure is fresh; without one the user may attach it in the prompt.
// Always inlined, so that the debugger stops in the function that failed and the stack print begins there.
CMN_ALWAYS_INLINE bool ReportAndMaybeBreak(bool (*report)(const char*, const char*, int), const char* text,
                                           const char* file, int line) {
    if (Cmn_Assert::IsDebuggerPresent()) {
        CMN_BREAK();
        report(text, file, line);
    } else if (report(text, file, line) && Cmn_Assert::IsDebuggerPresent()) {
        CMN_BREAK();
    }
    return false;
}

CMN_ALWAYS_INLINE bool VerifyFailed(const char* expression, const char* file, int line) {
    return ReportAndMaybeBreak(&Cmn_Assert::FailedVerify, expression, file, line);
}

CMN_ALWAYS_INLINE bool FailureReported(const char* message, const char* file, int line) {
    return ReportAndMaybeBreak(&Cmn_Assert::Failure, message, file, line);
}

}  // namespace NorvikLibInternal

#define CMN_ASSERT_AT(line, condition) \
    ((condition) ? static_cast<void>(0) : ::Cmn_Assert::FailedAssert(#condition, CMN_SOURCE_FILE, line))
#define CMN_VERIFY_AT(line, condition) \
    ((condition) ? true : ::NorvikLibInternal::VerifyFailed(#condition, CMN_SOURCE_FILE, line))
#define CMN_CHECK_AT(line, condition) \
    ((condition) ? true : ::Cmn_Assert::FailedCheck(#condition, CMN_SOURCE_FILE, line))
#define CMN_FAILURE_AT(line, message) ::NorvikLibInternal::FailureReported(message, CMN_SOURCE_FILE, line)

#define CMN_ASSERT(condition) CMN_ASSERT_AT(__LINE__, condition)
#define CMN_VERIFY(condition) CMN_VERIFY_AT(__LINE__, condition)
#define CMN_CHECK(condition) CMN_CHECK_AT(__LINE__, condition)
#define CMN_FAILURE(message) CMN_FAILURE_AT(__LINE__, message)
