#pragma once

// A connection to the daemon, as the library, the command line and tests use it.
//
//   Connection connection;
//   if (!connection.Open(DaemonPort()) || !connection.Send(request)) return kDNSServiceErr_ServiceNotRunning;
//   const std::optional<std::string> answer = connection.Receive(kMaxMessage, kAnswerLimit);
//
// Threads:   one at a time
// Ownership: the socket, which the destructor closes
// Errors:    false and nullopt for every fault of the connection and for a length that no message has
// Units:     milliseconds, bytes

#include <cstdint>
#include <optional>
#include <string>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace DnsSdStandin {

constexpr uint16_t kDefaultPort = 53539;
constexpr unsigned kAnswerLimit = 10'000;

// Of an environment variable; 0 without one.
uint16_t EnvironmentNumber(const char* name);
// Of the environment variable NORVIK_DNSSD_PORT, or the default.
uint16_t DaemonPort();

class Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool Open(uint16_t port);
    bool Send(const std::string& bytes);
    // The next message without its length. Reads no byte behind it, so that what follows keeps the socket readable.
    std::optional<std::string> Receive(uint32_t maxMessage, unsigned timeoutMs);

    SOCKET Socket() const { return mSocket; }

private:
    bool ReceiveBytes(char* to, size_t size, unsigned timeoutMs);

    SOCKET mSocket = INVALID_SOCKET;
};

}  // namespace DnsSdStandin
