// A server and its clients as programs of their own.

#include <gmock/gmock.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TcpLoop.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr unsigned kLimit = 30'000;

// "127.0.0.1:41234", once the server listens.
std::string Address(ChildProcess& server) {
    const std::string begin = "Listening on ", output = server.OutputWith("\n", kLimit);
    if (!output.starts_with(begin)) ADD_FAILURE() << output;
    return output.substr(begin.size(), output.find('\n') - begin.size());
}

TEST(NorvikTcp, OneProgramServesAndOthersSend) {
    const TempFolder folder;
    ChildProcess serve("norvik.exe", {"serve", "0", "--count", "4"}, folder.Path());
    const std::string address = Address(serve);
    boost::asio::io_service service;
    Tcp::socket silent(service);  // another client, that sends nothing
    silent.connect(Loopback(static_cast<unsigned short>(std::stoi(address.substr(address.find(':') + 1)))));
    ChildProcess once("norvik.exe", {"send", address, "tab\there"}, folder.Path());
    EXPECT_EQ(once.Wait(kLimit), 0);
    EXPECT_EQ(once.Output(), "8 tab\\x09here\n");
    ChildProcess thrice("norvik.exe", {"send", address, "again", "--count", "3"}, folder.Path());
    EXPECT_EQ(thrice.Wait(kLimit), 0);
    EXPECT_EQ(thrice.Output(), "5 again\n5 again\n5 again\n");
    EXPECT_EQ(serve.Wait(kLimit), 0);
    EXPECT_THAT(serve.Output(), EndsWith("\n8 tab\\x09here\n5 again\n5 again\n5 again\n"));
    EXPECT_EQ(ChildProcess("norvik.exe", {"send", address, "x"}, folder.Path()).Wait(kLimit), 1);
    EXPECT_EQ(ChildProcess("norvik.exe", {"serve", "65536"}, folder.Path()).Wait(kLimit), 2);
}

TEST(NorvikTcp, ASingleServerRefusesTheSecondClientAndAMessageBeyondTheMaximumEndsTheFirst) {
    const TempFolder folder;
    ChildProcess serve("norvik.exe", {"serve", "0", "--single", "--max", "14", "--count", "2"},
                       folder.Path());
    const std::string address = Address(serve);
    boost::asio::io_service service;
    Tcp::socket first(service);
    first.connect(Loopback(static_cast<unsigned short>(std::stoi(address.substr(address.find(':') + 1)))));
    boost::asio::write(first, boost::asio::buffer(TcpFrame("ten bytes.")));
    EXPECT_EQ(ReadBytes(first, 14), TcpFrame("ten bytes."));
    ChildProcess second("norvik.exe", {"send", address, "x"}, folder.Path());
    EXPECT_EQ(second.Wait(kLimit), 1);
    EXPECT_THAT(second.Output(), HasSubstr("no answer to message 1"));
    boost::asio::write(first, boost::asio::buffer(TcpFrame("eleven byte")));
    EXPECT_EQ(ReadBytes(first, 1), "");
    ChildProcess third("norvik.exe", {"send", address, "next"}, folder.Path());
    EXPECT_EQ(third.Wait(kLimit), 0);
    EXPECT_EQ(serve.Wait(kLimit), 0);
    EXPECT_THAT(serve.Output(), EndsWith("\n10 ten bytes.\n4 next\n"));
}

}  // namespace
