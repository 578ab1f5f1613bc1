#include "JRCmn/Internal/Cmn_WineProbe.h"

#include <atomic>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

std::atomic<std::optional<bool>> gOverride{std::nullopt};

// The report is that of JR_ShellApp::IsWine, which hands on what is found here.
constexpr char cShellSource[] = "Shared\\JR_ShellApp.cpp";
constexpr int cLibraryLine = 269;

}  // namespace

const char* AskWineVersion(void* libraryHandle) {
    if (libraryHandle == nullptr) {
        VerifyFailed("libraryHandle", cShellSource, cLibraryLine);
        return nullptr;
    }
    const auto getVersion =
        FindFunction<const char*(__cdecl*)()>(static_cast<HMODULE>(libraryHandle), "wine_get_version");
    return getVersion ? getVersion() : nullptr;
}

// Not a static with an initialiser: a report on the way may ask for the answer again.
const char* GetWineVersion() {
    static constexpr char cNotAsked[] = "";
    static std::atomic<const char*> sVersion{cNotAsked};
    const char* version = sVersion.load();
    if (version == cNotAsked) {
        version = AskWineVersion(::GetModuleHandleA("ntdll.dll"));
        sVersion = version;
    }
    return version;
}

bool IsWine() {
    return gOverride.load().value_or(GetWineVersion() != nullptr);
}

void OverrideWineProbe(std::optional<bool> answer) {
    gOverride = answer;
}

}  // namespace NorvikLibInternal
