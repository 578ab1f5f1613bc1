// From the start of a program to its end: one that traces a line, against an empty one.

#include <string>

#include "IPC/IPC_Event.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "bench/Bench.h"

namespace {

bool RunProgram(const char* name) {
    char path[MAX_PATH];
    const std::string own(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
    std::string line = "\"" + own.substr(0, own.rfind('\\') + 1) + name + "\"";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;  // its lines are not for the table
    PROCESS_INFORMATION process = {};
    if (!::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &process))
        return false;
    const NorvikLibInternal::KernelHandle owner(process.hProcess), thread(process.hThread);
    DWORD code = 1;
    return ::WaitForSingleObject(owner.Get(), 10'000) == WAIT_OBJECT_0 &&
           ::GetExitCodeProcess(owner.Get(), &code) && code == 0;
}

Subject::Function Running(const char* name) {
    return [name](benchmark::State& state) {
        for (auto _ : state) {
            if (!RunProgram(name)) state.SkipWithError("the program cannot be run");
        }
    };
}

const Subject kStartup("startup: a program that traces one line", Run::kFree, "empty program", 1.5,
                       Running("StartupTrace.exe"), Running("StartupEmpty.exe"));

}  // namespace
