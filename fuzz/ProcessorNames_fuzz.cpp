// A processor's name of itself, cut anywhere, against a reader that compares character by character.

#include <memory>

#include "Shared/Internal/JR_ShellRules.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

namespace {

bool StandsAt(const std::string& text, std::size_t at, const std::string& name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (at + i >= text.size() || text[at + i] != name[i]) return false;
    }
    return true;
}

bool StandsAnywhere(const std::string& text, const std::string& name) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (StandsAt(text, at, name)) return true;
    }
    return false;
}

EEngineProcessorType Reference(const std::string& brand) {
    if (StandsAnywhere(brand, "E5-2620 v3")) return eEngineProcessor_E5_2620v3;
    if (StandsAnywhere(brand, "E5-2640 v3")) return eEngineProcessor_E5_2640v3;
    if (StandsAnywhere(brand, "E5-2680 v3")) return eEngineProcessor_E5_2680v3;
    if (StandsAnywhere(brand, "Silver 4310T")) return eEngineProcessor_Silver4310T;
    if (StandsAnywhere(brand, "Silver 4310")) return eEngineProcessor_Silver4310;
    if (StandsAnywhere(brand, "Gold 6326")) return eEngineProcessor_Gold6326;
    if (StandsAt(brand, 21, "E5-2620 v4")) return eEngineProcessor_E5_2620v4;
    if (StandsAt(brand, 21, "E5-2640 v4")) return eEngineProcessor_E5_2640v4;
    return eEngineProcessor_Unknown;
}

}  // namespace

FUZZ_TARGET(ProcessorNames) {
    static const std::string kPieces[] = {"Intel(R) Xeon(R) CPU ",
                                          "Intel(R) Xeon(R) ",
                                          "E5-2620 v",
                                          "E5-2640 v",
                                          "E5-2680 v",
                                          "3",
                                          "4",
                                          "Silver 4310",
                                          "T",
                                          "Gold 6326",
                                          " @ 2.4GHz",
                                          " ",
                                          "0",
                                          ""};
    while (!input.IsEmpty()) {
        std::string brand;
        for (int count = input.Between(0, 5); count > 0; --count)
            brand += input.Below(12) ? input.OneOf(kPieces) : input.Bytes(3);
        if (input.Below(3) == 0) brand.resize(input.Below(static_cast<std::uint32_t>(brand.size() + 1)));
        // In a block of just its size.
        const auto block = std::make_unique<char[]>(brand.size());
        brand.copy(block.get(), brand.size());
        SAME(ClassifyProcessor({block.get(), brand.size()}), Reference(brand));
    }
}
