#pragma once

// Cmn_TCPPrefixedMessageClient: one end of a TCP connection that carries whole messages, each preceded by its length
// (docs/formats/tcp-frame.md), on a boost::asio::io_service.
//
//   auto client = std::make_shared<Cmn_TCPPrefixedMessageClient>("Desk", 65'536,
//       [](const auto& client, bool gracefully) { ... },                          // closed
//       [](const unsigned char* data, unsigned int size) { return Use(data, size); });   // false closes
//   if (client->SyncConnect(service, endpoint)) {
//       client->StartReading();
//       client->Send(data, size);
//   }
//
// A client can connect again after it was closed; nothing of the earlier connection reaches the new one.
//
// Threads:   the thread that runs the io_service, for all functions and callbacks; no locks
// Ownership: by std::shared_ptr. Owns its socket. What is under way keeps neither the client nor its socket alive, only the
//            buffers: a client that its owner releases is gone, and its callbacks are not called any more. The io_service
//            outlives the client. Both callbacks may close, connect, send, and release the client.
// Errors:    every error closes the connection and calls the closed callback with false; the peer's end of the stream does it
//            with true. Sends without a connection are dropped. A message that is too large, and a backlog of 1,000,000 bytes,
//            are reported. What a message callback throws closes the connection and goes on to the io_service's run.
// Units:     bytes; the maximum message size includes the 4 bytes of the length. Time-outs are the platform's: a connect, or a
//            SyncSend to a peer that does not read, blocks as long as the platform lets it.

#include <boost/asio/io_service.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "JRCmn/Cmn_TCPClient_IF.h"

#if defined(__MINGW32__) && !defined(BOOST_ASIO_HAS_PTHREADS)
#error Define BOOST_ASIO_HAS_PTHREADS=1 (docs/using.md): program and library would share an io_service of two layouts.
#endif

namespace NorvikLibInternal {
class FrameAssembler;
}

class NORVIK_API Cmn_TCPPrefixedMessageClient : public Cmn_TCPClient_IF {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using Endpoint = boost::asio::ip::tcp::endpoint;
    using MessageSizeType = uint32_t;
    // (the client, whether the peer ended the stream)
    using ConnectionClosedCallback =
        std::function<void(const std::shared_ptr<Cmn_TCPPrefixedMessageClient>&, bool)>;
    // A message, readable during the call. False closes the connection; the messages behind it are dropped, as they are when
    // the callback closes, connects anew, or gives up the last share of the client.
    using MessageReceivedCallback = std::function<bool(const unsigned char*, unsigned int)>;

    // The sum of frames that are not sent yet stays below it.
    static constexpr uint64_t cMaxPendingSendDataSize = 1'000'000;

    // Both buffers, of the maximum message size, are made here. The closed callback may be empty. A missing message callback
    // is reported; the client then closes at the first message.
    Cmn_TCPPrefixedMessageClient(const std::string& inName, uint64_t inMaxMessageSize,
                                 ConnectionClosedCallback inConnectionClosedCallback,
                                 MessageReceivedCallback inMessageReceivedCallback);
    ~Cmn_TCPPrefixedMessageClient() override;

    // ---- Connecting. A connection that there still is gets closed without a callback. StartReading comes next.
    // Blocks. The cause of a failure is traced.
    bool SyncConnect(boost::asio::io_service& inService, const Endpoint& inEndpoint);
    // `inDone` is called once on the loop's thread, with false also when the attempt was closed or replaced meanwhile, unless
    // the client is gone. Sends come after it.
    void AsyncConnect(boost::asio::io_service& inService, const Endpoint& inEndpoint,
                      std::function<void(bool)> inDone);
    // Takes over a connected socket.
    void UseSocket(const std::shared_ptr<Socket>& inSocket, const Endpoint& inEndpoint);

    // Reads from here on until the connection ends. A second call changes nothing.
    void StartReading();

    // ---- Sending. Messages leave in the order of the calls, also when the two functions are mixed.
    void Send(const unsigned char* inData, uint64_t inSize);
    // Blocks until the platform has taken all: true. It is not counted as pending.
    bool SyncSend(const unsigned char* inData, uint64_t inSize);
    // Bytes of frames that are not sent yet.
    uint64_t GetPendingSendDataSize() const { return mPendingSendDataSize; }

    bool IsOpen() const;
    // What is not sent yet is lost. The flag is handed to the closed callback.
    void CloseConnection(bool inGracefully);

    // "name address:port": how all log texts begin.
    std::string GetLogMessagePrefix() const;
    // Small messages go out at once. The name is spelled so on purpose: programs call it. False: no connection, or traced.
    bool DisableNaggle();
    // In milliseconds: how long the line may be idle before it is probed, and the time between probes. False, without a trace,
    // when refused.
    bool EnableKeepAlive(unsigned int inTime, unsigned int inInterval);

protected:
    // ---- What completions call; for derived classes that bring bytes or errors of their own.
    void ReceiveHandler(const boost::system::error_code& inError, uint64_t inBytes);
    // Delivers what the bytes complete; false when the connection is to be closed.
    bool HandleRead(const unsigned char* inBytes, uint64_t inCount);
    // The end of the send of one frame, of which `inBytes` were sent.
    void AsyncSendCallback(const boost::system::error_code& inError, uint64_t inBytes, uint64_t inFrameSize);

private:
    class Hold;
    using Buffer = std::shared_ptr<unsigned char[]>;

    void Attach(std::shared_ptr<Socket> socket, const Endpoint& endpoint);
    void Connected(const boost::system::error_code& error);
    std::shared_ptr<Cmn_TCPPrefixedMessageClient> LockSelf();
    static std::shared_ptr<Cmn_TCPPrefixedMessageClient> Lock(const std::weak_ptr<Cmn_TCPClient_IF>& client,
                                                              uint64_t connection);
    void SendFailed(const boost::system::error_code& error);

    std::shared_ptr<Socket> mSocket;
    Endpoint mRemoteEndpoint;
    const std::string mName;
    const uint64_t mMaxMessageSize;
    Buffer mReadBuffer;
    uint64_t mPendingSendDataSize = 0;
    std::shared_ptr<NorvikLibInternal::FrameAssembler> mAssembler;  // what was received of a frame
    const ConnectionClosedCallback mConnectionClosedCallback;
    const MessageReceivedCallback mMessageReceivedCallback;
    uint64_t mConnection = 0;  // which one it is; completions of an earlier one touch nothing
    bool mIsReading = false;
    long mHolds = 0;  // calls that keep the client alive
};
