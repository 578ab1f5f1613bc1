#include "JRCmn/Cmn_Trace.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "JRCmn/Cmn_AutoTestTrace.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Internal/Cmn_FailureReport.h"
#include "JRCmn/Internal/Cmn_Format.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_OccurrenceMap.h"
#include "JRCmn/Internal/Cmn_TestMode.h"
#include "JRCmn/Internal/Cmn_ThreadSlot.h"
#include "JRCmn/Internal/Cmn_Windows.h"

using namespace NorvikLibInternal;

namespace {

constexpr int kMessageLimit = 2047;
constexpr int kKeptOfCutMessage = 1988;
constexpr char kCutNotice[] = "...\n(This message was truncated because it was too long!)";
static_assert(kKeptOfCutMessage + sizeof kCutNotice <= kMessageLimit + 1);

const char* const kFailureWords[] = {"Failed Assert", "Failed Debug Assert", "Failed Verify", "Failure"};
const char kWarningWord[] = "Warning";

const char* FailureWord(EFailureType type) {
    constexpr unsigned kOthers = eFailureType_Failure;
    return kFailureWords[std::min(static_cast<unsigned>(type), kOthers)];
}

// A message on the stack, cut or rid of its trailing line feeds.
struct Message {
    char text[kMessageLimit + 1];
    int length = 0;

    Message(const char* format, va_list arguments) {
        switch (FormatText(text, kMessageLimit, length, format, arguments)) {
            case Formatted::kFits:
                while (length > 0 && text[length - 1] == '\n')
                    text[--length] = 0;
                break;
            case Formatted::kCut:
                std::memcpy(text + kKeptOfCutMessage, kCutNotice, sizeof kCutNotice);
                length = kKeptOfCutMessage + static_cast<int>(sizeof kCutNotice) - 1;
                break;
            case Formatted::kInvalid:
                length = _snprintf(text, kMessageLimit, "(a message that cannot be formatted: \"%.1000s\")",
                                   format);
                break;
        }
    }
};

void ToLog(bool noTerminal, const char* format, ...) NORVIK_PRINTF(2, 3);
void ToLog(bool noTerminal, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Cmn_DefaultLog::GetInstance().TraceError(format, arguments, noTerminal);
    va_end(arguments);
}

const ThreadSlot& IsInSender() {
    static const ThreadSlot slot;
    return slot;
}

void Report(const char* word, bool noTerminal, const Message& message) {
    const Cmn_String time = GetReportTime();
    ToLog(noTerminal, "%s %s! %s %s\n", Cmn_DefaultLog::sFailureTag, word, time.c_str(), message.text);
    if (IsInSender().Get() != 0) return;  // what fails in a sender is not for the sender
    if (const auto sender = Cmn_AutoTestTrace::GetCurrentStrategy()) {
        IsInSender().Set(1);
        try {
            Cmn_String text;
            text.Printf("%s | %s|%s", word, time.c_str(),
                        message.text);  // no blank before the message, on purpose
            sender->Send(text);
        } catch (...) {
            Cmn_Trace("The automation's sender has thrown an exception.\n");
        }
        IsInSender().Set(0);
    }
}

template <typename Key>
OccurrenceMap<Key>& Occurrences() {
    static OccurrenceMap<Key>& map = *new OccurrenceMap<Key>;
    return map;
}

// Answers one question once; threads that ask first at the same time compute the same answer.
bool Once(std::atomic<int>& answer, bool (*compute)()) {
    int known = answer.load(std::memory_order_relaxed);
    if (known < 0) {
        known = compute();
        answer.store(known, std::memory_order_relaxed);
    }
    return known != 0;
}

}  // namespace

namespace NorvikLibInternal {

void TraceOccurrences(const RateDecision& decision) {
    if (!decision.TellsCount()) return;
    if (decision.IsLastOfTheFirst()) {
        Cmn_Trace("The following issue occurred %u times. We stop reporting every occurrence...\n",
                  decision.count);
    } else {
        Cmn_Trace("The following issue occurred %u times (We are not reporting every occurrence).\n",
                  decision.count);
    }
}

Cmn_String GetReportTime() {
    return Cmn_Time::Now().ToString("MMM d yyyy", "H:mm:ss", " @ ");
}

}  // namespace NorvikLibInternal

void Cmn_Trace(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Cmn_DefaultLog::GetInstance().Trace(format, arguments);
    va_end(arguments);
}

void Cmn_TestTrace(const char* format, ...) {
    if (!Cmn_InTestMode()) return;
    va_list arguments;
    va_start(arguments, format);
    Cmn_DefaultLog::GetInstance().Trace(format, arguments);
    va_end(arguments);
}

void Cmn_VerboseTrace(const char* subsystem, const char* format, ...) {
    const LastErrorKeeper keeper;
    if (!Cmn_Logging::GetInstance().IsVerboseSubSystemLoggingEnabled(subsystem)) return;
    Cmn_String prefixed;
    prefixed.Printf("%s: %s", subsystem, format);
    va_list arguments;
    va_start(arguments, format);
    Cmn_DefaultLog::GetInstance().Trace(prefixed, arguments);
    va_end(arguments);
}

void Cmn_TraceFailure(EFailureType type, const char* format, ...) {
    const LastErrorKeeper keeper;
    va_list arguments;
    va_start(arguments, format);
    Report(FailureWord(type), false, Message(format, arguments));
    va_end(arguments);
}

void Cmn_TraceFailureNoTerminal(EFailureType type, const char* format, ...) {
    const LastErrorKeeper keeper;
    va_list arguments;
    va_start(arguments, format);
    Report(FailureWord(type), true, Message(format, arguments));
    va_end(arguments);
}

void Cmn_Warning(const char* format, ...) {
    const LastErrorKeeper keeper;
    va_list arguments;
    va_start(arguments, format);
    Report(kWarningWord, false, Message(format, arguments));
    va_end(arguments);
}

void Cmn_LocationFilteredWarning::Warn(const char* format, ...) const {
    const LastErrorKeeper keeper;
    const RateDecision decision = Occurrences<SourceLocation>().Occur(SourceLocation(mFile, mLine));
    if (!decision.report) return;
    TraceOccurrences(decision);
    va_list arguments;
    va_start(arguments, format);
    Report(kWarningWord, false, Message(format, arguments));
    va_end(arguments);
}

void Cmn_LocationAndMessageFilteredWarning::Warn(const char* format, ...) const {
    const LastErrorKeeper keeper;
    va_list arguments;
    va_start(arguments, format);
    const Message message(format, arguments);
    va_end(arguments);
    const MessageLocationView place = {{mFile, mLine}, {message.text, static_cast<size_t>(message.length)}};
    const RateDecision decision = Occurrences<MessageLocation>().Occur(place);
    if (!decision.report) return;
    TraceOccurrences(decision);
    // Not through the failure report: these warnings do not reach the automation's sender, on purpose.
    ToLog(false, "%s Warning! %s %s\n", Cmn_DefaultLog::sFailureTag, GetReportTime().c_str(), message.text);
}

bool Cmn_InTestMode() {
    static std::atomic<int> answer{-1};
    return Once(answer, [] { return GetTestLevel() != 0; });
}

bool Cmn_TestAlertsEnabled() {
    static std::atomic<int> answer{-1};
    return Once(answer, [] { return GetTestLevel() >= 2; });
}

bool Cmn_InAutomationTestMode() {
    static std::atomic<int> answer{-1};
    return Once(answer, [] { return GetTestLevel() == 5; });
}
