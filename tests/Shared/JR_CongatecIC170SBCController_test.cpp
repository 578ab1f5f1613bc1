#include "Shared/JR_CongatecIC170SBCController.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "Shared/Internal/JR_Cgos.h"
#include "Shared/JR_PortwellWade8132SBCController.h"
#include "tests/support/SimulatedBoard.h"
#include "tests/support/TraceCapture.h"

namespace {

constexpr unsigned kNone = JR_SBCController_IF::cInvalidTemperature;

TEST(JR_CongatecIC170SBCController, ReadsSensorsAndDrivesTheBuiltInPanel) {
    // What the board has; temperatures of CPU and board, LVDS, levels of 50 and 100 percent, the call for level 5.
    const std::pair<const char*, const char*> cases[] = {
        {"", "54 38 1 50 100 CgosVgaSetBacklight 0x1 0x5|"},
        {"CgosTemperatureGetCurrent 1 = 54900 5\n", "-1 38 1 50 100 CgosVgaSetBacklight 0x1 0x5|"},  // broken
        {"CgosTemperatureGetCurrent 1 = 54900 0\n", "-1 38 1 50 100 CgosVgaSetBacklight 0x1 0x5|"},  // asleep
        {"CgosTemperatureGetCurrent 0 = -5500 1\n", "54 0 1 50 100 CgosVgaSetBacklight 0x1 0x5|"},
        {"CgosTemperatureGetInfo 1 = !0\nCgosVgaCount = 1\n", "-1 38 0 50 100 "},
        {"CgosTemperatureCount = 0\nCgosVgaGetInfo 1 = 0x20001 100\n", "-1 -1 0 50 100 "},
        {"CgosTemperatureCount = 0xFFFFFFFF\nCgosVgaCount = 0xFFFFFFFF\nCgosTemperatureGetInfo 1 = 1\n",
         "-1 38 1 50 100 CgosVgaSetBacklight 0x1 0x5|"},
        {"CgosVgaGetInfo 0 = 0x20002 255\n", "54 38 1 127 255 CgosVgaSetBacklight 0x0 0x5|"},
        {"CgosVgaGetInfo 1 = 0x20002 0\n", "54 38 1 50 100 CgosVgaSetBacklight 0x1 0x5|"},
    };
    SimulatedBoard board("cgos", "Cgos.dll");
    for (const auto& [lines, expected] : cases) {
        board.Describe(lines);
        JR_CongatecIC170SBCController controller;
        std::ostringstream found;
        found << static_cast<int>(controller.GetCPUTemp()) << " "
              << static_cast<int>(controller.GetSystemTemp()) << " " << controller.HasLVDS() << " "
              << controller.LookupTKVBrightness(50) << " " << controller.LookupTKVBrightness(100) << " ";
        const std::string calls = board.TakeCalls();
        EXPECT_LE(std::ranges::count(calls, '|'), 3 * 2 * 64) << "a count that cannot be is not believed";
        controller.SetBacklightBrightness(5);
        EXPECT_EQ(found.str() + board.TakeCalls(), expected) << lines;
        EXPECT_TRUE(controller.GetMemoryTemp() == kNone && controller.GetChipsetTemp() == kNone);
    }
    JR_CongatecIC170SBCController controller;
    EXPECT_EQ(controller.LookupTKVBrightness(0xFFFFFFFF), 100u);
    EXPECT_TRUE(ReportedOnce("'percent <= 100' failed in Shared\\JR_CongatecIC170SBCController.cpp("));
}

const char* gMissing = "";

TEST(JR_CongatecIC170SBCController, WithoutLibraryOrBoardItStaysInert) {
    SimulatedBoard board("cgos", "Cgos.dll");
    const auto isInert = [&](const std::string& why) {
        TakeTraces();
        JR_CongatecIC170SBCController controller;
        controller.SetBacklightBrightness(5);
        EXPECT_TRUE(AnyContains(TakeTraces(), why)) << why;
        EXPECT_EQ(board.TakeCalls(), "");
        return controller.GetCPUTemp() == kNone && controller.GetSystemTemp() == kNone &&
               !controller.HasLVDS() && controller.LookupTKVBrightness(70) == 70;
    };
    board.Describe("CgosBoardOpen = !0\n");
    EXPECT_TRUE(isInert("check failed"));
    board.Describe("CgosLibInitialize = !0\n");
    EXPECT_TRUE(isInert("check failed"));
    NorvikLibInternal::GetLibraryCalls().find = [](HMODULE library, LPCSTR name) {
        return std::strcmp(name, gMissing) ? ::GetProcAddress(library, name) : nullptr;
    };
#define NORVIK_NAME(name, ...) #name,
    for (const char* missing : {NORVIK_CGOS_ENTRIES(NORVIK_NAME)}) {
        gMissing = missing;
        EXPECT_TRUE(isInert(std::string("Cgos.dll has no entry point ") + missing + ".\n"));
    }
    ::SetDllDirectoryA(nullptr);
    EXPECT_TRUE(isInert("SBC library Cgos.dll cannot be loaded, error: 0000007e\n"));
    const JR_PortwellWade8132SBCController portwell;
    EXPECT_TRUE(AnyContains(TakeTraces(), "SBC library PETx64.dll cannot be loaded, error: 0000007e\n"));
    EXPECT_TRUE(portwell.GetCPUTemp() == kNone && portwell.GetSystemTemp() == kNone &&
                portwell.GetMemoryTemp() == kNone && portwell.GetChipsetTemp() == kNone);
}

}  // namespace
