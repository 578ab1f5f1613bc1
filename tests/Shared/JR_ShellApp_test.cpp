#include "Shared/JR_ShellApp.h"

#include <gmock/gmock.h>

#include "Shared/Internal/JR_ExamineBoard.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;

TEST(MachineShellApp, FirmwareValuesMayBeAnythingInTheRegistry) {
    MachineSettings machine;
    for (const FirmwareValue& value : kFirmwareValues)
        machine.SetText(kFirmwareKey, value.name, "usual");
    const std::string large(1 << 20, 'x');
    const struct {
        DWORD type;
        std::string bytes;
        bool isRead;
        std::string text;
    } kinds[] = {
        {REG_DWORD, "abcd", false, ""},   {REG_SZ, "unterminated", true, "unterminated"},
        {REG_SZ, large + "x", false, ""}, {REG_SZ, large, true, large},
        {REG_BINARY, "AIC", false, ""},   {REG_SZ, "", true, ""},
        {REG_EXPAND_SZ, "a", true, "a"},  {REG_NONE, "", false, ""},  // removed
    };
    for (size_t i = 0; i < kFirmwareValues.size(); ++i) {
        for (const auto& kind : kinds) {
            const char* name = kFirmwareValues[i].name;
            kind.type == REG_NONE ? machine.Remove(kFirmwareKey, name)
                                  : machine.Set(kFirmwareKey, name, kind.type, kind.bytes);
            const BoardVerdict verdict = ExamineBoard();
            EXPECT_TRUE(verdict.board == eMB_Unknown && verdict.isUnrecognised);
            for (size_t j = 0; j < kFirmwareValues.size(); ++j) {
                EXPECT_EQ(verdict.wasRead[j], j != i || kind.isRead) << name << " " << kind.type;
                EXPECT_TRUE(verdict.values[j] == (j == i ? kind.text : "usual").c_str())
                    << name << " " << kind.type;
            }
        }
        machine.SetText(kFirmwareKey, kFirmwareValues[i].name, "usual");
    }
}

TEST(MachineShellApp, AMarkerFileForcesABoardAndAFolderOfItsNameDoesNot) {
    MachineSettings machine;
    machine.SetText(kFirmwareKey, "BaseBoardProduct", "none of ours");
    machine.MakeFolder("C:\\HalvaneConsole.txt");
    EXPECT_EQ(ExamineBoard().board, eMB_Unknown);
    machine.MakeFile("C:\\halvaneconsole2.TXT");
    EXPECT_EQ(ExamineBoard().board, eMB_CongatecIC170);
}

TEST(MachineShellApp, AnswersOnceInAProcess) {
    MachineSettings machine;
    machine.Remove(kFirmwareKey, "BaseBoardProduct");
    machine.SetText(kFirmwareKey, "BaseBoardManufacturer", "other");
    machine.SetText(kFirmwareKey, "SystemManufacturer", "Insyde");
    machine.SetText(kFirmwareKey, "SystemProductName", "Grantley");
    machine.SetText(kWindowsKey, "EditionID", "Embedded");
    machine.SetNumber(kSettings, "Force System Type", 0x80000001);
    for (const char* product : {"", "IC17X"}) {
        bool isSuspect = false;
        EXPECT_TRUE(JR_ShellApp::GetMotherboard(&isSuspect) == eMB_AICPhoenix && isSuspect);
        EXPECT_STREQ(JR_ShellApp::GetMotherboardName(eMB_Running), "Halvane Engine AIC Phoenix");
        EXPECT_STREQ(JR_ShellApp::GetMotherboardSignature(eMB_Running), "-se");
        EXPECT_TRUE(JR_ShellApp::IsWindowsEmbedded());
        EXPECT_EQ(ReportedOnce("SMBIOS doesn't report proper manufacturer, but we suspect AIC Phoenix."),
                  !*product);
        std::string traces;
        for (const std::string& line : TakeTraces())
            traces += line.substr(line.find('\'') + 1);
        EXPECT_EQ(traces,
                  *product
                      ? ""
                      : "reg.Read(\"BaseBoardProduct\", product)' check failed in Shared\\JR_ShellApp.cpp"
                        "(1087).\nUnrecognized motherboard:\nBaseBoardProduct: .\nBaseBoardManufacturer: "
                        "other.\nSystemManufacturer: Insyde.\nSystemProductName: Grantley.\n");
        machine.SetText(kFirmwareKey, "BaseBoardProduct", "IC17X");
        machine.SetText(kWindowsKey, "EditionID", "Professional");
    }
    EXPECT_EQ(static_cast<int>(JR_ShellApp::GetSystemType()), static_cast<int>(0x80000001))
        << "asked anew each time";
    for (const unsigned type : {77u, 2u}) {
        machine.SetNumber(kSettings, "Force System Type", type);
        EXPECT_EQ(static_cast<int>(JR_ShellApp::GetSystemType()), 77) << "kept";
    }
    for (const int number : {7, -2}) {
        EXPECT_STREQ(JR_ShellApp::GetMotherboardName(static_cast<EMotherboard>(number)), "???");
        EXPECT_TRUE(ReportedOnce("'false' failed in Shared\\JR_ShellApp.cpp(1136)"));
        EXPECT_STREQ(JR_ShellApp::GetMotherboardSignature(static_cast<EMotherboard>(number)), "");
        EXPECT_TRUE(ReportedOnce("'false' failed in Shared\\JR_ShellApp.cpp(1159)"));
    }
}

}  // namespace
