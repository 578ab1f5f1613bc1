// The tour's step with a board: a simulated one, on the stand-in of the vendor's library.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <string>

#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_String.h"
#include "Shared/JR_EmersonSBCController.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/Discovery.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

// Where the vendor's library would be found, and the file that describes the board, for the time of the step.
class SimulatedBoard {
public:
    SimulatedBoard() {
        ::SetDllDirectoryA((ProgramFolder() + cStandinFolder + "eapi").c_str());
        Cmn_FolderFinder::FindFolder(mFile, eFolder_Root);
        mFile += "demo board.txt";
        ::SetEnvironmentVariableA("NORVIK_BOARD_FILE", mFile);
    }
    ~SimulatedBoard() {
        ::SetEnvironmentVariableA("NORVIK_BOARD_FILE", nullptr);
        ::SetDllDirectoryA(nullptr);
        ::DeleteFileA(mFile);
    }
    void Describe(const char* lines) {
        Cmn_String text("EApiBoardGetStringA = Emerson (simulated)\nEApiVgaGetBacklightBrightness = 60\n");
        (text += lines).WriteFile(mFile);
    }

private:
    Cmn_String mFile;
};

bool ShowBrightness(JR_EmersonSBCController& board) {
    bool ok = true;
    for (const auto& [percent, level] :
         {std::pair{50u, 10u}, {70u, 20u}, {85u, 30u}, {90u, 40u}, {95u, 50u}, {100u, 60u}}) {
        board.SetBacklightBrightness(board.LookupTKVBrightness(percent));
        const unsigned set = board.GetBacklightBrightness(JR_EmersonSBCController::eBackLight_1);
        PrintFormat("  %3u percent: level %u\n", percent, set);
        ok = ok && set == level;
    }
    return Say(ok, "the user's brightness in percent becomes a level of this backlight");
}

}  // namespace

bool ShowBoard() {
    if (!Cmn_FolderFinder::IsModulePresent((Cmn_String(cStandinFolder) + "eapi\\EApi_1.dll").c_str())) {
        Print("  skipped: there is no simulated board beside this program (it lies in the build tree)\n");
        return true;
    }
    Print("  The board is simulated: a library under the vendor's name answers from a text file.\n");
    SimulatedBoard simulated;
    simulated.Describe("EApiBoardGetValue 0x20000 = 3262\nEApiBoardGetValue 0x20002 = 3112\n");
    JR_EmersonSBCController board;
    PrintFormat("  CPU %u C, system %u C\n", board.GetCPUTemp(), board.GetSystemTemp());
    const bool warm = Say(board.GetCPUTemp() == 53 && board.GetSystemTemp() == 38,
                          "temperatures come in tenths of a kelvin and go out in degrees Celsius");
    simulated.Describe("EApiBoardGetValue 0x20000 = 3662\n");
    const bool hot = Say(board.GetCPUTemp() == 93, "and follow the board");
    const bool bright = ShowBrightness(board);
    simulated.Describe("EApiBoardGetValue = !0xFFFFF0FF\n");
    board.GetCPUTemp();
    board.GetCPUTemp();
    return Say(CountInLog("RZQSBC no longer trying to get any SBC data") == 1,
               "a library that does not know the board is asked once, and never again") &&
           warm && hot && bright;
}

}  // namespace NorvikTool
