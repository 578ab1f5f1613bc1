#pragma once

// The rules of the shell services: how the shell's window is known, which commands call back, which processor and how much
// memory an engine or console has to have. Pure.
//
//   const MemoryVerdict verdict = DecideMemory(eSystem_Engine, cpuCount, source);
//   if (verdict.failedCheck) VerifyFailed(verdict.failedCheck, CMN_SOURCE_FILE, __LINE__);
//
// Threads:   any
// Ownership: texts are literals
// Errors:    as MemoryVerdict says
// Units:     gigabytes of 2^30 bytes, rounded up

#include <array>
#include <cstdint>
#include <string_view>

#include "JRCmn/Cmn_Export.h"
#include "Shared/JR_SystemKinds.h"

namespace NorvikLibInternal {

// ---- The shell's window, which takes the commands. Class and title are all that it is known by.
inline constexpr char kShellWindowClass[] = "STATIC";
inline constexpr char kShellWindowTitle[] =
    "Shell App Event & Shortcut Processing Window {58D7A56B-1816-4c14-A0B4-AEF0CB495D42}";
// The first message that programs may use for themselves: command and argument are its parameters.
inline constexpr unsigned int kShellMessage = 0x8000;

// Whether a command of this number notifies the software-restart callback.
NORVIK_API bool NotifiesRestartCallback(int32_t command);

// ---- The engine's processor, from the processor's name of itself.
NORVIK_API EEngineProcessorType ClassifyProcessor(std::string_view brand);

// ---- Memory.
NORVIK_API uint64_t ToGigabytes(uint64_t bytes);

class MemorySource {
public:
    virtual ~MemorySource() = default;
    virtual EMotherboard GetBoard() = 0;
    virtual bool IsEmbedded() = 0;
    virtual EEngineProcessorType GetProcessor() = 0;
};

struct MemoryVerdict {
    unsigned int required = 0;
    bool flag = true;
    const char* trace = nullptr;        // what is traced before the check is reported, or null
    const char* failedCheck = nullptr;  // the text of a check that failed on the way, or null
};

// Asks the source for nothing that it does not need: a look at the board may have a lot to say.
NORVIK_API MemoryVerdict DecideMemory(ESystemType system, unsigned int cpuCount, MemorySource& source);

// ---- What shows that Windows wants to be restarted first, in the order in which it is looked for. Keys below
// HKEY_LOCAL_MACHINE.
struct RestartSign {
    const char* key;
    const char* value;  // null: any subkey or value counts
};

inline constexpr std::array<RestartSign, 4> kRestartSigns = {{
    {"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\FileRenameOperations", nullptr},
    {"SYSTEM\\CurrentControlSet\\Control\\Session Manager", "PendingFileRenameOperations"},
    {"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce", nullptr},
    {"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx", nullptr},
}};

}  // namespace NorvikLibInternal
