// Cgos.dll for machines without the board: what the board controller uses of it, answered by a text file
// (standins/common/BoardFile.h). A function that the file does not name answers "none" or
// fails; opening, closing and setting succeed.

#include "Shared/Internal/JR_Cgos.h"
#include "standins/common/BoardFile.h"

using NorvikLibInternal::CgosBoard;
using NorvikLibInternal::CgosTemperatureInfo;
using NorvikLibInternal::CgosVgaInfo;

#define CGOS extern "C" __declspec(dllexport)

namespace {

constexpr CgosBoard kBoard = 0x1C170;

uint32_t Succeeds(const char* function, std::initializer_list<uint32_t> arguments = {}) {
    NoteBoardCall(function, arguments);
    const auto answer = FindBoardAnswer(function);
    return !answer || !answer->status;
}

// A line "kind ..." for the unit of an open board.
std::optional<BoardAnswer> Unit(const char* function, CgosBoard board, uint32_t unit) {
    NoteBoardCall(function, {unit});
    auto answer = board == kBoard ? FindBoardAnswer(function, unit) : std::nullopt;
    return answer && !answer->status ? answer : std::nullopt;
}

uint32_t Count(const char* function, CgosBoard board) {
    NoteBoardCall(function);
    const auto answer = board == kBoard ? FindBoardAnswer(function) : std::nullopt;
    return answer ? answer->Number() : 0;
}

template <typename Info>
bool Fill(Info* info, const BoardAnswer& answer) {
    if (info == nullptr || info->size < sizeof(Info)) return false;
    *info = {};
    info->size = sizeof(Info);
    info->type = answer.Number();
    return true;
}

}  // namespace

CGOS uint32_t CgosLibInitialize() {
    return Succeeds("CgosLibInitialize");
}

CGOS uint32_t CgosLibUninitialize() {
    return Succeeds("CgosLibUninitialize");
}

CGOS uint32_t CgosBoardOpen(uint32_t boardClass, uint32_t number, uint32_t flags, CgosBoard* board) {
    if (!Succeeds("CgosBoardOpen", {boardClass, number, flags})) return 0;
    *board = kBoard;
    return 1;
}

CGOS uint32_t CgosBoardClose(CgosBoard) {
    return Succeeds("CgosBoardClose");
}

CGOS uint32_t CgosVgaCount(CgosBoard board) {
    return Count("CgosVgaCount", board);
}

CGOS uint32_t CgosVgaGetInfo(CgosBoard board, uint32_t unit, CgosVgaInfo* info) {
    const auto answer = Unit("CgosVgaGetInfo", board, unit);
    if (!answer || !Fill(info, *answer)) return 0;
    info->maxBacklight = answer->Number(1);
    return 1;
}

CGOS uint32_t CgosVgaSetBacklight(CgosBoard board, uint32_t unit, uint32_t level) {
    return board == kBoard && Succeeds("CgosVgaSetBacklight", {unit, level});
}

CGOS uint32_t CgosTemperatureCount(CgosBoard board) {
    return Count("CgosTemperatureCount", board);
}

CGOS uint32_t CgosTemperatureGetInfo(CgosBoard board, uint32_t unit, CgosTemperatureInfo* info) {
    const auto answer = Unit("CgosTemperatureGetInfo", board, unit);
    return answer && Fill(info, *answer);
}

CGOS uint32_t CgosTemperatureGetCurrent(CgosBoard board, uint32_t unit, uint32_t* value, uint32_t* status) {
    const auto answer = Unit("CgosTemperatureGetCurrent", board, unit);
    if (!answer) return 0;
    *value = answer->Number(0);
    *status = answer->Number(1);
    return 1;
}
