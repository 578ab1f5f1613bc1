// The tour's step along the typical path of a program: it finds a service by its type, connects, and exchanges messages.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <boost/asio.hpp>
#include <memory>
#include <optional>
#include <string>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_BonjourServicePublisher.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_TCPServer.h"
#include "JRCmn/Cmn_Time.h"
#include "Shared/JR_AsioEventManager.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/Discovery.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Client = Cmn_TCPPrefixedMessageClient;

constexpr unsigned cLimit = 20'000;  // ms that a step waits for what must come
constexpr unsigned cTurn = 20;       // ms that a loop waits, when two take turns on one thread
constexpr size_t cLargestFrame = 1'000;
constexpr char cType[] = "_norvik-demo._tcp", cName[] = "Engine 1 (demo)";

// The daemon of the simulated network, which this process and those that it starts find for the time of the step.
class SimulatedNetwork {
public:
    SimulatedNetwork() : mDaemon({"--port", "0"}, std::string(cStandinFolder) + "dnssd-daemon.exe") {
        if (!mDaemon.WaitForLine("Listening on", cLimit)) return;
        const std::string line = mDaemon.FirstLines().front();
        ::SetEnvironmentVariableA("NORVIK_DNSSD_PORT", line.substr(line.rfind(':') + 1).c_str());
        mIsRunning = true;
    }
    ~SimulatedNetwork() { ::SetEnvironmentVariableA("NORVIK_DNSSD_PORT", nullptr); }
    bool IsRunning() const { return mIsRunning; }

private:
    OtherProcess mDaemon;
    bool mIsRunning = false;
};

// Answers each client's messages with the same bytes.
class EchoServer : public Cmn_TCPServer {
public:
    explicit EchoServer(boost::asio::io_service& service) : Cmn_TCPServer(service, "Engine", &MakeClient) {
        SetAnyPort(true);
    }

protected:
    Endpoint GetBindEndpoint() override { return {boost::asio::ip::address_v4::loopback(), 0}; }

private:
    static std::shared_ptr<Cmn_TCPClient_IF> MakeClient(const std::shared_ptr<Socket>& socket,
                                                        const Endpoint& peer,
                                                        const ClosedCallback& onClosed) {
        const auto self = std::make_shared<std::weak_ptr<Client>>();
        const auto client = std::make_shared<Client>("Engine", cLargestFrame, onClosed,
                                                     [self](const unsigned char* data, unsigned size) {
                                                         self->lock()->Send(data, size);
                                                         return true;
                                                     });
        *self = client;
        client->UseSocket(socket, peer);
        client->StartReading();
        return client;
    }
};

// Turns the default manager's loop until the condition holds.
template <typename Condition>
bool Process(Cmn_EventManager& manager, Condition condition) {
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    while (!condition() && Cmn_Time::GetInMilliseconds() - start < cLimit)
        manager.ProcessOneEvent(cTurn);
    return condition();
}

// One message there and back, on the asio manager's loop.
bool Talk(const Cmn_BonjourService& engine) {
    JR_AsioEventManager loop;
    const std::string question = "How loud is channel 3?";
    std::string answer;
    const auto client = std::make_shared<Client>("Desk", cLargestFrame, nullptr,
                                                 [&](const unsigned char* data, unsigned size) {
                                                     answer.assign(data, data + size);
                                                     return true;
                                                 });
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(engine.mAddress.ToString().c_str(), error);
    if (error || !client->SyncConnect(loop.GetService(), {address, engine.mPort})) return false;
    client->StartReading();
    client->Send(reinterpret_cast<const unsigned char*>(question.data()), question.size());
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    while (answer.empty() && Cmn_Time::GetInMilliseconds() - start < cLimit)
        loop.ProcessOneEvent(cTurn);
    return answer == question;
}

// Whether the report stands in the log once, and the tool lists it.
bool IsListed(const std::string& report) {
    OtherProcess logs({"logs", "--reports"});
    unsigned long code = 0;
    if (!logs.WaitForOutput(cLimit, code)) return false;
    const std::vector<std::string> lines = logs.FirstLines();
    return CountInLog(report) == 1 && std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
               return line.find("DemoDiscovery.cpp(6)") != line.npos;
           });
}

}  // namespace

int RunEngine() {
    UseStandinLibrary();
    Cmn_EventManager manager;
    gIF_EventManager = &manager;
    boost::asio::io_service service;
    EchoServer server(service);
    server.StartListening();
    Cmn_BonjourServicePublisher publisher(cType);
    TxtRecord record;
    record.SetKey("version", "1");
    publisher.SetTXTRecord(record);
    publisher.Register(cName, server.GetLocalEndpoint().port(),
                       Cmn_BonjourServicePublisher::kInterfaceIndexAny, [](const Cmn_BonjourError& error) {
                           Print(error.IsOK() ? "Announced\n" : std::string(error.ToString()) + "\n");
                           Flush();
                       });
    for (;;) {
        manager.ProcessOneEvent(cTurn);
        service.poll();
    }
}

bool FindEngine() {
    if (!IsStandinLibraryThere()) {
        Print("  skipped: there is no simulated network beside this program (it lies in the build tree)\n");
        return true;
    }
    UseStandinLibrary();
    const SimulatedNetwork network;
    if (!network.IsRunning()) return Say(false, "the simulated network's daemon runs");

    Cmn_EventManager manager;
    gIF_EventManager = &manager;
    std::optional<Cmn_BonjourService> engine;
    Cmn_BonjourLocator locator(
        cType, ENetworkUser::eAny, [&](const Cmn_BonjourService& found) { engine = found; }, nullptr,
        [&](const Cmn_BonjourService&) { engine.reset(); }, manager);
    locator.SetErrorCallback([](const Cmn_BonjourError&) {});
    locator.Start();
    OtherProcess other({"demo-part", "engine"});
    if (!Process(manager, [&] { return engine.has_value(); }))
        return Say(false, "the engine is found by its type");
    PrintFormat("  Found %s: host %s, address %s, port %d\n", engine->mName.c_str(),
                engine->mHostName.c_str(), engine->mAddress.ToString().c_str(), engine->mPort);
    const bool talked = Say(Talk(*engine), "it is found by its type, and answers a message over TCP");

    // What does not fit is a failed check: the program goes on, and the technician reads of it.
    std::string version;
    engine->mTxtRecord.FindKey("version", version);
    CMN_VERIFY_AT(6, version == "2");
    const bool listed = Say(IsListed("'version == \"2\"' failed in tools\\norvik\\DemoDiscovery.cpp(6)"),
                            "its old version is one REPORT line, and norvik logs --reports lists it");
    other.Kill();
    const bool gone = Say(Process(manager, [&] { return !engine.has_value(); }),
                          "the engine is killed, and the program is told that it has gone");
    locator.Stop(false);
    ::SetDllDirectoryA(nullptr);
    return gone && listed && talked;
}

}  // namespace NorvikTool
