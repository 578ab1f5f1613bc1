#include "IPC/IPC_RemoteProcess.h"

#include <string>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_CommandLine.h"
#include "JRCmn/Internal/Cmn_Handle.h"

using NorvikLibInternal::KernelHandle;

namespace {

constexpr size_t cLongestLine = 32'766;  // characters that the platform takes, without the terminator
constexpr DWORD cNeverRan = 1;           // exit code of a process that nobody has seen run

bool IsSlash(char c) {
    return c == '\\' || c == '/';
}

// What counts from a drive's current folder ("C:Viewer.exe") or from the current drive is none.
bool IsFullPath(std::string_view path) {
    return path.starts_with("\\\\") || (path.size() > 2 && path[1] == ':' && IsSlash(path[2]));
}

// Empty when the program's own folder is not known: a bare name would be looked for in the current one.
Cmn_String ToFullPath(const Cmn_String& program) {
    if (IsFullPath(program.View())) return program;
    const Cmn_String folder = Cmn_FolderFinder::GetProgramFolder();
    return folder.IsEmpty() ? folder : folder + program;
}

// The process with its only thread, which does not run yet; empty with the last error.
PROCESS_INFORMATION Create(const Cmn_String& path, const std::string& line, HANDLE output, DWORD& outError) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    if (output != nullptr) startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output;
    PROCESS_INFORMATION created = {};
    std::string writable = line;  // the platform may write into it
    const auto create = [&] {
        return ::CreateProcessA(path, writable.data(), nullptr, nullptr, output != nullptr, CREATE_SUSPENDED,
                                nullptr, nullptr, &startup, &created) != FALSE;
    };
    // Under Wine one start in some thousand fails like this, for no reason that the next one would have, too.
    outError = create() ? ERROR_SUCCESS : ::GetLastError();
    if (outError == ERROR_INTERNAL_ERROR) outError = create() ? ERROR_SUCCESS : ::GetLastError();
    return created;
}

}  // namespace

IPC_RemoteProcess::~IPC_RemoteProcess() {
    KernelHandle{mProcess};
}

void* IPC_RemoteProcess::StartLocal(const Cmn_String& program, const Cmn_String& arguments,
                                    const Options& options) {
    KernelHandle process(std::exchange(mProcess, nullptr));
    process.Reset();
    const Cmn_String path = ToFullPath(program);
    std::string line = "\"" + std::string(path.View()) + "\"";
    if (!arguments.IsEmpty()) line += " " + std::string(arguments.View());
    if (!CMN_VERIFY(!path.IsEmpty())) return INVALID_HANDLE_VALUE;
    // Cut at a NUL or at its longest, it would be another command.
    if (!CMN_VERIFY(line.size() <= cLongestLine && line.find('\0') == line.npos)) return INVALID_HANDLE_VALUE;

    DWORD error = ERROR_SUCCESS;
    const PROCESS_INFORMATION created = Create(path, line, options.output, error);
    process.Reset(created.hProcess);
    const KernelHandle thread(created.hThread);
    if (!process) {
        Cmn_Trace("Starting %s failed: error %lu\n", line.c_str(), error);
        return INVALID_HANDLE_VALUE;
    }
    const bool isInJob = options.job == nullptr || ::AssignProcessToJobObject(options.job, process.Get());
    const bool runs = isInJob && ::ResumeThread(thread.Get()) != static_cast<DWORD>(-1);
    // Before the report, which may throw: nobody else could end it.
    if (!runs) ::TerminateProcess(process.Get(), cNeverRan);
    if (!CMN_VERIFY(isInJob) || !CMN_VERIFY(runs)) return INVALID_HANDLE_VALUE;
    return mProcess = process.Release();
}

bool IPC_RemoteProcess::WaitForEnd(unsigned int timeoutMs) const {
    return mProcess == nullptr || ::WaitForSingleObject(mProcess, timeoutMs) == WAIT_OBJECT_0;
}

bool IPC_RemoteProcess::Terminate(unsigned int exitCode) const {
    return mProcess != nullptr && ::TerminateProcess(mProcess, exitCode);
}

Cmn_String IPC_RemoteProcess::Quoted(const std::vector<Cmn_String>& words) {
    std::string line;
    for (const Cmn_String& word : words) {
        if (!line.empty()) line += ' ';
        NorvikLibInternal::AppendQuoted(line, word.View());
    }
    return Cmn_String(line);
}
