// What JR_ShellApp says of the machine's state: a pending restart, processor and memory.

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_RegistryCalls.h"
#include "Shared/Internal/JR_ExamineMachine.h"
#include "Shared/Internal/JR_ShellCalls.h"
#include "Shared/JR_ShellApp.h"

using namespace NorvikLibInternal;

namespace {

constexpr char cFailureFile[] = "C:\\TestRAMFailure.txt";

class RunningMachine : public MemorySource {
public:
    EMotherboard GetBoard() override { return JR_ShellApp::GetMotherboard(nullptr); }
    bool IsEmbedded() override { return JR_ShellApp::IsWindowsEmbedded(); }
    EEngineProcessorType GetProcessor() override { return JR_ShellApp::GetEngineProcessorType(); }
};

bool HasValue(HKEY key, const char* name) {
    return GetRegistryCalls().queryValue(key, name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

bool HoldsAnything(HKEY key) {
    DWORD subkeys = 0, values = 0;
    return GetRegistryCalls().queryInfo(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                                        nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
           (subkeys != 0 || values != 0);
}

}  // namespace

// The key is created when it is missing, and flushed before it is read: programs found it so afterwards from the first
// release on.
bool NorvikLibInternal::ShowsRestartNeeded(const RestartSign& sign) {
    const RegistryCalls& calls = GetRegistryCalls();
    HKEY key = nullptr;
    if (calls.createKey(HKEY_LOCAL_MACHINE, sign.key, 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr) !=
        ERROR_SUCCESS) {
        return false;
    }
    calls.flushKey(key);
    const bool isThere = sign.value != nullptr ? HasValue(key, sign.value) : HoldsAnything(key);
    calls.closeKey(key);
    return isThere;
}

bool JR_ShellApp::IsRestartNecessary() {
    for (const RestartSign& sign : kRestartSigns) {
        if (!ShowsRestartNeeded(sign)) continue;
        Cmn_Trace("Need to reboot for the key: '%s'\n", sign.key);
        return true;
    }
    return false;
}

EEngineProcessorType JR_ShellApp::GetEngineProcessorType() {
    return ClassifyProcessor(GetShellCalls().getBrand().View());
}

unsigned int JR_ShellApp::GetRAMRequirement(ESystemType system, unsigned int cpuCount, bool& outFlag) {
    RunningMachine machine;
    const MemoryVerdict verdict = DecideMemory(system, cpuCount, machine);
    outFlag = verdict.flag;
    if (verdict.trace != nullptr) Cmn_Trace("%s", verdict.trace);
    if (verdict.failedCheck != nullptr) VerifyFailed(verdict.failedCheck, CMN_SOURCE_FILE, __LINE__);
    return verdict.required;
}

unsigned int JR_ShellApp::GetRAMSize() {
    MEMORYSTATUSEX memInfo = {};
    memInfo.dwLength = sizeof memInfo;
    if (!GetShellCalls().getMemory(&memInfo)) {
        VerifyFailed("::GlobalMemoryStatusEx(&memInfo)", CMN_SOURCE_FILE, __LINE__);
        return 0;
    }
    return static_cast<unsigned int>(ToGigabytes(memInfo.ullTotalPhys));
}

bool JR_ShellApp::CheckIfRAMIsOK(unsigned int cpuCount, unsigned int& outInstalled, unsigned int& outRequired,
                                 bool& outFlag) {
    outRequired = GetRAMRequirement(GetSystemType(), cpuCount, outFlag);
    outInstalled = Cmn_FS::IsFile(cFailureFile) ? outRequired / 2 : GetRAMSize();
    return outInstalled >= outRequired;
}
