#pragma once

// The daemon's connections: each carries one operation, or one request after another.
//
//   boost::asio::io_context context;
//   Daemon daemon(context, port, "desk");
//   context.run();                       // until a script says exit
//
// Threads:   one
// Ownership: sessions live as long as their reads and writes
// Errors:    a port that cannot be had throws; a connection that sends what is no message is closed
// Units:     bytes

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "standins/dnssd/Registry.h"

namespace DnsSdStandin {

class Session;

class Daemon {
public:
    // Port 0 takes one from the system.
    Daemon(boost::asio::io_context& context, uint16_t port, const std::string& computerName);

    uint16_t Port() const { return mAcceptor.local_endpoint().port(); }
    Registry& GetRegistry() { return mRegistry; }

private:
    friend class Session;

    // A control connection that waits for a number of running operations.
    struct Wait {
        std::weak_ptr<Session> session;
        Kind kind;
        int count;
    };

    void Accept();
    void Handle(const std::shared_ptr<Session>& session, std::string_view body);
    void StartOperation(const std::shared_ptr<Session>& session, Operation operation);
    void HandleControl(const std::shared_ptr<Session>& session, const std::string& line);
    void DropOperations();
    void Ended(uint64_t operation);
    void AnswerWaits();

    boost::asio::io_context& mContext;
    boost::asio::ip::tcp::acceptor mAcceptor;
    // Not those of an earlier daemon, so that a client cannot take one for the other.
    uint64_t mNextOperation;
    std::map<uint64_t, std::shared_ptr<Session>> mOperations;
    std::vector<Wait> mWaits;
    // Between the parts in which results go out; 0: they go out whole.
    std::chrono::milliseconds mPause{0};
    Registry mRegistry;
};

}  // namespace DnsSdStandin
