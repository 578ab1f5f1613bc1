#pragma once

// The seam of the overlapped sockets: those Winsock calls whose failures no test can provoke. A test replaces a single
// entry of the table and puts it back.
//
// Threads:   replaced before sockets are made
// Ownership: none
// Errors, units: as the platform calls

#include <atomic>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct SocketCalls {
    decltype(&::WSAStartup) startup = &::WSAStartup;
    decltype(&::WSACreateEvent) createEvent = &::WSACreateEvent;
    decltype(&::WSASend) send = &::WSASend;
    decltype(&::WSARecvFrom) receiveFrom = &::WSARecvFrom;
    decltype(&::WSAGetOverlappedResult) getResult = &::WSAGetOverlappedResult;
    decltype(&::CancelIo) cancel = &::CancelIo;
    decltype(&::shutdown) shutdown = &::shutdown;
    decltype(&::closesocket) close = &::closesocket;
};

NORVIK_API SocketCalls& GetSocketCalls();

// Starts Winsock 2.2 unless the flag says that it is started, and sets the flag.
NORVIK_API void InitWinsock(std::atomic<bool>& ioIsStarted);

}  // namespace NorvikLibInternal
