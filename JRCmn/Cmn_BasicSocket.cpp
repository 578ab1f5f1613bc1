#include "JRCmn/Cmn_BasicSocket.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/IF_EventManager.h"
#include "JRCmn/Internal/Cmn_SocketCalls.h"

using namespace NorvikLibInternal;

namespace {

constexpr unsigned kDefaultSendTimeout = 15'000;
constexpr WORD kVersion = MAKEWORD(2, 2);

std::atomic<bool> sWSAInited{false};

// The buffer belongs to the platform until it says that it is done.
void AwaitOver(const OVERLAPPED& overlapped) {
    while (!HasOverlappedIoCompleted(&overlapped))
        ::WaitForSingleObject(overlapped.hEvent, 10);
}

}  // namespace

namespace NorvikLibInternal {

SocketCalls& GetSocketCalls() {
    static SocketCalls calls;
    return calls;
}

void InitWinsock(std::atomic<bool>& ioIsStarted) {
    if (ioIsStarted) return;
    WSADATA data = {};
    const int result = GetSocketCalls().startup(kVersion, &data);
    if (result != 0) {
        Cmn_Trace("Cmn_BasicSocket: WSAStartup returned %d\n", result);
        return;
    }
    ioIsStarted = data.wVersion == kVersion;
    if (ioIsStarted) return;
    Cmn_Trace("Cmn_BasicSocket: WSAStartup was unable to provide a version requested (got %d:%d)\n",
              LOBYTE(data.wVersion), HIBYTE(data.wVersion));
    ::WSACleanup();
    CMN_VERIFY(false);
}

}  // namespace NorvikLibInternal

// A send under way, or a place for one.
struct Cmn_BasicSocket::SendSlot {
    SendSlot() {
        overlapped.hEvent = GetSocketCalls().createEvent();
        if (!overlapped.hEvent) VerifyFailed("mOverlapped.hEvent", CMN_SOURCE_FILE, 54);
    }
    ~SendSlot() {
        if (overlapped.hEvent) ::WSACloseEvent(overlapped.hEvent);
    }
    SendSlot(const SendSlot&) = delete;
    SendSlot& operator=(const SendSlot&) = delete;

    // Not by the size: an empty datagram is under way, too.
    bool IsUsed() const { return isUsed; }

    OVERLAPPED overlapped = {};
    std::vector<char> bytes;
    bool isUsed = false;
    uint64_t sentAt = 0;
};

struct Cmn_BasicSocket::State {
    State(std::function<bool(const char*, size_t)> data, std::function<void()> closed)
        : onData(std::move(data)), onClosed(std::move(closed)) {}

    const std::function<bool(const char*, size_t)> onData;
    const std::function<void()> onClosed;
    SOCKET socket = INVALID_SOCKET;
    OVERLAPPED receive = {};
    IPC_Event receiveEvent;
    bool isReceiving = false;   // a receive is under way
    bool isDelivering = false;  // the data function runs
    unsigned openings =
        0;  // counted by closing: whoever called a function sees that the socket is not the one it was
    unsigned sendTimeout = kDefaultSendTimeout;
    Cmn_IPv4Address bindAddress, connectedAddress;
    unsigned short bindPort = 0, connectedPort = 0;
    SendSlot slots[cMaxNumberPendingSends];
    unsigned nextSlot = 0;
    char buffer[cBufferSize];
};

Cmn_BasicSocket::Cmn_BasicSocket(std::function<bool(const char*, size_t)> onData,
                                 std::function<void()> onClosed)
    : mState(std::make_shared<State>(std::move(onData), std::move(onClosed))) {
    InitWinsock(sWSAInited);
}

Cmn_BasicSocket::~Cmn_BasicSocket() {
    DoClose();
}

// ---- Opening and closing -------------------------------------------------------------------------------------------

bool Cmn_BasicSocket::IsOpen() const {
    return mState->socket != INVALID_SOCKET;
}

std::uintptr_t Cmn_BasicSocket::GetSocket() const {
    return mState->socket;
}

bool Cmn_BasicSocket::DidOpen(std::uintptr_t inSocket) {
    IF_EventManager* const manager = gIF_EventManager;
    if (!CMN_VERIFY(!IsOpen()) || !CMN_VERIFY(gIF_EventManager) ||
        !manager->RegisterHandler(this, "Cmn_BasicSocket")) {
        GetSocketCalls().close(inSocket);
        return false;
    }
    mState->socket = inSocket;
    mState->bindAddress = {};
    mState->bindPort = 0;
    return true;
}

void Cmn_BasicSocket::DidConnect(const Cmn_IPv4Address& inAddress, unsigned short inPort) {
    mState->connectedAddress = inAddress;
    mState->connectedPort = inPort;
}

int Cmn_BasicSocket::Bind(const Cmn_IPv4Address& inAddress, unsigned short inPort) {
    if (!IsOpen() || !CMN_VERIFY(inAddress.IsValid())) return -1;
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr = inAddress.ToInAddr();
    name.sin_port = ::htons(inPort);
    int size = sizeof name;
    if (::bind(mState->socket, reinterpret_cast<const sockaddr*>(&name), size) != 0) {
        const int error = ::WSAGetLastError();
        Cmn_Trace("bind() for UDP socket failed (address %s:%d)\n", inAddress.ToString().c_str(), inPort);
        return error;
    }
    mState->bindAddress = inAddress;
    mState->bindPort = inPort;
    if (inPort == 0 && ::getsockname(mState->socket, reinterpret_cast<sockaddr*>(&name), &size) == 0)
        mState->bindPort = ::ntohs(name.sin_port);
    return 0;
}

void Cmn_BasicSocket::DoClose() {
    if (!IsOpen()) return;
    State& state = *mState;
    const SocketCalls& calls = GetSocketCalls();
    Cmn_Trace("Cmn_BasicSocket: connection ended.\n");
    if (!calls.cancel(reinterpret_cast<HANDLE>(state.socket)))
        VerifyFailed("CancelIo((HANDLE)mSocket)", CMN_SOURCE_FILE, 148);
    if (calls.shutdown(state.socket, SD_BOTH) != 0) {
        const int error = ::WSAGetLastError();
        if (error != WSAENOTCONN) {
            Cmn_Trace("Cmn_BasicSocket: shutdown failed with wsaError code %d\n", error);
            CMN_VERIFY_AT(157, false);
        }
    }
    if (calls.close(state.socket) != 0) {
        const int error = ::WSAGetLastError();
        if (error != WSAENOTCONN) {
            Cmn_Trace("Cmn_BasicSocket: closesocket failed with wsaError code %d\n", error);
            CMN_VERIFY_AT(167, false);
        }
    }
    state.socket = INVALID_SOCKET;
    ++state.openings;
    state.isDelivering = false;
    AwaitOver(state.receive);
    state.isReceiving = false;
    for (SendSlot& slot : state.slots) {
        if (!slot.IsUsed()) continue;
        AwaitOver(slot.overlapped);
        slot.isUsed = false;
    }
    state.connectedAddress = {};
    state.connectedPort = 0;
    state.receiveEvent.Reset();
    if (IF_EventManager* const manager = gIF_EventManager) manager->UnregisterHandler(this);
}

void Cmn_BasicSocket::Close() {
    if (!IsOpen()) return;
    // The function may destroy this object.
    const auto state = mState;
    DoClose();
    if (state->onClosed) state->onClosed();
}

// ---- Receiving -----------------------------------------------------------------------------------------------------

void* Cmn_BasicSocket::GetEventToWaitOn() {
    return mState->receiveEvent.GetHandle();
}

bool Cmn_BasicSocket::HandleRead(const char* inData, std::size_t inSize) {
    const auto state = mState;
    return state->onData && state->onData(inData, inSize);
}

// As Receive, with the number of bytes when it was over at once.
int Cmn_BasicSocket::IssueReceive(unsigned int& outSize) {
    State& state = *mState;
    state.receiveEvent.Reset();
    state.receive = {};
    state.receive.hEvent = state.receiveEvent.GetHandle();
    int error = Receive(state.buffer, cBufferSize, &state.receive);
    DWORD size = 0, flags = 0;
    if (error == 0 && !GetSocketCalls().getResult(state.socket, &state.receive, &size, FALSE, &flags)) {
        error = ::WSAGetLastError();
        if (error == WSA_IO_INCOMPLETE) error = WSA_IO_PENDING;
    } else if (error != 0 && error != WSA_IO_PENDING) {
        state.receive = {};  // a start that failed may leave it as if it were under way
    }
    state.isReceiving = error == WSA_IO_PENDING;
    outSize = size;
    return error;
}

// Hands over what was received. False when reading is to end; then the object may be gone.
bool Cmn_BasicSocket::Deliver(unsigned int inSize) {
    struct Scope {
        explicit Scope(State& s) : state(s), opening(s.openings) { state.isDelivering = true; }
        ~Scope() {
            if (IsSame()) state.isDelivering = false;
        }
        bool IsSame() const { return state.openings == opening; }
        State& state;
        const unsigned opening;
    };
    const auto state = mState;
    const Scope scope(*state);
    return HandleRead(state->buffer, inSize) && scope.IsSame();
}

void Cmn_BasicSocket::StartReading() {
    if (!IsOpen() || mState->isReceiving || mState->isDelivering) return;
    unsigned int size = 0;
    int error;
    while ((error = IssueReceive(size)) == 0) {
        mState->receiveEvent.Reset();
        if (!Deliver(size)) return;
    }
    if (error == WSA_IO_PENDING) return;
    Cmn_Trace("Cmn_BasicSocket: receive failed with error %d\n", error);
    if (error != WSAECONNRESET) CMN_VERIFY_AT(253, false);
    Close();
}

void Cmn_BasicSocket::RespondToEvent() {
    State& state = *mState;
    // Before the function: when it does not go on reading, nothing else would end the signal.
    state.receiveEvent.Reset();
    if (!IsOpen() || !state.isReceiving) return;
    DWORD size = 0, flags = 0;
    if (GetSocketCalls().getResult(state.socket, &state.receive, &size, FALSE, &flags)) {
        state.isReceiving = false;
        if (Deliver(size)) StartReading();
        return;
    }
    const int error = ::WSAGetLastError();
    if (error == WSA_IO_INCOMPLETE) return;  // the event was set by somebody else
    Cmn_Trace("Cmn_BasicSocket: Overlapped WSARecv failed with error %d\n", error);
    Close();
}

// ---- Sending -------------------------------------------------------------------------------------------------------

bool Cmn_BasicSocket::Send(const void* inData, std::size_t inNumberBytes) {
    if (!IsOpen() || !CMN_VERIFY(inNumberBytes <= cBufferSize)) return false;
    if (!CompletePendingTransactions()) return false;
    State& state = *mState;
    SendSlot& buffer = state.slots[state.nextSlot];
    if (!CMN_VERIFY_AT(316, !buffer.IsUsed())) return false;
    if (!buffer.overlapped.hEvent) {  // reported when it could not be made; the next one is tried next
        state.nextSlot = (state.nextSlot + 1) % cMaxNumberPendingSends;
        return false;
    }

    const auto* const bytes = static_cast<const char*>(inData);
    buffer.bytes.assign(bytes, bytes + inNumberBytes);
    buffer.overlapped.Internal = buffer.overlapped.InternalHigh = 0;
    ::WSAResetEvent(buffer.overlapped.hEvent);
    buffer.sentAt = Cmn_Time::GetInMilliseconds();
    buffer.isUsed = true;
    WSABUF data = {static_cast<ULONG>(inNumberBytes), buffer.bytes.data()};
    const int result = GetSocketCalls().send(state.socket, &data, 1, nullptr, 0, &buffer.overlapped, nullptr);
    const int error = result == 0 ? 0 : ::WSAGetLastError();
    state.nextSlot = (state.nextSlot + 1) % cMaxNumberPendingSends;
    if (error == 0 || error == WSA_IO_PENDING) return true;
    buffer.isUsed = false;  // it has not begun
    Cmn_Trace("Cmn_BasicSocket: WSASend failed with error %d\n", error);
    return false;
}

// Frees the slots of sends that are over. Only for the slot that is needed next is there a wait; it is the oldest when all
// are in use. The others are looked at: one that is not over after its time fails as well.
bool Cmn_BasicSocket::CompletePendingTransactions() {
    State& state = *mState;
    for (unsigned i = 0; i < cMaxNumberPendingSends; ++i) {
        SendSlot& slot = state.slots[(state.nextSlot + i) % cMaxNumberPendingSends];
        if (!slot.IsUsed()) continue;
        const uint64_t elapsed = Cmn_Time::GetInMilliseconds() - slot.sentAt;
        const DWORD timeLeft =
            elapsed < state.sendTimeout ? static_cast<DWORD>(state.sendTimeout - elapsed) : 0;
        const bool isNeeded = i == 0;
        if (!isNeeded && timeLeft > 0 && !HasOverlappedIoCompleted(&slot.overlapped)) continue;

        const DWORD waitResult = ::WaitForSingleObject(slot.overlapped.hEvent, timeLeft);
        if (waitResult != WAIT_OBJECT_0) {
            if (CMN_VERIFY_AT(379, waitResult == WAIT_TIMEOUT))
                Cmn_Trace("Cmn_BasicSocket: timeout sending data.\n");
            return false;
        }
        DWORD size = 0, flags = 0;
        const bool isDone =
            GetSocketCalls().getResult(state.socket, &slot.overlapped, &size, FALSE, &flags) != FALSE;
        const int error = isDone ? 0 : ::WSAGetLastError();
        if (error == WSA_IO_INCOMPLETE && timeLeft == 0) {
            Cmn_Trace("Cmn_BasicSocket: timeout sending data.\n");
            return false;
        }
        slot.isUsed = error == WSA_IO_INCOMPLETE;  // one that failed is over, too
        if (isDone) continue;
        if (error != WSAECONNRESET && error != WSAENOTCONN) {
            Cmn_Trace("Cmn_BasicSocket: WSAGetOverlappedResult failed with error %d\n", error);
            CMN_VERIFY_AT(400, false);
        }
        return false;
    }
    return true;
}

// ---- What it knows -------------------------------------------------------------------------------------------------

void Cmn_BasicSocket::SetSendTimeout(unsigned int inMS) {
    mState->sendTimeout = inMS;
}

unsigned int Cmn_BasicSocket::GetSendTimeout() const {
    return mState->sendTimeout;
}

Cmn_IPv4Address Cmn_BasicSocket::GetBindAddress() const {
    return mState->bindAddress;
}

unsigned short Cmn_BasicSocket::GetBindPort() const {
    return mState->bindPort;
}

Cmn_IPv4Address Cmn_BasicSocket::GetConnectedAddress() const {
    return mState->connectedAddress;
}

unsigned short Cmn_BasicSocket::GetConnectedPort() const {
    return mState->connectedPort;
}
