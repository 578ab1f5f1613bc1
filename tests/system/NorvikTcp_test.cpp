// A server and its clients as programs of their own.

#include <gmock/gmock.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TcpLoop.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::StartsWith;

constexpr unsigned kLimit = 30'000;

std::string Norvik(const Arguments& arguments) {
    const TempFolder folder;
    return RunProgram("norvik.exe", arguments, folder.Path());
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

}  // namespace
