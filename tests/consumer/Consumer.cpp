// What an installed library must do for a program that is not built with it: text, trace, a timer, a message over TCP on
// an io_service that program and library share, discovery, a report. Prints a line for each.

#include <boost/asio.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_TCPServer.h"
#include "JRCmn/Cmn_Timer.h"
#include "JRCmn/Cmn_Trace.h"
#include "Shared/JR_AsioEventManager.h"

namespace {

using Client = Cmn_TCPPrefixedMessageClient;

void PrintMessage(const unsigned char* data, unsigned size) {
    std::printf("message: %.*s\n", static_cast<int>(size), reinterpret_cast<const char*>(data));
}

class Receiver : public Cmn_TCPServer {
public:
    explicit Receiver(JR_AsioEventManager& manager)
        : Cmn_TCPServer(manager.GetService(), "Receiver",
                        [&manager](const auto& socket, const Endpoint& peer, const ClosedCallback& closed) {
                            const auto client = std::make_shared<Client>(
                                "Received", 100, closed,
                                [&manager](const unsigned char* data, unsigned size) {
                                    PrintMessage(data, size);
                                    manager.Stop();
                                    return true;
                                });
                            client->UseSocket(socket, peer);
                            client->StartReading();
                            return client;
                        }) {
        SetAnyPort(true);
    }

private:
    Endpoint GetBindEndpoint() override { return {boost::asio::ip::address_v4::loopback(), 0}; }
};

void SendMessageOverTcp(JR_AsioEventManager& manager) {
    Receiver receiver(manager);
    receiver.StartListening();
    const auto client = std::make_shared<Client>("Sender", 100, nullptr, [](auto...) { return true; });
    if (!client->SyncConnect(manager.GetService(), receiver.GetLocalEndpoint())) return;
    const std::string message = "over TCP";
    client->Send(reinterpret_cast<const unsigned char*>(message.data()), message.size());
    manager.Run();
}

}  // namespace

int main() {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    Cmn_String text("library");
    text += " ";
    text += Cmn_Assert::SoftwareVersion;
    std::printf("text: %s\n", text.c_str());
    Cmn_Trace("The consumer runs with %s.\n", text.c_str());

    JR_AsioEventManager manager;
    gIF_EventManager = &manager;
    Cmn_Timer timer(
        20, [&] { std::puts("timer"), manager.Stop(); }, "Consumer", Cmn_Timer::eKeepScheduled);
    timer.Schedule();
    manager.Run();
    SendMessageOverTcp(manager);

    Cmn_BonjourLocator desks("_desk._tcp", ENetworkUser::eAny, nullptr, nullptr, nullptr, manager);
    desks.SetErrorCallback([](const Cmn_BonjourError& error) {
        std::printf("discovery: %d\n",
                    error.GetErrorCode());  // there is no discovery library beside the program
    });
    desks.Start();
    CMN_VERIFY(text.IsEmpty());
    return 0;
}
