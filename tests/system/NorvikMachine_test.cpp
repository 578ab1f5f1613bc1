// The tool on machines of several kinds: what it says of them, and what it changes. A process asks its machine once, so each
// answer is a process's.

#include <gmock/gmock.h>

#include <cstdlib>

#include "JRCmn/Cmn_DisplayManager.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Registry.h"
#include "Shared/Internal/JR_ShellRules.h"
#include "Shared/JR_ShellApp.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/SimulatedBoard.h"

namespace {

using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::Not, testing::StartsWith;

// Exit code and output.
std::string Norvik(const Arguments& words, const TempFolder& folder = {}) {
    return RunProgram("norvik.exe", words, folder.Path());
}

// How board, system and controller follow from registry and files, with simulated hardware.
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
        EXPECT_THAT(
            Norvik({"board"}, folder),
            AllOf(StartsWith("0 "), HasSubstr(std::string("System      ") + c.system + "\n"),
                  HasSubstr(std::string("Board       ") + c.board + "\n"),
                  HasSubstr(std::string("Controller  ") + c.controller + "\n"), HasSubstr(c.reading)));
        std::string log;
        for (const Cmn_String& name : Cmn_FS::ListFiles(folder.Path("Logs").c_str(), "*"))
            log += ReadWholeFile(folder.Path("Logs\\") + name.c_str());
        EXPECT_THAT(log, HasSubstr(c.log));
        EXPECT_EQ(log.find("SBC") == log.npos && log.find("Verify") == log.npos, *c.log == '\0') << log;
    }
    ::SetEnvironmentVariableA("PATH", path.c_str());
}

// A console that lacks memory and wants a restart.
TEST(MachineNorvikMachine, SaysWhatIsMissingAndWhyToRestart) {
    MachineSettings machine;
    machine.SetText(kFirmwareKey, "BaseBoardProduct", "MITX-CORE-810/820");
    machine.SetText(kWindowsKey, "EditionID", "Embedded");
    machine.SetNumber(kSettings, "Force System Type", 2);
    machine.MakeFile("C:\\TestRAMFailure.txt");
    machine.SetText(NorvikLibInternal::kRestartSigns[1].key, "PendingFileRenameOperations", "x");
    machine.SetText(NorvikLibInternal::kRestartSigns[3].key, "norvik", "x");
    Cmn_String wine, brand;
    if (!JR_ShellApp::IsWine(&wine)) wine = "no";
    Cmn_Registry key;
    key.Open(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
             eRegistryAccess_ReadOnly);
    EXPECT_TRUE(key.Read("ProcessorNameString", brand));
    const bool isEngine = JR_ShellApp::GetEngineProcessorType() != eEngineProcessor_Unknown;
    const std::string engine = isEngine ? "" : "none of the engines'\n";
    const std::string begin =
        "1 System            console\nBoard             Emerson MITX-CORE-810/820\n"
        "Windows           embedded\nWine              ";
    EXPECT_THAT(
        Norvik({"machine", "--cores", "7"}),
        AllOf(StartsWith(begin + wine.c_str() + "\nProcessor         " + brand.c_str() +
                         "\nEngine processor  " + engine),
              EndsWith("\nCores             7\n"
                       "Memory            4 GB, 8 GB required: NOT ENOUGH (flag cleared)\n"
                       "Restart           needed: HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\"
                       "Session Manager, value PendingFileRenameOperations\n                  and "
                       "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx\n")));
}

TEST(NorvikDisplays, DrawsExamplesToScale) {
    const TempFolder folder;
    const std::string picture = folder.Path("new & picture.svg");
    EXPECT_THAT(Norvik({"displays", "--example", "new", "--svg", picture}),
                AllOf(StartsWith("0 Example, not this machine: new "),
                      HasSubstr("External GUI  1920x1200 at (0, 0), primary -> 1920x1080 at (-1920, 0)\n")));
    EXPECT_THAT(ReadWholeFile(picture),
                AllOf(HasSubstr(">After norvik displays arrange<"), HasSubstr(">External GUI<"),
                      HasSubstr(">at (-1920, 0)<"), EndsWith("</svg>\n")));
    EXPECT_THAT(
        Norvik({"displays", "--example", "right"}),
        AllOf(HasSubstr("+-----------------------------+--------------------------------------------+\n"),
              HasSubstr("|            1 TKV            |"), HasSubstr("Everything is in its place.")));
    EXPECT_THAT(
        Norvik({"displays", "--example", "unplugged"}),
        HasSubstr("Nothing would move, but not everything is in its place:\n  External GUI  not seen\n"));
    EXPECT_THAT(Norvik({"displays", "arrange", "--example", "left"}), StartsWith("2 "));
    EXPECT_THAT(Norvik({"displays", "--example", "left", "--svg", folder.Path("no\\such.svg")}),
                StartsWith("1 "));
}

// One display, which takes no other resolution here.
TEST(MachineNorvikDisplays, ArrangesTheMachinesOwn) {
    // Under Wine, who asks first starts the desktop's process, which would hold a child's output open.
    const Cmn_DisplayManager desktop;
    MachineSettings machine;
    machine.SetText(kWindowsKey, "EditionID", "Embedded");
    machine.SetText(kFirmwareKey, "BaseBoardProduct", "IC17X");
    machine.SetNumber(kSettings, "Force System Type", 2);
    machine.SetNumber(kSettings, "TKV Display Is Present", 0);
    machine.SetNumber(kSettings, "DisplayNumber1", 1);
    EXPECT_THAT(Norvik({"displays"}),
                AllOf(StartsWith("0 "), HasSubstr("(a console without built-in screen)"),
                      HasSubstr("1 External GUI"), HasSubstr(" -> 1920x1080 at (0, 0)")));
    machine.Remove(kSettings, "TKV Display Is Present");  // as before the shell's first start
    EXPECT_THAT(Norvik({"displays", "arrange"}),
                AllOf(StartsWith("1 "), HasSubstr("(a console with built-in screen (TKV))"),
                      HasSubstr("Nothing was changed; --yes arranges without a question.")));
    EXPECT_THAT(Norvik({"displays", "arrange", "--yes"}),
                AllOf(StartsWith("1 "), HasSubstr("the displays could not be arranged")));
}

TEST(NorvikToggles, SetSwitchesWhatLaterProgramsSee) {
    const TempFolder folder;
    const auto set = [&](const char* feature, const char* value) {
        return Norvik({"toggles", "set", feature, value}, folder);
    };
    EXPECT_THAT(Norvik({"toggles"}, folder), AllOf(HasSubstr("CueTimeline"), Not(HasSubstr("*"))));
    EXPECT_THAT(set("CueTimeline", "1"), HasSubstr("0 CueTimeline is 1 "));
    EXPECT_THAT(set("FanSpeedControl", "0"), HasSubstr("0 FanSpeedControl is 0 "));
    EXPECT_THAT(set("cuetimeline", "1"), HasSubstr("no feature 'cuetimeline'"));
    EXPECT_THAT(set("CueTimeline", "true"), StartsWith("2 "));
    EXPECT_EQ(ReadWholeFile(folder.Path("AutoSave\\ft.dat")), "CueTimeline:1\nFanSpeedControl:0\n");
    EXPECT_THAT(Norvik({"toggles"}, folder),
                HasSubstr("\n*  150  FanSpeedControl                 0        1  Quiet"));
    EXPECT_THAT(Norvik({"toggles", "--public"}, folder),
                AllOf(HasSubstr("\n*   48  Cue"), Not(HasSubstr("FanSpeed"))));
}

}  // namespace
