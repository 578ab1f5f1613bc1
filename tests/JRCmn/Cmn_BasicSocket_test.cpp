#include "JRCmn/Cmn_BasicSocket.h"

#include <gmock/gmock.h>

#include "JRCmn/Cmn_DatagramSocket.h"
#include "JRCmn/Internal/Cmn_SocketCalls.h"
#include "tests/support/EventLoop.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre, testing::HasSubstr;

const Cmn_IPv4Address kLocal("127.0.0.1");

// Notes what it is told.
struct Peer : Cmn_DatagramSocket {
    Peer()
        : Cmn_DatagramSocket(
              [this](const char* data, size_t size) {
                  received.emplace_back(data, size);
                  const auto function = onData;  // it may destroy this object
                  return function();
              },
              [this] { ++closed; }) {
        EXPECT_EQ(Open(), 0);
    }
    void Listen() {
        EXPECT_EQ(Bind(kLocal, 0), 0);
        StartReading();
    }
    void SendTo(const Peer& peer, std::initializer_list<const char*> texts) {
        EXPECT_EQ(Connect(kLocal, peer.GetBindPort()), 0);
        for (const char* const text : texts)
            EXPECT_TRUE(Send(text, strlen(text)));
    }

    std::vector<std::string> received;
    int closed = 0;
    std::function<bool()> onData = [] { return true; };
};

// A stream to a peer that reads only when the test does it.
struct Stream : Cmn_BasicSocket {
    Stream() : Cmn_BasicSocket(nullptr, nullptr) {
        const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr name = {AF_INET, {0, 0, 127, 0, 0, 1}};
        int size = sizeof name;
        EXPECT_EQ(::bind(listener, &name, size) + ::listen(listener, 1), 0);
        ::getsockname(listener, &name, &size);
        const SOCKET socket = ::WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED);
        EXPECT_EQ(::connect(socket, &name, size), 0);
        peer = ::accept(listener, nullptr, nullptr);
        ::closesocket(listener);
        EXPECT_TRUE(DidOpen(socket));
    }
    ~Stream() override { ::closesocket(peer); }
    int Receive(char* buffer, unsigned size, void* overlapped) override {
        WSABUF data = {size, buffer};
        DWORD flags = 0;
        receive = static_cast<OVERLAPPED*>(overlapped);
        const int result = ::WSARecv(GetSocket(), &data, 1, nullptr, &flags, receive, nullptr);
        return result == 0 ? 0 : ::WSAGetLastError();
    }
    // Its bytes tell which one it is.
    bool SendBlock(int number) {
        const std::vector<char> block(cBufferSize, static_cast<char>(number));
        return Send(block.data(), block.size());
    }

    SOCKET peer;
    OVERLAPPED* receive = nullptr;
};

class BasicSocket : public testing::Test {
protected:
    ~BasicSocket() override { GetSocketCalls() = {}; }

    bool Traced(const std::string& text) { return AnyContains(TakeTraces(), text); }

    DefaultManager manager;
};

TEST_F(BasicSocket, DatagramsOfEverySizeArriveWholeAndInOrder) {
    Peer server, client;
    server.Listen();
    const std::string large(65'507, 'x'), tooLarge(65'537, 'x');
    client.SendTo(server, {"", "1", "", large.c_str()});
    EXPECT_TRUE(RunUntil(manager, [&] { return server.received.size() == 4; }));
    EXPECT_THAT(server.received, ElementsAre("", "1", "", large));
    EXPECT_EQ(server.GetSender().GetAddress(), kLocal);
    EXPECT_FALSE(client.Send(tooLarge.data(), 65'536));
    EXPECT_TRUE(Traced("Cmn_BasicSocket: WSASend failed with error 10040\n"));
    EXPECT_FALSE(client.Send(tooLarge.data(), 65'537));
    EXPECT_TRUE(ReportedOnce("'inNumberBytes <= cBufferSize' failed in JRCmn\\Cmn_BasicSocket.cpp"));
    EXPECT_EQ(client.Bind(kLocal, server.GetBindPort()), WSAEINVAL);
    EXPECT_TRUE(Traced("bind() for UDP socket failed (address 127.0.0.1:"));
    EXPECT_EQ(client.Bind(Cmn_IPv4Address(), 1), -1);
    EXPECT_TRUE(ReportedOnce("'inAddress.IsValid()' failed in JRCmn\\Cmn_BasicSocket.cpp"));
}

TEST_F(BasicSocket, StopsWhenItsFunctionSaysSoAndGoesOnLater) {
    Peer server, client;
    server.Listen();
    server.onData = [&] {
        server.StartReading();  // it reads already: nothing
        return server.received.size() % 2 == 0;
    };
    client.SendTo(server, {"1", "2", "3"});
    EXPECT_TRUE(RunUntil(manager, [&] { return server.received.size() == 1; }));
    EXPECT_FALSE(manager.ProcessOneEvent(0));
    server.StartReading();
    EXPECT_THAT(server.received, ElementsAre("1", "2", "3"));
}

TEST_F(BasicSocket, MayBeClosedReopenedOrDestroyedInItsFunctions) {
    enum Action { kClose, kReopen, kDestroy, kActions };
    for (int round = 0; round < 30; ++round) {
        std::optional<Peer> server(std::in_place);
        Peer client;
        server->Listen();
        int calls = 0;
        server->onData = [&] {
            if (++calls > 1) return true;
            if (round % kActions == kDestroy) return server.reset(), true;
            server->Close();
            if (round % kActions == kReopen && server->Open() == 0) server->Listen();
            return true;
        };
        // The second is there already when the function runs, in every other round.
        client.SendTo(*server, {"1"});
        if (round % 2 != 0) client.SendTo(*server, {"2"});
        EXPECT_TRUE(RunUntil(manager, [&] { return calls == 1; }));
        if (round % kActions == kReopen) Peer().SendTo(*server, {"again"});
        EXPECT_TRUE(RunUntil(manager, [&] { return calls == (round % kActions == kReopen ? 2 : 1); }));
        EXPECT_FALSE(manager.ProcessOneEvent(0));
        EXPECT_TRUE(!server || server->closed == 1);
    }  // a third of them go with a receive under way
}

TEST_F(BasicSocket, AFailedReceiveClosesItAndOnlyAResetIsNoReport) {
    static int sError;
    for (const int error : {WSAECONNRESET, WSAENETDOWN}) {
        sError = error;
        Peer atOnce, later;
        later.Listen();
        GetSocketCalls().receiveFrom = [](auto...) { return ::WSASetLastError(sError), SOCKET_ERROR; };
        atOnce.StartReading();
        EXPECT_EQ(AnyContains(TakeReports(), "(253)"), error != WSAECONNRESET);
        EXPECT_TRUE(Traced("Cmn_BasicSocket: receive failed with error " + std::to_string(error) + "\n"));
        GetSocketCalls().getResult = [](auto...) { return ::WSASetLastError(sError), FALSE; };
        Peer().SendTo(later, {"x"});
        EXPECT_TRUE(RunUntil(manager, [&] { return !later.IsOpen(); }));
        EXPECT_TRUE(Traced("Overlapped WSARecv failed with error " + std::to_string(error) + "\n"));
        EXPECT_EQ(atOnce.closed + later.closed, 2);
        GetSocketCalls() = {};
    }
}

TEST_F(BasicSocket, ReportsWhatThePlatformRefuses) {
    static int sEvents;
    sEvents = 0;
    GetSocketCalls().createEvent = [] { return ++sEvents == 3 ? nullptr : ::WSACreateEvent(); };
    GetSocketCalls().cancel = [](HANDLE handle) { return ::CancelIo(handle), FALSE; };
    GetSocketCalls().shutdown = [](auto...) { return ::WSASetLastError(WSAENETDOWN), SOCKET_ERROR; };
    GetSocketCalls().close = [](SOCKET s) { return ::closesocket(s), SOCKET_ERROR; };
    Peer().Close();
    std::atomic<bool> isStarted{false};
    GetSocketCalls().startup = [](auto...) { return 10091; };
    InitWinsock(isStarted);
    GetSocketCalls().startup = [](WORD, WSADATA* data) { return ::WSAStartup(0x0101, data); };
    InitWinsock(isStarted);
    EXPECT_FALSE(isStarted);
    const auto lines = TakeTraces();
    for (const char* const text :
         {"'mOverlapped.hEvent' failed in JRCmn\\Cmn_BasicSocket.cpp(54)",
          "'CancelIo((HANDLE)mSocket)' failed in JRCmn\\Cmn_BasicSocket.cpp(148)",
          "'false' failed in JRCmn\\Cmn_BasicSocket.cpp(157)",
          "Cmn_BasicSocket: shutdown failed with wsaError code 10050\n",
          "closesocket failed with wsaError code", "'false' failed in JRCmn\\Cmn_BasicSocket.cpp(167)",
          "Cmn_BasicSocket: WSAStartup returned 10091\n", "(got 1:1)\n"})
        EXPECT_THAT(lines, testing::Contains(HasSubstr(text)));
}

TEST_F(BasicSocket, AFullRingOfSendsWaitsForTheOldestAndFailsAfterItsTime) {
    Stream stream;
    FakeClock clock;
    stream.SetSendTimeout(40);
    size_t sent = 0, total = 0;
    while (sent < 1'000 && stream.SendBlock(static_cast<int>(sent)))
        ++sent;
    EXPECT_GE(sent, 256u);
    EXPECT_TRUE(Traced("Cmn_BasicSocket: timeout sending data.\n"));

    // The peer reads at last: everything arrives, and there is room again.
    std::vector<char> piece(1 << 20);
    bool isInOrder = true;
    for (int size = 1; size > 0 && total < sent * Stream::cBufferSize;) {
        size = ::recv(stream.peer, piece.data(), static_cast<int>(piece.size()), 0);
        for (int i = 0; i < size; ++i, ++total)
            isInOrder &= piece[static_cast<size_t>(i)] == static_cast<char>(total / Stream::cBufferSize);
    }
    EXPECT_TRUE(isInOrder && total == sent * Stream::cBufferSize);
    stream.SetSendTimeout(20'000);
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(stream.SendBlock(i));
    stream.StartReading();
    EXPECT_FALSE(HasOverlappedIoCompleted(stream.receive));
    stream.Close();  // what is under way is over then
    EXPECT_TRUE(HasOverlappedIoCompleted(stream.receive));
}

TEST_F(BasicSocket, AFailedSendIsToldOnceAndItsPlaceIsFree) {
    static int sError;
    Peer client, receiver;
    receiver.Listen();
    for (const int error : {WSAECONNRESET, WSAENOTCONN, int{WSA_IO_INCOMPLETE}, WSAECONNABORTED}) {
        client.SendTo(receiver, {"x"});
        TakeTraces();
        sError = error;
        GetSocketCalls().getResult = [](auto...) { return ::WSASetLastError(sError), FALSE; };
        EXPECT_FALSE(client.Send("y", 1)) << error;
        GetSocketCalls() = {};
        const bool isTold = error == WSAECONNABORTED || error == WSA_IO_INCOMPLETE;
        EXPECT_EQ(AnyContains(TakeReports(), "(400)"), isTold) << error;
        EXPECT_EQ(Traced("WSAGetOverlappedResult failed with error " + std::to_string(error)), isTold);
    }
    client.SendTo(receiver, {"z"});
}

}  // namespace
