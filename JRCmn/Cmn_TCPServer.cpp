#include "JRCmn/Cmn_TCPServer.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Clock.h"
#include "JRCmn/Internal/Cmn_EndpointText.h"

using boost::system::error_code;
using NorvikLibInternal::EndpointText;

namespace {

constexpr int cBacklog = 0x7FFFFFFF;  // the platform's maximum

// Pauses before a restart, when accepting fails again and again: milliseconds.
constexpr uint64_t cFirstPause = 10;
constexpr uint64_t cLongestPause = 1'000;
constexpr uint64_t cQuietTime = 2 * cLongestPause;  // an error after this long counts as the first

}  // namespace

// What the platform fills in while an accept is under way.
struct Cmn_TCPServer::Accept {
    std::shared_ptr<Socket> socket;
    Endpoint peer;
    uint64_t generation;
};

Cmn_TCPServer::Cmn_TCPServer(boost::asio::io_service& inService, const std::string& inName,
                             ClientFactory inClientFactory)
    : mName(inName),
      mService(inService),
      mAcceptor(inService),
      mClientFactory(std::make_shared<const ClientFactory>(std::move(inClientFactory))),
      mSelf(this, [](Cmn_TCPServer*) {}) {}

Cmn_TCPServer::~Cmn_TCPServer() {
    StopListening();
    mSelf = nullptr;
}

Cmn_TCPServer::Endpoint Cmn_TCPServer::GetLocalEndpoint() const {
    error_code ignored;
    return mAcceptor.is_open() ? mAcceptor.local_endpoint(ignored) : Endpoint();
}

// ---- Starting and stopping

void Cmn_TCPServer::StartListening() {
    if (IsListening()) StopListening();
    StartListening(GetBindEndpoint());
}

void Cmn_TCPServer::StartListening(const Endpoint& endpoint) {
    ++mGeneration;
    if (endpoint.port() == 0 && !mAnyPort) {
        Cmn_Trace("%s: Can't start TCP server, because bind address is not available.\n", mName.c_str());
        mBindAddressText.Clear();
        mState = EState::WaitingForBindAddress;
        return;
    }
    mBindAddressText = EndpointText(endpoint);
    Cmn_Trace("%s: Starting TCP server at %s...\n", mName.c_str(), mBindAddressText.c_str());
    try {
        mAcceptor.open(endpoint.protocol());
        mAcceptor.set_option(boost::asio::socket_base::reuse_address(true));
        mAcceptor.bind(endpoint);
        mAcceptor.listen(cBacklog);
    } catch (...) {
        error_code ignored;
        mAcceptor.close(ignored);
        mState = EState::Stopped;
        throw;
    }
    mState = EState::Listening;
    if (endpoint.port() == 0) mBindAddressText = EndpointText(GetLocalEndpoint());
    AcceptNext();
}

void Cmn_TCPServer::StopListening() {
    ++mGeneration;
    mPauseTimer = nullptr;
    if (IsListening()) {
        Cmn_Trace("%s: Stopping TCP server %s...\n", mName.c_str(), mBindAddressText.c_str());
        error_code ignored;
        mAcceptor.cancel(ignored);
        mAcceptor.close(ignored);
    }
    mState = EState::Stopped;
}

void Cmn_TCPServer::NotifyBindAddressChanged() {
    if (mState == EState::Stopped) return;
    const Endpoint endpoint = GetBindEndpoint();
    const Cmn_String text = EndpointText(endpoint);
    if (mState == EState::WaitingForBindAddress) {
        Cmn_Trace("%s: TCP server IP address changed to %s, will start listening.\n", mName.c_str(),
                  text.c_str());
        StartOrRetry(endpoint);
        return;
    }
    if (!CMN_VERIFY_AT(92, mState == EState::Listening)) return;
    if (endpoint.port() == 0 && !mAnyPort) {
        Cmn_Trace("%s: TCP server %s IP address disappeared, will stop listening.\n", mName.c_str(),
                  mBindAddressText.c_str());
        StopListening();
        mState = EState::WaitingForBindAddress;
        return;
    }
    Cmn_Trace("%s: TCP server %s IP address changed to %s, will restart listening.\n", mName.c_str(),
              mBindAddressText.c_str(), text.c_str());
    StopListening();
    StartOrRetry(endpoint);
}

// For a start that no owner has asked for and sees fail: it is thrown into the loop, and tried again later.
void Cmn_TCPServer::StartOrRetry(const Endpoint& endpoint) {
    try {
        StartListening(endpoint);
    } catch (...) {
        ScheduleRestart();
        throw;
    }
}

// ---- Accepting

void Cmn_TCPServer::AcceptNext() {
    const auto accept = std::make_shared<Accept>();
    accept->socket = std::make_shared<Socket>(mService);
    accept->generation = mGeneration;
    mAcceptor.async_accept(*accept->socket, accept->peer,
                           [server = std::weak_ptr(mSelf), accept](const error_code& error) {
                               DoOnClientAccepted(server, *accept, error);
                           });
}

void Cmn_TCPServer::DoOnClientAccepted(const std::weak_ptr<Cmn_TCPServer>& server, const Accept& accept,
                                       const error_code& error) {
    Cmn_TCPServer* const self = server.lock().get();
    if (!self) return;
    if (self->mGeneration == accept.generation) {
        self->OnClientAccepted(accept.socket, accept.peer, error);
    } else if (!error && self->IsListening()) {
        // Accepted just before the server moved to another address: connected clients stay.
        self->TakeClient(accept.socket, accept.peer);
    }
    // An accept that ended because the server stopped or moved is no error.
}

void Cmn_TCPServer::OnClientAccepted(const std::shared_ptr<Socket>& inClientSocket,
                                     const Endpoint& inEndpoint, const error_code& inError) {
    if (inError) {
        if (IsListening()) {
            Cmn_Trace("%s: Caught error in TCP server %s: %s (%d). Restarting...\n", mName.c_str(),
                      mBindAddressText.c_str(), inError.message().c_str(), inError.value());
            StopListening();
        }
        ScheduleRestart();
        return;
    }
    if (!CMN_VERIFY_AT(166, inClientSocket)) return;
    mPause = 0;
    const std::weak_ptr<Cmn_TCPServer> self = mSelf;
    const uint64_t generation = mGeneration;
    const auto acceptNext = [&] {
        if (!self.expired() && generation == mGeneration) AcceptNext();
    };
    try {
        TakeClient(inClientSocket, inEndpoint);
    } catch (...) {
        acceptNext();
        throw;
    }
    acceptNext();
}

void Cmn_TCPServer::TakeClient(const std::shared_ptr<Socket>& socket, const Endpoint& endpoint) {
    const std::weak_ptr<Cmn_TCPServer> self = mSelf;
    const auto client = MakeClient(socket, endpoint);
    if (client && !self.expired() && client.get() != mClosedEarly) mClients.insert(client);
}

// A connection that no client takes is closed.
std::shared_ptr<Cmn_TCPClient_IF> Cmn_TCPServer::MakeClient(const std::shared_ptr<Socket>& socket,
                                                            const Endpoint& endpoint) {
    const ClosedCallback onClosed = [server = std::weak_ptr(mSelf), &service = mService](
                                        const std::shared_ptr<Cmn_TCPClient_IF>& client, bool) {
        if (Cmn_TCPServer* const self = server.lock().get()) self->HandleConnectionClosed(client);
        // The client goes after its call has returned.
        boost::asio::post(service, [client] {});
    };
    mClosedEarly = nullptr;
    const auto factory = mClientFactory;
    std::shared_ptr<Cmn_TCPClient_IF> client;
    error_code ignored;
    try {
        if (*factory) client = (*factory)(socket, endpoint, onClosed);
    } catch (...) {
        socket->close(ignored);
        throw;
    }
    if (!client) socket->close(ignored);
    return client;
}

void Cmn_TCPServer::HandleConnectionClosed(const std::shared_ptr<Cmn_TCPClient_IF>& client) {
    if (mClients.erase(client) == 0) mClosedEarly = client.get();
}

void Cmn_TCPServer::ScheduleRestart() {
    const auto restart = [server = std::weak_ptr(mSelf), generation = mGeneration] {
        Cmn_TCPServer* const self = server.lock().get();
        if (self && self->mGeneration == generation) self->StartOrRetry(self->GetBindEndpoint());
    };
    const uint64_t now = NorvikLibInternal::ClockMilliseconds();
    const bool isFirst = mLastFailure == 0 || now - mLastFailure >= cQuietTime;
    mLastFailure = now;
    if (isFirst) {
        mPause = 0;
        boost::asio::post(mService, restart);
        return;
    }
    // Errors that follow one another at once would otherwise keep the loop busy for good.
    mPause = std::clamp(2 * mPause, cFirstPause, cLongestPause);
    mPauseTimer = std::make_unique<boost::asio::steady_timer>(mService, std::chrono::milliseconds(mPause));
    mPauseTimer->async_wait([restart](const error_code& error) {
        if (!error) restart();
    });
}
