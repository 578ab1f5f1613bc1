#include "IPC/IPC_NamedPipe.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

#include "JRCmn/Internal/Cmn_Windows.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "tests/support/EventLoop.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ReportedChecks.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

constexpr unsigned kLimit = 20'000;

// Notes what it is told.
class Pipe : public IPC_NamedPipe {
public:
    explicit Pipe(EReconnectMode mode = eReconnect_None, unsigned rate = 0) : IPC_NamedPipe(mode, rate) {}
    ~Pipe() override { Stop(kLimit); }

    void ProcessARead(IPC_Buffer* buffer) override {
        messages.emplace_back(buffer->GetData(), static_cast<size_t>(buffer->GetCount()));
        if (echoes) Write(buffer->GetData(), static_cast<unsigned>(buffer->GetCount()), nullptr, kLimit);
        buffer->Reset();
        received.Set();
    }
    void ConnectionEstablished(bool clientConnected) override {
        story += clientConnected ? 'C' : 'c';
        if (clientConnected) greeted.Set();
    }
    void ConnectionLost() override {
        ++lost, story += 'l';
        lostEvent.Set();
    }
    bool Send(const std::string& text) { return Write(text.data(), text.size(), nullptr, kLimit); }

    std::vector<std::string> messages;
    std::string story;  // c: connected, C: greeted, l: lost
    std::atomic<int> lost{0};
    bool echoes = false;
    IPC_Event received{IPC_Event::eAutoReset}, greeted, lostEvent;
};

// With lengths before the messages or with messages that the platform keeps apart, on either manager.
class NamedPipe : public testing::TestWithParam<std::tuple<bool, LoopKind>> {
protected:
    NamedPipe() { NorvikLibInternal::OverrideWineProbe(WithLengths()); }

    static bool WithLengths() { return std::get<0>(GetParam()); }

    void RegisterServer(Pipe& server, int bufferSize = 4'000) {
        server.InitServer(name.c_str(), bufferSize, -1);
        manager->RegisterHandler(&server, "server");
    }
    void StartServerThread(Pipe& server) {
        server.InitServer(name.c_str(), 1'000, -1);
        server.SetReconnectMode(IPC_NamedPipe::eReconnect_OnWrite);
        server.StartReadThread(eHigh);
    }
    bool ConnectClient(Pipe& client) {
        client.InitClient(name.c_str(), 1'000);
        RunLoop(manager);
        return client.Connect(kLimit);
    }
    // Until the condition holds.
    template <typename Condition>
    bool Process(Condition condition) {
        for (int i = 0; i < 1'000 && !condition(); ++i)
            manager.ProcessOneEvent(20);
        return condition();
    }
    // An end of a pipe that does not keep to the rules.
    HANDLE OpenRaw() {
        RunLoop(manager);
        return ::CreateFileA(("\\\\.\\PIPE\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                             OPEN_EXISTING, 0, nullptr);
    }
    void WriteRaw(HANDLE pipe, const std::string& bytes) {
        DWORD written;
        ::WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    AnyManager manager{std::get<1>(GetParam())};
    const std::string name = UniqueName("pipe");
};
INSTANTIATE_TEST_SUITE_P(Forms, NamedPipe,
                         testing::Combine(testing::Bool(), testing::Values(LoopKind::kWait, LoopKind::kAsio)),
                         [](const auto& form) {
                             return std::string(std::get<0>(form.param) ? "WithLengths" : "WithMessages") +
                                    (std::get<1>(form.param) == LoopKind::kAsio ? "Asio" : "Wait");
                         });

TEST_P(NamedPipe, AnEventDrivenServerAnswersClientAfterClient) {
    Pipe server;
    server.echoes = true;
    RegisterServer(server);
    for (int round = 0; round < 20; ++round) {
        Pipe client;
        ASSERT_TRUE(ConnectClient(client));
        for (const size_t size : {1u, 8u, 999u, 1'000u}) {
            const std::string text(size, static_cast<char>('a' + round));
            char answer[1'000];
            int count = 0;
            ASSERT_TRUE(client.Send(text));
            RunLoop(manager);
            ASSERT_TRUE(Process([&] { return !server.messages.empty(); }));
            ASSERT_TRUE(client.Read(answer, sizeof answer, &count, kLimit));
            EXPECT_EQ(std::string(answer, static_cast<size_t>(count)), text);
            EXPECT_THAT(server.messages, ElementsAre(text));
            server.messages.clear();
        }
        EXPECT_TRUE(client.Verify());
        EXPECT_TRUE(server.IsClientConnected());
    }
    EXPECT_TRUE(Process([&] { return server.lost == 20; }));
    EXPECT_EQ(server.story.substr(0, 6), "cClcCl");
    manager->UnregisterHandler(&server);
}

TEST_P(NamedPipe, AStrangerIsRefusedAndThePlaceIsForTheNext) {
    const std::string framed = WithLengths() ? std::string("\x08\0\0\0\0\0\0\0", 8) : "";
    const std::string cut = WithLengths() ? std::string("\x03\0\0\0\0\0\0\0", 8) : "";
    const std::string huge = WithLengths() ? "\xFF\xFF\xFF\xFF" : std::string(1'000'000, 'x');
    Pipe server;
    RegisterServer(server);
    for (const std::string& first :
         {framed + "12345678", cut + "abc", framed + std::string("\x20\x62\x65\x47\0\0\0\1", 8),
          std::string(9'000, '\x7F'), huge}) {
        const HANDLE stranger = OpenRaw();
        ASSERT_NE(stranger, INVALID_HANDLE_VALUE);
        const int before = server.lost;
        std::thread writes([&] { WriteRaw(stranger, first); });
        EXPECT_TRUE(Process([&] { return server.lost == before + 1; }));
        EXPECT_TRUE(ReportedOnce("'mClientConnected' failed in IPC\\IPC_NamedPipe.cpp(727)"));
        writes.join();
        ::CloseHandle(stranger);
    }
    Pipe client;
    ASSERT_TRUE(ConnectClient(client));
    client.Send("good");
    EXPECT_TRUE(Process([&] { return !server.messages.empty(); }));
    EXPECT_THAT(server.messages, ElementsAre("good"));
    manager->UnregisterHandler(&server);
}

TEST_P(NamedPipe, AMessageThatIsTooLargeIsDroppedWhole) {
    Pipe server;
    RegisterServer(server, 100);
    Pipe client;
    ASSERT_TRUE(ConnectClient(client));
    std::thread sender([&] {
        client.Send(std::string(10'000, 'x'));
        client.Send("after");
    });
    if (WithLengths()) {  // its length is refused, and the stream with it
        EXPECT_TRUE(Process([&] { return server.lost == 1; }));
        EXPECT_TRUE(AnyContains(TakeTraces(), "a message's length is out of range"));
    } else {
        EXPECT_TRUE(Process([&] { return !server.messages.empty(); }));
        EXPECT_TRUE(ReportedOnce("failed: buffer too small!!!"));
        EXPECT_THAT(server.messages, ElementsAre("after"));
    }
    sender.join();
    manager->UnregisterHandler(&server);
}

TEST_P(NamedPipe, AReaderThreadDeliversUntilItIsStopped) {
    Pipe server, client;
    StartServerThread(server);
    ASSERT_TRUE(ConnectClient(client));
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(client.Send(std::to_string(i)));
        ASSERT_TRUE(server.received.Wait(kLimit));
        ASSERT_EQ(server.messages.back(), std::to_string(i));
    }
    EXPECT_FALSE(server.Stop(0));
    EXPECT_TRUE(server.Stop(kLimit));
    EXPECT_FALSE(server.IsReadThreadRunning());
    EXPECT_TRUE(server.IsConnected());
    server.StartReadThread();
    client.Send("again");
    EXPECT_TRUE(server.received.Wait(kLimit));
}

TEST_P(NamedPipe, BlockingCallsExchangeRequestsAndTimeOut) {
    Pipe server, client;
    server.InitServer(name.c_str(), 1'000, -1);
    client.InitClient(name.c_str(), 1'000);
    EXPECT_FALSE(server.Connect(10));
    char buffer[100];
    int count = -1;
    EXPECT_FALSE(server.Read(buffer, sizeof buffer, &count, 10));
    std::thread answers([&] {
        char request[100];
        int size = 0;
        ASSERT_TRUE(server.Connect(kLimit));
        EXPECT_TRUE(server.Read(request, sizeof request, &size, kLimit));
        EXPECT_EQ(size, 0) << "the greeting";
        for (const size_t answer :
             WithLengths() ? std::vector<size_t>{5, 500} : std::vector<size_t>{5, 500, 6}) {
            EXPECT_TRUE(server.Read(request, sizeof request, &size, kLimit));
            EXPECT_TRUE(server.Send(std::string(answer, 'a')));
        }
    });
    ASSERT_TRUE(client.Connect(kLimit));
    EXPECT_TRUE(client.WriteAndRead("ask", 3, buffer, sizeof buffer, &count, kLimit));
    EXPECT_EQ(std::string(buffer, static_cast<size_t>(count)), "aaaaa");
    EXPECT_FALSE(client.WriteAndRead("ask", 3, buffer, sizeof buffer, &count, kLimit));
    EXPECT_EQ(count, 0);
    if (WithLengths()) {
        EXPECT_FALSE(client.IsConnected()) << "out of step";
    } else {
        EXPECT_TRUE(ReportedOnce("IPC_NamedPipe::WriteAndRead"));
        EXPECT_TRUE(client.WriteAndRead("ask", 3, buffer, sizeof buffer, &count, kLimit));
        EXPECT_EQ(count, 6);
        EXPECT_FALSE(client.Read(buffer, sizeof buffer, &count, 10));
        EXPECT_FALSE(client.IsConnected()) << "after a time-out";
    }
    answers.join();
    EXPECT_EQ(client.lost, 1);
}

TEST_P(NamedPipe, AClientFindsItsServerAgain) {
    Pipe background(IPC_NamedPipe::eReconnect_Background), onWrite(IPC_NamedPipe::eReconnect_OnWrite, 0);
    for (Pipe* client : {&background, &onWrite}) {
        client->InitClient(name.c_str(), 1'000);
        for (int round = 0; round < 3; ++round) {
            Pipe server;
            RegisterServer(server);
            EXPECT_TRUE(Process([&] { return client->Send("hello") && !server.messages.empty(); }));
            manager->UnregisterHandler(&server);
        }
        EXPECT_TRUE(Process([&] { return !client->Verify(); }));
        EXPECT_TRUE(client->Stop(kLimit));
    }
    EXPECT_EQ(onWrite.lost, 3);
}

TEST_P(NamedPipe, PendingOperationsEndWithTheObject) {
    for (int state = 0; state < 3; ++state) {
        Pipe server, client;
        RegisterServer(server);
        RunLoop(manager);
        const bool connects = state > 0 && ConnectClient(client);
        EXPECT_EQ(connects && Process([&] { return server.IsClientConnected(); }), state > 0);
        if (state == 2) {
            server.CancelPendingIO();
            client.Send("kept");
            EXPECT_TRUE(Process([&] { return !server.messages.empty(); }));
        }
        manager->UnregisterHandler(&server);
    }
    Pipe undefined;
    EXPECT_FALSE(undefined.GetEventToWaitOn() == nullptr);
    EXPECT_TRUE(ReportedOnce("'mPipeState != ePipeState_Undefined'"));
    for (const std::string& bad : {std::string(), std::string(300, 'n')}) {
        Pipe nameless;
        EXPECT_TRUE(nameless.InitServer(bad.c_str(), 10, -1));
        EXPECT_TRUE(
            AnyContains(TakeTraces(), "IPC_NamedPipe::InitServer '\\\\.\\PIPE\\" + bad + "' failed: "));
        EXPECT_FALSE(nameless.IsInitialized());
    }
    Pipe first, second;
    first.InitServer(name.c_str(), 10, -1);
    second.InitServer(name.c_str(), 10, -1);
    EXPECT_TRUE(AnyContains(TakeTraces(), "there is a pipe of this name already"));
}

TEST_P(NamedPipe, APeerThatDiesInsideAMessageLeavesNothingBehind) {
    if (!WithLengths()) GTEST_SKIP() << "the platform keeps messages whole";
    const std::string greeting("\x08\0\0\0\0\0\0\0\x20\x62\x65\x47\0\0\0\0", 16);
    const std::string cuts[] = {std::string("\x05\0\0\0", 4), std::string("\x05\0\0\0\0\0\0\0hel", 11)};
    enum Use { kEvents, kThread, kCalls };
    for (const std::string& cut : cuts) {
        for (const Use use : {kEvents, kThread, kCalls}) {
            Pipe server(use == kThread ? IPC_NamedPipe::eReconnect_OnWrite : IPC_NamedPipe::eReconnect_None);
            server.InitServer(name.c_str(), 100, -1);
            if (use == kEvents) manager->RegisterHandler(&server, "server");
            if (use == kThread) server.StartReadThread();
            const HANDLE peer = OpenRaw();
            WriteRaw(peer, greeting + cut);
            char buffer[100];
            int count;
            if (use == kEvents) {
                EXPECT_TRUE(Process([&] { return server.IsClientConnected(); }));
                server.CancelPendingIO();  // what has arrived is kept
            } else if (use == kThread) {
                EXPECT_TRUE(server.greeted.Wait(kLimit));
            } else {
                ASSERT_TRUE(server.Connect(kLimit));
                EXPECT_TRUE(server.Read(buffer, sizeof buffer, &count, kLimit));
            }
            ::CloseHandle(peer);
            EXPECT_FALSE(use == kCalls && server.Read(buffer, sizeof buffer, &count, kLimit));
            EXPECT_TRUE(use == kEvents ? Process([&] { return server.lost == 1; })
                                       : server.lostEvent.Wait(kLimit));
            EXPECT_EQ(AnyContains(TakeReports(),
                                  "'sizeRead == sizeof(int32_t)' failed in IPC\\IPC_NamedPipe.cpp(218)"),
                      cut.size() < 8);
            if (use == kEvents) manager->UnregisterHandler(&server);
            EXPECT_TRUE(server.Stop(kLimit));
            EXPECT_THAT(server.messages, IsEmpty());
        }
    }
}

TEST_P(NamedPipe, StopReachesItsThreadInEveryState) {
    class Flooded : public Pipe {
    public:
        void ProcessARead(IPC_Buffer* buffer) override {
            received.Set();
            while (Write(buffer->GetData(), 1'000, nullptr, INFINITE)) {
            }
        }
    };
    Pipe lonely(IPC_NamedPipe::eReconnect_Background), waiting(IPC_NamedPipe::eReconnect_OnWrite);
    lonely.InitClient("NobodyHasThisPipe", 10);
    EXPECT_TRUE(lonely.IsReadThreadRunning());
    EXPECT_TRUE(lonely.Stop(kLimit));
    waiting.InitServer(UniqueName("waiting").c_str(), 10, -1);
    waiting.StartReadThread();
    EXPECT_TRUE(waiting.Stop(kLimit));
    waiting.SetReconnectMode(IPC_NamedPipe::eReconnect_Background);
    EXPECT_TRUE(waiting.IsReadThreadRunning()) << "it is set up and not connected";
    EXPECT_TRUE(waiting.Stop(kLimit));
    Flooded writing;
    StartServerThread(writing);
    Pipe client;
    ASSERT_TRUE(ConnectClient(client));
    client.Send(std::string(1'000, 'x'));
    ASSERT_TRUE(writing.received.Wait(kLimit));
    EXPECT_TRUE(writing.Stop(kLimit));
}

TEST_P(NamedPipe, WritersAReaderAndServersThatComeAndGoMixNothing) {
    const auto isWhole = [](const std::string& text) {
        return text.size() % 26 == static_cast<size_t>(text[0] - 'a') &&
               text.find_first_not_of(text[0]) == text.npos;
    };
    Pipe client(IPC_NamedPipe::eReconnect_OnWrite);
    client.InitClient(name.c_str(), 1'000);
    client.StartReadThread();
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    for (int w = 0; w < 2; ++w) {
        writers.emplace_back([&, w] {
            for (size_t size = 1; !stop; size = size * 7 % 997 + static_cast<size_t>(w))
                client.Write(std::string(size, static_cast<char>('a' + size % 26)).data(), size, nullptr,
                             kLimit);
        });
    }
    for (int round = 0; round < 10; ++round) {
        Pipe server;
        server.echoes = true;
        StartServerThread(server);
        int served = 0;
        while (served < 50 && server.received.Wait(kLimit))
            ++served;
        EXPECT_EQ(served, 50);
        EXPECT_TRUE(server.Stop(kLimit));
        EXPECT_TRUE(std::ranges::all_of(server.messages, isWhole));
    }
    stop = true;
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_TRUE(client.Stop(kLimit));
    EXPECT_TRUE(std::ranges::all_of(client.messages, isWhole));
    EXPECT_GT(client.messages.size(), 50u);
    for (size_t i = 0; i < client.story.size(); ++i)
        ASSERT_EQ(client.story[i], i % 2 == 0 ? 'c' : 'l') << client.story;
}

TEST_P(NamedPipe, AWriteThatNobodyReadsTimesOut) {
    Pipe server, client;
    server.InitServer(name.c_str(), 100, -1);
    client.InitClient(name.c_str(), 100);
    ASSERT_TRUE(client.Connect(kLimit));
    ASSERT_TRUE(server.Connect(kLimit));
    EXPECT_FALSE(client.Write(std::string(200'000, 'x').data(), 200'000, nullptr, 10));
    EXPECT_TRUE(AnyContains(TakeTraces(), "Write Timeout on pipe '\\\\.\\PIPE\\"));
    EXPECT_FALSE(client.IsConnected());
    EXPECT_EQ(client.lost, 1);
    EXPECT_FALSE(client.FlushBuffers());
    EXPECT_TRUE(AnyContains(TakeTraces(), "IPC_NamedPipe::FlushBuffers '"));
}

TEST_P(NamedPipe, AWriteConnectsAnewAtTheReconnectRate) {
    FakeClock clock;
    Pipe client(IPC_NamedPipe::eReconnect_OnWrite, 500);
    client.InitClient(name.c_str(), 100);
    EXPECT_FALSE(client.Connect(0));
    Pipe server(IPC_NamedPipe::eReconnect_Background);
    server.InitServer(name.c_str(), 100, -1);
    clock.Advance(499);
    EXPECT_FALSE(client.Send("too early"));
    clock.Advance(1);
    EXPECT_TRUE(client.Send("hello"));
    EXPECT_TRUE(server.Stop(kLimit));
}

TEST(NamedPipeNames, AreMadeFitForWine) {
    for (const bool isWine : {true, false}) {
        NorvikLibInternal::OverrideWineProbe(isWine);
        Pipe client;
        client.InitClient("a>b", 10);
        EXPECT_STREQ(client.GetName(), isWine ? "\\\\.\\PIPE\\a_b" : "\\\\.\\PIPE\\a>b");
    }
}

}  // namespace
