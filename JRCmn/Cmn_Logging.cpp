#include "JRCmn/Cmn_Logging.h"

#include <algorithm>
#include <boost/regex.hpp>
#include <string_view>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_MachineLock.h"
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
constexpr uint64_t kLargestFileSizeKB =
    1'048'576;  // what a file gets, however large a number the settings hold
constexpr uint64_t kDefaultMaxSubRuns = 20;
constexpr uint64_t kMostSubRuns = 2;
constexpr unsigned kMostFilesInUse = 99;       // sub-run numbers have two digits
constexpr int kValueSize = 64;                 // characters of a setting that are read
constexpr uint64_t kRoomForSettings = 65'536;  // bytes
constexpr DWORD kFolderLockTimeout = 5'000;    // ms

constexpr char kOnValue[] = "on";
constexpr char kOffValue[] = "off";

// Guards what changes after construction: the run number and the cache of verbose switches. Not a member: the class is
// copyable.
IPC_Benaphore& SettingsLock() {
    static IPC_Benaphore& lock = *new IPC_Benaphore;
    return lock;
}

// Held while this program chooses a run number or a file, since all share the folder. A lock that cannot be had within its
// time is done without: a log with a doubtful name is worth more than none. What happens under it must not trace, because a
// trace may open the log, which is named by what is chosen here.
struct LogFolderLock : NorvikLibInternal::MachineLock {
    LogFolderLock() : MachineLock("NorvikLib Log Folder", kFolderLockTimeout) {}
};

constexpr std::string_view kNotInFileNames = "\\/:*?\"<>|";

bool CanBeInFileName(char c) {
    return static_cast<unsigned char>(c) >= ' ' && kNotInFileNames.find(c) == std::string_view::npos;
}

// Traced when not.
bool CanBePartOfFileName(const Cmn_String& name) {
    if (!name.IsEmpty() && std::ranges::all_of(name.View(), &CanBeInFileName)) return true;
    Cmn_Trace("\"%.200s\" cannot be the name of a log file.\n", name.c_str());
    return false;
}

bool Exists(const Cmn_String& path) {
    return ::GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

bool MayOverwrite(const Cmn_String& path) {
    return !Cmn_FS::IsFolder(path) && !Cmn_FS::IsBeingWritten(path);
}

uint64_t InBytes(uint64_t kilobytes) {
    return std::min(kilobytes, kLargestFileSizeKB) * 1024;
}

}  // namespace

const char* const Cmn_Logging::cLogFileExtension = ".log";

Cmn_Logging& Cmn_Logging::GetInstance() {
    static Cmn_Logging& instance = *new Cmn_Logging;
    return instance;
}

Cmn_Logging::Cmn_Logging() {
    ReadSettings();
}

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
    mMaxFileSizeKB = std::max(GetLogSettingUInt(kFilesSection, kMaxFileSizeKey, kDefaultMaxFileSizeKB),
                              kSmallestMaxFileSizeKB);
    mRewindSizeKB = mMaxFileSizeKB / 2;
    // Two at most, on purpose, whatever the settings say: a run that keeps failing must not fill the disk with logs.
    mMaxSubRunCount =
        std::min(GetLogSettingUInt(kFilesSection, kMaxSubRunsKey, kDefaultMaxSubRuns), kMostSubRuns);
}

Cmn_Logging::Cmn_Logging(const Cmn_Logging& other) {
    *this = other;
}

Cmn_Logging& Cmn_Logging::operator=(const Cmn_Logging& other) {
    IPC_BenaphoreLocker locker(SettingsLock());
    mRunNumber = other.mRunNumber;
    mMaxFileSizeKB = other.mMaxFileSizeKB;
    mRewindSizeKB = other.mRewindSizeKB;
    mMaxSubRunCount = other.mMaxSubRunCount;
    mVerboseSubsystems = other.mVerboseSubsystems;
    return *this;
}

uint64_t Cmn_Logging::GetCurrentRunNumber() const {
    IPC_BenaphoreLocker locker(SettingsLock());
    return mRunNumber;
}

void Cmn_Logging::StartNewRun(uint64_t defaultMaximumRunNumber, uint64_t defaultMaxFileSizeKB) {
    bool isLocked = false, isWritten = true;
    {
        const LogFolderLock folderLock;
        isLocked = folderLock.IsHeld();
        if (!Cmn_FS::IsFile(GetOptionsFilePath())) {
            isWritten =
                SetLogPreference(kFilesSection, kCurrentRunKey, Cmn_String(0)) &&
                SetLogPreference(kFilesSection, kMaximumRunKey, Cmn_String(defaultMaximumRunNumber)) &&
                SetLogPreference(kFilesSection, kMaxFileSizeKey, Cmn_String(defaultMaxFileSizeKB)) &&
                SetLogPreference(kFilesSection, kMaxSubRunsKey, Cmn_String(kDefaultMaxSubRuns));
        }
        const uint64_t current = GetLogSettingUInt(kFilesSection, kCurrentRunKey, 0);
        const uint64_t maximum =
            std::max<uint64_t>(GetLogSettingUInt(kFilesSection, kMaximumRunKey, defaultMaximumRunNumber), 1);
        const uint64_t next = current % maximum + 1;
        {
            IPC_BenaphoreLocker locker(SettingsLock());
            mRunNumber = next;
        }
        isWritten = SetLogPreference(kFilesSection, kCurrentRunKey, Cmn_String(next)) && isWritten;
        DeleteFilesOfRun(next);
    }
    // Only now does the log that these lines open have its name.
    if (!isLocked) Cmn_Trace("The log folder is locked by another program; went on without the lock.\n");
    if (!isWritten) Cmn_Trace("The log settings cannot be written to %s\n", GetOptionsFilePath().c_str());
}

// What this number's last run left. A file that a program still has open stays.
void Cmn_Logging::DeleteFilesOfRun(uint64_t number) const {
    Cmn_String pattern;
    pattern.Printf("Run #%I64u .*\\%s", number, cLogFileExtension);
    const boost::regex wholeName(pattern.c_str());
    for (const Cmn_String& name : Cmn_FS::ListFiles(GetLogFolderPath(), "*")) {
        if (boost::regex_match(name.c_str(), wholeName)) Cmn_FS::RemoveFile(GetLogFolderPath() + name);
    }
}

Cmn_String Cmn_Logging::CandidatePath(const Cmn_String& name, unsigned subRun,
                                      const Cmn_String& extension) const {
    Cmn_String path;
    path.Printf("%sRun #%I64u %s - %02u%s", GetLogFolderPath().c_str(), GetCurrentRunNumber(), name.c_str(),
                subRun, extension.c_str());
    return path;
}

Cmn_String Cmn_Logging::FindNewLogFile(const Cmn_String& name, const Cmn_String& extension,
                                       const std::function<bool(const Cmn_String& path)>& accepts) const {
    if (!CanBePartOfFileName(name)) return {};
    Cmn_String oldest;
    uint64_t oldestTime = 0;
    bool allExist = true;
    const auto subRuns = static_cast<unsigned>(std::min<uint64_t>(mMaxSubRunCount, kMostFilesInUse));
    for (unsigned subRun = 1; subRun <= subRuns; ++subRun) {
        Cmn_String path = CandidatePath(name, subRun, extension);
        if (!Exists(path)) {
            if (!accepts || accepts(path)) return path;
            allExist = false;
            continue;
        }
        const uint64_t time = Cmn_FS::GetLastWriteTime(path);
        if ((oldest.IsEmpty() || time < oldestTime) && MayOverwrite(path)) {
            oldest = path;
            oldestTime = time;
        }
    }
    if (!allExist || !oldest.IsEmpty()) return allExist ? oldest : Cmn_String();
    // Running programs hold every file that might be overwritten: two writers in one file would spoil both logs, so the
    // numbers go on.
    for (unsigned subRun = subRuns + 1; subRun <= kMostFilesInUse; ++subRun) {
        Cmn_String path = CandidatePath(name, subRun, extension);
        if (Exists(path) ? MayOverwrite(path) : !accepts || accepts(path)) return path;
    }
    return {};
}

Cmn_String Cmn_Logging::GetNewLogFilePath(const Cmn_String& name, const Cmn_String& extension) const {
    return FindNewLogFile(name, extension, nullptr);
}

Cmn_String Cmn_Logging::GetFileNamePart(const Cmn_String& text) {
    Cmn_String part(text.c_str());
    for (int i = 0; i < part.GetLength(); ++i) {
        if (!CanBeInFileName(part.c_str()[i])) part.At(i) = '_';
    }
    return part;
}

Cmn_LogFile Cmn_Logging::CreateLogFile(const Cmn_String& name) const {
    // Under the lock, because asking whether a file is being written keeps its writer out for that moment, and because
    // a file is nobody's until it is open. A candidate is also taken by creating it: that holds without the lock.
    if (!CanBePartOfFileName(name)) return {};
    const LogFolderLock folderLock;
    const Cmn_String path = FindNewLogFile(name, cLogFileExtension, [](const Cmn_String& candidate) {
        return Cmn_FS::CreateNewFile(candidate);
    });
    if (path.IsEmpty()) return {};
    return Cmn_LogFile(path.c_str(), InBytes(mMaxFileSizeKB), InBytes(mMaxFileSizeKB) / 2);
}

bool Cmn_Logging::IsVerboseSubSystemLoggingEnabled(const char* subsystem) {
    const char* const name = subsystem ? subsystem : "";
    {
        IPC_BenaphoreLocker locker(SettingsLock());
        if (const auto known = mVerboseSubsystems.find(name); known != mVerboseSubsystems.end())
            return known->second;
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

bool Cmn_Logging::SetLogPreference(const char* section, const char* key, const Cmn_String& value) const {
    // On a full disk the platform says that it wrote and leaves an empty file: all settings would be gone.
    return Cmn_FS::GetFreeBytes(GetLogFolderPath()) >= kRoomForSettings &&
           ::WritePrivateProfileStringA(section, key, value, GetOptionsFilePath()) &&
           GetLogPreferenceString(section, key, kValueSize) == value;
}
