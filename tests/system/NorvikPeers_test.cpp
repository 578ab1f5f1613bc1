// Programs that find each other and talk: by pipe, by TCP, and by an announced service.

#include <gmock/gmock.h>

#include "IPC/IPC_NamedPipe.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DnsSdDaemon.h"
#include "tests/support/TcpLoop.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::StartsWith;

constexpr unsigned kLimit = 30'000;

// Exit code and output.
std::string Norvik(const Arguments& words, const TempFolder& folder = {}) {
    return RunProgram("norvik.exe", words, folder.Path());
}

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
    EXPECT_EQ(Norvik({"pipe", "send", name, "tab\there"}), "0 8 tab\\x09here\n");
    EXPECT_EQ(Norvik({"pipe", "send", name, "two", "--count", "2"}), "0 3 two\n3 two\n");
    EXPECT_EQ(listen.Wait(kLimit), 0);
    EXPECT_THAT(listen.Output(), HasSubstr("\n8 tab\\x09here\n3 two\n3 two\n"));
    EXPECT_THAT(Norvik({"pipe", "send", name, "x"}), StartsWith("1 "));
    EXPECT_THAT(Norvik({"pipe", "send"}), StartsWith("2 "));
}

// To a server, once it listens; its address is "127.0.0.1:41234".
Tcp::socket Connect(boost::asio::io_service& service, ChildProcess& server, std::string& address) {
    const std::string begin = "Listening on ", output = server.OutputWith("\n", kLimit);
    if (!output.starts_with(begin)) ADD_FAILURE() << output;
    address = output.substr(begin.size(), output.find('\n') - begin.size());
    const int port = std::stoi(address.substr(address.find(':') + 1));
    return ConnectTo(service, Loopback(static_cast<unsigned short>(port)));
}

TEST(NorvikTcp, OneProgramServesAndOthersSend) {
    const TempFolder folder;
    ChildProcess serve("norvik.exe", {"serve", "0", "--count", "4"}, folder.Path());
    std::string address;
    boost::asio::io_service service;
    const Tcp::socket silent = Connect(service, serve, address);  // another client, that sends nothing
    EXPECT_EQ(Norvik({"send", address, "tab\there"}), "0 8 tab\\x09here\n");
    EXPECT_EQ(Norvik({"send", address, "again", "--count", "3"}), "0 5 again\n5 again\n5 again\n");
    EXPECT_EQ(serve.Wait(kLimit), 0);
    EXPECT_THAT(serve.Output(), EndsWith("\n8 tab\\x09here\n5 again\n5 again\n5 again\n"));
    EXPECT_THAT(Norvik({"send", address, "x"}), StartsWith("1 "));
    EXPECT_THAT(Norvik({"serve", "65536"}), StartsWith("2 "));
}

TEST(NorvikTcp, ASingleServerRefusesTheSecondClientAndEndsTheFirstThatSendsTooMuch) {
    const TempFolder folder;
    ChildProcess serve("norvik.exe", {"serve", "0", "--single", "--max", "14"}, folder.Path());
    std::string address;
    boost::asio::io_service service;
    Tcp::socket first = Connect(service, serve, address);
    EXPECT_THAT(Norvik({"send", address, "x"}), AllOf(StartsWith("1 "), HasSubstr("no answer to message 1")));
    boost::asio::write(first, boost::asio::buffer(TcpFrame("ten bytes.") + TcpFrame("eleven byte")));
    EXPECT_EQ(ReadBytes(first, 100), TcpFrame("ten bytes."));
}

TEST(NorvikDiscovery, WhatOneProgramPublishesAnotherOneFinds) {
    const TempFolder folder;
    const std::string library = DnsSdDaemon::Folder();
    const Arguments discover = {"discover", "_desk._tcp", "--once", "--library", library};
    DnsSdDaemon daemon;
    ChildProcess publish("norvik.exe",
                         {"publish", "Desk 1", "_desk._tcp", "8000", "a=1", "--library", library},
                         folder.Path());
    daemon.Control("await register 1");
    EXPECT_THAT(Norvik(discover), AllOf(StartsWith("0 Service discovery: running\n  Desk 1  "),
                                        HasSubstr("  127.0.0.1  8000  1  a=1\n")));
    publish.Kill();
    daemon.Control("await register 0");
    EXPECT_THAT(publish.Output(), HasSubstr("Announced Desk 1 _desk._tcp 8000\n"));

    daemon.Kill();
    EXPECT_EQ(Norvik(discover), "1 Service discovery: daemon not running\n");
    EXPECT_THAT(Norvik({"publish", "Desk", "_desk._tcp", "0"}), StartsWith("2 "));
}

// A library that lies in the current folder, and one that is none, are as good as no library.
TEST(NorvikDiscovery, OnlyARealLibraryFromATrustedFolderIsLoaded) {
    const TempFolder current, broken;
    char before[MAX_PATH];
    ::GetCurrentDirectoryA(sizeof before, before);
    ASSERT_TRUE(::CopyFileA((DnsSdDaemon::Folder() + "\\dnssd.dll").c_str(),
                            current.Path("dnssd.dll").c_str(), TRUE));
    WriteWholeFile(broken.Path("dnssd.dll"), "no library");
    ::SetCurrentDirectoryA(current.Path().c_str());
    for (const Arguments& words :
         {Arguments{"discover", "_desk._tcp"},
          Arguments{"publish", "Desk", "_desk._tcp", "1", "--library", broken.Path()}})
        EXPECT_EQ(Norvik(words), "1 Service discovery: library missing (dnssd.dll)\n") << words[0];
    ::SetCurrentDirectoryA(before);
}

}  // namespace
