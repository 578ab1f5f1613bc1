#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <mstcpip.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <cstring>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_EndpointText.h"
#include "JRCmn/Internal/Cmn_FrameAssembler.h"

using boost::system::error_code;
using NorvikLibInternal::FrameAssembler;
using NorvikLibInternal::FrameOutcome;
using NorvikLibInternal::VerifyFailed;

namespace {

// The texts of checks whose conditions could wrap, or are found by the pure assembler.
constexpr const char* cMessageFits = "inSize <= mMaxMessageSize - sizeof(MessageSizeType)";
constexpr const char* cBufferFits = "mReceiveBufferUsedSize <= mReceiveBufferHolder.size()";

std::shared_ptr<unsigned char[]> MakeFrame(const unsigned char* data, uint64_t size) {
    auto frame = std::make_shared_for_overwrite<unsigned char[]>(FrameAssembler::kLengthSize + size);
    const auto length = static_cast<Cmn_TCPPrefixedMessageClient::MessageSizeType>(size);
    std::memcpy(frame.get(), &length, sizeof length);
    if (size != 0) std::memcpy(frame.get() + sizeof length, data, size);
    return frame;
}

// Compared by name: each module has a category of its own, and a derived class may live in another than this one.
bool IsEndOfStream(const error_code& error) {
    const error_code eof = boost::asio::error::eof;
    return error.value() == eof.value() && std::strcmp(error.category().name(), eof.category().name()) == 0;
}

// Whether the stream goes on; reports why not.
bool GoesOn(FrameOutcome outcome, const Cmn_TCPPrefixedMessageClient& client) {
    switch (outcome) {
        case FrameOutcome::kWaiting:
            return true;
        case FrameOutcome::kStopped:
            return false;
        case FrameOutcome::kTooLong:
            return VerifyFailed("sizeof(MessageSizeType) + msgSize <= mReceiveBufferHolder.size()",
                                CMN_SOURCE_FILE, 210);
        case FrameOutcome::kNoRoom:
            Cmn_Trace("%s: App has sent a too long message, aborting.\n",
                      client.GetLogMessagePrefix().c_str());
            return CMN_VERIFY_AT(238, false);
        case FrameOutcome::kOverfullBefore:
            return VerifyFailed(cBufferFits, CMN_SOURCE_FILE, 190);
        case FrameOutcome::kOverfullAfterCopy:
            return VerifyFailed(cBufferFits, CMN_SOURCE_FILE, 199);
        case FrameOutcome::kLengthLost:
            return VerifyFailed("mReceiveBufferUsedSize >= 4", CMN_SOURCE_FILE, 223);
        case FrameOutcome::kOverfullAfterRemoval:
            return VerifyFailed(cBufferFits, CMN_SOURCE_FILE, 229);
    }
    return false;
}

}  // namespace

// Keeps the client alive during a call that leads to its callbacks.
class Cmn_TCPPrefixedMessageClient::Hold {
public:
    explicit Hold(Cmn_TCPPrefixedMessageClient& client) : mClient(client), mSelf(client.LockSelf()) {
        ++mClient.mHolds;
    }
    ~Hold() { --mClient.mHolds; }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    // Nobody else has the client any more.
    bool IsReleased() const { return mSelf && mSelf.use_count() == mClient.mHolds; }

private:
    Cmn_TCPPrefixedMessageClient& mClient;
    const std::shared_ptr<Cmn_TCPPrefixedMessageClient> mSelf;
};

Cmn_TCPClient_IF::~Cmn_TCPClient_IF() = default;

Cmn_TCPPrefixedMessageClient::Cmn_TCPPrefixedMessageClient(
    const std::string& inName, uint64_t inMaxMessageSize, ConnectionClosedCallback inConnectionClosedCallback,
    MessageReceivedCallback inMessageReceivedCallback)
    : mName(inName),
      mMaxMessageSize(inMaxMessageSize),
      mReadBuffer(std::make_shared_for_overwrite<unsigned char[]>(inMaxMessageSize)),
      mAssembler(std::make_shared<FrameAssembler>(inMaxMessageSize)),
      mConnectionClosedCallback(std::move(inConnectionClosedCallback)),
      mMessageReceivedCallback(std::move(inMessageReceivedCallback)) {
    CMN_VERIFY_AT(37, mMessageReceivedCallback);
}

Cmn_TCPPrefixedMessageClient::~Cmn_TCPPrefixedMessageClient() = default;

// ---- Connecting

void Cmn_TCPPrefixedMessageClient::Attach(std::shared_ptr<Socket> socket, const Endpoint& endpoint) {
    if (mSocket && mSocket != socket) {
        error_code ignored;
        mSocket->close(ignored);
    }
    mSocket = std::move(socket);
    mRemoteEndpoint = endpoint;
    ++mConnection;
    mIsReading = false;
    mPendingSendDataSize = 0;
    // An earlier connection's read may still end in its buffer, and the callback that connects here may be in the middle of
    // a message.
    if (mReadBuffer.use_count() > 1)
        mReadBuffer = std::make_shared_for_overwrite<unsigned char[]>(mMaxMessageSize);
    if (mAssembler.use_count() > 1)
        mAssembler = std::make_shared<FrameAssembler>(mMaxMessageSize);
    else
        mAssembler->Clear();
}

bool Cmn_TCPPrefixedMessageClient::SyncConnect(boost::asio::io_service& inService,
                                               const Endpoint& inEndpoint) {
    Attach(std::make_shared<Socket>(inService), inEndpoint);
    error_code error;
    mSocket->connect(inEndpoint, error);
    Connected(error);
    return !error;
}

void Cmn_TCPPrefixedMessageClient::AsyncConnect(boost::asio::io_service& inService,
                                                const Endpoint& inEndpoint,
                                                std::function<void(bool)> inDone) {
    Attach(std::make_shared<Socket>(inService), inEndpoint);
    mSocket->async_connect(inEndpoint, [client = weak_from_this(), connection = mConnection,
                                        done = std::move(inDone)](const error_code& error) {
        if (client.expired()) return;
        const auto self = Lock(client, connection);
        if (self) self->Connected(error);
        if (done) done(self && !error);
    });
}

void Cmn_TCPPrefixedMessageClient::Connected(const error_code& error) {
    if (!error) return;
    Cmn_Trace("%s: Failed to connect to %s - error is %s(%d).\n", GetLogMessagePrefix().c_str(),
              NorvikLibInternal::EndpointText(mRemoteEndpoint).c_str(), error.message().c_str(),
              error.value());
    ++mConnection;
    error_code ignored;
    mSocket->close(ignored);
    mSocket = nullptr;
}

void Cmn_TCPPrefixedMessageClient::UseSocket(const std::shared_ptr<Socket>& inSocket,
                                             const Endpoint& inEndpoint) {
    Attach(inSocket, inEndpoint);
}

bool Cmn_TCPPrefixedMessageClient::IsOpen() const {
    return mSocket && mSocket->is_open();
}

void Cmn_TCPPrefixedMessageClient::CloseConnection(bool inGracefully) {
    if (!mSocket) return;
    const auto socket = std::exchange(mSocket, nullptr);
    ++mConnection;
    mPendingSendDataSize = 0;
    const auto self = LockSelf();
    if (socket->is_open()) {
        Cmn_Trace("%s: Closing connection.\n", GetLogMessagePrefix().c_str());
        error_code errorCode;
        socket->cancel(errorCode);
        errorCode.clear();
        socket->close(errorCode);
        CMN_VERIFY_AT(135, !errorCode);
    }
    if (mConnectionClosedCallback) mConnectionClosedCallback(self, inGracefully);
}

std::shared_ptr<Cmn_TCPPrefixedMessageClient> Cmn_TCPPrefixedMessageClient::LockSelf() {
    return std::static_pointer_cast<Cmn_TCPPrefixedMessageClient>(weak_from_this().lock());
}

// The client, if it is still there and has still this connection.
std::shared_ptr<Cmn_TCPPrefixedMessageClient> Cmn_TCPPrefixedMessageClient::Lock(
    const std::weak_ptr<Cmn_TCPClient_IF>& client, uint64_t connection) {
    auto self = std::static_pointer_cast<Cmn_TCPPrefixedMessageClient>(client.lock());
    return self && self->mConnection == connection ? self : nullptr;
}

// ---- Sending

void Cmn_TCPPrefixedMessageClient::Send(const unsigned char* inData, uint64_t inSize) {
    if (!IsOpen()) return;
    if (!FrameAssembler::Fits(inSize, mMaxMessageSize)) {
        VerifyFailed(cMessageFits, CMN_SOURCE_FILE, 251);
        CloseConnection(false);
        return;
    }
    const Buffer frame = MakeFrame(inData, inSize);
    const uint64_t frameSize = FrameAssembler::kLengthSize + inSize;
    mPendingSendDataSize += frameSize;
    if (mPendingSendDataSize >= cMaxPendingSendDataSize) {
        Cmn_Trace("%s: Pending send data limit exceeded.\n", GetLogMessagePrefix().c_str());
        CMN_VERIFY_AT(269, !"Too much data pending to send");
        CloseConnection(false);
        return;
    }
    // One operation for the whole frame: asio's composed write cuts it at 64 KB, and another frame could come between.
    mSocket->async_send(boost::asio::buffer(frame.get(), frameSize),
                        [client = weak_from_this(), connection = mConnection, frame, frameSize](
                            const error_code& error, size_t bytes) {
                            if (auto* const self = Lock(client, connection).get())
                                self->AsyncSendCallback(error, bytes, frameSize);
                        });
}

void Cmn_TCPPrefixedMessageClient::AsyncSendCallback(const error_code& inError, uint64_t inBytes,
                                                     uint64_t inFrameSize) {
    const uint64_t before = mPendingSendDataSize;
    mPendingSendDataSize -= inFrameSize;
    if (before <= cMaxPendingSendDataSize &&
        !CMN_VERIFY_AT(331, mPendingSendDataSize <= cMaxPendingSendDataSize)) {
        mPendingSendDataSize = 0;
    }
    if (!mSocket) return;
    // Half a frame would put the stream out of step.
    if (!inError && inBytes != inFrameSize) return SendFailed(boost::asio::error::broken_pipe);
    if (inError) SendFailed(inError);
}

void Cmn_TCPPrefixedMessageClient::SendFailed(const error_code& error) {
    if (IsEndOfStream(error)) {
        Cmn_Trace("%s: connection was closed.\n", GetLogMessagePrefix().c_str());
        CloseConnection(true);
    } else {
        Cmn_Trace("%s: send has failed with error: %s (%d).\n", GetLogMessagePrefix().c_str(),
                  error.message().c_str(), error.value());
        CloseConnection(false);
    }
}

bool Cmn_TCPPrefixedMessageClient::SyncSend(const unsigned char* inData, uint64_t inSize) {
    if (!IsOpen()) return false;
    if (!FrameAssembler::Fits(inSize, mMaxMessageSize)) {
        VerifyFailed(cMessageFits, CMN_SOURCE_FILE, 283);
        CloseConnection(false);
        return false;
    }
    const Buffer frame = MakeFrame(inData, inSize);
    const uint64_t frameSize = FrameAssembler::kLengthSize + inSize;
    error_code error;
    boost::asio::write(
        *mSocket, boost::asio::buffer(frame.get(), frameSize),
        [frameSize](const error_code& failed, size_t done) { return failed ? 0 : frameSize - done; }, error);
    if (error) SendFailed(error);
    return !error;
}

// ---- Receiving

void Cmn_TCPPrefixedMessageClient::StartReading() {
    if (!IsOpen() || mIsReading) return;
    mIsReading = true;
    // The platform writes into the buffer until the read is over, also when the client is gone.
    mSocket->async_read_some(boost::asio::buffer(mReadBuffer.get(), mMaxMessageSize),
                             [client = weak_from_this(), connection = mConnection, buffer = mReadBuffer](
                                 const error_code& error, size_t bytes) {
                                 if (auto* const self = Lock(client, connection).get())
                                     self->ReceiveHandler(error, bytes);
                             });
}

void Cmn_TCPPrefixedMessageClient::ReceiveHandler(const error_code& inError, uint64_t inBytes) {
    const Hold hold(*this);
    if (IsEndOfStream(inError)) {
        Cmn_Trace("%s: connection was closed.\n", GetLogMessagePrefix().c_str());
        return CloseConnection(true);
    }
    if (inError) {
        Cmn_Trace("%s: connection failed with error: %s (%d).\n", GetLogMessagePrefix().c_str(),
                  inError.message().c_str(), inError.value());
        return CloseConnection(false);
    }
    const uint64_t connection = mConnection;
    bool goesOn = false;
    try {
        goesOn = HandleRead(mReadBuffer.get(), inBytes);
    } catch (...) {
        // Nobody would read on: a connection that only sends must not stay behind.
        if (connection == mConnection && !hold.IsReleased()) CloseConnection(false);
        throw;
    }
    if (connection != mConnection)
        return;  // the callback has closed it, or made a new one that reads by itself
    if (!goesOn) return CloseConnection(false);
    mIsReading = false;
    StartReading();
}

bool Cmn_TCPPrefixedMessageClient::HandleRead(const unsigned char* inBytes, uint64_t inCount) {
    if (inCount == 0) return false;
    const Hold hold(*this);
    const auto assembler = mAssembler;  // the callback may connect anew, which begins with a fresh one
    const uint64_t connection = mConnection;
    bool isOver = false;
    const FrameOutcome outcome =
        assembler->Take(inBytes, inCount, [&](const unsigned char* body, MessageSizeType size) {
            const bool accepted = mMessageReceivedCallback && mMessageReceivedCallback(body, size);
            // What a closed connection, or one that its owner gave up, still held belongs to nobody.
            isOver = connection != mConnection || hold.IsReleased();
            return accepted && !isOver;
        });
    return isOver || GoesOn(outcome, *this);
}

// ---- The rest

std::string Cmn_TCPPrefixedMessageClient::GetLogMessagePrefix() const {
    error_code ec;
    const Cmn_String endpoint = NorvikLibInternal::EndpointText(mRemoteEndpoint, ec);
    CMN_VERIFY_AT(109, !ec);
    return mName + " " + endpoint.c_str();
}

bool Cmn_TCPPrefixedMessageClient::DisableNaggle() {
    if (!IsOpen()) return false;
    error_code error;
    mSocket->set_option(boost::asio::ip::tcp::no_delay(true), error);
    if (error) {
        Cmn_Trace("%s: Failed to disable socket delay: %s.\n", GetLogMessagePrefix().c_str(),
                  error.message().c_str());
    }
    return !error;
}

bool Cmn_TCPPrefixedMessageClient::EnableKeepAlive(unsigned int inTime, unsigned int inInterval) {
    if (!IsOpen()) return false;
    tcp_keepalive values = {1, inTime, inInterval};
    DWORD returned = 0;
    return ::WSAIoctl(mSocket->native_handle(), SIO_KEEPALIVE_VALS, &values, sizeof values, nullptr, 0,
                      &returned, nullptr, nullptr) == 0;
}
