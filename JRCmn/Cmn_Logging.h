#pragma once

// Cmn_Logging: the log folder and its settings, the run number, the files of a run, and which subsystems log verbosely.
// The settings are in "Log Settings.ini" in the log folder (docs/formats/settings-file.md).
//
//   Cmn_Logging::GetInstance().StartNewRun(100, 1024);       // once, at program start, before anything is traced
//   Cmn_LogFile file = Cmn_Logging::GetInstance().CreateLogFile("Meters");
//
// Threads:   any; StartNewRun and CreateLogFile are also safe when several programs call them at once
// Ownership: the instance lives as long as the process. A copy is a snapshot.
// Errors:    missing or unreadable settings give the defaults. What cannot be written is traced and the program goes on.
// Units:     kilobytes (1,024 bytes) where the name says KB

#include <cstdint>
#include <functional>
#include <map>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_LogFile.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API Cmn_Logging {
public:
    static const char* const cLogFileExtension;  // ".log"

    // Reads the settings when it is first asked for.
    static Cmn_Logging& GetInstance();

    // Ends in a backslash. Found once; created when it is missing.
    static const Cmn_String& GetLogFolderPath();
    static const Cmn_String& GetOptionsFilePath();

    uint64_t GetCurrentRunNumber() const;
    uint64_t GetMaxFileSizeInKB() const { return mMaxFileSizeKB; }
    uint64_t GetRewindSizeInKB() const { return mRewindSizeKB; }  // half of the maximum
    uint64_t GetMaxSubRunCount() const { return mMaxSubRunCount; }

    // Begins the next run: its number follows the last one and starts again at 1 after the maximum. The log files that
    // an earlier run left under this number are deleted. The arguments are the defaults for a new settings file.
    void StartNewRun(uint64_t defaultMaximumRunNumber, uint64_t defaultMaxFileSizeKB);

    // The path for a new log file of this run. `accepts` is asked about every candidate that does not exist yet; an
    // empty function accepts all. When all exist, the one that was written longest ago is overwritten, leaving out those
    // that a program has open for writing. Empty when no candidate is left, and, traced, for a name that cannot be part
    // of a file name.
    Cmn_String FindNewLogFile(const Cmn_String& name, const Cmn_String& extension,
                              const std::function<bool(const Cmn_String& path)>& accepts) const;
    Cmn_String GetNewLogFilePath(const Cmn_String& name,
                                 const Cmn_String& extension = cLogFileExtension) const;

    // The text with what a file name cannot hold replaced by '_'.
    static Cmn_String GetFileNamePart(const Cmn_String& text);

    // A new log file of this run within the size limits. Two programs never get the same file.
    Cmn_LogFile CreateLogFile(const Cmn_String& name) const;

    // Whether the settings switch a subsystem "on". Asked of the file once for each subsystem.
    bool IsVerboseSubSystemLoggingEnabled(const char* subsystem);

    Cmn_Logging(const Cmn_Logging& other);
    Cmn_Logging& operator=(const Cmn_Logging& other);

private:
    Cmn_Logging();

    Cmn_String GetLogPreferenceString(const char* section, const char* key, int size) const;
    uint64_t GetLogSettingUInt(const char* section, const char* key, uint64_t defaultValue) const;
    // False when the file does not hold the value afterwards.
    bool SetLogPreference(const char* section, const char* key, const Cmn_String& value) const;

    void ReadSettings();
    void DeleteFilesOfRun(uint64_t number) const;
    Cmn_String CandidatePath(const Cmn_String& name, unsigned subRun, const Cmn_String& extension) const;

    uint64_t mRunNumber = 1;
    uint64_t mMaxFileSizeKB = 0;
    uint64_t mRewindSizeKB = 0;
    uint64_t mMaxSubRunCount = 0;
    std::map<Cmn_String, bool, std::less<>> mVerboseSubsystems;
};
