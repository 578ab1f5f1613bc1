#include "JRCmn/Cmn_InstructionSet.h"

#include <cstdint>
#include <cstring>

#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <cpuid.h>
#endif

namespace {

constexpr uint32_t cHighestExtendedLeaf = 0x80000000, cFirstBrandLeaf = 0x80000002,
                   cLastBrandLeaf = 0x80000004;

struct Registers {
    uint32_t values[4];  // eax, ebx, ecx, edx
};

Registers AskProcessor(uint32_t leaf) {
    Registers answer = {};
#if defined(_MSC_VER)
    int values[4];
    __cpuid(values, static_cast<int>(leaf));
    std::memcpy(answer.values, values, sizeof values);
#else
    __cpuid(leaf, answer.values[0], answer.values[1], answer.values[2], answer.values[3]);
#endif
    return answer;
}

}  // namespace

Cmn_String Cmn_InstructionSet::GetBrand() {
    if (AskProcessor(cHighestExtendedLeaf).values[0] < cLastBrandLeaf) return {};
    char brand[3 * sizeof(Registers) + 1] = "";  // the last one stays the terminator
    char* end = brand;
    for (uint32_t leaf = cFirstBrandLeaf; leaf <= cLastBrandLeaf; ++leaf, end += sizeof(Registers)) {
        const Registers part = AskProcessor(leaf);
        std::memcpy(end, part.values, sizeof part);
    }
    return Cmn_String(brand);
}
