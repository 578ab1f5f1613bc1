// norvik machine on a console that lacks memory and wants a restart.

#include <gmock/gmock.h>

#include "JRCmn/Cmn_Registry.h"
#include "Shared/Internal/JR_ShellRules.h"
#include "Shared/JR_ShellApp.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MachineSettings.h"

namespace {

using testing::EndsWith;
using testing::StartsWith;

TEST(MachineNorvikMachine, SaysWhatIsMissingAndWhyToRestart) {
    MachineSettings machine;
    machine.SetText(kFirmwareKey, "BaseBoardProduct", "MITX-CORE-810/820");
    machine.SetText(kWindowsKey, "EditionID", "Embedded");
    machine.SetNumber(kSettings, "Force System Type", 2);
    machine.MakeFile("C:\\TestRAMFailure.txt");
    machine.SetText(NorvikLibInternal::kRestartSigns[1].key, "PendingFileRenameOperations", "x");
    machine.SetText(NorvikLibInternal::kRestartSigns[3].key, "norvik", "x");
    ChildProcess tool("norvik.exe", {"machine", "--cores", "7"});
    EXPECT_EQ(tool.Wait(30'000), 1);
    Cmn_String wine, brand;
    if (!JR_ShellApp::IsWine(&wine)) wine = "no";
    Cmn_Registry key;
    key.Open(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
             eRegistryAccess_ReadOnly);
    EXPECT_TRUE(key.Read("ProcessorNameString", brand));
    const bool isEngine = JR_ShellApp::GetEngineProcessorType() != eEngineProcessor_Unknown;
    const std::string engine = isEngine ? "" : "none of the engines'\n";
    const std::string begin =
        "System            console\nBoard             Emerson MITX-CORE-810/820\n"
        "Windows           embedded\nWine              ";
    EXPECT_THAT(tool.Output(), StartsWith(begin + wine.c_str() + "\nProcessor         " + brand.c_str() +
                                          "\nEngine processor  " + engine));
    EXPECT_THAT(tool.Output(),
                EndsWith("\nCores             7\n"
                         "Memory            4 GB, 8 GB required: NOT ENOUGH (flag cleared)\n"
                         "Restart           needed: HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\"
                         "Session Manager, value PendingFileRenameOperations\n                  and "
                         "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx\n"));
}

}  // namespace
