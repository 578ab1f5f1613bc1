// The typical path of a program: an engine announces itself and sends its meters; a desk finds it, connects and shows them.
//
//   ExampleMeters engine [FOLDER]   serves until it is ended
//   ExampleMeters desk [FOLDER]     shows three readings of the first engine that it finds
//
// FOLDER is where dnssd.dll lies, when it is neither the system's nor beside this program.

#include <boost/asio.hpp>  // before <windows.h>, as Boost wants it

#include <windows.h>

#include <cstdio>
#include <memory>
#include <string>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_BonjourServicePublisher.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_TCPServer.h"
#include "Shared/JR_AsioEventManager.h"

using Client = Cmn_TCPPrefixedMessageClient;

constexpr char cType[] = "_meters._tcp";
constexpr uint64_t cMaxMessageSize = 1'000;  // bytes, with the length
constexpr unsigned cPeriod = 100;            // milliseconds

// Accepts desks and sends each of them every reading.
class MeterServer : public Cmn_TCPServer {
public:
    explicit MeterServer(boost::asio::io_service& service)
        : Cmn_TCPServer(service, "Meters",
                        [this](const auto& socket, const Endpoint& desk, const ClosedCallback& closed) {
                            return Welcome(socket, desk, closed);
                        }) {
        SetAnyPort(true);
        mTimer.Start(cPeriod);
    }

protected:
    Endpoint GetBindEndpoint() override { return {boost::asio::ip::address_v4::any(), 0}; }

private:
    std::shared_ptr<Cmn_TCPClient_IF> Welcome(const std::shared_ptr<Socket>& socket, const Endpoint& desk,
                                              const ClosedCallback& closed) {
        const auto client = std::make_shared<Client>("Desk", cMaxMessageSize, closed,
                                                     [](const auto*, unsigned) { return true; });
        client->UseSocket(socket, desk);
        client->StartReading();
        mDesks.push_back(client);
        return client;
    }
    void SendReading() {
        const std::string reading = "reading " + std::to_string(++mCount);
        std::erase_if(mDesks, [](const auto& desk) { return desk.expired(); });
        for (const auto& desk : mDesks)
            desk.lock()->Send(reinterpret_cast<const unsigned char*>(reading.data()), reading.size());
    }

    int mCount = 0;
    std::vector<std::weak_ptr<Client>> mDesks;  // the server owns them while they are connected
    Cmn_PeriodicTimer mTimer{[this] { SendReading(); }, "Send meters"};
};

// One loop for all: the asio manager is also an event manager, so discovery and timers run on it.
int RunEngine() {
    JR_AsioEventManager loop;
    gIF_EventManager = &loop;
    MeterServer server(loop.GetService());
    server.StartListening();
    Cmn_BonjourServicePublisher publisher(cType);
    const Cmn_BonjourError error =
        publisher.Register("Engine", server.GetLocalEndpoint().port(),
                           Cmn_BonjourServicePublisher::kInterfaceIndexAny, [](const Cmn_BonjourError& said) {
                               std::printf("Announced: %s\n", said.ToString().c_str());
                               std::fflush(stdout);
                           });
    if (!error.IsOK()) std::printf("Not announced: %s\n", error.ToString().c_str());
    loop.Run();
    return 0;
}

int RunDesk() {
    JR_AsioEventManager loop;
    gIF_EventManager = &loop;
    int readings = 0;
    const auto client = std::make_shared<Client>(
        "Engine", cMaxMessageSize, [&](const auto&, bool) { loop.Stop(); },
        [&](const unsigned char* data, unsigned size) {
            std::printf("%.*s\n", static_cast<int>(size), reinterpret_cast<const char*>(data));
            return ++readings < 3;  // false closes the connection
        });
    Cmn_BonjourLocator engines(
        cType, ENetworkUser::eAny,
        [&](const Cmn_BonjourService& engine) {
            std::printf("Found %s\n", engine.mName.c_str());
            boost::system::error_code error;
            const auto address = boost::asio::ip::make_address(engine.mAddress.ToString().c_str(), error);
            if (!CMN_VERIFY(!error) || client->IsOpen()) return;
            client->AsyncConnect(loop.GetService(), {address, engine.mPort}, [&](bool connected) {
                if (connected) client->StartReading();
            });
        },
        nullptr, [](const Cmn_BonjourService& engine) { std::printf("%s has gone\n", engine.mName.c_str()); },
        loop);
    engines.SetErrorCallback([](const Cmn_BonjourError& error) { std::puts(error.ToString().c_str()); });
    engines.Start();
    loop.Run();
    engines.Stop(false);
    return readings == 3 ? 0 : 1;
}

int main(int argc, char** argv) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const std::string verb = argc > 1 ? argv[1] : "";
    if (argc > 2) ::SetDllDirectoryA(argv[2]);
    if (verb == "engine") return RunEngine();
    if (verb == "desk") return RunDesk();
    std::fprintf(stderr, "usage: ExampleMeters engine|desk [FOLDER]\n");
    return 2;
}
