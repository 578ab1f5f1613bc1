#include "Shared/JR_TCPServer.h"

#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"

namespace {

// A client that is gone without a word is noticed after this: milliseconds.
constexpr unsigned cKeepAliveTime = 2'000;
constexpr unsigned cKeepAliveInterval = 200;

}  // namespace

// ---- JR_TCPServer

JR_TCPServer::JR_TCPServer(boost::asio::io_service& inService, ENetworkUser inNetworkUser,
                           unsigned short inPort, const std::string& inName, ClientFactory inClientFactory)
    : Cmn_TCPServer(inService, inName, std::move(inClientFactory)),
      mPort(inPort),
      mAdapterConfig(inService, inNetworkUser, [this] { OnAdapterChanged(); }) {}

JR_TCPServer::~JR_TCPServer() = default;

Cmn_TCPServer::Endpoint JR_TCPServer::GetBindEndpoint() {
    mLastBindAddress = mAdapterConfig.GetIPv4Address();
    SetAnyPort(mUsesAnyPort && mLastBindAddress.IsValid());
    if (!mLastBindAddress.IsValid()) return {};
    boost::system::error_code errorCode;
    const auto address = boost::asio::ip::make_address_v4(mLastBindAddress.ToString().c_str(), errorCode);
    if (!CMN_VERIFY_AT(54, !errorCode)) return {boost::asio::ip::address_v4(), mPort};
    return {address, mPort};
}

void JR_TCPServer::OnAdapterChanged() {
    const Cmn_IPv4Address address = mAdapterConfig.GetIPv4Address();
    if (address == mLastBindAddress) return;
    mLastBindAddress = address;
    NotifyBindAddressChanged();
}

// ---- JR_TCPSingleClientMessageServer

struct JR_TCPSingleClientMessageServer::Private : std::enable_shared_from_this<Private> {
    Private(boost::asio::io_service& service, const Parameters& inParameters,
            std::function<void()> onConnected, std::function<void(bool)> onDisconnected,
            std::function<bool(const unsigned char*, unsigned int)> onMessageReceived)
        : parameters(inParameters),
          connected(std::move(onConnected)),
          disconnected(std::move(onDisconnected)),
          messageReceived(std::move(onMessageReceived)),
          server(service, parameters.mNetworkUser, parameters.mPort, parameters.mName,
                 [this](const auto& socket, const auto& endpoint, const auto& onClosed) {
                     return MakeClient(socket, endpoint, onClosed);
                 }) {
        if (parameters.mUseAnyPort) server.UseAnyPort();
    }

    std::shared_ptr<Cmn_TCPClient_IF> MakeClient(const std::shared_ptr<Cmn_TCPServer::Socket>& socket,
                                                 const Cmn_TCPServer::Endpoint& endpoint,
                                                 const Cmn_TCPServer::ClosedCallback& onClosed);

    const Parameters parameters;
    const std::function<void()> connected;
    const std::function<void(bool)> disconnected;
    const std::function<bool(const unsigned char*, unsigned int)> messageReceived;
    JR_TCPServer server;
    std::shared_ptr<Cmn_TCPPrefixedMessageClient> client;  // null when nobody is connected
};

// The callbacks may destroy the server, so each call holds what it works on.
std::shared_ptr<Cmn_TCPClient_IF> JR_TCPSingleClientMessageServer::Private::MakeClient(
    const std::shared_ptr<Cmn_TCPServer::Socket>& socket, const Cmn_TCPServer::Endpoint& endpoint,
    const Cmn_TCPServer::ClosedCallback& onClosed) {
    if (client) return nullptr;
    const auto self = shared_from_this();
    const auto newClient = std::make_shared<Cmn_TCPPrefixedMessageClient>(
        parameters.mName, parameters.mMaxMessageSize,
        [weak = weak_from_this(), onClosed](const auto& closedClient, bool gracefully) {
            onClosed(closedClient, gracefully);
            const auto owner = weak.lock();
            if (!owner || owner->client != closedClient) return;
            owner->client = nullptr;
            if (owner->disconnected) owner->disconnected(gracefully);
        },
        [weak = weak_from_this()](const unsigned char* data, unsigned int size) {
            const auto owner = weak.lock();
            return owner && owner->messageReceived && owner->messageReceived(data, size);
        });
    client = newClient;
    client->UseSocket(socket, endpoint);
    client->DisableNaggle();
    client->EnableKeepAlive(cKeepAliveTime, cKeepAliveInterval);
    client->StartReading();
    if (connected) connected();
    return newClient;
}

JR_TCPSingleClientMessageServer::JR_TCPSingleClientMessageServer(
    boost::asio::io_service& inService, const Parameters& inParameters, std::function<void()> inConnected,
    std::function<void(bool)> inDisconnected,
    std::function<bool(const unsigned char*, unsigned int)> inMessageReceived)
    : mPrivate(std::make_shared<Private>(inService, inParameters, std::move(inConnected),
                                         std::move(inDisconnected), std::move(inMessageReceived))) {
    mPrivate->server.StartListening();
}

JR_TCPSingleClientMessageServer::~JR_TCPSingleClientMessageServer() {
    mPrivate->server.StopListening();  // a callback that destroys this one holds it until it returns
    mPrivate->client = nullptr;
}

bool JR_TCPSingleClientMessageServer::IsOpen() const {
    return mPrivate->client != nullptr;
}

void JR_TCPSingleClientMessageServer::CloseConnection(bool inGracefully) {
    if (const auto client = mPrivate->client) client->CloseConnection(inGracefully);
}

void JR_TCPSingleClientMessageServer::Send(const unsigned char* inData, std::uint64_t inSize) {
    if (const auto client = mPrivate->client) client->Send(inData, inSize);
}

Cmn_TCPServer::Endpoint JR_TCPSingleClientMessageServer::GetLocalEndpoint() const {
    return mPrivate->server.GetLocalEndpoint();
}
