#include "JRCmn/Internal/Cmn_BonjourAsyncHandler.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DnsSdDaemon.h"

namespace NorvikLibInternal {
namespace {

SOCKET SocketOf(DNSServiceRef ref) {
    return static_cast<SOCKET>(DNSServiceRefSockFD(ref));
}

// Whether a start that failed like this may succeed later without being asked differently.
bool MayPass(const Cmn_BonjourError& error, bool isTiedToInterface) {
    switch (error.GetErrorCode()) {
        case kDNSServiceErr_BadParam:  // also the daemon's answer to an adapter that is not up at the moment
            return isTiedToInterface && IsDnsSdLibraryLoaded();
        case kDNSServiceErr_Invalid:
        case kDNSServiceErr_BadFlags:
        case kDNSServiceErr_Unsupported:
        case kDNSServiceErr_Incompatible:
            return false;
    }
    return IsDnsSdLibraryLoaded();
}

enum class Input { kNone, kSome, kEnd };

// Whether the socket, which does not block, has data. Looking takes none.
Input Peek(SOCKET socket) {
    char byte;
    const int count = ::recv(socket, &byte, sizeof byte, MSG_PEEK);
    const int error = count < 0 ? ::WSAGetLastError() : 0;
    if (count > 0) return Input::kSome;
    return error == WSAEWOULDBLOCK ? Input::kNone : Input::kEnd;
}

}  // namespace

struct Cmn_BonjourAsyncHandler::Call {
    bool isOver = false;  // the operation was stopped or the object deleted
};

Cmn_BonjourAsyncHandler::Cmn_BonjourAsyncHandler(const std::string& id, IF_EventManager& eventManager)
    : mID(id),
      mRetryTimer(
          kRetryMilliseconds,
          [this] {
              mIsRetried = true;
              Guarded([this] { Start(); });
          },
          ("Cmn_BonjourAsyncHandler/Retry for " + id).c_str(), Cmn_Timer::eReschedule),
      mEventManager(eventManager) {}

Cmn_BonjourAsyncHandler::~Cmn_BonjourAsyncHandler() {
    Stop();
}

Cmn_BonjourError Cmn_BonjourAsyncHandler::Start() {
    Stop();
    Cmn_BonjourError error = kDNSServiceErr_ServiceNotRunning;
    if (IsDnsSdDaemonThere()) error = StartOperation(mRef);
    if (error.IsOK()) {
        mIsAllocated = true;
        if (CMN_VERIFY_AT(61, Start("Bonjour " + mID))) return error;
        Stop();
        error = kDNSServiceErr_Unknown;
    } else {
        if (error == kDNSServiceErr_ServiceNotRunning) NoteDnsSdDaemonGone();
        Cmn_Trace("Bonjour: %s returned error %s (%d).\n", mID.c_str(), error.ToString().c_str(),
                  error.GetErrorCode());
    }
    if (MayPass(error, mIsTiedToInterface)) mRetryTimer.Schedule();
    OnError(error);
    return error;
}

bool Cmn_BonjourAsyncHandler::Start(const std::string& name) {
    if (!CMN_VERIFY_AT(68, !mRegistered)) return false;
    const dnssd_sock_t dns_sd_fd = DNSServiceRefSockFD(mRef);
    if (!CMN_VERIFY_AT(72, dns_sd_fd != -1)) return false;
    mRecvReady = ::WSACreateEvent();
    if (!CMN_VERIFY_AT(77, mRecvReady != WSA_INVALID_EVENT)) return false;
    if (!Select()) return false;
    mRegistered = mEventManager.RegisterHandler(this, name.c_str());
    return mRegistered;
}

// The event is set from now on when there is data, at once if there is some. The end of the connection is not in the mask: it
// is found by the next call, or by Probe.
bool Cmn_BonjourAsyncHandler::Select() {
    const SOCKET socket = SocketOf(mRef);
    return CMN_VERIFY_AT(79, WSAEventSelect(socket, mRecvReady, FD_READ) == 0);
}

// The socket is as the library has made it again: it blocks. Not every library can go on later with a message of which a part
// has arrived. The platform makes a socket block only while no event is selected for it.
void Cmn_BonjourAsyncHandler::Unselect() {
    const SOCKET socket = SocketOf(mRef);
    u_long isNonBlocking = 0;
    ::WSAEventSelect(socket, nullptr, 0);
    ::WSAResetEvent(mRecvReady);  // for what is read now; Select sets it for what is left
    ::ioctlsocket(socket, static_cast<long>(FIONBIO), &isNonBlocking);
}

void Cmn_BonjourAsyncHandler::Stop() {
    if (mCall) std::exchange(mCall, nullptr)->isOver = true;
    mResultError = kDNSServiceErr_NoError;
    mRetryTimer.AbortIfRunning();
    if (std::exchange(mRegistered, false)) mEventManager.UnregisterHandler(this);
    if (std::exchange(mIsAllocated, false)) DNSServiceRefDeallocate(mRef);
    mRef = nullptr;
    if (mRecvReady != WSA_INVALID_EVENT) CMN_VERIFY_AT(136, WSACloseEvent(mRecvReady));
    mRecvReady = WSA_INVALID_EVENT;
}

void Cmn_BonjourAsyncHandler::RespondToEvent() {
    Guarded([this] { Respond(); });
}

void Cmn_BonjourAsyncHandler::TraceException(const std::exception* exception) {
    if (exception) {
        Cmn_Trace("Bonjour: got std::exception in RespondToEvent. what() is \"%s\".\n", exception->what());
    } else {
        Cmn_Trace("Bonjour: got unknown exception in RespondToEvent.\n");
    }
}

void Cmn_BonjourAsyncHandler::Respond() {
    ResetEvent();
    // The library's ProcessResult cannot be called inside itself, and waits where there is nothing to read.
    if (mCall || Peek(SocketOf(mRef)) == Input::kNone) return;
    Call call;
    DNSServiceErrorType error = ProcessResult(call);
    if (call.isOver) return;
    if (error == kDNSServiceErr_NoError) error = std::exchange(mResultError, kDNSServiceErr_NoError);
    if (error == kDNSServiceErr_NoError && !Select()) error = kDNSServiceErr_Unknown;
    if (error != kDNSServiceErr_NoError) HandleError(error);
}

// Also lets the platform set the event again.
void Cmn_BonjourAsyncHandler::ResetEvent() {
    WSANETWORKEVENTS events;
    if (::WSAEnumNetworkEvents(SocketOf(mRef), mRecvReady, &events) == 0) return;
    const int error = ::WSAGetLastError();
    Cmn_Trace("WSAEnumNetworkEvents failed with WSA error %d\n", error);
    CMN_VERIFY_AT(103, false);
    ::WSAResetEvent(mRecvReady);  // or the loop would come here for ever
}

DNSServiceErrorType Cmn_BonjourAsyncHandler::ProcessResult(Call& call) {
    Unselect();
    mCall = &call;
    DNSServiceErrorType error = kDNSServiceErr_Unknown;
    Guarded([&] { error = DNSServiceProcessResult(mRef); });
    if (!call.isOver) mCall = nullptr;
    return error;
}

void Cmn_BonjourAsyncHandler::HandleError(const Cmn_BonjourError& error) {
    Cmn_Trace("Bonjour: %s callback got error, forwarding....\n", mID.c_str());
    Cmn_Trace("Bonjour: %s failed: %s (%d)!\n", mID.c_str(), error.ToString().c_str(), error.GetErrorCode());
    CMN_VERIFY_AT(151, false);
    if (error == kDNSServiceErr_ServiceNotRunning) NoteDnsSdDaemonGone();
    Stop();
    mRetryTimer.Schedule();
    OnError(error);
}

void Cmn_BonjourAsyncHandler::Probe() {
    if (!mRegistered || mCall) return;
    // What has arrived is read when the loop comes to it, and the end is found then.
    if (::WaitForSingleObject(mRecvReady, 0) == WAIT_OBJECT_0) return;
    // Looking makes the platform set the event once more when there is data, which is harmless.
    if (Peek(SocketOf(mRef)) == Input::kEnd) HandleError(kDNSServiceErr_ServiceNotRunning);
}

void Cmn_BonjourAsyncHandler::ProbeRegularly() {
    mProbeTimer = std::make_unique<Cmn_PeriodicTimer>([this] { Guarded([this] { OnProbeTimer(); }); },
                                                      ("Bonjour probe for " + mID).c_str());
    mProbeTimer->Start(kRetryMilliseconds);
}

}  // namespace NorvikLibInternal
