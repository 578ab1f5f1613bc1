#include "standins/dnssd/Connection.h"

#include <charconv>
#include <cstring>

#include "standins/dnssd/Wire.h"

namespace DnsSdStandin {

uint16_t EnvironmentNumber(const char* name) {
    // The process may set the variable while it runs, which the C run-time would not see.
    char text[16];
    const DWORD size = ::GetEnvironmentVariableA(name, text, sizeof text);
    uint16_t number = 0;
    if (size > 0 && size < sizeof text) std::from_chars(text, text + size, number);
    return number;
}

uint16_t DaemonPort() {
    const uint16_t port = EnvironmentNumber("NORVIK_DNSSD_PORT");
    return port != 0 ? port : kDefaultPort;
}

Connection::Connection() {
    WSADATA data;
    ::WSAStartup(MAKEWORD(2, 2), &data);
}

Connection::~Connection() {
    if (mSocket != INVALID_SOCKET) ::closesocket(mSocket);
    ::WSACleanup();
}

bool Connection::Open(uint16_t port) {
    mSocket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (mSocket == INVALID_SOCKET) return false;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::connect(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool Connection::Send(const std::string& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const int count = ::send(mSocket, bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
        if (count <= 0) return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}

std::optional<std::string> Connection::Receive(uint32_t maxMessage, unsigned timeoutMs) {
    char prefix[kPrefixSize];
    if (!ReceiveBytes(prefix, sizeof prefix, timeoutMs)) return std::nullopt;
    const uint32_t length = MessageLength(prefix);
    if (length == 0 || length > maxMessage) return std::nullopt;
    std::string body(length, '\0');
    if (!ReceiveBytes(body.data(), length, timeoutMs)) return std::nullopt;
    return body;
}

bool Connection::ReceiveBytes(char* to, size_t size, unsigned timeoutMs) {
    while (size > 0) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(mSocket, &readable);
        timeval timeout = {static_cast<long>(timeoutMs / 1000), static_cast<long>(timeoutMs % 1000 * 1000)};
        if (::select(0, &readable, nullptr, nullptr, &timeout) != 1) return false;
        const int count = ::recv(mSocket, to, static_cast<int>(size), 0);
        if (count <= 0) return false;
        to += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

}  // namespace DnsSdStandin
