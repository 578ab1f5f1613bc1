#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

#include "tests/support/TcpLoop.h"
#include "tests/support/TraceCapture.h"

namespace {

const std::string kFile = "' failed in JRCmn\\Cmn_TCPPrefixedMessageClient.cpp(";
const boost::system::error_code kReset = boost::asio::error::connection_reset, kEnd = boost::asio::error::eof;

// Opens what completions call.
struct Client : Cmn_TCPPrefixedMessageClient {
    using Cmn_TCPPrefixedMessageClient::AsyncSendCallback;
    using Cmn_TCPPrefixedMessageClient::Cmn_TCPPrefixedMessageClient;
    using Cmn_TCPPrefixedMessageClient::HandleRead;
    using Cmn_TCPPrefixedMessageClient::ReceiveHandler;
    void Post(const std::string& text) {
        Send(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
    bool SyncPost(const std::string& text) {
        return SyncSend(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
};

class TCPClient : public testing::Test {
protected:
    std::shared_ptr<Client> Make(uint64_t maximum = 1'024) {
        return std::make_shared<Client>(
            "Desk", maximum,
            [this](const auto& closedClient, bool gracefully) {
                closed += gracefully ? 'g' : 'e';
                if (onClosed) onClosed(closedClient);
            },
            [this](const unsigned char* data, unsigned size) {
                messages.emplace_back(reinterpret_cast<const char*>(data), size);
                return onMessage(messages.back());
            });
    }
    // Connects the client, and reads; the other end is `peer`.
    void Connect(bool reads = true) {
        ASSERT_TRUE(client->SyncConnect(service, acceptor.local_endpoint()));
        if (reads) client->StartReading();
        acceptor.accept(peer = Tcp::socket(service));
    }
    void PeerSends(const std::string& bytes) { boost::asio::write(peer, boost::asio::buffer(bytes)); }
    bool RunUntilMessages(size_t count) {
        return RunUntil(service, [&] { return messages.size() >= count; });
    }

    boost::asio::io_service service;
    Tcp::acceptor acceptor{service, Loopback()};
    Tcp::socket peer{service};
    std::vector<std::string> messages;
    std::string closed;  // a letter for each call: g gracefully, e after an error
    std::function<bool(const std::string&)> onMessage = [](const std::string&) { return true; };
    std::function<void(const std::shared_ptr<Cmn_TCPPrefixedMessageClient>&)> onClosed;
    std::shared_ptr<Client> client = Make();
};

// The peer reads only later, and the socket's own buffers are small, so that most of a frame has to wait.
TEST_F(TCPClient, FramesOfAllSizesSentBackToBackNeverMix) {
    const std::vector<std::vector<size_t>> mixes = {{300'000, 300'000, 300'000},
                                                    {1, 900'000, 0, 2, 65'536, 3},
                                                    {16, 65'531, 65'532, 65'533, 400'000, 200'000, 7}};
    for (const auto& mix : mixes) {
        client = Make(1'000'000);
        const auto socket = std::make_shared<Tcp::socket>(service, Tcp::v4());
        socket->set_option(boost::asio::socket_base::send_buffer_size(4'096));
        socket->connect(acceptor.local_endpoint());
        acceptor.accept(peer = Tcp::socket(service));
        EXPECT_FALSE(client->DisableNaggle() || client->EnableKeepAlive(2'000, 200));
        client->UseSocket(socket, {boost::asio::ip::address_v6::loopback(), 5'000});
        EXPECT_EQ(client->GetLogMessagePrefix(), "Desk ::1:5000");
        EXPECT_TRUE(client->DisableNaggle() && client->EnableKeepAlive(2'000, 200));
        Tcp::no_delay noDelay;
        boost::asio::socket_base::keep_alive keepAlive;
        socket->get_option(noDelay);
        socket->get_option(keepAlive);
        EXPECT_TRUE(noDelay.value() && keepAlive.value());
        std::string expected, arrived, body;
        for (const size_t size : mix) {
            body.assign(size, static_cast<char>('a' + expected.size() % 26));
            expected += TcpFrame(body);
            client->Post(body);
        }
        body.assign(70'000, 'Z');
        expected += TcpFrame(body);
        std::thread reader([&] { arrived = ReadBytes(peer, expected.size()); });
        EXPECT_TRUE(client->SyncPost(body));  // keeps its place behind the others, which are not done yet
        reader.join();
        ASSERT_TRUE(arrived == expected);
        EXPECT_TRUE(RunUntil(service, [&] { return client->GetPendingSendDataSize() == 0; }));
        EXPECT_TRUE(client->IsOpen());
    }
}

TEST_F(TCPClient, MessagesUpToTheMaximumAreSentAndLargerOnesCloseTheConnection) {
    const std::string check = "'inSize <= mMaxMessageSize - sizeof(MessageSizeType)" + kFile;
    for (const uint64_t maximum : {0, 3, 4, 1'024}) {
        for (const bool blocking : {false, true}) {
            closed.clear();
            client = Make(maximum);
            Connect(false);
            const auto send = [&](uint64_t size) {
                const std::string text(size, 'x');
                if (blocking) return client->SyncPost(text);
                client->Post(text);
                return client->IsOpen();
            };
            if (maximum >= 4) {
                EXPECT_TRUE(send(maximum - 4));
                EXPECT_EQ(ReadBytes(peer, maximum), TcpFrame(std::string(maximum - 4, 'x')));
            }
            EXPECT_FALSE(send(maximum < 4 ? 0 : maximum - 3));
            EXPECT_TRUE(ReportedOnce(check + (blocking ? "283)" : "251)")));
            EXPECT_EQ(closed, "e");
            EXPECT_EQ(ReadBytes(peer, 1), "");
            EXPECT_FALSE(send(0));  // without a connection nothing is said
        }
    }
}

TEST_F(TCPClient, ABacklogOfAMillionBytesClosesTheConnection) {
    client = Make(2'000'000);
    Connect();
    client->Post(std::string(600'000, 'x'));
    client->Post(std::string(399'991, 'x'));
    EXPECT_EQ(client->GetPendingSendDataSize(), 999'999U);
    EXPECT_EQ(closed, "");
    TakeTraces();
    client->Post("");
    EXPECT_TRUE(ReportedOnce("'!\"Too much data pending to send\"" + kFile + "269)"));
    EXPECT_EQ(TakeTraces()[0], client->GetLogMessagePrefix() + ": Pending send data limit exceeded.\n");
    EXPECT_EQ(closed, "e");
}

TEST_F(TCPClient, EveryEndOfAConnectionIsToldOnceAndAsWhatItWas) {
    const std::string reset = " failed with error: " + kReset.message() + " (10054).\n",
                      wasClosed = ": connection was closed.\n", isClosing = ": Closing connection.\n";
    const struct {
        const char* situation;
        std::function<void()> end;
        std::string closed, trace, report = {};
    } cases[] = {
        {"the peer's end within a message", [&] { PeerSends("\x10"), peer.close(); }, "g", wasClosed},
        {"a reset", [&] { client->ReceiveHandler(kReset, 0); }, "e", ": connection" + reset},
        {"a reset in a send", [&] { client->AsyncSendCallback(kReset, 0, 0); }, "e", ": send has" + reset},
        {"the peer's end in a send", [&] { client->AsyncSendCallback(kEnd, 0, 0); }, "g", wasClosed},
        {"half a frame was sent", [&] { client->AsyncSendCallback({}, 3, 0); }, "e", ": send has failed"},
        {"too long a message", [&] { PeerSends(std::string("\xFD\x03\0\0", 4)); }, "e", isClosing,
         "'sizeof(MessageSizeType) + msgSize <= mReceiveBufferHolder.size()" + kFile + "210)"},
        {"a refused message", [&] { PeerSends(TcpFrame("no") + TcpFrame("behind")); }, "e", isClosing},
    };
    onMessage = [](const std::string& message) { return message != "no"; };
    onClosed = [&](const auto& closedClient) {
        EXPECT_EQ(closedClient, client);
        client->CloseConnection(true);  // once more changes nothing
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        messages.clear(), closed.clear();
        Connect();
        PeerSends(TcpFrame("before"));
        ASSERT_TRUE(RunUntilMessages(1));
        c.end();
        EXPECT_TRUE(RunUntil(service, [&] { return !closed.empty(); }));
        EXPECT_TRUE(c.report.empty() ? TakeReports().empty() : bool(ReportedOnce(c.report)));
        EXPECT_TRUE(AnyContains(TakeTraces(), client->GetLogMessagePrefix() + c.trace));
        service.poll();
        EXPECT_EQ(closed, c.closed);
        EXPECT_LE(messages.size(), 2U);
    }
}

TEST_F(TCPClient, ItsCallbacksMayDoAnythingAndANewConnectionStartsClean) {
    Tcp::socket earlier(service);
    const auto connect = [&] {
        earlier = std::move(peer);
        Connect();
    };
    const auto adopt = [&] {
        earlier = std::move(peer);
        const auto socket = std::make_shared<Tcp::socket>(service);
        socket->connect(acceptor.local_endpoint());
        client->UseSocket(socket, acceptor.local_endpoint());
        acceptor.accept(peer = Tcp::socket(service));
    };
    const auto connectLater = [&] {
        earlier = std::move(peer);
        bool connected = false;
        client->AsyncConnect(service, acceptor.local_endpoint(), [&](bool done) { connected = done; });
        EXPECT_TRUE(RunUntil(service, [&] { return connected; }));
        acceptor.accept(peer = Tcp::socket(service));
    };
    const auto endAndConnect = [&] {
        onClosed = [&](const auto&) { connect(); };
        peer.shutdown(Tcp::socket::shutdown_send);
        EXPECT_TRUE(RunUntil(service, [&] { return !closed.empty(); }));
    };
    enum Place { kInMessage, kOutside };
    enum Leads { kSame, kToTheEnd, kToANewOne };
    const struct {
        const char* what;
        Place place;
        std::function<void()> act;
        Leads leads;
        const char* closed;
    } cases[] = {
        {"send", kInMessage, [&] { client->Post("answer"); }, kSame, ""},
        {"close", kInMessage, [&] { client->CloseConnection(false); }, kToTheEnd, "e"},
        {"release", kInMessage, [&] { client = nullptr; }, kToTheEnd, ""},
        {"throw", kInMessage, [] { throw std::runtime_error("out of the callback"); }, kToTheEnd, "e"},
        {"connect", kInMessage, connect, kToANewOne, ""},
        {"close, connect", kInMessage, [&] { client->CloseConnection(false), connect(); }, kToANewOne, "e"},
        {"connect", kOutside, connect, kToANewOne, ""},
        {"connect asynchronously", kOutside, connectLater, kToANewOne, ""},
        {"adopt a socket", kOutside, adopt, kToANewOne, ""},
        {"connect when it is closed", kOutside, endAndConnect, kToANewOne, "g"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        messages.clear(), closed.clear(), onClosed = nullptr;
        client = Make();
        Connect();
        onMessage = [&](const std::string& message) {
            if (message == "do it") c.act();
            return true;
        };
        // The one that acts is cut by a read. Otherwise half a message is held, a read and a send are under way.
        PeerSends(TcpFrame("one") + "\5");
        ASSERT_TRUE(RunUntilMessages(1));
        if (c.place == kOutside) {
            client->Post(std::string(100, 'x'));
            c.act();
        } else {
            PeerSends((TcpFrame("do it") + TcpFrame("three")).substr(1));
            if (std::string(c.what) == "throw")
                EXPECT_THROW(RunUntilMessages(2), std::runtime_error);
            else
                EXPECT_TRUE(RunUntilMessages(2));
        }
        service.poll();
        // Behind the end of its connection no message is delivered.
        const size_t delivered = c.place == kOutside ? 1 : c.leads == kSame ? 3 : 2;
        EXPECT_EQ(messages.size(), delivered);
        EXPECT_EQ(closed, c.closed);
        if (c.leads != kToANewOne) {
            EXPECT_EQ(ReadBytes(peer, 10), c.leads == kSame ? TcpFrame("answer") : "");
            continue;
        }
        EXPECT_LT(ReadBytes(earlier, 200).size(), 200U);
        client->StartReading();  // once more changes nothing; two reads at once would mix the pieces
        client->StartReading();
        EXPECT_EQ(client->GetPendingSendDataSize(), 0U);
        for (const char piece : TcpFrame("again") + TcpFrame("")) {
            PeerSends(std::string(1, piece));
            service.poll();
        }
        EXPECT_TRUE(RunUntilMessages(delivered + 2));
        EXPECT_EQ(messages[delivered] + messages[delivered + 1], "again");
        EXPECT_EQ(client->GetPendingSendDataSize(), 0U);
        const std::weak_ptr<Client> gone = std::exchange(client, nullptr);
        EXPECT_TRUE(gone.expired()) << "with its read under way";
    }
}

TEST_F(TCPClient, AsyncConnectTellsHowItEnded) {
    const Tcp::endpoint nobody = Tcp::acceptor(service, Loopback()).local_endpoint();
    const std::string text = "127.0.0.1:" + std::to_string(nobody.port());
    std::string done;
    const auto connect = [&](const Tcp::endpoint& endpoint) {
        client->AsyncConnect(service, endpoint, [&](bool connected) { done += connected ? 't' : 'f'; });
    };
    connect(nobody);
    EXPECT_TRUE(RunUntil(service, [&] { return done == "f"; }));
    EXPECT_FALSE(client->IsOpen());
    EXPECT_FALSE(client->SyncConnect(service, nobody));
    EXPECT_FALSE(client->IsOpen());
    const std::string start = "Desk " + text + ": Failed to connect to " + text + " - error is ";
    EXPECT_THAT(TakeTraces(), testing::Each(testing::StartsWith(start)));
    connect(acceptor.local_endpoint());
    connect(acceptor.local_endpoint());  // replaces the one before, which has failed by that
    EXPECT_TRUE(RunUntil(service, [&] { return done.size() == 3; }));
    EXPECT_THAT(done, testing::AnyOf("fft", "ftf"));
    EXPECT_TRUE(client->IsOpen());
    connect(acceptor.local_endpoint());
    client = nullptr;
    EXPECT_TRUE(RunUntil(service, [&] { return service.stopped(); }));
    EXPECT_EQ(done.size(), 3U);
    EXPECT_EQ(closed, "");
}

TEST_F(TCPClient, WrongBooksAndBuffersWithoutRoomAreReported) {
    const auto mute = std::make_shared<Client>("Mute", 100, nullptr, nullptr);
    EXPECT_TRUE(ReportedOnce("'mMessageReceivedCallback" + kFile + "37)"));
    const unsigned char bytes[4] = {};
    EXPECT_FALSE(mute->HandleRead(bytes, 4));
    client->AsyncSendCallback({}, 10, 10);
    EXPECT_TRUE(ReportedOnce("'mPendingSendDataSize <= cMaxPendingSendDataSize" + kFile + "331)"));
    EXPECT_EQ(client->GetPendingSendDataSize(), 0U);
    client = Make(3);
    EXPECT_TRUE(client->HandleRead(bytes, 3));
    EXPECT_FALSE(client->HandleRead(bytes, 1));
    EXPECT_TRUE(ReportedOnce("'false" + kFile + "238)"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "Desk 0.0.0.0:0: App has sent a too long message, aborting.\n"));
}

}  // namespace
