#pragma once

// JR_TCPServer: a TCP server on the address of the network adapter that serves a network role; it follows that address as
// it changes. JR_TCPSingleClientMessageServer: a message server for one client at a time.
//
//   JR_TCPSingleClientMessageServer server(service, {ENetworkUser::eRemoteControl, 5'000, "Remote", 65'536},
//       [] { Cmn_Trace("Remote control is here.\n"); }, [](bool gracefully) { ... },
//       [&](const unsigned char* data, unsigned int size) { server.Send(data, size); return true; });
//
// Threads:   the thread that runs the io_service, for all functions and callbacks
// Ownership: as Cmn_TCPServer. The callbacks may close, send, and destroy the server; none is called after that.
// Errors:    as Cmn_TCPServer; without an address the server waits for one
// Units:     ports are numbers of the machine's order; sizes are bytes

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/Cmn_NetworkAdapterConfig.h"
#include "JRCmn/Cmn_TCPServer.h"

class NORVIK_API JR_TCPServer : public Cmn_TCPServer {
public:
    // Listens from StartListening on. With port 0 it would wait for ever, unless UseAnyPort is called before.
    JR_TCPServer(boost::asio::io_service& inService, ENetworkUser inNetworkUser, unsigned short inPort,
                 const std::string& inName, ClientFactory inClientFactory);
    ~JR_TCPServer() override;

    // Port 0 means: whichever port the system gives, anew at each start. GetLocalEndpoint tells which one it is.
    void UseAnyPort() { mUsesAnyPort = true; }

protected:
    Endpoint GetBindEndpoint() override;

private:
    void OnAdapterChanged();

    const unsigned short mPort;
    bool mUsesAnyPort = false;
    Cmn_IPv4Address mLastBindAddress;
    Cmn_NetworkAdapterConfig mAdapterConfig;  // calls OnAdapterChanged, so it comes last
};

class NORVIK_API JR_TCPSingleClientMessageServer {
public:
    struct Parameters {
        ENetworkUser mNetworkUser = ENetworkUser::eAny;
        std::uint16_t mPort = 0;
        std::string mName;
        std::uint64_t mMaxMessageSize = 0;  // with the 4 bytes of the length
        bool mUseAnyPort = false;           // with port 0: whichever the system gives
    };

    // Listens at once. The callbacks: a client is here; it has gone (whether it ended the connection itself); a message
    // (false closes the connection). Each may be empty but the last.
    JR_TCPSingleClientMessageServer(
        boost::asio::io_service& inService, const Parameters& inParameters, std::function<void()> inConnected,
        std::function<void(bool)> inDisconnected,
        std::function<bool(const unsigned char*, unsigned int)> inMessageReceived);
    // A client that is connected is released; the disconnected callback is not called.
    ~JR_TCPSingleClientMessageServer();
    JR_TCPSingleClientMessageServer(const JR_TCPSingleClientMessageServer&) = delete;
    JR_TCPSingleClientMessageServer& operator=(const JR_TCPSingleClientMessageServer&) = delete;

    // Whether a client is connected. Without one the next two do nothing.
    bool IsOpen() const;
    void CloseConnection(bool inGracefully);
    void Send(const unsigned char* inData, std::uint64_t inSize);

    // Where it listens; port 0 while it does not.
    Cmn_TCPServer::Endpoint GetLocalEndpoint() const;

private:
    struct Private;
    const std::shared_ptr<Private> mPrivate;
};
