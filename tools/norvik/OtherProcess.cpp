#include "tools/norvik/OtherProcess.h"

#include <algorithm>
#include <utility>

#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Time.h"

namespace NorvikTool {
namespace {

using NorvikLibInternal::KernelHandle;

constexpr unsigned cKillTimeout = 10'000;  // ms
constexpr unsigned cEndTimeout = 1'000;    // ms, from the end of its output to its own
constexpr DWORD cKilled = 137;             // its exit code

std::string ProgramPath() {
    char path[MAX_PATH] = "";
    return std::string(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
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
    return std::string(Cmn_FolderFinder::GetProgramFolder().View());
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
    const Cmn_String path(program.empty() ? ProgramPath() : program);
    const std::vector<Cmn_String> arguments(words.begin(), words.end());
    if (mProcess.StartLocal(path, IPC_RemoteProcess::Quoted(arguments), {output.Get(), mJob.Get()}) ==
            INVALID_HANDLE_VALUE ||
        mReader.Launch([this] { return ReadLines(); }) != 0) {
        mIsOutputOver = true;
    }
}

OtherProcess::~OtherProcess() {
    Kill();
    mJob.Reset();  // ends what it has started itself, which may hold the output open
    mReader.ThreadEnd();
}

// Reads all there is, so that the process never waits for somebody to read.
long OtherProcess::ReadLines() {
    std::string rest;
    char buffer[4'096];
    DWORD size = 0;
    while (::ReadFile(mOutput.Get(), buffer, sizeof buffer, &size, nullptr) && size != 0) {
        const IPC_BenaphoreLocker locker(mLock);
        for (const char c : std::string_view(buffer, size)) {
            if (c == '\n') {
                KeepLine(rest);
                rest.clear();
            } else if (rest.size() < cLongestLine) {
                rest += c;
            } else {
                mIsCut = true;
            }
        }
        mNews.Set();
    }
    const IPC_BenaphoreLocker locker(mLock);
    if (!rest.empty()) KeepLine(rest);  // without a line feed
    mIsOutputOver = true;
    mNews.Set();
    return 0;
}

void OtherProcess::KeepLine(const std::string& line) {
    if (mLines.size() < mKeptLines) {
        mLines.push_back(line);
    } else {
        mIsCut = true;
    }
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

bool OtherProcess::IsCut() const {
    const IPC_BenaphoreLocker locker(mLock);
    return mIsCut;
}

std::vector<std::string> OtherProcess::TakeLines() {
    const IPC_BenaphoreLocker locker(mLock);
    return std::exchange(mLines, {});
}

bool OtherProcess::Wait(unsigned timeoutMs) {
    return mProcess.WaitForEnd(timeoutMs);
}

bool OtherProcess::WaitForOutput(unsigned timeoutMs, unsigned long& exitCode) {
    // No line begins so: this waits for the end of the output, which is the last that the process does.
    WaitForLine("\n", timeoutMs);
    return mProcess.GetHandle() != nullptr && Wait(cEndTimeout) &&
           ::GetExitCodeProcess(mProcess.GetHandle(), &exitCode);
}

bool OtherProcess::Kill() {
    mProcess.Terminate(cKilled);
    return Wait(cKillTimeout);
}

}  // namespace NorvikTool
