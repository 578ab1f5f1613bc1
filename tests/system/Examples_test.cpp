// The examples as a user starts them.

#include <gmock/gmock.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/DnsSdDaemon.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::HasSubstr, testing::StartsWith;

constexpr unsigned kLimit = 30'000;
const char* const kProgram = "ExamplePipeService.exe";

TEST(ExamplePipeService, AnswersWhoeverComesUntilItIsToldToQuit) {
    const TempFolder folder;
    const std::string name = "NorvikExample" + std::to_string(::GetCurrentProcessId());
    ChildProcess service(kProgram, {"serve", name}, folder.Path());
    const auto ask = [&](const std::string& request) {
        return RunProgram(kProgram, {"ask", name, request}, folder.Path());
    };
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
        const std::string code = c.answer.starts_with("ok") ? "0 " : "1 ";
        EXPECT_EQ(ask(c.request), code + c.answer + "\r\n") << c.request;
    }
    EXPECT_TRUE(ask(std::string(300, 'x')).starts_with("1 "));
    EXPECT_EQ(ask("quit"), "0 ok\r\n");
    EXPECT_EQ(service.Wait(kLimit), 0);
    EXPECT_EQ(service.Output(), "Serving on \\\\.\\PIPE\\" + name + "\r\n");
    EXPECT_THAT(RunProgram(kProgram, {"serve"}, folder.Path()), StartsWith("2 "));
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
    for (const auto& [request, answer] : cases)
        EXPECT_THAT(RunProgram(program, {"ask", "127.0.0.1", port, request}, folder.Path()),
                    HasSubstr(answer));
    EXPECT_EQ(server.Wait(kLimit), 0);
}

TEST(ExampleFirstTrace, TellsWhereItsRunIs) {
    const TempFolder folder;
    const std::string found = RunProgram("ExampleFirstTrace.exe", {}, folder.Path());
    ASSERT_TRUE(found.starts_with("0 ") && found.ends_with("\\Logs\\Run #1 ExampleFirstTrace - 01.log\r\n"))
        << found;
    const std::string log = ReadWholeFile(found.substr(2, found.size() - 4));
    EXPECT_THAT(log, HasSubstr(" Channel 3 is at -6.0 dB.\r\n"));
    EXPECT_THAT(log, HasSubstr("'channel >= 1 && channel <= 48' failed in examples\\FirstTrace.cpp("));
    EXPECT_LT(log.size(), 100'000u) << "a thousand failures of one place";
}

TEST(ExampleLoop, CountsToThree) {
    EXPECT_EQ(RunProgram("ExampleLoop.exe", {}, TempFolder().Path()),
              "0 48 channels\r\ntick 1\r\ntick 2\r\ntick 3\r\n");
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
