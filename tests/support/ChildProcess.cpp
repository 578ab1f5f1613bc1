#include "tests/support/ChildProcess.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace {

std::string CommandLine(const std::string& program, const Arguments& arguments) {
    std::string line = "\"" + program + "\"";
    for (const std::string& argument : arguments)
        line += " \"" + argument + "\"";
    return line;
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const Arguments& arguments, const std::string& root) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE writeEnd = nullptr;
    ::CreatePipe(&mReadEnd, &writeEnd, &inherited, 0);
    ::SetHandleInformation(mReadEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = writeEnd;
    PROCESS_INFORMATION process = {};
    std::string line = CommandLine(ProgramFolder() + "\\" + program, arguments);
    char ownRoot[MAX_PATH] = "";
    ::GetEnvironmentVariableA("NORVIKLIB_ROOT", ownRoot, sizeof ownRoot);
    if (!root.empty()) ::SetEnvironmentVariableA("NORVIKLIB_ROOT", root.c_str());
    const auto start = [&] {
        return ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                                &process) != FALSE;
    };
    // Under Wine one start in some thousand fails like this, for no reason that the next one would have, too.
    const bool started = start() || (::GetLastError() == ERROR_INTERNAL_ERROR && start());
    EXPECT_TRUE(started) << line << ": error " << ::GetLastError();
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", ownRoot);
    ::CloseHandle(writeEnd);
    if (!started) return;
    ::CloseHandle(process.hThread);
    mProcess = process.hProcess;
    mReader = std::thread([this] {
        char buffer[4096];
        DWORD size = 0;
        while (::ReadFile(mReadEnd, buffer, sizeof buffer, &size, nullptr) && size != 0) {
            const std::lock_guard lock(mLock);
            mOutput.append(buffer, size);
            mArrived.Set();
        }
    });
}

ChildProcess::~ChildProcess() {
    if (IsRunning()) Kill();
    if (mReader.joinable()) mReader.join();
    if (mProcess) ::CloseHandle(mProcess);
    ::CloseHandle(mReadEnd);
}

int ChildProcess::Wait(unsigned timeoutMs) {
    if (!mProcess || ::WaitForSingleObject(mProcess, timeoutMs) != WAIT_OBJECT_0) return kTimedOut;
    DWORD code = 0;
    ::GetExitCodeProcess(mProcess, &code);
    return static_cast<int>(code);
}

void ChildProcess::Kill() {
    ::TerminateProcess(mProcess, 137);
    ::WaitForSingleObject(mProcess, 10'000);
}

bool ChildProcess::IsRunning() const {
    return mProcess && ::WaitForSingleObject(mProcess, 0) == WAIT_TIMEOUT;
}

std::string ChildProcess::Output() {
    if (mReader.joinable()) mReader.join();
    return mOutput;
}

std::string ChildProcess::OutputWith(const std::string& text, unsigned timeoutMs) {
    do {
        const std::lock_guard lock(mLock);
        if (mOutput.find(text) != std::string::npos) return mOutput;
    } while (mArrived.Wait(timeoutMs));
    return {};
}

std::string RunProgram(const std::string& program, const Arguments& arguments, const std::string& root) {
    ChildProcess child(program, arguments, root);
    const int code = child.Wait(30'000);
    return std::to_string(code) + " " + child.Output();
}
