#include "JRCmn/Cmn_Assert.h"

#include <atomic>
#include <exception>
#include <utility>
#include <vector>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Clock.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_FailurePrompt.h"
#include "JRCmn/Internal/Cmn_FailureReport.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_OccurrenceMap.h"
#include "JRCmn/Internal/Cmn_ThreadSlot.h"
#include "JRCmn/Internal/Cmn_Windows.h"

using namespace NorvikLibInternal;

namespace {

constexpr uintptr_t kReportedNesting = 2;  // a failure in the report of a failure in a report is still named
constexpr uint64_t kContextAtMostEvery = 500;  // ms

// A stack print without a context leaves out the five innermost frames: the walk itself, PrintStackTrace (these two are
// never counted by its argument), TraceContext, the report, and the function that the check calls. What failed is first.
constexpr int kFramesOfTheReport = 5 - 2;

OccurrenceMap<CheckLocation>& CheckOccurrences() {
    static OccurrenceMap<CheckLocation>& map = *new OccurrenceMap<CheckLocation>;
    return map;
}

// How deep this thread is in failure reports.
class Nesting {
public:
    Nesting() { Slot().Set(Depth() + 1); }
    ~Nesting() { Slot().Set(Depth() - 1); }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

    static uintptr_t Depth() { return Slot().Get(); }

private:
    static const ThreadSlot& Slot() {
        static const ThreadSlot slot;
        return slot;
    }
};

struct Tracers {
    IPC_Benaphore lock;
    std::vector<Cmn_Assert::ContextTracer> functions;
};

Tracers& GetTracers() {
    static Tracers& tracers = *new Tracers;
    return tracers;
}

void CallContextTracers() {
    std::vector<Cmn_Assert::ContextTracer> functions;
    {
        IPC_BenaphoreLocker locker(GetTracers().lock);
        functions = GetTracers().functions;
    }
    for (const auto& tracer : functions) {
        try {
            tracer();
        } catch (const std::exception& e) {
            Cmn_Trace("A context tracer has thrown an exception: %s\n", e.what());
        } catch (...) {
            Cmn_Trace("A context tracer has thrown an exception.\n");
        }
    }
}

// A process that has not loaded the window library has no such objects, and need not load it to count them.
unsigned GuiResources(DWORD kind) {
    static DynamicFunction<DWORD(WINAPI*)(HANDLE, DWORD)> count("user32.dll", "GetGuiResources");
    return ::GetModuleHandleA("user32.dll") && count ? count(::GetCurrentProcess(), kind) : 0;
}

void TraceResources() {
    constexpr DWORD kGdiObjects = 0, kUserObjects = 1;
    const unsigned gdiObjects = GuiResources(kGdiObjects), userObjects = GuiResources(kUserObjects);
    MEMORYSTATUSEX memory = {};
    memory.dwLength = sizeof memory;
    if (::GlobalMemoryStatusEx(&memory)) {
        Cmn_Trace(
            "Free RAM: %I64d MB, Page File left: %I64d MB, Load: %ld%%, GDI Objects: %u, User Objects: %u.\n",
            static_cast<long long>(memory.ullAvailPhys >> 20),
            static_cast<long long>(memory.ullAvailPageFile >> 20), static_cast<long>(memory.dwMemoryLoad),
            gdiObjects, userObjects);
    } else {
        Cmn_Trace("GDI Objects: %u, User Objects: %u.\n", gdiObjects, userObjects);
    }
}

// Whether this thread may write the long context now; if so, nobody may for the next while.
bool TakeContextTurn() {
    static std::atomic<uint64_t> nextAllowed{0};
    const uint64_t now = ClockMillisecondsCoarse();
    uint64_t next = nextAllowed.load();
    return now >= next && nextAllowed.compare_exchange_strong(next, now + kContextAtMostEvery);
}

// The common part of FailedVerify and Failure, which differ in their words.
struct FailureWords {
    EFailureType type;
    const char* kind;  // in the prompt
};
constexpr FailureWords kVerifyWords = {eFailureType_FailedVerify, "Failed Verify"};
constexpr FailureWords kFailureWords = {eFailureType_Failure, "Failure"};

// A call at the end of a function would become a jump, and the frame that the stack print counts on would be gone.
inline void KeepFrame() {
    __asm__ volatile("");
}

[[gnu::noinline]] bool ReportFailure(const FailureWords& words, const char* text, bool isExpression,
                                     const char* file, int line) {
    const LastErrorKeeper lastError;
    const uintptr_t depth = Nesting::Depth();
    if (depth == kReportedNesting) {
        Cmn_TraceFailure(words.type, "Nested failure: '%s' failed in %s(%d).", text, file, line);
    } else if (depth > kReportedNesting) {
        return false;
    }
    const RateDecision decision =
        CheckOccurrences().Occur(CheckLocation(file, line, isExpression ? text : nullptr));
    if (!decision.report) return false;
    const Nesting nesting;  // from here on, what fails is nested in this report
    TraceOccurrences(decision);
    if (isExpression) {
        Cmn_TraceFailure(words.type, "'%s' failed in %s(%d).", text, file, line);
    } else {
        Cmn_TraceFailure(words.type, "%s in %s(%d).", text, file, line);
    }
    Cmn_Assert::TraceContext(lastError.Get(), nullptr);
    return AskAboutFailure({text, isExpression, file, line, "Continue", words.kind});
}

[[gnu::noinline]] void ReportAssert(const char* expression, const char* file, int line) {
    const LastErrorKeeper lastError;
    const RateDecision decision = CheckOccurrences().Occur(CheckLocation(file, line, expression));
    if (!decision.report || Nesting::Depth() > kReportedNesting) return;
    const Nesting nesting;
    TraceOccurrences(decision);
    Cmn_TraceFailure(eFailureType_FailedAssert, "'%s' failed in %s(%d).", expression, file, line);
    Cmn_Assert::TraceContext(lastError.Get(), nullptr);
    AskAboutFailure({expression, true, file, line, "Throw", "Assert"});
}

}  // namespace

Cmn_AssertionFailure::~Cmn_AssertionFailure() = default;

namespace Cmn_Assert {

void FailedAssert(const char* expression, const char* file, int line) {
    try {
        ReportAssert(expression, file, line);
    } catch (...) {
        // A hook has thrown. What reaches the failing code is the assertion's own exception, always.
    }
    Cmn_DefaultLog::GetInstance().Flush();
    Cmn_String text;
    text.Printf("Assertion \"%s\" in \"%s\", line %d", expression, file, line);
    throw Cmn_AssertionFailure(text.c_str());
}

bool FailedVerify(const char* expression, const char* file, int line) {
    const bool mayBreak = ReportFailure(kVerifyWords, expression, true, file, line);
    KeepFrame();
    return mayBreak;
}

bool Failure(const char* message, const char* file, int line) {
    const bool mayBreak = ReportFailure(kFailureWords, message, false, file, line);
    KeepFrame();
    return mayBreak;
}

bool FailedCheck(const char* expression, const char* file, int line) {
    const LastErrorKeeper keeper;
    const RateDecision decision = CheckOccurrences().Occur(CheckLocation(file, line, expression));
    if (decision.report) {
        TraceOccurrences(decision);
        Cmn_Trace("%s, '%s' check failed in %s(%d).\n", GetReportTime().c_str(), expression, file, line);
    }
    return false;
}

bool IsFailing() {
    return IsFailurePromptOpen();
}

bool IsDebuggerPresent() {
    return ::IsDebuggerPresent() != 0;
}

void AddContextTracer(ContextTracer tracer) {
    if (!tracer) return;
    IPC_BenaphoreLocker locker(GetTracers().lock);
    GetTracers().functions.push_back(std::move(tracer));
}

[[gnu::noinline]] void TraceContext(unsigned long lastError, const void* context) {
    const bool isTurn = TakeContextTurn();
    if (isTurn) {
        TraceResources();
        CallContextTracers();
    }
    if (lastError != 0) Cmn_Trace("Last Win32 error: %s\n", DescribeSystemError(lastError).c_str());
    // A place that fails in a tight loop must not fill the log with the same stack: between two turns it is one line.
    PrintStackTrace(context ? 0 : kFramesOfTheReport, context, isTurn);
    KeepFrame();
}

}  // namespace Cmn_Assert
