#include "JRCmn/Internal/Cmn_AdapterRule.h"

#include <algorithm>
#include <string_view>

namespace NorvikLibInternal {
namespace {

constexpr AdapterChoice kAnyAdapter = {0, 0};
constexpr std::uint32_t kLoopbackAddress = 0x0100007F;

// ASCII only: another letter is itself.
bool EqualNames(std::string_view a, std::string_view b) {
    const auto Lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return Lower(x) == Lower(y); });
}

bool EqualGUIDs(std::string_view withBraces, std::string_view setting) {
    if (EqualNames(withBraces, setting)) return true;
    return withBraces.size() > 2 && EqualNames(withBraces.substr(1, withBraces.size() - 2), setting);
}

// 169.254.x.x, which an adapter gives itself when nobody gives it one.
bool IsSelfAssigned(std::uint32_t address) {
    return (address & 0xFFFF) == 0xFEA9;
}

AdapterChoice Use(const Adapter& adapter) {
    AdapterChoice choice{.index = adapter.index};
    if (!adapter.isUp || adapter.addresses.empty()) return choice;
    const auto given = std::find_if_not(adapter.addresses.begin(), adapter.addresses.end(), &IsSelfAssigned);
    choice.address = given != adapter.addresses.end() ? *given : adapter.addresses.front();
    return choice;
}

template <typename Condition>
const Adapter* Find(const std::vector<Adapter>& adapters, Condition condition) {
    const auto found = std::find_if(adapters.begin(), adapters.end(), condition);
    return found != adapters.end() ? &*found : nullptr;
}

}  // namespace

AdapterChoice ChooseAdapter(const std::vector<Adapter>& adapters, const std::string& setting) {
    if (setting.empty()) {
        const Adapter* const first =
            Find(adapters, [](const Adapter& a) { return a.isUp && !a.isLoopback && !a.addresses.empty(); });
        return first ? Use(*first) : AdapterChoice{};
    }
    if (EqualNames(setting, "any")) return kAnyAdapter;
    if (EqualNames(setting, "loopback")) {
        // That address works also where the platform does not list its adapter.
        const Adapter* const loopback = Find(adapters, [](const Adapter& a) { return a.isLoopback; });
        return {kLoopbackAddress, loopback ? loopback->index : 0};
    }
    const Adapter* named = Find(adapters, [&](const Adapter& a) { return EqualGUIDs(a.guid, setting); });
    if (!named) named = Find(adapters, [&](const Adapter& a) { return EqualNames(a.friendlyName, setting); });
    return named ? Use(*named) : AdapterChoice{};
}

}  // namespace NorvikLibInternal
