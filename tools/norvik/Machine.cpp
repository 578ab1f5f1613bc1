// norvik machine: what the computer is, whether it has what it needs, and whether Windows wants to be restarted.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_InstructionSet.h"
#include "Shared/Internal/JR_ExamineMachine.h"
#include "Shared/JR_ShellApp.h"
#include "tools/norvik/SystemName.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Rows = std::vector<std::vector<std::string>>;

// Processor cores, two threads of one core counted once; 0 when the platform does not say.
unsigned int CountCores() {
    DWORD size = 0;
    ::GetLogicalProcessorInformation(nullptr, &size);
    std::vector<SYSTEM_LOGICAL_PROCESSOR_INFORMATION> parts(size /
                                                            sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION));
    if (!::GetLogicalProcessorInformation(parts.data(), &size)) return 0;
    parts.resize(size / sizeof parts[0]);
    return static_cast<unsigned int>(std::count_if(parts.begin(), parts.end(), [](const auto& part) {
        return part.Relationship == RelationProcessorCore;
    }));
}

std::string WineText() {
    Cmn_String version;
    if (!JR_ShellApp::IsWine(&version)) return "no";
    return version.IsEmpty() ? "yes" : version.c_str();
}

std::string ProcessorClass(EEngineProcessorType type) {
    const char* const names[] = {"E5-2620 v3", "E5-2640 v3",  "E5-2680 v3",   "E5-2620 v4",
                                 "E5-2640 v4", "Silver 4310", "Silver 4310T", "Gold 6326"};
    return type == eEngineProcessor_Unknown ? "none of the engines'" : names[type];
}

// A line for each sign that is there, the first one behind the answer.
void AddRestart(Rows& rows) {
    const char *title = "Restart", *beginning = "needed: ";
    for (const NorvikLibInternal::RestartSign& sign : NorvikLibInternal::kRestartSigns) {
        if (!NorvikLibInternal::ShowsRestartNeeded(sign)) continue;
        std::string line = beginning;
        line.append("HKEY_LOCAL_MACHINE\\").append(sign.key);
        if (sign.value != nullptr) line.append(", value ").append(sign.value);
        rows.push_back({title, line});
        title = "", beginning = "and ";
    }
    if (*title != '\0') rows.push_back({title, "not needed"});
}

// Whether there is enough of it.
bool AddMemory(Rows& rows, unsigned int cores) {
    unsigned int installed = 0, required = 0;
    bool flag = false;
    const bool isEnough = JR_ShellApp::CheckIfRAMIsOK(cores, installed, required, flag);
    const std::string need =
        required != 0 ? std::to_string(required) + " GB required" : "requirement unknown";
    rows.push_back({"Memory", std::to_string(installed) + " GB, " + need + (isEnough ? "" : ": NOT ENOUGH") +
                                  (flag ? "" : " (flag cleared)")});
    return isEnough;
}

int RunMachine(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const uint64_t most = std::numeric_limits<unsigned int>::max();
    const auto cores = static_cast<unsigned int>(std::min(arguments.Number("--cores", CountCores()), most));
    Rows rows = {{"System", SystemName(JR_ShellApp::GetSystemType())},
                 {"Board", JR_ShellApp::GetMotherboardName(eMB_Running)},
                 {"Windows", JR_ShellApp::IsWindowsEmbedded() ? "embedded" : "not embedded"},
                 {"Wine", WineText()},
                 {"Processor", Cmn_InstructionSet::GetBrand().c_str()},
                 {"Engine processor", ProcessorClass(JR_ShellApp::GetEngineProcessorType())},
                 {"Cores", std::to_string(cores)}};
    const bool isEnough = AddMemory(rows, cores);
    AddRestart(rows);
    PrintTable("ll", rows);
    return isEnough ? cSuccess : cFailure;
}

}  // namespace

extern const Verb cMachineVerb;
const Verb cMachineVerb{
    "machine",
    "",
    "what the computer is, its memory, and whether Windows wants a restart",
    "Prints the kind of system, board, Windows and Wine, processor, the memory that is there\n"
    "and that has to be, and the registry keys because of which Windows wants to be restarted.\n"
    "Those of these keys that are missing are created, empty. Exit code 1 when memory is missing.\n",
    {{"--cores", "N", "as if there were N processor cores; the memory of some engines goes by them"}},
    &RunMachine};

}  // namespace NorvikTool
