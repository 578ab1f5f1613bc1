#pragma once

// Cmn_DefaultLog: where every traced line goes. It stamps the line with the time and sends it to the debugger output,
// the console and the run's log file.
//
//   Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
//   Cmn_Trace("...\n");                                      // the usual way in
//   Cmn_DefaultLog::GetInstance().Flush();
//
// The log file is opened with the first line, as "Run #<run> <application> - <sub-run>.log": a program that starts a new
// run (Cmn_Logging::StartNewRun) does so before it traces. To write elsewhere, assign another file to GetLogFile().
//
// Threads:   any; a line is formatted on the caller's stack and its text reaches the file as a whole
// Ownership: the one instance lives as long as the process and is never destroyed, so that late threads can still trace
// Errors:    nothing is returned or thrown: an output that does not work is left out. The thread's last error is kept.
// Units:     a line may hold 8,191 characters with its stamp; a longer one is cut, with a notice

#include <atomic>
#include <cstdarg>
#include <cstddef>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_LogFile.h"

class NORVIK_API Cmn_DefaultLog {
public:
    // "REPORT >>>", which begins every failure line.
    static const char* const sFailureTag;

    // There is one instance, which GetInstance() makes: constructing another is reported.
    Cmn_DefaultLog();
    Cmn_DefaultLog(const Cmn_DefaultLog&) = delete;
    Cmn_DefaultLog& operator=(const Cmn_DefaultLog&) = delete;

    static Cmn_DefaultLog& GetInstance();

    // Opens the file if that has not happened yet.
    Cmn_LogFile& GetLogFile();

    void Flush();

    // All three write the line the same way. With noTerminal it does not go to the console.
    void Trace(const char* format, va_list arguments, bool noTerminal = false);
    void TraceError(const char* format, va_list arguments, bool noTerminal = false);
    void TraceWarning(const char* format, va_list arguments, bool noTerminal = false);

    void SetLogToFile(bool on) { mLogToFile = on; }
    bool GetLogToFile() const { return mLogToFile; }

    // The terminal is the debugger output and the console together.
    void SetLogToTerminal(bool on) { mLogToTerminal = on; }
    bool GetLogToTerminal() const { return mLogToTerminal; }

    // Kept for the syslog service, which reads it; nothing is written to syslog here.
    void EnableSyslog(bool on) { mSyslogEnabled = on; }
    bool IsSyslogEnabled() const { return mSyslogEnabled; }

    // Turns time stamps off (true) or on (false); returns whether they were off.
    bool SuspendTraceTimeStamp(bool suspend) { return !mTimeStamps.exchange(!suspend); }

private:
    struct TheInstance {};
    explicit Cmn_DefaultLog(TheInstance) {}

    enum class Kind { kTrace, kError, kWarning };

    void DoTrace(Kind kind, const char* format, va_list arguments, bool noTerminal);
    void WriteToFile(char* line, std::size_t size);
    void OpenLogFile();

    std::atomic<bool> mTimeStamps{true};
    std::atomic<bool> mLogToTerminal{true};
    std::atomic<bool> mLogToFile{true};
    std::atomic<bool> mSyslogEnabled{false};
    std::atomic<bool> mIsOpened{false};
    IPC_Benaphore mFileMutex;  // guards the opening; the file has a lock of its own for its writers
    std::atomic<unsigned long> mOpeningThread{0};
    Cmn_LogFile mLogFile;
};
