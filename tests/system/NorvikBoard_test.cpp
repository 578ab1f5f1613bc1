// The tool on machines that look like each of the boards, with simulated hardware: how board, system and controller
// follow from registry and files, each time in a process that asks for the first time.

#include <gmock/gmock.h>

#include <cstdlib>

#include "JRCmn/Cmn_FS.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/SimulatedBoard.h"

namespace {

using testing::HasSubstr;

std::string LogOf(const TempFolder& folder) {
    std::string text;
    for (const Cmn_String& name : Cmn_FS::ListFiles(folder.Path("Logs").c_str(), "*"))
        text += ReadWholeFile(folder.Path("Logs\\") + name.c_str());
    return text;
}

TEST(MachineNorvikBoard, ShowsWhichMachineItIs) {
    const std::string path = std::getenv("PATH"),
                      folders = StandinFolder("eapi") + ";" + StandinFolder("cgos") + ";";
    ::SetEnvironmentVariableA("PATH", (folders + path).c_str());
    const std::string beside = StandinFolder("") + "..\\TDI.dll";
    const struct {
        const char *product, *marker, *edition, *maker;
        int forced, standalone;  // -1 is not set
        const char *system, *board, *controller, *reading, *log;
    } cases[] = {
        {"MITX-CORE-810/820", "", "Embedded", "", -1, -1, "console", "Emerson MITX-CORE-810/820",
         "JR_EmersonSBCController", "CPU Fan             2280 rpm\n",
         "Creating Emerson MITX Core 810 SBC controller...\r\n"},
        {"", "C:\\HalvaneConsole2.txt", "Professional", "Kestra Technology, Inc", -1, -1, "console",
         "Congatec IC170", "JR_CongatecIC170SBCController", "CPU             54 C\n",
         "Creating Congatec IC-170 SBC controller...\r\n"},
        {"WADE-8132-K7R", "", "Embedded", "", -1, 1, "console", "Portwell WADE-8132",
         "JR_PortwellWade8132SBCController", "CPU      not measured\n",
         "Creating Portwell WADE-8132 SBC controller...\r\n"},
        {"MITX-CORE-810/820", "", "Professional", "kestra Technology, Inc", 2, -1, "console",
         "Emerson MITX-CORE-810/820", "none", "", ""},
        {"IC17X", "", "", "", -1, 0, "standalone PC", "Congatec IC170", "none", "",
         "'isTdiDllPresent' failed in Shared\\JR_ShellApp.cpp("},
        {"IC17X", beside.c_str(), "", "", -1, 0, "console", "Congatec IC170", "none", "", ""},
        {"x", "", "Embedded", "", 2, -1, "console", "Unknown", "none", "",
         "'!\"unsupported motherboard!\"' failed in Shared\\JR_SBCControllerFactory.cpp(56)."},
    };
    for (const auto& c : cases) {
        MachineSettings machine;
        machine.SetText(kFirmwareKey, "BaseBoardProduct", c.product);
        if (*c.marker) machine.MakeFile(c.marker);
        machine.SetText(kWindowsKey, "EditionID", c.edition);
        machine.SetText(kMakerKey, "Manufacturer", c.maker);
        if (c.forced >= 0) machine.SetNumber(kSettings, "Force System Type", static_cast<DWORD>(c.forced));
        if (c.standalone >= 0)
            machine.SetNumber(kSettings, "Standalone Mode", static_cast<DWORD>(c.standalone));

        const TempFolder folder;
        ChildProcess tool("norvik.exe", {"board"}, folder.Path());
        EXPECT_EQ(tool.Wait(30'000), 0);
        const std::string output = tool.Output(), log = LogOf(folder);
        EXPECT_THAT(output, HasSubstr(std::string("System      ") + c.system + "\n"));
        EXPECT_THAT(output, HasSubstr(std::string("Board       ") + c.board + "\n"));
        EXPECT_THAT(output, HasSubstr(std::string("Controller  ") + c.controller + "\n"));
        EXPECT_THAT(output, HasSubstr(c.reading));
        EXPECT_THAT(log, HasSubstr(c.log));
        EXPECT_EQ(log.find("SBC") == log.npos && log.find("Verify") == log.npos, *c.log == '\0') << log;
    }
    ::SetEnvironmentVariableA("PATH", path.c_str());
}

}  // namespace
