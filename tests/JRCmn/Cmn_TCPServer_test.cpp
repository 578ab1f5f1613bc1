#include "JRCmn/Cmn_TCPServer.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TcpLoop.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;

// Listens where it is told.
class Server : public Cmn_TCPServer {
public:
    Server(boost::asio::io_service& service, ClientFactory factory)
        : Cmn_TCPServer(service, "Meters", std::move(factory)) {
        SetAnyPort(true);
    }
    Endpoint GetBindEndpoint() override { return bind; }
    void Bind(const Endpoint& endpoint) {
        bind = endpoint;
        NotifyBindAddressChanged();
    }
    using Cmn_TCPServer::OnClientAccepted;

    Endpoint bind = Loopback();
};

class TCPServer : public testing::Test {
protected:
    std::shared_ptr<Cmn_TCPClient_IF> Accept(const std::shared_ptr<Tcp::socket>& socket,
                                             const Tcp::endpoint& peer,
                                             const Cmn_TCPServer::ClosedCallback& onClosed) {
        ++accepted;
        if (onAccept) onAccept();
        auto client = std::make_shared<Cmn_TCPPrefixedMessageClient>(
            "Meter", 1'000, onClosed, [](const unsigned char*, unsigned) { return true; });
        client->UseSocket(socket, peer);
        client->StartReading();
        if (closesAtOnce) client->CloseConnection(false);
        latest = client;
        return client;
    }
    // A connection that the server has accepted; the client made for it is `latest`.
    Tcp::socket Connect() {
        Tcp::socket socket = ConnectTo(service, server->GetLocalEndpoint());
        EXPECT_TRUE(RunUntil(service, [&, before = accepted] { return accepted > before; }));
        return socket;
    }

    boost::asio::io_service service;
    int accepted = 0;
    bool closesAtOnce = false;
    std::function<void()> onAccept;
    std::weak_ptr<Cmn_TCPPrefixedMessageClient> latest;
    std::unique_ptr<Server> server = std::make_unique<Server>(
        service, [this](auto socket, auto& peer, auto& onClosed) { return Accept(socket, peer, onClosed); });
};

TEST_F(TCPServer, KeepsItsClientsAsLongAsTheyAreConnected) {
    server->StartListening();
    Tcp::socket first = Connect();
    const auto closed = latest;
    closed.lock()->CloseConnection(true);
    EXPECT_FALSE(closed.expired());  // gone only when its own call has returned
    service.poll();
    EXPECT_TRUE(closed.expired());
    // One whose connection ends while the factory makes it is not kept either.
    closesAtOnce = true;
    Tcp::socket brief = Connect();
    EXPECT_TRUE(IsClosed(brief));
    service.poll();
    EXPECT_TRUE(latest.expired());
    closesAtOnce = false;
    Tcp::socket last = Connect();
    // Who still holds a client may close it after the server has gone.
    const auto kept = latest.lock();
    server = nullptr;
    EXPECT_TRUE(kept->IsOpen());
    kept->CloseConnection(false);
    EXPECT_TRUE(IsClosed(last));
    service.poll();
}

TEST_F(TCPServer, AFactoryThatThrowsOrStopsTheServerLosesOnlyItsOwnClient) {
    server->StartListening();
    onAccept = [] { throw std::runtime_error("out of the factory"); };
    Tcp::socket failed = ConnectTo(service, server->GetLocalEndpoint());
    EXPECT_THROW(RunUntil(service, [&] { return accepted == 1; }), std::runtime_error);
    EXPECT_TRUE(IsClosed(failed));
    onAccept = [&] { server->StopListening(); };
    Tcp::socket taken = Connect();
    EXPECT_FALSE(latest.expired());
    EXPECT_FALSE(server->IsListening());
    server->Bind(Loopback());  // stopped, so nothing follows
    EXPECT_FALSE(server->IsListening());
}

TEST_F(TCPServer, AnAddressThatCannotBeBoundIsThrownAndTheServerCanBeStartedLater) {
    Tcp::acceptor occupant(service);
    occupant.open(Tcp::v4());
    occupant.bind(Loopback());
    occupant.listen();
    for (const Tcp::endpoint& bind :
         {occupant.local_endpoint(), Tcp::endpoint(boost::asio::ip::make_address("192.0.2.1"), 5'000)}) {
        server->bind = bind;
        EXPECT_THROW(server->StartListening(), boost::system::system_error);
        EXPECT_FALSE(server->IsListening());
    }
    // The restart after an accept error throws into the loop, which goes on.
    server->bind = Loopback();
    server->StartListening();
    server->Bind(Loopback());
    server->bind = occupant.local_endpoint();
    server->OnClientAccepted(nullptr, {}, boost::asio::error::no_descriptors);
    EXPECT_THROW(service.poll(), boost::system::system_error);
    EXPECT_FALSE(server->IsListening());
    occupant.close();  // and it goes on trying
    EXPECT_TRUE(RunUntil(service, [&] { return server->IsListening(); }));
    Connect();
    EXPECT_FALSE(latest.expired());
}

TEST_F(TCPServer, AcceptErrorsRestartItAtOnceAndThenMoreAndMoreSlowly) {
    const boost::system::error_code error = boost::asio::error::no_descriptors;
    FakeClock clock;
    server->StartListening();
    Tcp::socket peer = Connect();
    TakeTraces();
    const std::string at = "127.0.0.1:" + std::to_string(server->GetLocalEndpoint().port());
    server->bind = server->GetLocalEndpoint();
    server->OnClientAccepted(nullptr, {}, error);
    EXPECT_FALSE(server->IsListening());
    service.restart();
    service.poll();
    EXPECT_THAT(TakeTraces(),
                ElementsAre("Meters: Caught error in TCP server " + at + ": " + error.message() + " (" +
                                std::to_string(error.value()) + "). Restarting...\n",
                            "Meters: Stopping TCP server " + at + "...\n",
                            "Meters: Starting TCP server at " + at + "...\n"));
    // The accept that the restart cancelled is not an error.
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i) {
        clock.Advance(100);
        server->OnClientAccepted(nullptr, {}, error);
        EXPECT_TRUE(RunUntil(service, [&] { return server->IsListening(); }));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10 + 20 + 40 + 80 - 4));
    clock.Advance(2'000);
    server->OnClientAccepted(nullptr, {}, error);
    service.restart();
    service.poll();
    EXPECT_TRUE(server->IsListening());
    // Who stops it meanwhile has stopped it.
    server->OnClientAccepted(nullptr, {}, error);
    server->StopListening();
    peer.close();
    EXPECT_TRUE(RunUntil(service, [&] { return service.stopped(); }));
    EXPECT_FALSE(server->IsListening());

    server->OnClientAccepted(nullptr, {}, {});
    EXPECT_TRUE(ReportedOnce("'inClientSocket' failed in JRCmn\\Cmn_TCPServer.cpp(166)"));
}

}  // namespace
