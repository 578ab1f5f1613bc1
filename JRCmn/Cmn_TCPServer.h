#pragma once

// Cmn_TCPServer: accepts TCP connections on a boost::asio::io_service and hands each to a client object that a factory
// makes. It keeps the clients while they are connected, and starts again after an error of accepting and when the address
// that it is bound to changes.
//
//   class MeterServer : public Cmn_TCPServer {
//   public:
//       MeterServer(boost::asio::io_service& service) : Cmn_TCPServer(service, "Meters", &MakeMeterClient) {}
//   protected:
//       Endpoint GetBindEndpoint() override { return {boost::asio::ip::address_v4::loopback(), 5000}; }
//   };
//   MeterServer server(service);
//   server.StartListening();
//
// Threads:   the thread that runs the io_service, for all functions and the factory; no locks
// Ownership: owns the acceptor and a share in each client. The io_service outlives the server. The factory and the clients'
//            callbacks may stop and destroy the server; a client that outlives it may still call its closed callback.
// Errors:    a bind or listen error is thrown as boost::system::system_error: out of StartListening, and the server is stopped
//            then and can be started; or, when the server has started itself again, into the io_service's run, and it goes on
//            trying. An accept error is traced, and the server restarts: at once, or after a pause of 10 ms to 1 s that
//            grows as long as errors follow one another. A server that waits for an address is no work for the io_service.
//            The socket has SO_REUSEADDR, so that a restart does not wait for old connections to expire. On Windows this
//            also lets any other program that sets it listen on the same port, and which of them gets a connection is not
//            defined; Wine refuses the second one.
// Units:     none

#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_TCPClient_IF.h"

#if defined(__MINGW32__) && !defined(BOOST_ASIO_HAS_PTHREADS)
#error Define BOOST_ASIO_HAS_PTHREADS=1 (docs/using.md): program and library would share an io_service of two layouts.
#endif

class NORVIK_API Cmn_TCPServer {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using Endpoint = boost::asio::ip::tcp::endpoint;
    // What a client calls when its connection has ended: (the client, whether the peer ended it). The server then releases it,
    // after the call has returned.
    using ClosedCallback = std::function<void(const std::shared_ptr<Cmn_TCPClient_IF>&, bool)>;
    // (the accepted socket, the peer, what the client must call); null refuses the connection, which is closed.
    using ClientFactory = std::function<std::shared_ptr<Cmn_TCPClient_IF>(
        std::shared_ptr<Socket>, const Endpoint&, const ClosedCallback&)>;

    Cmn_TCPServer(boost::asio::io_service& inService, const std::string& inName,
                  ClientFactory inClientFactory);
    // Stops. The clients are released without a callback.
    virtual ~Cmn_TCPServer();

    Cmn_TCPServer(const Cmn_TCPServer&) = delete;
    Cmn_TCPServer& operator=(const Cmn_TCPServer&) = delete;

    // Listens on the endpoint of now, anew if it does already.
    void StartListening();
    // The connections stay.
    void StopListening();
    bool IsListening() const { return mState == EState::Listening; }
    // With the port that the system chose; the unspecified endpoint (port 0) while not listening.
    Endpoint GetLocalEndpoint() const;

protected:
    // Where to listen. Port 0: there is no address to bind to now, and the server waits for NotifyBindAddressChanged.
    virtual Endpoint GetBindEndpoint() = 0;
    // Port 0 of the bind endpoint asks the system for a port, until this is switched off again. A restart may get another.
    void SetAnyPort(bool inAnyPort) { mAnyPort = inAnyPort; }
    // GetBindEndpoint may have changed. Does nothing while stopped.
    void NotifyBindAddressChanged();
    // What the completion of an accept calls.
    void OnClientAccepted(const std::shared_ptr<Socket>& inClientSocket, const Endpoint& inEndpoint,
                          const boost::system::error_code& inError);

private:
    enum class EState : int { Stopped = 0, WaitingForBindAddress = 1, Listening = 2 };
    struct Accept;

    void StartListening(const Endpoint& endpoint);
    void StartOrRetry(const Endpoint& endpoint);
    void AcceptNext();
    static void DoOnClientAccepted(const std::weak_ptr<Cmn_TCPServer>& server, const Accept& accept,
                                   const boost::system::error_code& error);
    void TakeClient(const std::shared_ptr<Socket>& socket, const Endpoint& endpoint);
    std::shared_ptr<Cmn_TCPClient_IF> MakeClient(const std::shared_ptr<Socket>& socket,
                                                 const Endpoint& endpoint);
    void ScheduleRestart();
    void HandleConnectionClosed(const std::shared_ptr<Cmn_TCPClient_IF>& client);

    const std::string mName;
    boost::asio::io_service& mService;
    boost::asio::ip::tcp::acceptor mAcceptor;
    EState mState = EState::Stopped;
    const std::shared_ptr<const ClientFactory> mClientFactory;  // alive during its call, whatever it destroys
    std::set<std::shared_ptr<Cmn_TCPClient_IF>> mClients;
    Cmn_String mBindAddressText;

    std::shared_ptr<Cmn_TCPServer> mSelf;  // owns nothing: what completions hold weak pointers to
    uint64_t mGeneration = 0;              // of the acceptor's use; completions of an earlier one are stale
    bool mAnyPort = false;
    const Cmn_TCPClient_IF* mClosedEarly = nullptr;  // by the factory that is making it
    uint64_t mLastFailure = 0;                       // of accepting; milliseconds of the library's clock
    uint64_t mPause = 0;                             // before the last restart
    std::unique_ptr<boost::asio::steady_timer> mPauseTimer;
};
