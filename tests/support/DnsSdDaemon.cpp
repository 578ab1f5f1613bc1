#include "tests/support/DnsSdDaemon.h"

#include <gtest/gtest.h>

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "standins/dnssd/Connection.h"
#include "standins/dnssd/Names.h"
#include "standins/dnssd/Wire.h"
#include "tests/support/TempFolder.h"

using namespace DnsSdStandin;
using NorvikLibInternal::FindFunction;

DnsSdDaemon::DnsSdDaemon(const Arguments& options) : mOptions(options) {
    Start(0);
}

void DnsSdDaemon::Start(unsigned short port) {
    Arguments arguments = {"--port", std::to_string(port), "--while",
                           std::to_string(::GetCurrentProcessId())};
    arguments.insert(arguments.end(), mOptions.begin(), mOptions.end());
    mProcess.emplace("..\\standins\\dnssd-daemon.exe", arguments);
    const std::string first = mProcess->OutputWith("\n", 20'000);
    const std::string expected = "Listening on 127.0.0.1:";
    ASSERT_EQ(first.substr(0, expected.size()), expected);
    mPort = static_cast<unsigned short>(std::stoi(first.substr(expected.size())));
    ::SetEnvironmentVariableA("NORVIK_DNSSD_PORT", std::to_string(mPort).c_str());
}

void DnsSdDaemon::Kill() {
    mProcess.reset();
}

void DnsSdDaemon::Hold(bool isHeld) const {
    const char* const name = isHeld ? "NtSuspendProcess" : "NtResumeProcess";
    const auto change = FindFunction<LONG(WINAPI*)(HANDLE)>(::GetModuleHandleA("ntdll"), name);
    ASSERT_EQ(change(mProcess->GetHandle()), 0) << name;
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
    return ProgramFolder() + "\\..\\standins";
}

std::string DnsSdDaemon::Label(const std::string& name) {
    return EscapedLabel(name);
}
