// The examples as a user starts them.

#include <gmock/gmock.h>

#include "IPC/IPC_NamedPipe.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DnsSdDaemon.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr unsigned kLimit = 30'000;
const char* const kProgram = "ExamplePipeService.exe";

// Clients that leave without a word or without their answers.
void ComeAndGo(const std::string& name) {
    for (const int requests : {0, 1, 20}) {
        IPC_NamedPipe client(IPC_NamedPipe::eReconnect_None, 0);
        client.InitClient(name.c_str(), 10);
        ASSERT_TRUE(client.Connect(kLimit));
        for (int i = 0; i < requests; ++i)
            client.Write("level 1", 7, nullptr, kLimit);
    }
    // A stranger, whom the service refuses.
    const std::string path = "\\\\.\\PIPE\\" + name;
    ASSERT_TRUE(::WaitNamedPipeA(path.c_str(), kLimit));
    HANDLE stranger =
        ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(stranger, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    EXPECT_TRUE(::WriteFile(stranger, "GET / HTTP/1.1\r\n", 16, &written, nullptr));
    char byte;
    EXPECT_FALSE(::ReadFile(stranger, &byte, 1, &written, nullptr));
    ::CloseHandle(stranger);
}

TEST(ExamplePipeService, AnswersWhoeverComesUntilItIsToldToQuit) {
    const TempFolder folder;
    const std::string name = "NorvikExample" + std::to_string(::GetCurrentProcessId());
    ChildProcess service(kProgram, {"serve", name}, folder.Path());
    const std::string usage = "error: expected level N [DB], mute N on|off, or quit";
    const struct {
        const char* request;
        std::string answer;
    } cases[] = {
        {"level 48", "ok -90 dB"},
        {"level 3 10", "ok 10 dB"},
        {"mute 3 on", "ok 10 dB, muted"},
        {"level 3 11", "error: levels are -90 to 10 dB"},
        {"level 3 1e1", "error: levels are -90 to 10 dB"},
        {" level  3 ", "ok 10 dB, muted"},
        {"mute 3 off", "ok 10 dB"},
        {"mute 3 maybe", "error: mute is on or off"},
        {"level 0", "error: the channels are 1 to 48"},
        {"level 49", "error: the channels are 1 to 48"},
        {"level 99999999999", "error: the channels are 1 to 48"},
        {"level", usage},
        {"quit now", usage},
        {" ", usage},
    };
    for (const auto& c : cases) {
        ChildProcess ask(kProgram, {"ask", name, c.request}, folder.Path());
        EXPECT_EQ(ask.Wait(kLimit), c.answer.starts_with("ok") ? 0 : 1) << c.request;
        EXPECT_EQ(ask.Output(), c.answer + "\r\n") << c.request;
    }
    ComeAndGo(name);
    EXPECT_EQ(ChildProcess(kProgram, {"ask", name, std::string(300, 'x')}, folder.Path()).Wait(kLimit), 1);
    ChildProcess quit(kProgram, {"ask", name, "quit"}, folder.Path());
    EXPECT_EQ(quit.Wait(kLimit), 0);
    EXPECT_EQ(quit.Output(), "ok\r\n");
    EXPECT_EQ(service.Wait(kLimit), 0);
    EXPECT_EQ(service.Output(), "Serving on \\\\.\\PIPE\\" + name + "\r\n");
    EXPECT_EQ(ChildProcess(kProgram, {"serve"}, folder.Path()).Wait(kLimit), 2);
}

TEST(MachineExampleRequestServer, KeepsSettingsUntilItIsToldToQuit) {
    const TempFolder folder;
    MachineSettings machine;
    machine.SetText(kSettings, "Network Adapter Remote Control", "loopback");
    const char* const program = "ExampleRequestServer.exe";
    ChildProcess server(program, {"serve"}, folder.Path());
    const std::string greeting = "Serving on 127.0.0.1 ";
    const std::string output = server.OutputWith("\n", kLimit);
    ASSERT_TRUE(output.starts_with(greeting)) << output;
    const std::string port = std::to_string(std::stoi(output.substr(greeting.size())));
    const std::pair<const char*, const char*> cases[] = {{"get scene", "error: no such setting"},
                                                         {"set scene 12", "ok"},
                                                         {"get scene", "ok 12"},
                                                         {"put scene", "error: expected"},
                                                         {"quit", "ok"}};
    for (const auto& [request, answer] : cases) {
        ChildProcess ask(program, {"ask", "127.0.0.1", port, request}, folder.Path());
        EXPECT_TRUE(ask.Output().starts_with(answer)) << request;
    }
    EXPECT_EQ(server.Wait(kLimit), 0);
}

TEST(ExampleFirstTrace, TellsWhereItsRunIs) {
    const TempFolder folder;
    ChildProcess first("ExampleFirstTrace.exe", {}, folder.Path());
    EXPECT_EQ(first.Wait(kLimit), 0);
    std::string path = first.Output();
    ASSERT_THAT(path, EndsWith("\\Logs\\Run #1 ExampleFirstTrace - 01.log\r\n"));
    const std::string log = ReadWholeFile(path.substr(0, path.size() - 2));
    EXPECT_THAT(log, HasSubstr(" Channel 3 is at -6.0 dB.\r\n"));
    EXPECT_THAT(log, HasSubstr("'channel >= 1 && channel <= 48' failed in examples\\FirstTrace.cpp("));
    EXPECT_LT(log.size(), 100'000u) << "a thousand failures of one place";
}

TEST(ExampleLoop, CountsToThree) {
    const TempFolder folder;
    ChildProcess loop("ExampleLoop.exe", {}, folder.Path());
    EXPECT_EQ(loop.Wait(kLimit), 0);
    EXPECT_EQ(loop.Output(), "48 channels\r\ntick 1\r\ntick 2\r\ntick 3\r\n");
}

TEST(ExampleMeters, TheDeskFindsTheEngineAndShowsItsReadings) {
    const TempFolder folder;
    const DnsSdDaemon daemon;
    ChildProcess desk("ExampleMeters.exe", {"desk", DnsSdDaemon::Folder()}, folder.Path());
    ChildProcess engine("ExampleMeters.exe", {"engine", DnsSdDaemon::Folder()}, folder.Path());
    EXPECT_EQ(desk.Wait(kLimit), 0);
    EXPECT_THAT(desk.Output(), StartsWith("Found Engine\r\nreading "));
    engine.Kill();
}

}  // namespace
