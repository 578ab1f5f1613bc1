// dnssd-daemon: the registry behind the stand-in of dnssd.dll, and the command line that scripts it.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/host_name.hpp>
#include <boost/asio/windows/object_handle.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "standins/dnssd/Connection.h"
#include "standins/dnssd/Daemon.h"
#include "standins/dnssd/Script.h"

namespace {

using namespace DnsSdStandin;

struct Options {
    uint16_t port = DaemonPort();
    std::string host;
    InterfaceList interfaces = {1};
    int32_t processID = 0;
    std::optional<std::string> control;
};

int ShowUsage() {
    std::fprintf(stderr,
                 "dnssd-daemon [--port N] [--host NAME] [--interfaces N,N] [--while PROCESS-ID]\n"
                 "dnssd-daemon --control PORT \"COMMAND\"\n\nCommands:\n%s",
                 ScriptUsage().c_str());
    return 2;
}

std::optional<Options> Parse(const std::vector<std::string>& words) {
    Options options;
    for (size_t i = 0; i < words.size(); i += 2) {
        if (i + 1 == words.size()) return {};
        const std::string& value = words[i + 1];
        if (words[i] == "--port" || words[i] == "--control") {
            const std::optional<int32_t> port = Number(value, 0, UINT16_MAX);
            if (!port) return {};
            options.port = static_cast<uint16_t>(*port);
        }
        if (words[i] == "--control") {
            if (i + 3 != words.size()) return {};
            options.control = words[i + 2];
            return options;
        }
        if (words[i] == "--host") {
            options.host = value;
        } else if (words[i] == "--interfaces") {
            const std::optional<InterfaceList> interfaces = Interfaces(value);
            if (!interfaces) return {};
            options.interfaces = *interfaces;
        } else if (words[i] == "--while") {
            options.processID = Number(value, 1, INT32_MAX).value_or(0);
            if (options.processID == 0) return {};
        } else if (words[i] != "--port") {
            return {};
        }
    }
    return options;
}

int Control(uint16_t port, const std::string& line) {
    Connection connection;
    if (!connection.Open(port) || !connection.Send(Writer(kControl).Rest(line).Take())) {
        std::fprintf(stderr, "No daemon listens on 127.0.0.1:%u.\n", port);
        return 1;
    }
    // An await takes as long as it takes.
    constexpr unsigned kDay = 24 * 60 * 60 * 1000;
    const std::optional<std::string> answer = connection.Receive(kMaxControlAnswer, kDay);
    if (!answer) {
        std::fprintf(stderr, "The daemon went away.\n");
        return 1;
    }
    Reader reader(*answer);
    reader.U8();
    const bool isOk = reader.U32() == 0;
    reader.U64();
    std::fputs(reader.Rest().c_str(), isOk ? stdout : stderr);
    return isOk ? 0 : 2;
}

int Serve(const Options& options) {
    boost::asio::io_context context(1);
    Daemon daemon(context, options.port, options.host.empty() ? boost::asio::ip::host_name() : options.host);
    daemon.GetRegistry().SetInterfaces(options.interfaces);
    boost::asio::windows::object_handle parent(context);
    if (options.processID != 0) {
        const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(options.processID));
        if (!process) return 1;
        parent.assign(process);
        parent.async_wait([&](const boost::system::error_code&) { context.stop(); });
    }
    std::printf("Listening on 127.0.0.1:%u\n", daemon.Port());
    std::fflush(stdout);
    context.run();
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        const std::optional<Options> options = Parse({arguments + 1, arguments + count});
        if (!options) return ShowUsage();
        return options->control ? Control(options->port, *options->control) : Serve(*options);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return 1;
    }
}
