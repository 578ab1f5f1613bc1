#include "Shared/JR_ShellApp.h"

#include <atomic>
#include <string_view>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Preferences.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "Shared/Internal/JR_ExamineBoard.h"
#include "Shared/Internal/JR_ShellCalls.h"

using namespace NorvikLibInternal;

namespace {

constexpr int cFirstReadCheckLine = 1087;  // of four
constexpr int cNameLine = 1136;
constexpr int cSignatureLine = 1159;
constexpr int cOpenLine = 1545, cWriteLine = 1548, cBroadcastLine = 1556;

constexpr DWORD cLongestVariable = 4096;  // with its terminator
constexpr UINT cBroadcastLimit = 1000;    // ms for each window

class Firmware : public BoardSource {
public:
    bool Open() {
        return mKey.Open(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\BIOS", eRegistryAccess_ReadOnly);
    }
    bool Read(const char* name, Cmn_String& outValue) override { return mKey.Read(name, outValue); }
    bool IsFile(const char* path) override { return Cmn_FS::IsFile(path); }

private:
    Cmn_Registry mKey;
};

// What an unrecognised board leaves in the log.
void TraceUnrecognised(const BoardVerdict& verdict) {
    for (std::size_t i = 0; i < kFirmwareValues.size(); ++i) {
        if (!verdict.wasRead[i])
            Cmn_Assert::FailedCheck(kFirmwareValues[i].readCheck, CMN_SOURCE_FILE,
                                    cFirstReadCheckLine + static_cast<int>(i));
    }
    Cmn_Trace("Unrecognized motherboard:\n");
    for (std::size_t i = 0; i < kFirmwareValues.size(); ++i)
        Cmn_Trace("%s: %s.\n", kFirmwareValues[i].name, verdict.values[i].c_str());
    if (verdict.warning != nullptr) Cmn_Warning("%s", verdict.warning);
}

bool ReadText(const char* path, const char* name, const char* expected) {
    Cmn_Registry key;
    Cmn_String value;
    return key.Open(HKEY_LOCAL_MACHINE, path, eRegistryAccess_ReadOnly) && key.Read(name, value) &&
           value == expected;
}

class Machine : public SystemSource {
public:
    std::optional<uint32_t> ReadSetting(const char* name) override {
        int value = 0;
        if (!Cmn_Preferences::Get(name, value)) return std::nullopt;
        return static_cast<uint32_t>(value);
    }
    bool IsTdiDllPresent() override {
        return Cmn_FolderFinder::IsModulePresent("TDI.dll") ||
               Cmn_FolderFinder::IsModulePresent("..\\TDI.dll");
    }
    bool IsEmbedded() override { return JR_ShellApp::IsWindowsEmbedded(); }
    EMotherboard GetBoard(bool& outSuspectUnconfigured) override {
        return JR_ShellApp::GetMotherboard(&outSuspectUnconfigured);
    }
};

// The names are those that the reports are known by.
bool WriteMachineVariable(const Cmn_String& inVariableName, const Cmn_String& inValue) {
    Cmn_Registry reg;
    if (!reg.Open(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Control\\Session Manager\\Environment",
                  eRegistryAccess_AllOperations)) {
        return VerifyFailed(
            "reg.Open(HKEY_LOCAL_MACHINE, _T(\"System\\\\CurrentControlSet\\\\Control\\\\Session "
            "Manager\\\\Environment\"), eRegistryAccess_AllOperations)",
            CMN_SOURCE_FILE, cOpenLine);
    }
    return CMN_VERIFY_AT(cWriteLine, reg.Write(inVariableName, inValue));
}

const BoardKind* FindKindOrReport(EMotherboard board, int line) {
    const BoardKind* kind =
        FindBoardKind(board == eMB_Running ? JR_ShellApp::GetMotherboard(nullptr) : board);
    if (kind == nullptr) VerifyFailed("false", CMN_SOURCE_FILE, line);
    return kind;
}

}  // namespace

BoardVerdict NorvikLibInternal::ExamineBoard() {
    Firmware firmware;
    if (firmware.Open()) return DecideBoard(firmware);
    BoardVerdict verdict;
    verdict.evidence = "the registry has no key for the firmware";
    return verdict;
}

// The answer is kept before anything is said about it: a report may ask for it, and who comes second finds it. Two
// threads that come first both look, and one of them speaks.
EMotherboard JR_ShellApp::GetMotherboard(bool* outSuspectUnconfigured) {
    constexpr int32_t cSuspect = 0x100;  // beside the board's number, so that both are one answer
    static std::atomic<int32_t> sAnswer{-1};
    int32_t answer = sAnswer.load();
    if (answer == -1) {
        const BoardVerdict verdict = ExamineBoard();
        const int32_t mine = verdict.board | (verdict.isSuspectUnconfigured ? cSuspect : 0);
        const bool isFirst = sAnswer.compare_exchange_strong(answer, mine);
        if (isFirst) answer = mine;
        if (isFirst && verdict.isUnrecognised) TraceUnrecognised(verdict);
    }
    if (outSuspectUnconfigured != nullptr) *outSuspectUnconfigured = (answer & cSuspect) != 0;
    return static_cast<EMotherboard>(answer & ~cSuspect);
}

const char* JR_ShellApp::GetMotherboardName(EMotherboard board) {
    const BoardKind* kind = FindKindOrReport(board, cNameLine);
    return kind != nullptr ? kind->name : "???";
}

const char* JR_ShellApp::GetMotherboardSignature(EMotherboard board) {
    const BoardKind* kind = FindKindOrReport(board, cSignatureLine);
    return kind != nullptr ? kind->signature : "";
}

ESystemType JR_ShellApp::GetSystemType() {
    static std::atomic<int32_t> sType{-1};
    const int32_t known = sType.load();
    if (known >= 0) return static_cast<ESystemType>(known);
    Machine machine;
    const SystemVerdict verdict = DecideSystemType(machine);
    sType = verdict.type;
    if (verdict.failedCheck != nullptr) VerifyFailed(verdict.failedCheck, CMN_SOURCE_FILE, __LINE__);
    return verdict.type;
}

bool JR_ShellApp::IsWindowsEmbedded() {
    static std::atomic<int> sEmbedded{-1};
    if (sEmbedded.load() == -1) {
        sEmbedded = ReadText("Software\\Microsoft\\Windows NT\\CurrentVersion", "EditionID", "Embedded") ||
                    ReadText("Software\\Microsoft\\Windows\\CurrentVersion\\OEMInformation", "Manufacturer",
                             "Kestra Technology, Inc");
    }
    return sEmbedded.load() != 0;
}

bool JR_ShellApp::IsStandAlone() {
    return GetSystemType() == eSystem_Standalone;
}

bool JR_ShellApp::IsWine(Cmn_String* outVersion) {
    const bool isWine = NorvikLibInternal::IsWine();
    const char* const version = isWine ? GetWineVersion() : nullptr;
    if (outVersion != nullptr) *outVersion = version != nullptr ? version : "";
    return isWine;
}

Cmn_String JR_ShellApp::GetEnvironmentVariableA(const Cmn_String& name, const Cmn_String& fallback) {
    char value[cLongestVariable];
    const DWORD length = ::GetEnvironmentVariableA(name, value, sizeof value);
    if (length == 0) return fallback;
    // The platform's answer is then the size that it wants, and what is in the buffer is anything.
    if (length >= sizeof value) {
        Cmn_Trace("The environment variable %s is too long: %lu characters\n", name.c_str(), length - 1);
        return fallback;
    }
    return Cmn_String(std::string_view(value, length));
}

bool JR_ShellApp::SetEnvironmentVariableA(const Cmn_String& name, const Cmn_String& value, bool broadcast) {
    if (!WriteMachineVariable(name, value)) return false;
    if (!broadcast) return true;
    DWORD_PTR result = 0;
    if (GetShellCalls().sendTimeout(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                                    reinterpret_cast<LPARAM>("Environment"), SMTO_NORMAL, cBroadcastLimit,
                                    &result) != 0) {
        return true;
    }
    return VerifyFailed(
        "::SendMessageTimeout(HWND_BROADCAST, WM_SETTINGCHANGE, NULL, (LPARAM)_T(\"Environment\"), "
        "SMTO_NORMAL, 1000, &result)",
        CMN_SOURCE_FILE, cBroadcastLine);
}
