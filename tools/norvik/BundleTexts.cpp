#include "JRCmn/Internal/Cmn_Windows.h"

#include <array>
#include <set>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "tools/norvik/Bundle.h"
#include "tools/norvik/LogFolder.h"
#include "tools/norvik/Messages.h"
#include "tools/norvik/OtherProcess.h"

namespace NorvikTool {
namespace {

using NorvikLibInternal::DynamicFunction;
using NorvikLibInternal::FindFunction;

#ifdef __VERSION__
constexpr char cBuiltWith[] =
    "Built with GCC or clang, version " __VERSION__ "\n";  // whose run-time the libraries are
#else
constexpr char cBuiltWith[] = "";
#endif

// ---- Registry

constexpr DWORD cLongestValueName = 16'384;  // the platform's limit, with the terminator
constexpr DWORD cShownBytes = 4'096;         // of a value

std::string ValueText(DWORD type, const std::string& bytes) {
    if (type == REG_DWORD && bytes.size() == sizeof(DWORD)) {
        DWORD number = 0;
        bytes.copy(reinterpret_cast<char*>(&number), sizeof number);
        return std::to_string(number);
    }
    const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
    if (isText) return "\"" + Printable(bytes.substr(0, bytes.find('\0'))) + "\"";
    return "type " + std::to_string(type) + ", " + std::to_string(bytes.size()) +
           " bytes: " + Printable(bytes);
}

std::string ValuesText(HKEY key) {
    std::string text, name(cLongestValueName, '\0');
    for (DWORD i = 0;; ++i) {
        std::string bytes(cShownBytes, '\0');
        DWORD nameLength = cLongestValueName, size = cShownBytes, type = 0;
        const LONG result = ::RegEnumValueA(key, i, name.data(), &nameLength, nullptr, &type,
                                            reinterpret_cast<BYTE*>(bytes.data()), &size);
        if (result == ERROR_NO_MORE_ITEMS) return text.empty() ? "  no values\n" : text;
        if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA)
            return text + "  error " + std::to_string(result) + "\n";
        bytes.resize(result == ERROR_SUCCESS ? size : 0);
        text +=
            "  " + Printable(std::string_view(name).substr(0, nameLength)) + " = " +
            (result == ERROR_SUCCESS ? ValueText(type, bytes) : std::to_string(size) + " bytes, not shown") +
            "\n";
    }
}

std::string KeyText(const char* path) {
    std::string text = std::string("HKEY_LOCAL_MACHINE\\") + path + "\n";
    HKEY key = nullptr;
    const LONG result = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key);
    if (result != ERROR_SUCCESS)
        return text + "  " + NorvikLibInternal::DescribeSystemError(static_cast<DWORD>(result)).c_str() +
               "\n";
    text += ValuesText(key);
    ::RegCloseKey(key);
    return text;
}

// ---- Versions

// What the version resource of a file says; under Wine most of the platform's own files have one, too.
std::string FileVersion(const std::string& path) {
    static DynamicFunction<decltype(&::GetFileVersionInfoSizeA)> getSize("version.dll",
                                                                         "GetFileVersionInfoSizeA");
    static DynamicFunction<decltype(&::GetFileVersionInfoA)> getInfo("version.dll", "GetFileVersionInfoA");
    static DynamicFunction<decltype(&::VerQueryValueA)> query("version.dll", "VerQueryValueA");
    if (!getSize || !getInfo || !query) return "-";
    DWORD ignored = 0;
    std::string info(getSize(path.c_str(), &ignored), '\0');
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    if (info.empty() || !getInfo(path.c_str(), DWORD{0}, static_cast<DWORD>(info.size()), info.data()) ||
        !query(info.data(), "\\", reinterpret_cast<void**>(&fixed), &size) || size < sizeof *fixed)
        return "-";
    const DWORD parts[] = {HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                           HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS)};
    std::string text;
    for (const DWORD part : parts)
        text += (text.empty() ? "" : ".") + std::to_string(part);
    return text;
}

std::string SystemFolder() {
    std::array<char, MAX_PATH> path = {};
    return std::string(path.data(), ::GetSystemDirectoryA(path.data(), static_cast<UINT>(path.size()))) +
           "\\";
}

// Where a program looks for a library: its own folder, the system's, and those that PATH names.
std::vector<std::string> LibraryFolders() {
    std::vector<std::string> folders = {ProgramFolder(), SystemFolder()};
    std::string path(32'768, '\0');  // the platform's limit
    path.resize(::GetEnvironmentVariableA("PATH", path.data(), static_cast<DWORD>(path.size())));
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find(';', at), path.size());
        std::string folder = path.substr(at, end - at);
        if (!folder.empty()) folders.push_back(folder.back() == '\\' ? folder : folder + "\\");
        at = end + 1;
    }
    return folders;
}

std::string LibraryText(const char* name) {
    std::string text;
    std::set<std::string> seen;
    for (const std::string& folder : LibraryFolders()) {
        const std::string path = folder + name;
        const auto file = Cmn_FS::IsFile(path.c_str()) ? FindLog(path) : std::nullopt;
        if (!file || !seen.insert(path).second) continue;
        text +=
            "  version " + FileVersion(path) + ", " + std::to_string(file->size) + " bytes, " + path + "\n";
    }
    return std::string(name) + "\n" + (text.empty() ? "  not found\n" : text);
}

std::string SystemText() {
    const HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
    RTL_OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    // Not GetVersionEx, which tells a program what it says it was made for.
    const auto getVersion = FindFunction<LONG(WINAPI*)(RTL_OSVERSIONINFOW*)>(ntdll, "RtlGetVersion");
    if (getVersion) getVersion(&version);
    std::string text = "Windows version " + std::to_string(version.dwMajorVersion) + "." +
                       std::to_string(version.dwMinorVersion) + "." + std::to_string(version.dwBuildNumber) +
                       "\n";
    if (const auto wine = FindFunction<const char*(__cdecl*)()>(ntdll, "wine_get_version"))
        text += std::string("Wine version ") + wine() + "\n";
    return text;
}

}  // namespace

std::string RegistryText() {
    return KeyText(Cmn_Registry::kLibraryKey) + "\n" + KeyText(Cmn_Registry::kSettingsKey);
}

std::vector<std::string> ComputerNames() {
    std::vector<std::string> names;
    for (const COMPUTER_NAME_FORMAT format : {ComputerNamePhysicalDnsHostname, ComputerNamePhysicalNetBIOS}) {
        char name[256] = "";
        DWORD size = sizeof name;
        if (::GetComputerNameExA(format, name, &size)) names.emplace_back(name, size);
    }
    return names;
}

std::string VersionsText() {
    std::string computer;
    for (const std::string& name : ComputerNames())
        computer += name + ", ";
    std::string text = std::string("NorvikLib version ") + Cmn_Assert::SoftwareVersion + "\n" + cBuiltWith +
                       SystemText() + "Computer " + computer + "running for " +
                       std::to_string(::GetTickCount64() / 60'000) + " minutes\n\n";
    for (const char* const name :
         {"NorvikLib.dll", "libstdc++-6.dll", "libgcc_s_seh-1.dll", "libwinpthread-1.dll", "dnssd.dll",
          "EApi_1.dll", "Cgos.dll", "PETx64.dll", "wevtapi.dll", "dbghelp.dll", "iphlpapi.dll", "winmm.dll"})
        text += LibraryText(name);
    return text;
}

}  // namespace NorvikTool
