#pragma once

// An io_service that runs on the test's thread until something has happened, and bare sockets as peers.
//
// Threads: one, but for blocking calls on a bare socket.  Ownership: none.  Errors: RunUntil is false after the limit, or
// when nothing is left to wait for.  Units: none.

#include <boost/asio.hpp>

#include <chrono>
#include <string>

using Tcp = boost::asio::ip::tcp;

constexpr std::chrono::seconds kTcpLimit{20};

template <typename Condition>
bool RunUntil(boost::asio::io_service& service, Condition isDone) {
    const auto end = std::chrono::steady_clock::now() + kTcpLimit;
    while (!isDone()) {
        service.restart();
        if (service.run_one_until(end) == 0) return isDone();
    }
    return true;
}

inline Tcp::endpoint Loopback(unsigned short port = 0) {
    return {boost::asio::ip::address_v4::loopback(), port};
}

inline Tcp::socket ConnectTo(boost::asio::io_service& service, const Tcp::endpoint& endpoint) {
    Tcp::socket socket(service);
    socket.connect(endpoint);
    return socket;
}

inline std::string TcpFrame(const std::string& body) {
    const auto size = static_cast<uint32_t>(body.size());
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + body;
}

// As much as was asked for, or what there was before the end of the stream.
inline std::string ReadBytes(Tcp::socket& socket, size_t count) {
    std::string bytes(count, '\0');
    boost::system::error_code ignored;
    bytes.resize(boost::asio::read(socket, boost::asio::buffer(bytes), ignored));
    return bytes;
}

inline bool IsClosed(Tcp::socket& socket) {
    return ReadBytes(socket, 1).empty();
}
