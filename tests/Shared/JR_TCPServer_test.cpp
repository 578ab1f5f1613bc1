#include "Shared/JR_TCPServer.h"

#include <gmock/gmock.h>

#include <optional>

#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "tests/support/FakeAdapter.h"
#include "tests/support/TcpLoop.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;

struct JRTCPServer : testing::Test {
    boost::asio::io_service service;
    // A change of the adapter is posted by another thread: there is always something to wait for.
    const boost::asio::executor_work_guard<boost::asio::io_service::executor_type> work =
        boost::asio::make_work_guard(service);
};

TEST_F(JRTCPServer, ListensOnTheAddressOfItsAdapterAndFollowsIt) {
    FakeAdapter adapter(kFakeNone);
    std::shared_ptr<Cmn_TCPPrefixedMessageClient> client;
    JR_TCPServer server(service, ENetworkUser::eConsole, 0, "Console",
                        [&](const auto& socket, const auto& peer, const auto& onClosed) {
                            client = std::make_shared<Cmn_TCPPrefixedMessageClient>(
                                "Desk", 100, onClosed, [](auto, auto) { return true; });
                            client->UseSocket(socket, peer);
                            return client;
                        });
    // Where it listens in the end: the address, which is known, and the port.
    const auto listensOn = [&](const std::string& address) {
        const auto isThere = [&] { return server.GetLocalEndpoint().address().to_string() == address; };
        EXPECT_TRUE(RunUntil(service, isThere)) << address;
        return address + ":" + std::to_string(server.GetLocalEndpoint().port());
    };
    server.StartListening();
    server.UseAnyPort();
    EXPECT_FALSE(server.IsListening());
    adapter.Change(kFakeFirst);
    const std::string first = listensOn("127.0.0.1");
    Tcp::socket peer = ConnectTo(service, server.GetLocalEndpoint());
    ASSERT_TRUE(RunUntil(service, [&] { return client != nullptr; }));
    adapter.Change(kFakeSecond);
    const std::string second = listensOn("127.0.0.2");
    adapter.Change(kFakeNone);
    ASSERT_TRUE(RunUntil(service, [&] { return !server.IsListening(); }));
    auto traces = TakeTraces();
    std::erase_if(traces, [](const std::string& line) { return !line.starts_with("Console: "); });
    EXPECT_THAT(
        traces,
        ElementsAre(
            "Console: Can't start TCP server, because bind address is not available.\n",
            "Console: TCP server IP address changed to 127.0.0.1:0, will start listening.\n",
            "Console: Starting TCP server at 127.0.0.1:0...\n",
            "Console: TCP server " + first + " IP address changed to 127.0.0.2:0, will restart listening.\n",
            "Console: Stopping TCP server " + first + "...\n",
            "Console: Starting TCP server at 127.0.0.2:0...\n",
            "Console: TCP server " + second + " IP address disappeared, will stop listening.\n",
            "Console: Stopping TCP server " + second + "...\n"));
    EXPECT_TRUE(client->SyncSend(nullptr, 0));
    EXPECT_EQ(ReadBytes(peer, 4), TcpFrame(""));
}

struct SingleClientServer : JRTCPServer {
    void Start() {
        server.emplace(
            service,
            JR_TCPSingleClientMessageServer::Parameters{ENetworkUser::eEngine, 0, "Remote", 1'000, true},
            [this] {
                events += "connected ";
                if (onConnected) onConnected();
            },
            [this](bool gracefully) {
                events += gracefully ? "ended " : "closed ";
                if (onDisconnected) onDisconnected();
            },
            [this](const unsigned char* data, unsigned size) {
                events += std::string(reinterpret_cast<const char*>(data), size) + " ";
                onMessage ? onMessage() : server->Send(data, size);
                return true;
            });
        endpoint = server->GetLocalEndpoint();
    }
    bool Happens(const std::string& wanted) {
        return RunUntil(service, [&] { return events.size() >= wanted.size(); }) && events == wanted;
    }

    FakeAdapter adapter;
    std::string events;
    std::function<void()> onConnected, onDisconnected, onMessage;
    std::optional<JR_TCPSingleClientMessageServer> server;
    Tcp::endpoint endpoint;
};

TEST_F(SingleClientServer, ServesOneClientAndThenTheNext) {
    Start();
    Tcp::socket first = ConnectTo(service, endpoint);
    EXPECT_TRUE(Happens("connected "));
    std::vector<Tcp::socket> others;
    for (int i = 0; i < 1'000; ++i)
        others.push_back(ConnectTo(service, endpoint));
    boost::asio::write(first, boost::asio::buffer(TcpFrame("ask")));
    EXPECT_TRUE(Happens("connected ask "));
    EXPECT_EQ(ReadBytes(first, 7), TcpFrame("ask"));
    service.poll();
    for (Tcp::socket& other : others)
        EXPECT_TRUE(IsClosed(other));
    EXPECT_TRUE(server->IsOpen());
    first.close();
    EXPECT_TRUE(Happens("connected ask ended "));
    EXPECT_FALSE(server->IsOpen());
    Tcp::socket second = ConnectTo(service, endpoint);
    EXPECT_TRUE(Happens("connected ask ended connected "));
    server->CloseConnection(false);
    EXPECT_TRUE(IsClosed(second));
    EXPECT_TRUE(Happens("connected ask ended connected closed "));
}

TEST_F(SingleClientServer, ItsCallbacksMayCloseAndDestroyIt) {
    const auto destroy = [this] { server.reset(); };
    const struct {
        std::function<void()> connected, disconnected, message;
        std::string events;
    } cases[] = {
        {[this] { server->CloseConnection(false); }, nullptr, nullptr, "connected closed "},
        {destroy, nullptr, nullptr, "connected "},
        {nullptr, destroy, nullptr, "connected one two ended "},
        {nullptr, nullptr, destroy, "connected one "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.events);
        events.clear();
        onConnected = c.connected, onDisconnected = c.disconnected, onMessage = c.message;
        Start();
        Tcp::socket peer = ConnectTo(service, endpoint);
        boost::asio::write(peer, boost::asio::buffer(TcpFrame("one") + TcpFrame("two")));
        if (c.disconnected) peer.shutdown(Tcp::socket::shutdown_send);
        EXPECT_TRUE(Happens(c.events));
        service.poll();
        EXPECT_EQ(events, c.events);
        const size_t answers = c.disconnected ? 14 : 0;
        EXPECT_EQ(ReadBytes(peer, 100).size(), answers);
    }
}

}  // namespace
