// norvik machine on a console that lacks memory and wants a restart.

#include <gmock/gmock.h>

#include "Shared/Internal/JR_ShellRules.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MachineSettings.h"

namespace {

using testing::HasSubstr;

TEST(MachineNorvikMachine, SaysWhatIsMissingAndWhyToRestart) {
    for (const char* product : {"MITX-CORE-810/820", "IC17X"}) {
        MachineSettings machine;
        const bool isEmerson = *product == 'M';
        machine.SetText(kFirmwareKey, "BaseBoardProduct", product);
        machine.SetNumber(kSettings, "Force System Type", 2);
        if (isEmerson) {
            machine.MakeFile("C:\\TestRAMFailure.txt");
            machine.SetText(NorvikLibInternal::kRestartSigns[1].key, "PendingFileRenameOperations", "x");
            machine.SetText(NorvikLibInternal::kRestartSigns[3].key, "norvik", "x");
        }
        ChildProcess tool("norvik.exe", {"machine", "--cores", "7"});
        EXPECT_EQ(tool.Wait(30'000), isEmerson ? 1 : 0);
        const std::string output = tool.Output();
        EXPECT_THAT(output, HasSubstr("System            console\n"));
        EXPECT_THAT(output, HasSubstr("Cores             7\n"));
        EXPECT_THAT(output, HasSubstr(isEmerson ? "4 GB, 8 GB required: NOT ENOUGH (flag cleared)\n"
                                                : " GB, 8 GB required\n"));
        EXPECT_THAT(
            output,
            HasSubstr(isEmerson
                          ? "needed: HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session "
                            "Manager, value PendingFileRenameOperations\n                  and "
                            "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx\n"
                          : "Restart           not needed\n"));
    }
}

}  // namespace
