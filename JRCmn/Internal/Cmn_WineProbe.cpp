#include "JRCmn/Internal/Cmn_WineProbe.h"

#include <atomic>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace {

std::atomic<std::optional<bool>> gOverride{std::nullopt};

}  // namespace

namespace NorvikLibInternal {

bool IsWine() {
    static const bool isWine = [] {
        const HMODULE library = ::GetModuleHandleA("ntdll.dll");
        return library && ::GetProcAddress(library, "wine_get_version");
    }();
    return gOverride.load().value_or(isWine);
}

void OverrideWineProbe(std::optional<bool> answer) {
    gOverride = answer;
}

}  // namespace NorvikLibInternal
