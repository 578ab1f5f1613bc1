// norvik serve: answers TCP messages.

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <vector>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_TCPServer.h"
#include "tools/norvik/Messages.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Client = Cmn_TCPPrefixedMessageClient;

// What can be sent back: a frame at the limit of pending data would be refused.
constexpr std::uint64_t cLargestFrame = Client::cMaxPendingSendDataSize - 1;
constexpr std::uint64_t cSmallestFrame = sizeof(Client::MessageSizeType);
constexpr std::chrono::seconds cLastAnswers{5};

class EchoServer : public Cmn_TCPServer {
public:
    EchoServer(boost::asio::io_service& service, const Endpoint& endpoint, std::uint64_t largestFrame,
               std::uint64_t count, bool isSingle)
        : Cmn_TCPServer(service, "norvik serve",
                        [this](const auto& socket, const auto& peer, const auto& onClosed) {
                            return MakeClient(socket, peer, onClosed);
                        }),
          mEndpoint(endpoint),
          mLargestFrame(largestFrame),
          mIsSingle(isSingle),
          mLeft(count) {
        SetAnyPort(true);
    }

    bool IsDone() const { return mIsDone; }
    bool HasAnswersToSend() const {
        return std::any_of(mClients.begin(), mClients.end(), [](const std::weak_ptr<Client>& weak) {
            const auto client = weak.lock();
            return client && client->GetPendingSendDataSize() != 0;
        });
    }

protected:
    Endpoint GetBindEndpoint() override { return mEndpoint; }

private:
    std::shared_ptr<Client> MakeClient(const std::shared_ptr<Socket>& socket, const Endpoint& peer,
                                       const ClosedCallback& onClosed) {
        std::erase_if(mClients, [](const std::weak_ptr<Client>& client) {
            const auto there = client.lock();
            return !there || !there->IsOpen();
        });
        if (mIsSingle && !mClients.empty()) return nullptr;
        const auto self = std::make_shared<std::weak_ptr<Client>>();
        auto client = std::make_shared<Client>("norvik serve", mLargestFrame, onClosed,
                                               [this, self](const unsigned char* data, unsigned int size) {
                                                   Answer(*self->lock(), data, size);
                                                   return true;
                                               });
        *self = client;
        mClients.push_back(client);
        client->UseSocket(socket, peer);
        client->DisableNaggle();
        client->StartReading();
        return client;
    }

    void Answer(Client& client, const unsigned char* data, unsigned int size) {
        if (mIsDone) return;
        Print(MessageText(data, size) + "\n");
        Flush();
        client.Send(data, size);
        if (mLeft > 0 && --mLeft == 0) mIsDone = true;
    }

    const Endpoint mEndpoint;
    const std::uint64_t mLargestFrame;
    const bool mIsSingle;
    std::uint64_t mLeft;  // 0 is without an end
    bool mIsDone = false;
    std::vector<std::weak_ptr<Client>> mClients;
};

int RunServe(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    if (arguments.Positionals().size() != 1) throw UsageError("expected: serve PORT");
    const std::uint16_t port = ParsePort(arguments.Positionals()[0], 0);
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(arguments.Text("--bind", "127.0.0.1"), error);
    if (error) throw UsageError("--bind needs an address of this machine");
    const std::uint64_t largest = arguments.Number("--max", cLargestFrame, cSmallestFrame);
    if (largest > cLargestFrame)
        throw UsageError("--max is " + std::to_string(cLargestFrame) + " at the most");

    boost::asio::io_service service;
    EchoServer server(service, {address, port}, largest, arguments.Number("--count", 0, 1),
                      arguments.Has("--single"));
    try {
        server.StartListening();
    } catch (const boost::system::system_error& failure) {
        throw std::runtime_error("cannot listen on " + address.to_string() + ":" + std::to_string(port) +
                                 ": " + failure.code().message());
    }
    const auto local = server.GetLocalEndpoint();
    Print("Listening on " + local.address().to_string() + ":" + std::to_string(local.port()) + "\n");
    Flush();
    while (!server.IsDone())
        service.run_one();
    const auto end = std::chrono::steady_clock::now() + cLastAnswers;
    while (server.HasAnswersToSend() && service.run_one_until(end) != 0) {
    }
    return cSuccess;
}

}  // namespace

extern const Verb cServeVerb;
const Verb cServeVerb{"serve",
                      "PORT",
                      "listens on a TCP port and answers length-prefixed messages",
                      "Prints every message as a line, length, blank and text, and answers with the same\n"
                      "bytes. Bytes that cannot be printed stand as \\xNN. With port 0 the system chooses\n"
                      "one; the first line tells which. A client with a million bytes of answers that it\n"
                      "has not read is disconnected.\n",
                      {{"--bind", "ADDRESS", "of this machine; 0.0.0.0 for all of them (127.0.0.1)"},
                       {"--max", "BYTES", "the largest message with its 4 bytes of length (999999)"},
                       {"--count", "N", "end after N messages"},
                       {"--single", nullptr, "one client at a time; others are refused"}},
                      &RunServe};

}  // namespace NorvikTool
