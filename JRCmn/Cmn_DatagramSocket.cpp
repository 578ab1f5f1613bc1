#include "JRCmn/Cmn_DatagramSocket.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_SocketCalls.h"

using namespace NorvikLibInternal;

namespace {

// SIO_UDP_CONNRESET and SIO_UDP_NETRESET, which not every header has: with them on, one packet of a stranger ends receiving.
constexpr DWORD kReportClosedPorts = 0x9800000C, kReportExpired = 0x9800000F;

sockaddr_in ToName(const Cmn_IPv4Address& address, unsigned short port) {
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr = address.ToInAddr();
    name.sin_port = ::htons(port);
    return name;
}

}  // namespace

Cmn_DatagramSocket::~Cmn_DatagramSocket() {
    DoClose();
}

int Cmn_DatagramSocket::Open() {
    if (!CMN_VERIFY(!IsOpen())) return -1;
    const SOCKET socket = ::WSASocketW(AF_INET, SOCK_DGRAM, IPPROTO_UDP, nullptr, 0,
                                       WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (socket == INVALID_SOCKET) {
        const int error = ::WSAGetLastError();
        Cmn_Trace("Cmn_DatagramSocket: WSASocketW failed with error %d\n", error);
        return error;
    }
    BOOL reports = FALSE;
    DWORD size = 0;
    if (::WSAIoctl(socket, kReportClosedPorts, &reports, sizeof reports, nullptr, 0, &size, nullptr,
                   nullptr) != 0)
        Cmn_Trace("Cmn_DatagramSocket: reports of closed ports stay on, error %d\n", ::WSAGetLastError());
    // Not every platform knows this one, and has such reports then.
    ::WSAIoctl(socket, kReportExpired, &reports, sizeof reports, nullptr, 0, &size, nullptr, nullptr);
    return DidOpen(socket) ? 0 : -1;
}

int Cmn_DatagramSocket::Connect(const Cmn_IPv4Address& inAddress, unsigned short inPort) {
    if (!IsOpen()) return -1;
    const sockaddr_in name = ToName(inAddress, inPort);
    if (::connect(GetSocket(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0) {
        const int error = ::WSAGetLastError();
        Cmn_Trace("Cmn_DatagramSocket: connect to %s:%d failed with error %d\n", inAddress.ToString().c_str(),
                  inPort, error);
        return error;
    }
    DidConnect(inAddress, inPort);
    return 0;
}

Cmn_EndpointInfo Cmn_DatagramSocket::GetSender() const {
    sockaddr_in name;
    static_assert(sizeof name == sizeof mSender);
    std::memcpy(&name, mSender, sizeof name);
    return name.sin_family == AF_INET ? Cmn_EndpointInfo(name.sin_addr, ::ntohs(name.sin_port))
                                      : Cmn_EndpointInfo();
}

int Cmn_DatagramSocket::Receive(char* outBuffer, unsigned int inSize, void* ioOverlapped) {
    WSABUF data = {inSize, outBuffer};
    DWORD flags = 0;
    mSenderSize = sizeof mSender;
    const int result = GetSocketCalls().receiveFrom(GetSocket(), &data, 1, nullptr, &flags,
                                                    reinterpret_cast<sockaddr*>(mSender), &mSenderSize,
                                                    static_cast<OVERLAPPED*>(ioOverlapped), nullptr);
    return result == 0 ? 0 : ::WSAGetLastError();
}
