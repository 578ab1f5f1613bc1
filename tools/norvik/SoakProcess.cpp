#include "tools/norvik/SoakProcess.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "tools/norvik/LogFolder.h"

namespace NorvikTool {
namespace {

using NorvikLibInternal::DynamicFunction;

constexpr std::size_t cMostLines = 10'000;  // between two looks

using QuerySystemInformation = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
DynamicFunction<QuerySystemInformation> gQuerySystem("ntdll.dll", "NtQuerySystemInformation");
DynamicFunction<decltype(&::GetProcessMemoryInfo)> gGetMemory("psapi.dll", "GetProcessMemoryInfo");

constexpr ULONG cAllHandles = 64;
constexpr LONG cTooSmall = static_cast<LONG>(0xC0000004);

struct HandleEntry {
    void* object;
    ULONG_PTR process, handle;
    ULONG access;
    USHORT trace, type;
    ULONG attributes, reserved;
};

// Wine has no count of a process's handles, but the list of everybody's (docs/wine.md).
uint64_t CountHandles(HANDLE process) {
    DWORD count = 0;
    if (::GetProcessHandleCount(process, &count) && count != 0) return count;
    std::vector<ULONG_PTR> buffer(65'536);
    LONG status = cTooSmall;
    for (int i = 0; status == cTooSmall && i < 5; ++i, buffer.resize(buffer.size() * 2)) {
        status = gQuerySystem(cAllHandles, buffer.data(),
                              static_cast<ULONG>(buffer.size() * sizeof buffer[0]), nullptr);
        if (status == 0) break;
    }
    if (status != 0) return 0;
    const auto* const entries = reinterpret_cast<const HandleEntry*>(&buffer[2]);
    const ULONG_PTR id = ::GetProcessId(process);
    return static_cast<uint64_t>(
        std::count_if(entries, entries + buffer[0], [id](const auto& entry) { return entry.process == id; }));
}

uint64_t CountThreads(HANDLE process) {
    const DWORD id = ::GetProcessId(process);
    const NorvikLibInternal::KernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    uint64_t count = 0;
    for (BOOL more = ::Thread32First(snapshot.Get(), &entry); more;
         more = ::Thread32Next(snapshot.Get(), &entry))
        count += entry.th32OwnerProcessID == id;
    return count;
}

}  // namespace

Resources Measure(void* process) {
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    if (!gGetMemory(HANDLE(process), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                    DWORD{sizeof memory})) {
        return {};
    }
    // Wine fills in the older of the two.
    return {CountHandles(process), std::max(memory.PrivateUsage, memory.PagefileUsage) / 1'024,
            memory.WorkingSetSize / 1'024, CountThreads(process)};
}

void SoakProcess::Start() {
    constexpr char cRoot[] = "NORVIKLIB_ROOT";
    char own[MAX_PATH] = "";
    const bool hasOwn = ::GetEnvironmentVariableA(cRoot, own, sizeof own) != 0;
    ::SetEnvironmentVariableA(cRoot, mRoot.c_str());
    mProcess = std::make_unique<OtherProcess>(mWords, mProgram, cMostLines);
    ::SetEnvironmentVariableA(cRoot, hasOwn ? own : nullptr);
    ++mStarts;
}

void SoakProcess::Kill(int64_t startAgainAt) {
    mProcess.reset();
    mStartAgainAt = startAgainAt;
}

void SoakProcess::SetLog(const std::string& path) {
    mLogs.push_back({path, mStarts, {}});
}

std::vector<LogLine> SoakProcess::NewLogLines() {
    std::vector<LogLine> lines;
    std::erase_if(mLogs, [&](Log& log) {
        const std::optional<std::string> bytes = TryReadBytes(log.path);
        if (!bytes) return false;  // somebody keeps it to himself for a while
        const std::vector<LogLine> more = log.follower.Next(*bytes);
        lines.insert(lines.end(), more.begin(), more.end());
        return log.life != mStarts || !IsUp();
    });
    return lines;
}

}  // namespace NorvikTool
