#include "tools/norvik/OtherProcess.h"

#include <algorithm>

#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_Trace.h"

namespace NorvikTool {
namespace {

using NorvikLibInternal::KernelHandle;

constexpr unsigned cKillTimeout = 10'000;  // ms
constexpr unsigned cEndTimeout = 1'000;    // ms, from the end of its output to its own
constexpr DWORD cKilled = 137;             // its exit code
constexpr size_t cLongestLine = 4'096;

std::string ProgramPath() {
    char path[MAX_PATH] = "";
    return std::string(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
}

std::string CommandLine(const std::vector<std::string>& words, const std::string& program) {
    std::string line = "\"" + (program.empty() ? ProgramPath() : ProgramFolder() + program) + "\"";
    for (const std::string& word : words)
        line += " \"" + word + "\"";
    return line;
}

// What is in the job ends when its last handle is closed, which the platform does when this program is killed, too.
HANDLE MakeJob() {
    const HANDLE job = ::CreateJobObjectA(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

}  // namespace

std::string ProgramFolder() {
    const std::string path = ProgramPath();
    return path.substr(0, path.rfind('\\') + 1);
}

OtherProcess::OtherProcess(const std::vector<std::string>& words, const std::string& program,
                           std::size_t keptLines)
    : mJob(MakeJob()), mKeptLines(keptLines) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    ::CreatePipe(&readEnd, &writeEnd, &inherited, 0);
    ::SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    mOutput.Reset(readEnd);
    const KernelHandle output(
        writeEnd);  // closed here after the start, so that the output ends with the process
    if (!Start(CommandLine(words, program), output.Get()) ||
        mReader.Launch([this] { return ReadLines(); }) != 0) {
        mIsOutputOver = true;
    }
}

OtherProcess::~OtherProcess() {
    Kill();
    mReader.ThreadEnd();
}

bool OtherProcess::Start(std::string line, HANDLE output) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output;
    PROCESS_INFORMATION process = {};
    // It does nothing before it is in the job.
    const auto create = [&] {
        return ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr,
                                nullptr, &startup, &process) != FALSE;
    };
    // Under Wine one start in some thousand fails like this, for no reason that the next one would have, too.
    if (!create() && (::GetLastError() != ERROR_INTERNAL_ERROR || !create())) {
        const DWORD error = ::GetLastError();
        Cmn_Trace("Starting %s failed: error %lu\n", line.c_str(), error);
        return false;
    }
    mProcess.Reset(process.hProcess);
    const KernelHandle thread(process.hThread);
    ::AssignProcessToJobObject(mJob.Get(), mProcess.Get());
    ::ResumeThread(thread.Get());
    return true;
}

// Reads all there is, so that the process never waits for somebody to read.
long OtherProcess::ReadLines() {
    std::string rest;
    char buffer[4'096];
    DWORD size = 0;
    while (::ReadFile(mOutput.Get(), buffer, sizeof buffer, &size, nullptr) && size != 0) {
        const IPC_BenaphoreLocker locker(mLock);
        for (const char c : std::string_view(buffer, size)) {
            if (c == '\n' && mLines.size() < mKeptLines) mLines.push_back(rest);
            if (c == '\n') {
                rest.clear();
            } else if (rest.size() < cLongestLine) {
                rest += c;
            }
        }
        mNews.Set();
    }
    const IPC_BenaphoreLocker locker(mLock);
    mIsOutputOver = true;
    mNews.Set();
    return 0;
}

bool OtherProcess::WaitForLine(const std::string& beginning, unsigned timeoutMs) {
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    for (;;) {
        {
            const IPC_BenaphoreLocker locker(mLock);
            if (std::any_of(mLines.begin(), mLines.end(),
                            [&](const std::string& line) { return line.starts_with(beginning); })) {
                return true;
            }
            if (mIsOutputOver) return false;
            mNews.Reset();
        }
        const uint64_t elapsed = Cmn_Time::GetInMilliseconds() - start;
        if (elapsed >= timeoutMs || !mNews.Wait(static_cast<unsigned>(timeoutMs - elapsed))) return false;
    }
}

std::vector<std::string> OtherProcess::FirstLines() const {
    const IPC_BenaphoreLocker locker(mLock);
    return mLines;
}

bool OtherProcess::Wait(unsigned timeoutMs) {
    return !mProcess || ::WaitForSingleObject(mProcess.Get(), timeoutMs) == WAIT_OBJECT_0;
}

bool OtherProcess::WaitForOutput(unsigned timeoutMs, unsigned long& exitCode) {
    // No line begins so: this waits for the end of the output, which is the last that the process does.
    WaitForLine("\n", timeoutMs);
    return Wait(cEndTimeout) && mProcess && ::GetExitCodeProcess(mProcess.Get(), &exitCode);
}

bool OtherProcess::Kill() {
    if (mProcess) ::TerminateProcess(mProcess.Get(), cKilled);
    return Wait(cKillTimeout);
}

}  // namespace NorvikTool
