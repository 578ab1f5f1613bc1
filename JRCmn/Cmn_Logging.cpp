#include "JRCmn/Cmn_Logging.h"

#include <algorithm>
#include <boost/regex.hpp>
#include <string_view>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_Windows.h"

using namespace NorvikLibInternal;

namespace {

constexpr char kOptionsFileName[] = "Log Settings.ini";
constexpr char kFilesSection[] = "Log Files Settings";
constexpr char kCurrentRunKey[] = "Current_Run_Number";
constexpr char kMaximumRunKey[] = "Maximum_Run_Number";
constexpr char kMaxFileSizeKey[] = "Max_Log_File_Size_KB";
constexpr char kMaxSubRunsKey[] = "Max_Sub_Run_Count";
constexpr char kSubsystemsSection[] = "Subsystem Logging";

constexpr uint64_t kDefaultMaxFileSizeKB = 1024;
constexpr uint64_t kSmallestMaxFileSizeKB = 100;
constexpr uint64_t kLargestFileSizeKB = 1'048'576;  // what a file gets, however large a number the settings hold
constexpr uint64_t kDefaultMaxSubRuns = 20;
constexpr uint64_t kMostSubRuns = 2;
constexpr unsigned kMostFilesInUse = 99;  // sub-run numbers have two digits
constexpr int kValueSize = 64;            // characters of a setting that are read
constexpr uint64_t kRoomForSettings = 65'536;  // bytes
constexpr DWORD kSettingsLockTimeout = 5'000;  // ms

constexpr char kOnValue[] = "on";
constexpr char kOffValue[] = "off";

// Guards the cache of verbose switches and the settings as a whole. Not a member: the class is copyable.
IPC_Benaphore& SettingsLock() {
    static IPC_Benaphore& lock = *new IPC_Benaphore;
    return lock;
}

// Holds off other programs while one reads, counts up and writes the run number. A lock that cannot be had within its
// time is done without: a log with a doubtful number is worth more than none.
class SettingsFileLock {
public:
    SettingsFileLock() : mMutex(::CreateMutexA(nullptr, FALSE, "NorvikLib Log Settings")) {
        const DWORD result = mMutex ? ::WaitForSingleObject(mMutex.Get(), kSettingsLockTimeout) : WAIT_FAILED;
        mHeld = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
        if (!mHeld) Cmn_Trace("The log settings are locked by another program; going on without the lock.\n");
    }
    ~SettingsFileLock() {
        if (mHeld) ::ReleaseMutex(mMutex.Get());
    }
    SettingsFileLock(const SettingsFileLock&) = delete;
    SettingsFileLock& operator=(const SettingsFileLock&) = delete;

private:
    KernelHandle mMutex;
    bool mHeld = false;
};

bool CanBePartOfFileName(const Cmn_String& name) {
    return !name.IsEmpty() && std::none_of(name.c_str(), name.c_str() + name.GetLength(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' || std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos;
    });
}

uint64_t InBytes(uint64_t kilobytes) { return std::min(kilobytes, kLargestFileSizeKB) * 1024; }

}  // namespace

const char* const Cmn_Logging::cLogFileExtension = ".log";

Cmn_Logging& Cmn_Logging::GetInstance() {
    static Cmn_Logging& instance = *new Cmn_Logging;
    return instance;
}

Cmn_Logging::Cmn_Logging() { ReadSettings(); }

const Cmn_String& Cmn_Logging::GetLogFolderPath() {
    static const Cmn_String& path = *[] {
        auto* folder = new Cmn_String;
        Cmn_FolderFinder::FindFolder(*folder, eFolder_Logs);
        return folder;
    }();
    return path;
}

const Cmn_String& Cmn_Logging::GetOptionsFilePath() {
    static const Cmn_String& path = *new Cmn_String(GetLogFolderPath() + kOptionsFileName);
    return path;
}

void Cmn_Logging::ReadSettings() {
    mRunNumber = GetLogSettingUInt(kFilesSection, kCurrentRunKey, 1);
    mMaxFileSizeKB =
        std::max(GetLogSettingUInt(kFilesSection, kMaxFileSizeKey, kDefaultMaxFileSizeKB), kSmallestMaxFileSizeKB);
    mRewindSizeKB = mMaxFileSizeKB / 2;
    // Two at most, on purpose, whatever the settings say: a run that keeps failing must not fill the disk with logs.
    mMaxSubRunCount = std::min(GetLogSettingUInt(kFilesSection, kMaxSubRunsKey, kDefaultMaxSubRuns), kMostSubRuns);
}

void Cmn_Logging::StartNewRun(uint64_t defaultMaximumRunNumber, uint64_t defaultMaxFileSizeKB) {
    const SettingsFileLock fileLock;
    if (!Cmn_FS::IsFile(GetOptionsFilePath())) {
        SetLogPreference(kFilesSection, kCurrentRunKey, Cmn_String(0));
        SetLogPreference(kFilesSection, kMaximumRunKey, Cmn_String(defaultMaximumRunNumber));
        SetLogPreference(kFilesSection, kMaxFileSizeKey, Cmn_String(defaultMaxFileSizeKB));
        SetLogPreference(kFilesSection, kMaxSubRunsKey, Cmn_String(kDefaultMaxSubRuns));
    }
    const uint64_t current = GetLogSettingUInt(kFilesSection, kCurrentRunKey, 0);
    const uint64_t maximum =
        std::max<uint64_t>(GetLogSettingUInt(kFilesSection, kMaximumRunKey, defaultMaximumRunNumber), 1);
    mRunNumber = current % maximum + 1;
    SetLogPreference(kFilesSection, kCurrentRunKey, Cmn_String(mRunNumber));

    // What this number's last run left. A file that a program still has open stays.
    Cmn_String pattern;
    pattern.Printf("Run #%I64u .*\\%s", mRunNumber, cLogFileExtension);
    const boost::regex wholeName(pattern.c_str());
    for (const Cmn_String& name : Cmn_FS::ListFiles(GetLogFolderPath(), "*")) {
        if (boost::regex_match(name.c_str(), wholeName)) Cmn_FS::RemoveFile(GetLogFolderPath() + name);
    }
}

Cmn_String Cmn_Logging::CandidatePath(const Cmn_String& name, unsigned subRun, const Cmn_String& extension) const {
    Cmn_String path;
    path.Printf("%sRun #%I64u %s - %02u%s", GetLogFolderPath().c_str(), mRunNumber, name.c_str(), subRun,
                extension.c_str());
    return path;
}

Cmn_String Cmn_Logging::FindNewLogFile(const Cmn_String& name, const Cmn_String& extension,
                                       const std::function<bool(const Cmn_String& path)>& accepts) const {
    if (!CanBePartOfFileName(name)) {
        Cmn_Trace("\"%.200s\" cannot be the name of a log file.\n", name.c_str());
        return {};
    }
    Cmn_String oldest;
    uint64_t oldestTime = 0;
    const auto takeIfFree = [&](const Cmn_String& path) {
        return ::GetFileAttributesA(path) == INVALID_FILE_ATTRIBUTES && (!accepts || accepts(path));
    };
    const auto mayOverwrite = [](const Cmn_String& path) {
        return !Cmn_FS::IsFolder(path) && !Cmn_FS::IsBeingWritten(path);
    };
    for (unsigned subRun = 1; subRun <= std::min<uint64_t>(mMaxSubRunCount, kMostFilesInUse); ++subRun) {
        Cmn_String path = CandidatePath(name, subRun, extension);
        if (takeIfFree(path)) return path;
        const uint64_t time = Cmn_FS::GetLastWriteTime(path);
        if ((oldest.IsEmpty() || time < oldestTime) && mayOverwrite(path)) {
            oldest = path;
            oldestTime = time;
        }
    }
    if (!oldest.IsEmpty()) return oldest;
    // Running programs hold every file that may be overwritten: two writers in one file would spoil both logs, so the
    // numbers go on.
    for (unsigned subRun = static_cast<unsigned>(mMaxSubRunCount) + 1; subRun <= kMostFilesInUse; ++subRun) {
        Cmn_String path = CandidatePath(name, subRun, extension);
        if (takeIfFree(path) || mayOverwrite(path)) return path;
    }
    return {};
}

Cmn_String Cmn_Logging::GetNewLogFilePath(const Cmn_String& name, const Cmn_String& extension) const {
    return FindNewLogFile(name, extension, nullptr);
}

Cmn_LogFile Cmn_Logging::CreateLogFile(const Cmn_String& name) const {
    // A candidate is taken by creating it: of two programs that find the same free name, one gets it.
    const Cmn_String path = FindNewLogFile(name, cLogFileExtension,
                                           [](const Cmn_String& candidate) { return Cmn_FS::CreateNewFile(candidate); });
    if (path.IsEmpty()) return {};
    return Cmn_LogFile(path.c_str(), InBytes(mMaxFileSizeKB), InBytes(mMaxFileSizeKB) / 2);
}

bool Cmn_Logging::IsVerboseSubSystemLoggingEnabled(const char* subsystem) {
    const char* const name = subsystem ? subsystem : "";
    {
        IPC_BenaphoreLocker locker(SettingsLock());
        if (const auto known = mVerboseSubsystems.find(name); known != mVerboseSubsystems.end()) return known->second;
    }
    // Two threads that ask first at the same time both read the file; one of them traces.
    const Cmn_String value = GetLogPreferenceString(kSubsystemsSection, name, kValueSize);
    {
        IPC_BenaphoreLocker locker(SettingsLock());
        if (!mVerboseSubsystems.emplace(name, value == kOnValue).second) return value == kOnValue;
    }
    if (value.IsEmpty()) Cmn_Trace("Subsystem %s logging is available.\n", name);
    const Cmn_String enabledStr = value.IsEmpty() ? Cmn_String(kOffValue) : value;
    if (enabledStr == kOnValue) return true;
    const char* const cOffValue = kOffValue;
    CMN_CHECK(enabledStr == cOffValue);
    return false;
}

Cmn_String Cmn_Logging::GetLogPreferenceString(const char* section, const char* key, int size) const {
    Cmn_String value;
    char* const buffer = value.AsArray(size);
    const DWORD length =
        ::GetPrivateProfileStringA(section, key, "", buffer, static_cast<DWORD>(size), GetOptionsFilePath());
    if (length == 0) return {};
    value.UpdateLength();
    return value;
}

uint64_t Cmn_Logging::GetLogSettingUInt(const char* section, const char* key, uint64_t defaultValue) const {
    const Cmn_String value = GetLogPreferenceString(section, key, kValueSize);
    return value.IsEmpty() ? defaultValue : value.AsUInt64();
}

void Cmn_Logging::SetLogPreference(const char* section, const char* key, const Cmn_String& value) const {
    // On a full disk the platform says that it wrote and leaves an empty file: all settings would be gone.
    if (Cmn_FS::GetFreeBytes(GetLogFolderPath()) < kRoomForSettings) {
        Cmn_Trace("The log settings cannot be written: no room in %s\n", GetLogFolderPath().c_str());
        return;
    }
    if (::WritePrivateProfileStringA(section, key, value, GetOptionsFilePath()) &&
        GetLogPreferenceString(section, key, kValueSize) == value) {
        return;
    }
    Cmn_Trace("The log setting %s cannot be written to %s: %s\n", key, GetOptionsFilePath().c_str(),
              DescribeSystemError(::GetLastError()).c_str());
}
