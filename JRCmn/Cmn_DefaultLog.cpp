#include "JRCmn/Cmn_DefaultLog.h"

#include <cstring>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Internal/Cmn_ConsoleWriter.h"
#include "JRCmn/Internal/Cmn_Format.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_TraceObserver.h"
#include "JRCmn/Internal/Cmn_Windows.h"

using namespace NorvikLibInternal;

namespace {

constexpr int kLineSize = 8192;  // stamp, text and terminator
constexpr int kKeptOfCutLine = 8126;
constexpr char kCutNotice[] = "...\n(The previous line was truncated because it was too long!)\n";
static_assert(kKeptOfCutLine + sizeof kCutNotice <= kLineSize);

std::atomic<TraceObserver> gObserver{nullptr};

ConsoleWriter& Console() {
    static ConsoleWriter& console = *new ConsoleWriter;
    return console;
}

}  // namespace

namespace NorvikLibInternal {

void SetTraceObserver(TraceObserver observer) {
    gObserver = observer;
}

}  // namespace NorvikLibInternal

const char* const Cmn_DefaultLog::sFailureTag = "REPORT >>>";

Cmn_DefaultLog::Cmn_DefaultLog() {
    GetInstance();
    VerifyFailed("Double construction of Cmn_DefaultLog!", CMN_SOURCE_FILE, 58);
}

Cmn_DefaultLog& Cmn_DefaultLog::GetInstance() {
    static Cmn_DefaultLog& instance = *new Cmn_DefaultLog(TheInstance());
    return instance;
}

Cmn_LogFile& Cmn_DefaultLog::GetLogFile() {
    OpenLogFile();
    return mLogFile;
}

void Cmn_DefaultLog::Flush() {
    mLogFile.Flush();
}

void Cmn_DefaultLog::Trace(const char* format, va_list arguments, bool noTerminal) {
    DoTrace(Kind::kTrace, format, arguments, noTerminal);
}

void Cmn_DefaultLog::TraceError(const char* format, va_list arguments, bool noTerminal) {
    DoTrace(Kind::kError, format, arguments, noTerminal);
}

void Cmn_DefaultLog::TraceWarning(const char* format, va_list arguments, bool noTerminal) {
    DoTrace(Kind::kWarning, format, arguments, noTerminal);
}

// The kind makes no difference to what is written here; it is for outputs that tell kinds apart.
void Cmn_DefaultLog::DoTrace(Kind, const char* format, va_list arguments, bool noTerminal) {
    const LastErrorKeeper keeper;
    char line[kLineSize];
    const int stamp =
        mTimeStamps.load(std::memory_order_relaxed) ? Cmn_LogFile::AddTimeStamp(line, kLineSize) : 0;

    int length = 0;
    switch (FormatText(line + stamp, kLineSize - 1 - stamp, length, format, arguments)) {
        case Formatted::kFits:
            break;
        case Formatted::kCut:
            std::memcpy(line + kKeptOfCutLine, kCutNotice, sizeof kCutNotice);
            length = kKeptOfCutLine + static_cast<int>(sizeof kCutNotice) - 1 - stamp;
            break;
        case Formatted::kInvalid:
            // The place that traced it can still be found by its format.
            length = _snprintf(line + stamp, kLineSize - 1 - stamp,
                               "(A line cannot be formatted: \"%.1000s\")\n", format);
            break;
    }
    const std::size_t size = static_cast<std::size_t>(stamp) + static_cast<std::size_t>(length);
    if (const TraceObserver observer = gObserver.load(std::memory_order_acquire)) observer(line + stamp);

    const bool toTerminal = mLogToTerminal.load(std::memory_order_relaxed);
    if (toTerminal) ::OutputDebugStringA(line);
    if (mLogToFile.load(std::memory_order_relaxed)) WriteToFile(line, size);
    if (toTerminal && !noTerminal) Console().Write(line, size);
}

void Cmn_DefaultLog::WriteToFile(char* line, std::size_t size) {
    if (!mIsOpened.load(std::memory_order_acquire)) OpenLogFile();
    mLogFile.WriteWithoutTimeStamp(line, size);
}

// What the opening itself traces (a folder that is missing, settings that are odd) comes back here on the same thread
// and finds the file still closed: those lines reach the other outputs only.
void Cmn_DefaultLog::OpenLogFile() {
    if (mOpeningThread.load(std::memory_order_relaxed) == ::GetCurrentThreadId()) return;
    IPC_BenaphoreLocker locker(mFileMutex);
    if (mIsOpened.load(std::memory_order_relaxed)) return;
    mOpeningThread = ::GetCurrentThreadId();
    const auto opened = [](std::atomic<unsigned long>* thread) { *thread = 0; };
    const std::unique_ptr<std::atomic<unsigned long>, decltype(opened)> atEnd(&mOpeningThread, opened);
    mLogFile =
        Cmn_Logging::GetInstance().CreateLogFile(Cmn_Logging::GetFileNamePart(Cmn_FS::GetApplicationName()));
    mIsOpened.store(true, std::memory_order_release);
}
