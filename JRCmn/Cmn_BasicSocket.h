#pragma once

// Cmn_BasicSocket: an overlapped socket on the default event manager. What is received is handed to a function on the
// loop; up to 256 sends may be under way. It opens nothing itself: a derived class does (Cmn_DatagramSocket).
//
//   Cmn_DatagramSocket log([&](const char* data, size_t size) { Write(data, size); return true; }, [] {});
//   if (log.Open() == 0 && log.Bind(Cmn_IPv4Address::GetAddrAny(), 514) == 0) log.StartReading();
//
// Threads:   the thread of the default event manager only, where both functions run
// Ownership: owns socket and buffers; copies what it sends. What is under way is cancelled and over before Close, DoClose or
//            the destructor returns, so a buffer never goes while the platform writes to it. Both functions may close or
//            destroy the object. A derived class whose members the platform writes to calls DoClose in its own destructor.
// Errors:    codes of Winsock, or false, as each method says; all are traced. A receive that fails closes the socket.
// Units:     milliseconds, bytes; ports in the machine's byte order
//
// Reading takes all that is there before it returns to the loop: a peer that sends faster than the function works holds the
// loop for as long as it does so. The function ends that by returning false.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/IF_EventHandler.h"

class NORVIK_API Cmn_BasicSocket : protected IF_EventHandler {
public:
    static constexpr unsigned int cMaxNumberPendingSends = 256;
    static constexpr std::size_t cBufferSize = 65536;

    // The data function gets each datagram, readable until it closes the socket, starts reading or returns; false stops
    // reading until the next StartReading. The closed function is called by Close and when receiving fails, not by the
    // destructor.
    Cmn_BasicSocket(std::function<bool(const char*, size_t)> onData, std::function<void()> onClosed);
    ~Cmn_BasicSocket() override;
    Cmn_BasicSocket(const Cmn_BasicSocket&) = delete;
    Cmn_BasicSocket& operator=(const Cmn_BasicSocket&) = delete;

    bool IsOpen() const;
    // 0, an error of Winsock, or -1 without a socket or with an invalid address. Port 0 lets the system choose:
    // GetBindPort tells.
    int Bind(const Cmn_IPv4Address& inAddress, unsigned short inPort);
    // Nothing when it is closed already.
    void Close();

    // Returns when nothing more is there; from then on the event manager calls. Nothing when it reads already, also inside
    // the data function, which returns true to go on.
    void StartReading();
    // False without a socket, for more than cBufferSize bytes, when the platform refuses, and when an earlier send is not
    // over within the time-out, as long as it is not. Blocks only while all 256 sends are under way:
    // until the oldest is over or its time-out has run out. An empty datagram is sent as one.
    bool Send(const void* inData, std::size_t inNumberBytes);

    // 15,000 at first. Counts from each send.
    void SetSendTimeout(unsigned int inMS);
    unsigned int GetSendTimeout() const;

    Cmn_IPv4Address GetBindAddress() const;
    unsigned short GetBindPort() const;
    Cmn_IPv4Address GetConnectedAddress() const;  // invalid while not connected
    unsigned short GetConnectedPort() const;

protected:
    // For the derived class: takes over the socket (a SOCKET made for overlapped use) and registers with the event manager.
    // False, reported, and the socket is closed, when there is no manager or it is full.
    bool DidOpen(std::uintptr_t inSocket);
    void DidConnect(const Cmn_IPv4Address& inAddress, unsigned short inPort);
    std::uintptr_t GetSocket() const;

    // Closes without a call of the closed function.
    void DoClose();
    // Calls the data function; false without one.
    bool HandleRead(const char* inData, std::size_t inSize);

    void* GetEventToWaitOn() override;
    void RespondToEvent() override;

    // Issues one overlapped receive (ioOverlapped is an OVERLAPPED*) into the buffer. 0 when it was over at once, else the
    // error of Winsock, which is 997 while it is under way.
    virtual int Receive(char* outBuffer, unsigned int inSize, void* ioOverlapped) = 0;

private:
    struct SendSlot;
    struct State;

    int IssueReceive(unsigned int& outSize);
    bool Deliver(unsigned int inSize);
    bool CompletePendingTransactions();

    // Shared with the calls that are running, which may outlive the object.
    const std::shared_ptr<State> mState;
};
