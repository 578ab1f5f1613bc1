#include "tools/norvik/Bundle.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>
#include <stdexcept>

#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "tools/norvik/LogFolder.h"

namespace NorvikTool {
namespace {

struct Found {
    std::vector<LogFile> files;
    std::vector<BundleOmission> unreadable;
};

BundleOmission Unreadable(const std::string& path, DWORD error) {
    const Cmn_String reason = NorvikLibInternal::DescribeSystemError(error);
    return {path, 0,
            std::string("cannot be read: ") + reason.c_str() + " (error " + std::to_string(error) + ")",
            true};
}

// The files of a folder that match a pattern, the one begun last first.
Found Find(const std::string& folder, const char* pattern) {
    Found found;
    for (const Cmn_String& name : Cmn_FS::ListFiles(folder.c_str(), pattern)) {
        const std::string path = folder + name.c_str();
        if (std::optional<LogFile> file = FindLog(path)) {
            found.files.push_back(std::move(*file));
            continue;
        }
        const DWORD error = ::GetLastError();
        if (error == ERROR_FILE_NOT_FOUND) continue;  // gone meanwhile
        found.unreadable.push_back(Unreadable(path, error));
    }
    std::sort(found.files.begin(), found.files.end(), [](const LogFile& a, const LogFile& b) {
        return a.begun != b.begun ? a.begun > b.begun : a.fileName < b.fileName;
    });
    return found;
}

std::string Megabytes(std::uint64_t bytes) {
    return std::to_string(bytes >> 20) + " MB";
}

// Adds a file, or says why not. Nothing is read that does not fit.
void Add(Bundle& bundle, const std::string& folderInArchive, const LogFile& file, std::uint64_t& bytesLeft,
         const std::string& limit) {
    if (file.size > bytesLeft) {
        bundle.omissions.push_back({file.path, file.size, "too large for the bundle (" + limit + ")"});
        return;
    }
    try {
        std::string bytes = ReadBytes(file.path);
        bytesLeft -= std::min<std::uint64_t>(bytes.size(), bytesLeft);
        bundle.entries.push_back(
            {folderInArchive + file.fileName, file.path, std::move(bytes), file.written});
    } catch (const std::runtime_error& error) {
        bundle.omissions.push_back({file.path, file.size, error.what(), true});
    }
}

void AddUnreadable(Bundle& bundle, const Found& found) {
    bundle.omissions.insert(bundle.omissions.end(), found.unreadable.begin(), found.unreadable.end());
}

}  // namespace

std::int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

void AddLogs(Bundle& bundle, const std::string& folder, std::uint64_t runs) {
    const Found found = Find(folder, "*.log");
    AddUnreadable(bundle, found);
    std::set<std::uint64_t> taken;
    std::uint64_t bytesLeft = cMostLogBytes;
    for (const LogFile& file : found.files) {
        // Files with another name belong to no run; they are few.
        if (file.name && taken.size() == runs && taken.count(file.name->run) == 0) {
            bundle.omissions.push_back({file.path, file.size, "of an older run"});
            continue;
        }
        if (file.name) taken.insert(file.name->run);
        Add(bundle, "logs/", file, bytesLeft, Megabytes(cMostLogBytes) + " of logs");
    }
}

void AddDumps(Bundle& bundle, const std::string& folder) {
    const Found found = Find(folder, "*.dmp");
    AddUnreadable(bundle, found);
    std::uint64_t bytesLeft = cMostDumpBytes, count = 0;
    for (const LogFile& file : found.files) {
        if (count++ < cMostDumps) {
            Add(bundle, "dumps/", file, bytesLeft, Megabytes(cMostDumpBytes) + " of dumps");
        } else {
            bundle.omissions.push_back({file.path, file.size, "an older dump"});
        }
    }
}

void AddFile(Bundle& bundle, const std::string& folderInArchive, const std::string& path) {
    if (!Cmn_FS::IsFile(path.c_str())) return;
    std::uint64_t bytesLeft = cMostLogBytes;
    if (const std::optional<LogFile> file = FindLog(path)) {
        Add(bundle, folderInArchive, *file, bytesLeft, Megabytes(cMostLogBytes));
    } else {
        const DWORD error = ::GetLastError();
        bundle.omissions.push_back(Unreadable(path, error));
    }
}

}  // namespace NorvikTool
