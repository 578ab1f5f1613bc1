#include "Shared/Internal/JR_ShellRules.h"

namespace NorvikLibInternal {
namespace {

struct ProcessorName {
    std::string_view name;
    EEngineProcessorType type;
};

// Found anywhere, the first of them counts: "Silver 4310T" goes before the name that it begins with.
constexpr ProcessorName cNames[] = {
    {"E5-2620 v3", eEngineProcessor_E5_2620v3},   {"E5-2640 v3", eEngineProcessor_E5_2640v3},
    {"E5-2680 v3", eEngineProcessor_E5_2680v3},   {"Silver 4310T", eEngineProcessor_Silver4310T},
    {"Silver 4310", eEngineProcessor_Silver4310}, {"Gold 6326", eEngineProcessor_Gold6326},
};

// These count at one place only, behind "Intel(R) Xeon(R) CPU ".
constexpr ProcessorName cNamesInPlace[] = {
    {"E5-2620 v4", eEngineProcessor_E5_2620v4},
    {"E5-2640 v4", eEngineProcessor_E5_2640v4},
};
constexpr std::size_t cPlace = 21, cNameLength = 10;

MemoryVerdict Failed(unsigned int required, const char* check, const char* trace = nullptr) {
    return {required, true, trace, check};
}

MemoryVerdict DecideConsole(MemorySource& source) {
    const EMotherboard board = source.GetBoard();
    if (board == eMB_EmersonMITXCore810) return {8, false};
    if (board != eMB_Unknown) return {8};
    return source.IsEmbedded() ? Failed(8, "!\"unknown motherboard!\"") : MemoryVerdict{0};
}

// The same processor is built in with 6 or 8 cores, once or twice.
MemoryVerdict DecideByCount(unsigned int cpuCount) {
    switch (cpuCount) {
        case 0:
            return Failed(0, "!\"GetRAMRequirement: valid CPU count is needed for this case\"");
        case 6:
        case 8:
            return {16};
        case 12:
        case 16:
            return {32};
        default:
            return Failed(0, "false", "Unexpected CPU count detected!\n");
    }
}

MemoryVerdict DecideEngine(unsigned int cpuCount, MemorySource& source) {
    switch (source.GetProcessor()) {
        case eEngineProcessor_E5_2620v3:
        case eEngineProcessor_E5_2620v4:
            return DecideByCount(cpuCount);
        case eEngineProcessor_E5_2640v3:
        case eEngineProcessor_E5_2680v3:
        case eEngineProcessor_E5_2640v4:
        case eEngineProcessor_Silver4310:
        case eEngineProcessor_Silver4310T:
            return {32};
        case eEngineProcessor_Gold6326:
            return {64};
        case eEngineProcessor_Unknown:
            break;
    }
    return source.IsEmbedded() ? Failed(0, "!IsWindowsEmbedded()") : MemoryVerdict{0};
}

}  // namespace

bool NotifiesRestartCallback(int32_t command) {
    return (command >= 3 && command <= 6) || (command >= 8 && command <= 13);
}

EEngineProcessorType ClassifyProcessor(std::string_view brand) {
    for (const ProcessorName& known : cNames) {
        if (brand.find(known.name) != brand.npos) return known.type;
    }
    if (brand.size() < cPlace) return eEngineProcessor_Unknown;
    for (const ProcessorName& known : cNamesInPlace) {
        if (brand.substr(cPlace, cNameLength) == known.name) return known.type;
    }
    return eEngineProcessor_Unknown;
}

uint64_t ToGigabytes(uint64_t bytes) {
    return ((bytes >> 20) + 1023) / 1024;
}

MemoryVerdict DecideMemory(ESystemType system, unsigned int cpuCount, MemorySource& source) {
    switch (system) {
        case eSystem_Standalone:
        case eSystem_LegacyConsole:
            return {1};
        case eSystem_Console:
            return DecideConsole(source);
        case eSystem_Engine:
            return DecideEngine(cpuCount, source);
    }
    return Failed(0, "false");
}

}  // namespace NorvikLibInternal
