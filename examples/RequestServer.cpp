// A request server for one TCP client at a time, and the client that asks it.
//
//   ExampleRequestServer serve [PORT]               serves until somebody asks it to quit; without a port the system chooses
//   ExampleRequestServer ask ADDRESS PORT REQUEST   prints the answer
//
// Requests are texts: "get NAME", "set NAME VALUE", "quit". An answer begins with "ok" or with "error: ".

#include <boost/asio/executor_work_guard.hpp>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "Shared/JR_TCPServer.h"

constexpr uint64_t cMaxMessageSize = 1'024;  // bytes, with the length; what is longer closes the connection
constexpr std::chrono::seconds cTimeout{5};

bool ParsePort(const std::string& text, unsigned short& port) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end;
}

// All of it runs on the thread that runs the io_service, so the settings need no lock.
class SettingsServer {
public:
    SettingsServer(boost::asio::io_service& service, unsigned short port)
        : mServer(
              service, {ENetworkUser::eRemoteControl, port, "Settings", cMaxMessageSize, port == 0},
              [] { std::puts("a client is here"); }, [this](bool gracefully) { OnDisconnected(gracefully); },
              [this](const unsigned char* data, unsigned int size) {
                  const std::string answer = Answer({reinterpret_cast<const char*>(data), size});
                  mServer.Send(reinterpret_cast<const unsigned char*>(answer.data()), answer.size());
                  return true;  // false would close the connection
              }) {}

    // The network adapter that serves remote control may have no address yet: port 0, and the server waits for one.
    Cmn_TCPServer::Endpoint GetEndpoint() const { return mServer.GetLocalEndpoint(); }
    // The client leaves when it has read the last answer.
    bool IsDone() const { return mIsToQuit && !mServer.IsOpen(); }

private:
    void OnDisconnected(bool gracefully) { std::puts(gracefully ? "it has left" : "the connection is lost"); }

    // Requests come from other programs: nothing in them is trusted.
    std::string Answer(const std::string& request) {
        std::istringstream text(request);
        std::string verb, name, value;
        text >> verb >> name >> value;
        if (verb == "quit" && name.empty()) {
            mIsToQuit = true;
            return "ok";
        }
        if (verb == "set" && !value.empty()) {
            if (mSettings.size() >= cMostSettings && !mSettings.contains(name))
                return "error: too many settings";
            mSettings[name] = value;
            return "ok";
        }
        if (verb != "get" || name.empty()) return "error: expected get NAME, set NAME VALUE, or quit";
        const auto found = mSettings.find(name);
        return found != mSettings.end() ? "ok " + found->second : "error: no such setting";
    }

    static constexpr size_t cMostSettings = 1'000;

    std::map<std::string, std::string> mSettings;
    bool mIsToQuit = false;
    JR_TCPSingleClientMessageServer mServer;
};

int Serve(unsigned short port) {
    boost::asio::io_service service;
    // Without an adapter that has an address the server waits, and the loop with it.
    const auto work = boost::asio::make_work_guard(service);
    SettingsServer server(service, port);  // throws when another program has the port
    const auto endpoint = server.GetEndpoint();
    std::printf("Serving on %s %d\n", endpoint.address().to_string().c_str(), endpoint.port());
    std::fflush(stdout);
    while (!server.IsDone())
        service.run_one();
    return 0;
}

int Ask(const std::string& address, unsigned short port, const std::string& request) {
    boost::asio::io_service service;
    std::string answer;
    const auto client = std::make_shared<Cmn_TCPPrefixedMessageClient>(
        "Asking", cMaxMessageSize, nullptr, [&](const unsigned char* data, unsigned int size) {
            answer.assign(reinterpret_cast<const char*>(data), size);
            return false;  // one answer is all we want
        });
    boost::system::error_code error;
    const auto server = boost::asio::ip::make_address(address, error);
    if (error || !client->SyncConnect(service, {server, port})) {
        std::fprintf(stderr, "nobody serves on %s %d\n", address.c_str(), port);
        return 1;
    }
    client->StartReading();
    client->Send(reinterpret_cast<const unsigned char*>(request.data()), request.size());
    const auto end = std::chrono::steady_clock::now() + cTimeout;
    while (client->IsOpen() && service.run_one_until(end) != 0) {
    }
    std::puts(answer.empty() ? "no answer" : answer.c_str());
    return answer.starts_with("ok") ? 0 : 1;
}

int main(int argc, char** argv) try {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);  // the library's lines go into the log file only
    const std::string verb = argc > 1 ? argv[1] : "";
    unsigned short port = 0;
    if (verb == "serve" && argc == 2) return Serve(0);
    if (verb == "serve" && argc == 3 && ParsePort(argv[2], port)) return Serve(port);
    if (verb == "ask" && argc == 5 && ParsePort(argv[3], port)) return Ask(argv[2], port, argv[4]);
    std::fprintf(stderr, "usage: ExampleRequestServer serve [PORT] | ask ADDRESS PORT REQUEST\n");
    return 2;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
