#include "Shared/JR_CongatecIC170SBCController.h"

#include <algorithm>
#include <optional>
#include <type_traits>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "Shared/Internal/JR_Cgos.h"
#include "Shared/Internal/JR_VendorLibrary.h"

using namespace NorvikLibInternal;

namespace {

// A board has a handful of each. A library that counts more does not know what it says.
constexpr uint32_t cMostUnits = 64;

}  // namespace

struct JR_CongatecIC170SBCController::Board {
    ~Board() {
        if (isOpen) CMN_CHECK(CgosBoardClose(board) != 0);
        if (isInitialized) CMN_CHECK(CgosLibUninitialize() != 0);
    }

    bool Open() {
        if (!library || !HasAllEntries()) return false;
        isInitialized = CMN_CHECK(CgosLibInitialize() != 0);
        isOpen = isInitialized && CMN_CHECK(CgosBoardOpen(0, 0, 0, &board) != 0);
        if (isOpen) FindPanel();
        return isOpen;
    }

    bool HasAllEntries() const {
#define NORVIK_CGOS_CHECK(name, ...)                           \
    if (name == nullptr) {                                     \
        Cmn_Trace("Cgos.dll has no entry point " #name ".\n"); \
        return false;                                          \
    }
        NORVIK_CGOS_ENTRIES(NORVIK_CGOS_CHECK)
#undef NORVIK_CGOS_CHECK
        return true;
    }

    void FindPanel() {
        const uint32_t count = std::min(CgosVgaCount(board), cMostUnits);
        for (uint32_t unit = 0; unit < count && !panel; ++unit) {
            CgosVgaInfo info = {};
            info.size = sizeof info;
            if (CgosVgaGetInfo(board, unit, &info) == 0 || info.type != kCgosVgaLVDS) continue;
            panel = unit;
            if (info.maxBacklight != 0) maxBacklight = info.maxBacklight;
        }
    }

    unsigned int ReadTemperature(uint32_t type) const {
        const uint32_t count = std::min(CgosTemperatureCount(board), cMostUnits);
        for (uint32_t unit = 0; unit < count; ++unit) {
            CgosTemperatureInfo info = {};
            info.size = sizeof info;
            if (CgosTemperatureGetInfo(board, unit, &info) == 0 || info.type != type) continue;
            uint32_t value = 0, status = 0;
            if (CgosTemperatureGetCurrent(board, unit, &value, &status) != 0 && IsCgosReadingGood(status))
                return CgosToCelsius(value);
        }
        return cInvalidTemperature;
    }

    const VendorLibrary library{"Cgos.dll"};
#define NORVIK_CGOS_MEMBER(name, ...) \
    const std::add_pointer_t<__VA_ARGS__> name = library.Find<__VA_ARGS__>(#name);
    NORVIK_CGOS_ENTRIES(NORVIK_CGOS_MEMBER)
#undef NORVIK_CGOS_MEMBER
    bool isInitialized = false;
    bool isOpen = false;
    CgosBoard board = 0;
    std::optional<uint32_t> panel;
    uint32_t maxBacklight = kCgosMaxBacklight;
};

JR_CongatecIC170SBCController::JR_CongatecIC170SBCController() : mBoard(std::make_unique<Board>()) {
    if (!mBoard->Open()) mBoard.reset();
}

JR_CongatecIC170SBCController::~JR_CongatecIC170SBCController() = default;

void JR_CongatecIC170SBCController::SetBacklightBrightness(unsigned int level) {
    if (HasLVDS()) CMN_CHECK(mBoard->CgosVgaSetBacklight(mBoard->board, *mBoard->panel, level) != 0);
}

unsigned int JR_CongatecIC170SBCController::GetChipsetTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_CongatecIC170SBCController::GetCPUTemp() const {
    return mBoard ? mBoard->ReadTemperature(kCgosTempCPU) : cInvalidTemperature;
}

unsigned int JR_CongatecIC170SBCController::GetMemoryTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_CongatecIC170SBCController::GetSystemTemp() const {
    return mBoard ? mBoard->ReadTemperature(kCgosTempBoard) : cInvalidTemperature;
}

unsigned int JR_CongatecIC170SBCController::LookupTKVBrightness(unsigned int percent) const {
    const uint64_t wanted = CMN_VERIFY(percent <= 100) ? percent : 100;
    return static_cast<unsigned int>(wanted * (mBoard ? mBoard->maxBacklight : kCgosMaxBacklight) / 100);
}

bool JR_CongatecIC170SBCController::HasLVDS() const {
    return mBoard && mBoard->panel.has_value();
}
