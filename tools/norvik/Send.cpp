// norvik send: sends a TCP message and prints what comes back.

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <stdexcept>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "tools/norvik/Messages.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Client = Cmn_TCPPrefixedMessageClient;
using Tcp = boost::asio::ip::tcp;

constexpr std::uint64_t cLargestFrame = Client::cMaxPendingSendDataSize - 1;
constexpr std::chrono::seconds cAnswerTimeout{5};

// To whichever address of the name answers.
bool Connect(Client& client, boost::asio::io_service& service, const std::string& host, std::uint16_t port) {
    boost::system::error_code error;
    for (const auto& entry : Tcp::resolver(service).resolve(host, std::to_string(port), error)) {
        if (client.SyncConnect(service, entry.endpoint())) return true;
    }
    return false;
}

int RunSend(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const auto& words = arguments.Positionals();
    const std::size_t colon = words.empty() ? std::string::npos : words[0].rfind(':');
    if (words.size() != 2 || colon == std::string::npos) throw UsageError("expected: send HOST:PORT TEXT");
    const std::uint16_t port = ParsePort(words[0].substr(colon + 1), 1);
    const std::string& text = words[1];
    const std::uint64_t count = arguments.Number("--count", 1, 1);
    const std::chrono::milliseconds pause(arguments.Number("--every", 0, 0));

    boost::asio::io_service service;
    std::uint64_t answers = 0;
    const auto client = std::make_shared<Client>("norvik send", cLargestFrame, nullptr,
                                                 [&](const unsigned char* data, unsigned int size) {
                                                     ++answers;
                                                     Print(MessageText(data, size) + "\n");
                                                     Flush();
                                                     return true;
                                                 });
    if (!Connect(*client, service, words[0].substr(0, colon), port))
        throw std::runtime_error("nobody listens on " + words[0]);
    client->DisableNaggle();
    client->StartReading();
    for (std::uint64_t sent = 1; sent <= count; ++sent) {
        client->Send(reinterpret_cast<const unsigned char*>(text.data()), text.size());
        const auto end = std::chrono::steady_clock::now() + cAnswerTimeout;
        while (answers < sent && client->IsOpen() && service.run_one_until(end) != 0) {
        }
        if (answers < sent) throw std::runtime_error("no answer to message " + std::to_string(sent));
        if (sent == count) break;
        const auto next = std::chrono::steady_clock::now() + pause;
        while (client->IsOpen() && service.run_one_until(next) != 0) {
        }
    }
    return cSuccess;
}

}  // namespace

extern const Verb cSendVerb;
const Verb cSendVerb{"send",
                     "HOST:PORT TEXT",
                     "sends a length-prefixed message over TCP and prints the answer",
                     "An answer is printed as norvik serve prints messages.\n",
                     {{"--count", "N", "send it N times, each after the answer to the one before (1)"},
                      {"--every", "MS", "wait so long after each answer (0)"}},
                     &RunSend};

}  // namespace NorvikTool
