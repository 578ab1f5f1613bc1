#pragma once

// Cmn_DatagramSocket: a UDP socket on the default event manager.
//
//   Cmn_DatagramSocket socket([&](const char* data, size_t size) { Answer(socket.GetSender(), data, size); return true; }, {});
//   if (socket.Open() == 0 && socket.Bind(Cmn_IPv4Address::GetAddrAny(), 514) == 0) socket.StartReading();
//
//   Cmn_DatagramSocket client(&OnAnswer, {});
//   if (client.Open() == 0 && client.Connect(server, 514) == 0) client.Send(text.c_str(), text.GetLength());
//
// Threads, Ownership: as Cmn_BasicSocket
// Errors:    codes of Winsock, traced. A peer whose port is closed does not end reading: the reports about it are switched off
//            (where the platform allows that), because they say nothing about the other peers.
// Units:     bytes: a datagram has at most 65,507; ports in the machine's byte order

#include "JRCmn/Cmn_BasicSocket.h"
#include "JRCmn/Cmn_EndpointInfo.h"

class NORVIK_API Cmn_DatagramSocket : public Cmn_BasicSocket {
public:
    using Cmn_BasicSocket::Cmn_BasicSocket;
    ~Cmn_DatagramSocket() override;

    // 0, an error of Winsock, or -1 when it is open or the event manager does not take it.
    int Open();
    // Whom Send sends to, and the only one whose datagrams arrive. Also binds an unbound socket, so that it can read. 0, an
    // error of Winsock, or -1 without a socket.
    int Connect(const Cmn_IPv4Address& inAddress, unsigned short inPort);

    // Inside the data function: where the datagram came from.
    Cmn_EndpointInfo GetSender() const;

protected:
    int Receive(char* outBuffer, unsigned int inSize, void* ioOverlapped) override;

private:
    // The platform writes both while a receive is under way.
    alignas(8) unsigned char mSender[16] = {};  // a sockaddr_in
    int mSenderSize = 0;
};
