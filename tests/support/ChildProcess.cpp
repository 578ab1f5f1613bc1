#include "tests/support/ChildProcess.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gtest/gtest.h>

namespace {

std::string ProgramFolder() {
    char path[MAX_PATH];
    const std::string whole(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
    return whole.substr(0, whole.rfind('\\') + 1);
}

std::string CommandLine(const std::string& program, const std::vector<std::string>& arguments) {
    std::string line = "\"" + program + "\"";
    for (const std::string& argument : arguments)
        line += " \"" + argument + "\"";
    return line;
}

// Variables set for the child only, put back afterwards.
class ScopedEnvironment {
public:
    explicit ScopedEnvironment(const std::map<std::string, std::string>& variables) {
        for (const auto& [name, value] : variables) {
            char old[4096];
            const DWORD length = ::GetEnvironmentVariableA(name.c_str(), old, sizeof old);
            mOld[name] = std::string(old, length < sizeof old ? length : 0);
            ::SetEnvironmentVariableA(name.c_str(), value.c_str());
        }
    }
    ~ScopedEnvironment() {
        for (const auto& [name, value] : mOld) {
            ::SetEnvironmentVariableA(name.c_str(), value.empty() ? nullptr : value.c_str());
        }
    }

private:
    std::map<std::string, std::string> mOld;
};

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::map<std::string, std::string>& environment) {
    const ScopedEnvironment scoped(environment);
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE writeEnd = nullptr;
    ::CreatePipe(&mReadEnd, &writeEnd, &inherited, 0);
    ::SetHandleInformation(mReadEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = writeEnd;
    PROCESS_INFORMATION process = {};
    std::string line = CommandLine(ProgramFolder() + program, arguments);
    const BOOL started = ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                          &startup, &process);
    EXPECT_TRUE(started) << line << ": error " << ::GetLastError();
    ::CloseHandle(writeEnd);
    if (!started) return;
    ::CloseHandle(process.hThread);
    mProcess = process.hProcess;
    mReader = std::thread([this] {
        char buffer[4096];
        DWORD size = 0;
        while (::ReadFile(mReadEnd, buffer, sizeof buffer, &size, nullptr) && size != 0)
            mOutput.append(buffer, size);
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
