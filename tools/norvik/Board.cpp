// norvik board: which machine this is, and what its board measures.

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "JRCmn/Cmn_DefaultLog.h"
#include "Shared/Internal/JR_ExamineBoard.h"
#include "Shared/JR_CongatecIC170SBCController.h"
#include "Shared/JR_EmersonSBCController.h"
#include "Shared/JR_PortwellWade8132SBCController.h"
#include "Shared/JR_SBCControllerFactory.h"
#include "Shared/JR_ShellApp.h"
#include "tools/norvik/SystemName.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Emerson = JR_EmersonSBCController;
using Rows = std::vector<std::vector<std::string>>;

constexpr unsigned cHottest = 200;  // degrees; what a board that failed reads is far above

std::string ControllerName(const JR_SBCController_IF* board) {
    if (dynamic_cast<const Emerson*>(board)) return "JR_EmersonSBCController";
    if (dynamic_cast<const JR_CongatecIC170SBCController*>(board)) return "JR_CongatecIC170SBCController";
    if (dynamic_cast<const JR_PortwellWade8132SBCController*>(board))
        return "JR_PortwellWade8132SBCController";
    return "none";
}

void PrintMachine(const JR_SBCController_IF* board) {
    PrintTable("ll", {{"System", SystemName(JR_ShellApp::GetSystemType())},
                      {"Windows", JR_ShellApp::IsWindowsEmbedded() ? "embedded" : "not embedded"},
                      {"Board", JR_ShellApp::GetMotherboardName(eMB_Running)},
                      {"Known by", NorvikLibInternal::ExamineBoard().evidence.c_str()},
                      {"Controller", ControllerName(board)}});
}

std::vector<std::string> Temperature(const char* name, unsigned degrees) {
    return {name, degrees <= cHottest ? std::to_string(degrees) + " C" : "not measured"};
}

void AddValues(const Emerson& board, Rows& rows) {
    for (int id = Emerson::eBoardValue_VoltageVCor; id <= Emerson::eBoardValue_SystemFan; ++id) {
        const auto value = static_cast<Emerson::tBoardInfoValueID>(id);
        if (value == Emerson::eBoardValue_Voltage1_8V) continue;  // reads what the 12 V line reads
        const unsigned number = board.GetBoardInfo(value);
        const char* unit = id < Emerson::eBoardValue_CPUFan ? " mV" : " rpm";
        rows.push_back({Emerson::GetName(value), number ? std::to_string(number) + unit : "not measured"});
    }
    const bool isOn = board.IsBacklightEnabled(Emerson::eBackLight_1);
    const unsigned level = board.GetBacklightBrightness(Emerson::eBackLight_1);
    rows.push_back({"Backlight", (isOn ? "on, level " : "off, level ") + std::to_string(level)});
}

void PrintReadings(const JR_SBCController_IF& board) {
    Rows rows = {Temperature("CPU", board.GetCPUTemp()), Temperature("Chipset", board.GetChipsetTemp()),
                 Temperature("System", board.GetSystemTemp()), Temperature("Memory", board.GetMemoryTemp())};
    if (const auto* emerson = dynamic_cast<const Emerson*>(&board)) AddValues(*emerson, rows);
    if (const auto* congatec = dynamic_cast<const JR_CongatecIC170SBCController*>(&board))
        rows.push_back({"Built-in panel", congatec->HasLVDS() ? "LVDS" : "none"});
    PrintTable("ll", rows);
}

int RunBoard(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const uint64_t rounds = arguments.Number("--count", arguments.Has("--watch") ? UINT64_MAX : 1, 1);
    const std::unique_ptr<JR_SBCController_IF> board(JR_SBCControllerFactory().CreateSBCController());
    PrintMachine(board.get());
    if (!board) return cSuccess;
    for (uint64_t round = 0; round < rounds; ++round) {
        if (round != 0) std::this_thread::sleep_for(std::chrono::seconds(1));
        Print("\n");
        PrintReadings(*board);
        Flush();
    }
    return cSuccess;
}

}  // namespace

extern const Verb cBoardVerb;
const Verb cBoardVerb{
    "board",
    "",
    "which machine this is, and what its board measures",
    "Prints the kind of system, the board and what it is known by, then temperatures,\n"
    "voltages, fans and backlight, as far as the board's controller has them.\n",
    {{"--watch", nullptr, "read again every second"}, {"--count", "N", "read N times, a second apart"}},
    &RunBoard};

}  // namespace NorvikTool
