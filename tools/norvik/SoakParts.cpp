// norvik soak-part: the processes of the endurance run (docs/soak.md). For that only, so it is not in the list of verbs.
// What they print is for the controller (Soak.cpp).

#include "JRCmn/Internal/Cmn_Windows.h"

#include <atomic>
#include <boost/asio.hpp>
#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "IPC/IPC_NamedPipe.h"
#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_BonjourServicePublisher.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_Trace.h"
#include "Shared/JR_AsioEventManager.h"
#include "Shared/JR_ShellApp.h"
#include "Shared/JR_TCPServer.h"
#include "tools/norvik/Discovery.h"
#include "tools/norvik/Soak.h"
#include "tools/norvik/SoakLedger.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Client = Cmn_TCPPrefixedMessageClient;

constexpr char cType[] = "_norvik-soak._tcp";
constexpr unsigned cTick = 20, cStatusEvery = 500, cSignEvery = 100;  // ms
constexpr uint64_t cCommandEvery = 200, cRetryAfter = 500;            // ms
constexpr uint64_t cLongestSilence = 20'000;                          // ms, of a peer that sends all the time
constexpr uint64_t cLargestFrame = NumberedLink::cLongest + 4;
constexpr unsigned cPipeTimeout = 1'000;  // ms
constexpr unsigned cWatchdogSeconds = 8;
// A log that rewinds within minutes, and few enough runs for the small disk.
constexpr unsigned cRuns = 6, cLargestLogKB = 64;

uint64_t Now() {
    return Cmn_Time::GetInMilliseconds();
}

// Lets the run see whether it notices.
struct Planted {
    explicit Planted(const std::string& fault)
        : drops(fault == "drop"), leaks(fault == "leak"), hangs(fault == "hang"), grows(fault == "memory") {}
    const bool drops, leaks, hangs, grows;
};

// What every part does: a loop, life signs in the log, its figures on the output.
class Part {
public:
    Part(uint64_t stopAt, const std::string& fault) : planted(fault), mStopAt(stopAt) {
        Cmn_Logging::GetInstance().StartNewRun(cRuns, cLargestLogKB);
        gIF_EventManager = &loop;
        loop.EnableWatchdogThread(cWatchdogSeconds, nullptr);
        ShowSign();
        Print("log " + Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath() + "\n");
        Flush();
        mTick.Start(cTick);
        mSign.Start(cSignEvery);
        mStatus.Start(cStatusEvery);
    }
    virtual ~Part() = default;

    int Run() {
        loop.Run();
        return cFailure;  // it is killed; until then there is always something to wait for
    }

protected:
    virtual void Tick() = 0;
    virtual void PrintStatus() = 0;

    // Towards the end no more messages are sent, so that all that are under way arrive.
    bool IsSending() const { return Now() < mStopAt; }
    void PrintLink(const std::string& name, bool isOpen, const LinkCounts& counts, uint64_t inFlight,
                   int connects) const {
        Print("link " + name + " open=" + (isOpen ? "1 " : "0 ") + StatusText(counts) +
              " inflight=" + std::to_string(inFlight) + " connects=" + std::to_string(connects) + "\n");
    }
    // What a message takes to get out of this process.
    template <typename Send>
    std::unique_ptr<NumberedLink> MakeLink(Send send) {
        return std::make_unique<NumberedLink>([this, send](std::string_view frame) {
            if (planted.drops && ++mFrames % 1'000 == 0) return;
            send(reinterpret_cast<const unsigned char*>(frame.data()), frame.size());
        });
    }

    JR_AsioEventManager loop;
    const Planted planted;

private:
    void ShowSign() { Cmn_Trace("%s%d\n", cLifeSign, ++mSigns); }

    const uint64_t mStopAt;
    int mSigns = 0;
    uint64_t mFrames = 0;
    Cmn_PeriodicTimer mTick{[this] { Tick(); }, "Tick"};
    Cmn_PeriodicTimer mSign{[this] { ShowSign(); }, "Life sign"};
    Cmn_PeriodicTimer mStatus{[this] {
                                  PrintStatus();
                                  Print("signs " + std::to_string(mSigns) + "\n");
                                  Flush();
                              },
                              "Status"};
};

// ---- The engine ---------------------------------------------------------------------------------------------------------

// Serves consoles on the address of its adapter, and announces where.
class Engine : public Part, private JR_TCPServer {
public:
    Engine(const std::string& name, uint64_t stopAt, const std::string& fault)
        : Part(stopAt, fault),
          JR_TCPServer(loop.GetService(), ENetworkUser::eEngine, 0, "Soak engine",
                       [this](const auto& socket, const Endpoint& console, const ClosedCallback& closed) {
                           return Welcome(socket, console, closed);
                       }),
          mName(name) {
        UseAnyPort();
        StartListening();
    }

private:
    struct Console {
        std::weak_ptr<Client> client;  // the server owns it while it is connected
        std::unique_ptr<NumberedLink> link;
    };

    std::shared_ptr<Cmn_TCPClient_IF> Welcome(const std::shared_ptr<Socket>& socket, const Endpoint& console,
                                              const ClosedCallback& closed) {
        Console& entry = mConsoles.emplace_back();
        const auto client = std::make_shared<Client>("Soak console", cLargestFrame, closed,
                                                     [&entry](const unsigned char* data, unsigned size) {
                                                         entry.link->Take(AsText(data, size));
                                                         return true;
                                                     });
        entry.client = client;
        entry.link = MakeLink([weak = entry.client](const unsigned char* data, uint64_t size) {
            if (const auto peer = weak.lock()) peer->Send(data, size);
        });
        client->UseSocket(socket, console);
        client->DisableNaggle();
        client->StartReading();
        ++mConnects;
        return client;
    }

    void Tick() override {
        if (planted.hangs && ++mTicks == cHangsAfter) ::Sleep(INFINITE);
        FollowAddress();
        std::erase_if(mConsoles, [this](const Console& console) {
            if (!console.client.expired()) return false;
            mPast += console.link->Counts();
            return true;
        });
        for (Console& console : mConsoles) {
            if (IsSending()) console.link->SendNext();
        }
    }

    // Without its address nobody reaches it: it gives up the connections and the announcement.
    void FollowAddress() {
        const unsigned short port = GetLocalEndpoint().port();
        if (port == mPort) return;
        mPort = port;
        if (mPublisher.IsRegistered()) mPublisher.Unregister();
        for (Console& console : mConsoles) {
            if (const auto client = console.client.lock()) client->CloseConnection(true);
        }
        if (port != 0) {
            mPublisher.Register(mName, port, Cmn_BonjourServicePublisher::kInterfaceIndexAny,
                                [](const Cmn_BonjourError& error) {
                                    Cmn_Trace("Announced: %s\n", error.ToString().c_str());
                                });
        }
    }

    void PrintStatus() override {
        LinkCounts counts = mPast;
        uint64_t inFlight = 0;
        bool isOpen = false;
        for (const Console& console : mConsoles) {
            counts += console.link->Counts();
            if (console.client.expired()) continue;
            inFlight += console.link->InFlight();
            isOpen = true;
        }
        PrintLink("console", isOpen, counts, inFlight, mConnects);
    }

    static std::string_view AsText(const unsigned char* data, unsigned size) {
        return {reinterpret_cast<const char*>(data), size};
    }

    static constexpr int cHangsAfter = 500;  // ticks

    const std::string mName;
    std::list<Console> mConsoles;
    LinkCounts mPast;  // of connections that have ended
    unsigned short mPort = 0;
    int mConnects = 0, mTicks = 0;
    Cmn_BonjourServicePublisher mPublisher{cType};
};

// ---- The pipe -----------------------------------------------------------------------------------------------------------

// Either end. Everything happens on the loop; the client's reading thread brings it there.
class PipeEnd : public IPC_NamedPipe {
public:
    PipeEnd(JR_AsioEventManager& loop, EReconnectMode mode) : IPC_NamedPipe(mode, 0), mLoop(loop) {}
    ~PipeEnd() override { Stop(cPipeTimeout); }

    void ProcessARead(IPC_Buffer* message) override {
        std::string frame(message->GetData(), static_cast<size_t>(message->GetCount()));
        message->Reset();
        if (frame.empty()) return;
        mLoop.Post([this, frame = std::move(frame)] {
            if (mLink) mLink->Take(frame);
        });
    }
    void ConnectionEstablished(bool greeted) override {
        if (greeted != (GetType() == ePipeType_Server)) return;
        mLoop.Post([this] {
            Close();
            ++mConnects;
            mLink.emplace([this, connection = mConnection.load()](std::string_view frame) {
                if (connection == mConnection) Write(frame.data(), frame.size(), nullptr, cPipeTimeout);
            });
        });
    }
    // What the loop has still to answer of this connection must not go out on the next one.
    void ConnectionLost() override {
        ++mConnection;
        mLoop.Post([this] { Close(); });
    }

    void SendNext() {
        if (mLink) mLink->SendNext();
    }
    bool IsOpen() const { return mLink.has_value(); }
    uint64_t InFlight() const { return mLink ? mLink->InFlight() : 0; }
    int Connects() const { return mConnects; }
    LinkCounts Counts() const {
        LinkCounts counts = mPast;
        if (mLink) counts += mLink->Counts();
        return counts;
    }

private:
    void Close() {
        if (!mLink) return;
        mPast += mLink->Counts();
        Print("closed helper unacknowledged=" + std::to_string(mLink->InFlight()) + "\n");
        mLink.reset();
    }

    JR_AsioEventManager& mLoop;
    std::atomic<int> mConnection{0};
    std::optional<NumberedLink> mLink;
    LinkCounts mPast;
    int mConnects = 0;
};

class Helper : public Part {
public:
    Helper(const std::string& pipe, uint64_t stopAt) : Part(stopAt, "") {
        mPipe.InitServer(pipe.c_str(), cLargestFrame, -1);
        loop.RegisterHandler(&mPipe, "Soak pipe");
    }

private:
    void Tick() override {
        if (IsSending()) mPipe.SendNext();
    }
    void PrintStatus() override {
        PrintLink("console", mPipe.IsOpen(), mPipe.Counts(), mPipe.InFlight(), mPipe.Connects());
    }

    PipeEnd mPipe{loop, IPC_NamedPipe::eReconnect_None};
};

// ---- The console --------------------------------------------------------------------------------------------------------

// The console's end of the connection to one engine: connects again whenever it can.
struct EngineLink {
    explicit EngineLink(const char* engine) : name(engine) {}

    const std::string name;
    std::vector<Cmn_BonjourService> known;  // several: one that has died may be announced for a while
    size_t attempts = 0;
    std::shared_ptr<Client> client;
    std::unique_ptr<NumberedLink> link;  // while it is connected
    LinkCounts past;
    int connects = 0;
    uint64_t lastHeard = 0, nextAttempt = 0;
    bool isConnecting = false;
};

class Console : public Part {
public:
    Console(const std::string& pipe, uint64_t stopAt, const std::string& fault) : Part(stopAt, fault) {
        for (EngineLink& engine : mEngines) {
            engine.client = std::make_shared<Client>(
                "Soak engine", cLargestFrame, [this, &engine](const auto&, bool) { Closed(engine); },
                [&engine](const unsigned char* data, unsigned size) {
                    engine.lastHeard = Now();
                    if (engine.link) engine.link->Take({reinterpret_cast<const char*>(data), size});
                    return true;
                });
        }
        mLocator.SetErrorCallback([](const Cmn_BonjourError&) {});
        mLocator.Start();
        mPipe.InitClient(pipe.c_str(), cLargestFrame);
        mPipe.StartReadThread();
    }

private:
    void Found(const Cmn_BonjourService& service) {
        if (EngineLink* const engine = LinkTo(service)) engine->known.push_back(service);
    }
    void Gone(const Cmn_BonjourService& service) {
        if (EngineLink* const engine = LinkTo(service)) std::erase(engine->known, service);
    }
    // A name that is taken is announced with a number behind it.
    EngineLink* LinkTo(const Cmn_BonjourService& service) {
        for (EngineLink& engine : mEngines) {
            if (service.mName.starts_with(engine.name)) return &engine;
        }
        return nullptr;
    }

    void Connect(EngineLink& engine) {
        const Cmn_BonjourService& service = engine.known[engine.attempts++ % engine.known.size()];
        boost::system::error_code error;
        const auto address = boost::asio::ip::make_address(service.mAddress.ToString().c_str(), error);
        engine.nextAttempt = Now() + cRetryAfter;
        if (error) return;
        engine.isConnecting = true;
        engine.client->AsyncConnect(loop.GetService(), {address, service.mPort},
                                    [this, &engine](bool connected) {
                                        engine.isConnecting = false;
                                        if (connected) Connected(engine);
                                    });
    }
    void Connected(EngineLink& engine) {
        engine.link = MakeLink(
            [&engine](const unsigned char* data, uint64_t size) { engine.client->Send(data, size); });
        engine.lastHeard = Now();
        ++engine.connects;
        engine.client->DisableNaggle();
        engine.client->StartReading();
    }
    void Closed(EngineLink& engine) {
        engine.nextAttempt = Now() + cRetryAfter;
        if (!engine.link) return;
        Print("closed " + engine.name + " unacknowledged=" + std::to_string(engine.link->InFlight()) + "\n");
        engine.past += engine.link->Counts();
        engine.link.reset();
    }

    void Tick() override {
        if (planted.leaks && ++mTicks % cLeaksEvery == 0) ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
        if (planted.grows) ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, cGrowsBy);
        for (EngineLink& engine : mEngines) {
            if (!engine.link) {
                const bool isTime = !engine.isConnecting && Now() >= engine.nextAttempt;
                if (isTime && !engine.known.empty()) Connect(engine);
            } else if (Now() - engine.lastHeard > cLongestSilence && IsSending()) {
                // A connection to a process that is gone may stay open without a word (docs/wine.md).
                Print("silent " + engine.name + "\n");
                engine.client->CloseConnection(false);
            } else if (IsSending()) {
                engine.link->SendNext();
            }
        }
        if (IsSending()) mPipe.SendNext();
        if (IsSending() && Now() >= mNextCommand) {
            mNextCommand = Now() + cCommandEvery;
            mIsShellThere = JR_ShellApp::Request(static_cast<EShellAppCommand>(cShellCommand), mCommands + 1);
            mCommands += mIsShellThere;
        }
    }

    void PrintStatus() override {
        for (const EngineLink& engine : mEngines) {
            LinkCounts counts = engine.past;
            if (engine.link) counts += engine.link->Counts();
            PrintLink(engine.name, engine.link != nullptr, counts, engine.link ? engine.link->InFlight() : 0,
                      engine.connects);
        }
        PrintLink("helper", mPipe.IsOpen(), mPipe.Counts(), mPipe.InFlight(), mPipe.Connects());
        PrintLink("shell", mIsShellThere, {static_cast<uint64_t>(mCommands), 0, 0, 0, 0, 0}, 0, 0);
    }

    static constexpr int cLeaksEvery = 50;      // ticks
    static constexpr size_t cGrowsBy = 40'000;  // bytes, at each tick

    EngineLink mEngines[2] = {EngineLink(cSteadyEngine), EngineLink(cMortalEngine)};
    PipeEnd mPipe{loop, IPC_NamedPipe::eReconnect_OnWrite};  // its reading thread connects again
    int mCommands = 0, mTicks = 0;
    uint64_t mNextCommand = 0;
    bool mIsShellThere = false;
    Cmn_BonjourLocator mLocator{cType,
                                ENetworkUser::eEngine,
                                [this](const auto& s) { Found(s); },
                                nullptr,
                                [this](const auto& s) { Gone(s); },
                                loop};
};

int RunSoakPart(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    UseStandinLibrary();
    const std::vector<std::string>& words = arguments.Positionals();
    const uint64_t stopAt = arguments.Number("--stop-at", 0);
    const std::string fault = arguments.Text("--plant", "");
    if (words.size() != 2) throw UsageError("expected: soak-part console|engine|helper NAME");
    if (words[0] == "console") return Console(words[1], stopAt, fault).Run();
    if (words[0] == "engine") return Engine(words[1], stopAt, fault).Run();
    if (words[0] == "helper") return Helper(words[1], stopAt).Run();
    throw UsageError("there is no part '" + words[0] + "'");
}

}  // namespace

extern const Verb cSoakPartVerb;
const Verb cSoakPartVerb{"soak-part",
                         "console PIPE | engine NAME | helper PIPE",
                         "",
                         "",
                         {{"--stop-at", "MS", "since 1970, when it sends no more"},
                          {"--plant", "FAULT", "drop, leak, memory or hang"}},
                         &RunSoakPart};

}  // namespace NorvikTool
