#include "JRCmn/Cmn_FS.h"

#include <string_view>

#include "JRCmn/Internal/Cmn_FileTime.h"
#include "JRCmn/Internal/Cmn_Handle.h"

using NorvikLibInternal::FindHandle;
using NorvikLibInternal::KernelHandle;

namespace Cmn_FS {

bool IsFile(const char* path) {
    const DWORD attributes = ::GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsFolder(const char* path) {
    const DWORD attributes = ::GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool CreateFolders(const char* path) {
    std::string_view rest(path);
    while (!rest.empty() && (rest.back() == '\\' || rest.back() == '/'))
        rest.remove_suffix(1);
    const Cmn_String folder(rest);
    if (IsFolder(folder) || ::CreateDirectoryA(folder, nullptr)) return true;
    if (::GetLastError() == ERROR_ALREADY_EXISTS)
        return IsFolder(folder);  // another program was faster, or a file
    const size_t parent = rest.find_last_of("\\/");
    if (parent == rest.npos || parent == 0 || rest[parent - 1] == ':') return false;
    if (!CreateFolders(Cmn_String(rest.substr(0, parent)))) return false;
    return ::CreateDirectoryA(folder, nullptr) || IsFolder(folder);
}

bool CreateNewFile(const char* path) {
    const KernelHandle file(::CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(file);
}

bool RemoveFile(const char* path) {
    return ::DeleteFileA(path) != 0;
}

bool IsBeingWritten(const char* path) {
    const KernelHandle file(::CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return !file && ::GetLastError() == ERROR_SHARING_VIOLATION;
}

uint64_t GetLastWriteTime(const char* path) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    return ::GetFileAttributesExA(path, GetFileExInfoStandard, &data)
               ? NorvikLibInternal::ToMilliseconds(data.ftLastWriteTime)
               : 0;
}

std::vector<Cmn_String> ListFiles(const char* folder, const char* pattern) {
    std::vector<Cmn_String> names;
    WIN32_FIND_DATAA found;
    const FindHandle search(::FindFirstFileA((Cmn_String(folder) + "\\" + pattern).c_str(), &found));
    if (!search) return names;
    do {
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) names.emplace_back(found.cFileName);
    } while (::FindNextFileA(search.Get(), &found));
    return names;
}

uint64_t GetFreeBytes(const char* folder) {
    ULARGE_INTEGER available;
    return ::GetDiskFreeSpaceExA(folder, &available, nullptr, nullptr) ? available.QuadPart : 0;
}

Cmn_String GetApplicationName() {
    char path[MAX_PATH];
    const DWORD length = ::GetModuleFileNameA(nullptr, path, sizeof path);
    std::string_view name(path, length);
    if (const size_t slash = name.find_last_of("\\/"); slash != name.npos) name.remove_prefix(slash + 1);
    if (const size_t dot = name.rfind('.'); dot != name.npos && dot != 0) name = name.substr(0, dot);
    return Cmn_String(name);
}

}  // namespace Cmn_FS
