#include "tests/support/DnsSdDaemon.h"

#include <gtest/gtest.h>

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "standins/dnssd/Connection.h"
#include "standins/dnssd/Names.h"
#include "standins/dnssd/Wire.h"

using namespace DnsSdStandin;
using NorvikLibInternal::FindFunction;
using NorvikLibInternal::KernelHandle;

namespace {

// Until the end of the line, or of the output.
std::string ReadLine(HANDLE pipe) {
    std::string line;
    char c = 0;
    DWORD size = 0;
    while (::ReadFile(pipe, &c, 1, &size, nullptr) && size == 1 && c != '\n')
        if (c != '\r') line += c;
    return line;
}

}  // namespace

DnsSdDaemon::DnsSdDaemon(const std::string& options) : mOptions(options) {
    Start(0);
}

DnsSdDaemon::~DnsSdDaemon() {
    Kill();
}

void DnsSdDaemon::Start(unsigned short port) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    ::CreatePipe(&readEnd, &writeEnd, &inherited, 0);
    const KernelHandle output(readEnd);
    KernelHandle childsOutput(writeEnd);
    ::SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = writeEnd;
    std::string line = "\"" + Folder() + "\\dnssd-daemon.exe\" --port " + std::to_string(port) + " --while " +
                       std::to_string(::GetCurrentProcessId()) + " " + mOptions;
    PROCESS_INFORMATION process = {};
    const BOOL isStarted = ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                            &startup, &process);
    childsOutput.Reset();
    ASSERT_TRUE(isStarted) << line;
    ::CloseHandle(process.hThread);
    mProcess = process.hProcess;
    const std::string first = ReadLine(output.Get());
    const std::string expected = "Listening on 127.0.0.1:";
    ASSERT_EQ(first.substr(0, expected.size()), expected);
    mPort = static_cast<unsigned short>(std::stoi(first.substr(expected.size())));
    ::SetEnvironmentVariableA("NORVIK_DNSSD_PORT", std::to_string(mPort).c_str());
}

void DnsSdDaemon::Kill() {
    if (!mProcess) return;
    ::TerminateProcess(mProcess, 1);
    ::WaitForSingleObject(mProcess, 10'000);
    ::CloseHandle(std::exchange(mProcess, nullptr));
}

void DnsSdDaemon::Hold(bool isHeld) const {
    const char* const name = isHeld ? "NtSuspendProcess" : "NtResumeProcess";
    const auto change = FindFunction<LONG(WINAPI*)(HANDLE)>(::GetModuleHandleA("ntdll"), name);
    ASSERT_EQ(change(mProcess), 0) << name;
}

void DnsSdDaemon::Restart() {
    Kill();
    Start(mPort);
}

std::string DnsSdDaemon::Control(const std::string& line, unsigned timeoutMs) const {
    Connection connection;
    const bool isSent = connection.Open(mPort) && connection.Send(Writer(kControl).Rest(line).Take());
    const auto answer = isSent ? connection.Receive(kMaxControlAnswer, timeoutMs) : std::nullopt;
    if (!answer) {
        ADD_FAILURE() << "The daemon does not answer: " << line;
        return {};
    }
    Reader reader(*answer);
    EXPECT_EQ(reader.U8(), kAnswer);
    const uint32_t error = reader.U32();
    reader.U64();
    std::string text = reader.Rest();
    EXPECT_EQ(error, 0U) << line << ": " << text;
    return text;
}

std::string DnsSdDaemon::Folder() {
    char path[MAX_PATH];
    const std::string program(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
    const std::string bin = program.substr(0, program.rfind('\\'));
    return bin.substr(0, bin.rfind('\\')) + "\\standins";
}

std::string DnsSdDaemon::Label(const std::string& name) {
    return EscapedLabel(name);
}
