#include "tools/norvik/LogFolder.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <stdexcept>

#include "JRCmn/Internal/Cmn_FileTime.h"
#include "JRCmn/Internal/Cmn_Handle.h"

namespace NorvikTool {
namespace {

using NorvikLibInternal::FindHandle;
using NorvikLibInternal::KernelHandle;

constexpr std::size_t cStampBytes = 32;

std::int64_t ToStamp(const FILETIME& time) {
    return static_cast<std::int64_t>(NorvikLibInternal::ToMilliseconds(time));
}

KernelHandle OpenShared(const std::string& path) {
    return KernelHandle(::CreateFileA(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Up to `limit` bytes from the start. The size is only a hint: the file grows while it is read.
std::optional<std::string> ReadUpTo(HANDLE file, std::uint64_t sizeHint, std::size_t limit) {
    std::string bytes;
    std::size_t length = 0;
    for (;;) {
        bytes.resize(std::min<std::uint64_t>(limit, std::max<std::uint64_t>(length + 4096, sizeHint + 4096)));
        if (length == bytes.size()) return bytes;
        const auto room = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - length, 1u << 30));
        DWORD got = 0;
        if (!::ReadFile(file, bytes.data() + length, room, &got, nullptr)) return {};
        length += got;
        if (got == 0) {
            bytes.resize(length);
            return bytes;
        }
    }
}

}  // namespace

std::optional<LogFile> FindLog(const std::string& path) {
    const KernelHandle handle = OpenShared(path);
    BY_HANDLE_FILE_INFORMATION information;
    if (!handle || !::GetFileInformationByHandle(handle.Get(), &information)) return {};
    LogFile file;
    file.path = path;
    file.fileName = path.substr(path.find_last_of("\\/") + 1);
    file.name = ParseLogFileName(file.fileName);
    file.size = std::uint64_t{information.nFileSizeHigh} << 32 | information.nFileSizeLow;
    file.written = ToStamp(information.ftLastWriteTime);
    const auto stamp = FirstStamp(ReadUpTo(handle.Get(), 0, cStampBytes).value_or(""));
    file.beginsWithStamp = stamp.has_value();
    file.begun = stamp.value_or(file.written);
    return file;
}

std::vector<LogFile> ListLogs(const std::string& folder) {
    const DWORD attributes = ::GetFileAttributesA(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY))
        throw std::runtime_error("there is no folder " + folder);

    std::vector<LogFile> files;
    WIN32_FIND_DATAA found;
    const FindHandle search(::FindFirstFileA((folder + "Run #*.log").c_str(), &found));
    if (!search) return files;
    do {
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) || !ParseLogFileName(found.cFileName))
            continue;
        // A file that goes away meanwhile is not in the list.
        if (auto file = FindLog(folder + found.cFileName)) files.push_back(std::move(*file));
    } while (::FindNextFileA(search.Get(), &found));
    std::sort(files.begin(), files.end(), [](const LogFile& a, const LogFile& b) {
        return a.begun != b.begun ? a.begun > b.begun : a.fileName < b.fileName;
    });
    return files;
}

std::optional<std::string> TryReadBytes(const std::string& path) {
    const KernelHandle file = OpenShared(path);
    LARGE_INTEGER size;
    if (!file || !::GetFileSizeEx(file.Get(), &size)) return {};
    return ReadUpTo(file.Get(), static_cast<std::uint64_t>(size.QuadPart), SIZE_MAX);
}

std::string ReadBytes(const std::string& path) {
    std::optional<std::string> bytes = TryReadBytes(path);
    if (!bytes)
        throw std::runtime_error("cannot read " + path + " (error " + std::to_string(::GetLastError()) + ")");
    return std::move(*bytes);
}

int ZoneOffsetAt(std::int64_t stamp) {
    // Zones change on the quarter of an hour, lines come many a second.
    constexpr std::int64_t minute = 60'000, quarter = 15 * minute;
    static std::int64_t knownQuarter = -1;
    static int knownOffset = 0;
    if (stamp / quarter == knownQuarter) return knownOffset;

    const FILETIME time = NorvikLibInternal::ToFileTime(static_cast<std::uint64_t>(stamp));
    FILETIME localTime;
    SYSTEMTIME utc, local;
    int offset = 0;
    if (::FileTimeToSystemTime(&time, &utc) && ::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) &&
        ::SystemTimeToFileTime(&local, &localTime))
        offset = static_cast<int>((ToStamp(localTime) - stamp) / minute);
    knownQuarter = stamp / quarter;
    knownOffset = offset;
    return offset;
}

}  // namespace NorvikTool
