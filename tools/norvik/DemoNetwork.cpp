// The tour's step with a server and clients on the network of this machine.

#include <boost/asio.hpp>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_Time.h"
#include "Shared/JR_AsioEventManager.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Client = Cmn_TCPPrefixedMessageClient;

constexpr unsigned cLimit = 20'000;  // ms that a step waits for what must come
constexpr size_t cSizes[] = {0, 1, 100, 65'536, 300'000};
constexpr size_t cLargestFrame = 300'004;

// A client on the asio manager's loop, which is turned here until something has come.
class Caller {
public:
    // Whether the server keeps the connection: one that it refuses ends at once.
    bool Call(const Client::Endpoint& server) {
        mIsClosed = false;
        mReceived.clear();
        mClient = std::make_shared<Client>(
            "Demo", cLargestFrame, [this](const auto&, bool) { mIsClosed = true; },
            [this](const unsigned char* data, unsigned size) {
                mReceived.emplace_back(data, data + size);
                return true;
            });
        if (!mClient->SyncConnect(mManager.GetService(), server)) return false;
        mClient->StartReading();
        return Exchange({1});
    }
    // Sends one message and gets the same back.
    bool Exchange(const std::vector<unsigned char>& message) {
        mReceived.clear();
        mClient->Send(message.data(), message.size());
        const uint64_t start = Cmn_Time::GetInMilliseconds();
        while (mReceived.empty() && !mIsClosed && Cmn_Time::GetInMilliseconds() - start < cLimit)
            mManager.ProcessOneEvent(100);
        return mReceived.size() == 1 && mReceived[0] == message;
    }

private:
    JR_AsioEventManager mManager;
    std::shared_ptr<Client> mClient;
    std::vector<std::vector<unsigned char>> mReceived;
    bool mIsClosed = false;
};

// The port in "Listening on 127.0.0.1:49152".
unsigned short PortIn(const std::string& line) {
    return static_cast<unsigned short>(std::stoi(line.substr(line.rfind(':') + 1)));
}

}  // namespace

bool ExchangeFrames() {
    OtherProcess server({"serve", "0", "--single"});
    if (!server.WaitForLine("Listening on", cLimit)) return Say(false, "another process serves");
    const Client::Endpoint endpoint(boost::asio::ip::address_v4::loopback(),
                                    PortIn(server.FirstLines().front()));
    // It pauses, because under Wine a process that is killed inside a call of the socket may never close it.
    OtherProcess first({"send", "127.0.0.1:" + std::to_string(endpoint.port()), "meter", "--count", "1000000",
                        "--every", "50"});
    if (!first.WaitForLine("5 meter", cLimit)) return Say(false, "a client exchanges messages with it");

    Caller caller;
    const bool isRefused = Say(!caller.Call(endpoint), "while one client is served, a second one is refused");
    first.Kill();
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    bool isServed = caller.Call(endpoint);
    while (!isServed && Cmn_Time::GetInMilliseconds() - start < cLimit)
        isServed = caller.Call(endpoint);
    Say(isServed, "the first is killed, and the next one is served");
    int intact = 0;
    for (size_t i = 0; isServed && i < std::size(cSizes); ++i) {
        std::vector<unsigned char> message(cSizes[i]);
        for (size_t byte = 0; byte < message.size(); ++byte)
            message[byte] = static_cast<unsigned char>(byte * 7 + i);
        intact += caller.Exchange(message);
    }
    return Say(intact == std::ssize(cSizes), "messages of 0 to 300,000 bytes come back whole") && isServed &&
           isRefused;
}

}  // namespace NorvikTool
