#include "JRCmn/Internal/Cmn_FailurePrompt.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <set>
#include <utility>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_QuestionDialog.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_FailureReport.h"
#include "JRCmn/Internal/Cmn_OccurrenceMap.h"
#include "JRCmn/Internal/Cmn_TestMode.h"
#include "JRCmn/Internal/Cmn_Windows.h"

using namespace NorvikLibInternal;

namespace {

constexpr unsigned kLevelWithHook = 2;

std::atomic<int> gOpenPrompts{0};
std::atomic<FailureDumpToggle> gDumpToggle{nullptr};

// Never destroyed: threads may fail while the process ends.
struct State {
    IPC_Benaphore lock;
    std::shared_ptr<const Cmn_Assert::FailureHook> hook;
    std::set<CheckLocation> alwaysIgnored;
};

State& GetState() {
    static State& state = *new State;
    return state;
}

std::shared_ptr<const Cmn_Assert::FailureHook> GetHook() {
    State& state = GetState();
    IPC_BenaphoreLocker locker(state.lock);
    return state.hook;
}

unsigned ReadRegistryLevel() {
    Cmn_Registry key;
    uint32_t level = 0;
    if (key.Open(HKEY_LOCAL_MACHINE, Cmn_Registry::kLibraryKey, eRegistryAccess_ReadOnly))
        key.Read("Test Mode", level);
    return level;
}

class PromptCounter {
public:
    PromptCounter() { ++gOpenPrompts; }
    ~PromptCounter() { --gOpenPrompts; }
    PromptCounter(const PromptCounter&) = delete;
    PromptCounter& operator=(const PromptCounter&) = delete;
};

// As the occurrence records have it: the message of an unconditional failure may be another one each time.
CheckLocation Location(const FailurePrompt& prompt) {
    return {prompt.file, prompt.line, prompt.hasExpression ? prompt.expression : nullptr};
}

bool IsIgnored(const FailurePrompt& prompt) {
    State& state = GetState();
    IPC_BenaphoreLocker locker(state.lock);
    return state.alwaysIgnored.contains(Location(prompt));
}

void Ignore(const FailurePrompt& prompt) {
    State& state = GetState();
    IPC_BenaphoreLocker locker(state.lock);
    state.alwaysIgnored.insert(Location(prompt));
}

// No clean-up: what would run is part of a program that has just been found wrong.
[[noreturn]] void StopProcess() {
    Cmn_Trace("The user decides to abort execution! Should we make a crash dump?\n");
    Cmn_Question question = {"Crash Dump?", {}, {"Small Crash Dump", "Large Crash Dump", "None"}};
    question.text.Printf("%s will stop now at your request.\n\nWhat type of crash dump do you want?",
                         Cmn_FS::GetApplicationName().c_str());
    const int choice = Cmn_QuestionDialog::Ask(question);
    if (choice == 0 || choice == 1) {
        Cmn_Assert::CrashDump(choice == 1, nullptr);
    } else {
        Cmn_Trace("No crash dump requested.\n");
    }
    Cmn_DefaultLog::GetInstance().Flush();
    std::fflush(nullptr);
    ::TerminateProcess(::GetCurrentProcess(), 0);
    for (;;)
        ::Sleep(INFINITE);
}

bool AskUser(const FailurePrompt& prompt) {
    Cmn_Question question;
    question.title.Printf("%s in %s...", prompt.kind, Cmn_FS::GetApplicationName().c_str());
    question.text.Printf("'%s' %s %s(%d)\n\nShould we try to continue?", prompt.expression,
                         prompt.hasExpression ? "failed in" : "in", prompt.file, prompt.line);
    Cmn_String always;
    always.Printf("Always %s", prompt.continueWord);
    question.choices = {"Stop", prompt.continueWord, always};

    constexpr int kStop = 0, kAlways = 2;
    switch (Cmn_QuestionDialog::Ask(question)) {
        case kStop:
            StopProcess();
        case kAlways:
            Cmn_Trace("The user wants to always ignore this error...\n");
            Ignore(prompt);
            return true;
        default:
            Cmn_Trace("The user wants to continue...\n");
            return true;
    }
}

}  // namespace

namespace NorvikLibInternal {

unsigned GetTestLevel() {
    if (GetHook()) return kLevelWithHook;
    static const unsigned level = ReadRegistryLevel();
    return level;
}

void SetFailureDumpToggle(FailureDumpToggle toggle) {
    gDumpToggle = toggle;
}

bool IsFailurePromptOpen() {
    return gOpenPrompts.load() != 0;
}

bool AskAboutFailure(const FailurePrompt& prompt) {
    if (const auto hook = GetHook()) {
        Cmn_String location;
        location.Printf("%s:%d", prompt.file, prompt.line);
        (*hook)(prompt.expression, location, prompt.kind);
        return false;
    }
    if (!Cmn_TestAlertsEnabled()) return false;

    const PromptCounter counter;
    if (Cmn_Assert::IsDebuggerPresent()) {
        std::fflush(nullptr);
        return false;
    }
    if (const FailureDumpToggle toggle = gDumpToggle.load(); toggle && toggle()) {
        Cmn_Trace("Auto-generating a crash dump on failure...\n");
        Cmn_Assert::CrashDump(true, nullptr);
        return false;
    }
    if (IsIgnored(prompt)) {
        Cmn_Trace("Auto continue...\n");
        return false;
    }
    return AskUser(prompt);
}

}  // namespace NorvikLibInternal

void Cmn_Assert::SetFailureHook(FailureHook hook) {
    auto shared = hook ? std::make_shared<const FailureHook>(std::move(hook)) : nullptr;
    State& state = GetState();
    IPC_BenaphoreLocker locker(state.lock);
    // The old hook goes at the end of the call, outside the lock.
    std::swap(state.hook, shared);
}
