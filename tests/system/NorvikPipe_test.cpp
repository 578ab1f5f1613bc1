// A server and its clients as programs of their own.

#include <gmock/gmock.h>

#include "IPC/IPC_NamedPipe.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::HasSubstr, testing::StartsWith;

constexpr unsigned kLimit = 30'000;

TEST(NorvikPipe, OneProgramListensAndOthersSendAlsoAfterAKill) {
    const TempFolder folder;
    const std::string name = "NorvikTool" + std::to_string(::GetCurrentProcessId());
    IPC_NamedPipe client(IPC_NamedPipe::eReconnect_OnWrite, 0);
    client.InitClient(name.c_str(), 100);
    for (int round = 0; round < 5; ++round) {
        ChildProcess killed("norvik.exe", {"pipe", "listen", name}, folder.Path());
        ASSERT_TRUE(client.Connect(kLimit));
        char answer[100];
        int size = 0;
        ASSERT_TRUE(client.WriteAndRead("ping", 4, answer, sizeof answer, &size, kLimit));
        EXPECT_EQ(std::string(answer, static_cast<size_t>(size)), "ping");
        killed.Kill();
        EXPECT_FALSE(client.Read(answer, sizeof answer, &size, kLimit));
        EXPECT_FALSE(client.IsConnected());
    }
    ChildProcess listen("norvik.exe", {"pipe", "listen", name, "--count", "3"}, folder.Path());
    const auto send = [&](Arguments words) {
        words.insert(words.begin(), {"pipe", "send"});
        return RunProgram("norvik.exe", words, folder.Path());
    };
    EXPECT_EQ(send({name, "tab\there"}), "0 8 tab\\x09here\n");
    EXPECT_EQ(send({name, "two", "--count", "2"}), "0 3 two\n3 two\n");
    EXPECT_EQ(listen.Wait(kLimit), 0);
    EXPECT_THAT(listen.Output(), HasSubstr("\n8 tab\\x09here\n3 two\n3 two\n"));
    EXPECT_THAT(send({name, "x"}), StartsWith("1 "));
    EXPECT_THAT(send({}), StartsWith("2 "));
}

}  // namespace
