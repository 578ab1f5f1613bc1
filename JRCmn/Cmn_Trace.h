#pragma once

// Trace functions, failure reports and warnings: how every part of a program says what happens. The text goes to the
// default log (Cmn_DefaultLog): debugger output, console and the run's log file.
//
//   Cmn_Trace("Opened %s, %u bytes.\n", path.c_str(), size);
//   Cmn_Warning("Fan %d is slow: %d rpm", fan, speed);
//   Cmn_LocationFilteredWarning(CMN_SOURCE_FILE, __LINE__).Warn("Peer answered late: %u ms", late);
//
// Threads:   any
// Ownership: arguments are only read during the call; a location keeps the pointer to its file text (a literal)
// Errors:    nothing is returned or thrown. A text that does not fit is cut, with a notice in its place.
// Units:     formats are those of the Microsoft run-time (%I64u); traces end in "\n", reports and warnings need not

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_SourcePath.h"

enum EFailureType {
    eFailureType_FailedAssert = 0,
    eFailureType_FailedDebugAssert = 1,
    eFailureType_FailedVerify = 2,
    eFailureType_Failure = 3,  // every other value reads as this one
};

NORVIK_API void Cmn_Trace(const char* format, ...) NORVIK_PRINTF(1, 2);

// As Cmn_Trace, but only in test mode.
NORVIK_API void Cmn_TestTrace(const char* format, ...) NORVIK_PRINTF(1, 2);

// "subsystem: message", only when "Log Settings.ini" switches this subsystem on. The subsystem becomes part of the
// format, on purpose: a percent sign in it is interpreted. It is a literal of the program, never text from a
// configuration or the network.
NORVIK_API void Cmn_VerboseTrace(const char* subsystem, const char* format, ...) NORVIK_PRINTF(2, 3);

// One failure line: "REPORT >>> <type>! <time> <message>". Trailing line feeds of the message are dropped; a message of
// more than 2,047 characters is cut to its first 1,988, with a notice.
NORVIK_API void Cmn_TraceFailure(EFailureType type, const char* format, ...) NORVIK_PRINTF(2, 3);

// The same, but the line does not go to the console.
NORVIK_API void Cmn_TraceFailureNoTerminal(EFailureType type, const char* format, ...) NORVIK_PRINTF(2, 3);

// A failure line with the word "Warning" for its type.
NORVIK_API void Cmn_Warning(const char* format, ...) NORVIK_PRINTF(1, 2);

// A place in the source whose warnings are counted together: the first 50 are written, later ones ever more rarely.
class NORVIK_API Cmn_LocationFilteredWarning {
public:
    Cmn_LocationFilteredWarning(const char* file, int line) : mFile(file), mLine(line) {}

    // Writes a warning, as Cmn_Warning, or counts it only.
    void Warn(const char* format, ...) const NORVIK_PRINTF(2, 3);

    // By file, then line. The file text is compared by identity: it is a literal.
    friend bool operator<(const Cmn_LocationFilteredWarning& a, const Cmn_LocationFilteredWarning& b) {
        return a.mFile != b.mFile ? a.mFile < b.mFile : a.mLine < b.mLine;
    }

private:
    const char* mFile;
    int mLine;
};

// The same, counting each message text of a place by itself. Every different text stays in memory for the life of the
// process, so the messages of a place must be few.
class NORVIK_API Cmn_LocationAndMessageFilteredWarning {
public:
    Cmn_LocationAndMessageFilteredWarning(const char* file, int line) : mFile(file), mLine(line) {}

    // What counts is the formatted text: with another value in it, it is another message.
    void Warn(const char* format, ...) const NORVIK_PRINTF(2, 3);

    friend bool operator<(const Cmn_LocationAndMessageFilteredWarning& a,
                          const Cmn_LocationAndMessageFilteredWarning& b) {
        return a.mFile != b.mFile ? a.mFile < b.mFile : a.mLine < b.mLine;
    }

private:
    const char* mFile;
    int mLine;
};

// The registry value "Test Mode" (a DWORD of HKEY_LOCAL_MACHINE\Software\NorvikLib): 0 normal, 1 and above test traces,
// 2 and above failure prompts, 5 automation. Each answer is computed once and kept for the life of the process.
NORVIK_API bool Cmn_InTestMode();
NORVIK_API bool Cmn_TestAlertsEnabled();
NORVIK_API bool Cmn_InAutomationTestMode();
