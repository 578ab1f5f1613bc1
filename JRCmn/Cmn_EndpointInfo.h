#pragma once

// Cmn_EndpointInfo: an IPv4 address and a port.
//
//   const Cmn_EndpointInfo peer(Cmn_IPv4Address("192.168.1.20"), 5000);
//   Cmn_Trace("Connecting to %s.\n", peer.GetAsString().c_str());      // 192.168.1.20:5000
//
// Threads:   any; a plain value
// Ownership: none
// Errors:    IsValid tells whether both parts are given
// Units:     the port is in the machine's byte order

#include "JRCmn/Cmn_IPv4Address.h"

class NORVIK_API Cmn_EndpointInfo {
public:
    // Invalid address, port 0.
    Cmn_EndpointInfo() = default;
    Cmn_EndpointInfo(const Cmn_IPv4Address& inAddress, unsigned short inPort)
        : mAddress(inAddress), mPort(inPort) {}

    const Cmn_IPv4Address& GetAddress() const { return mAddress; }
    unsigned short GetPort() const { return mPort; }
    bool IsValid() const { return mAddress.IsValid() && mPort != 0; }
    // "10.1.2.3:80"
    Cmn_String GetAsString() const;

    friend bool operator==(const Cmn_EndpointInfo&, const Cmn_EndpointInfo&) = default;
    // By address, then port.
    friend bool operator<(const Cmn_EndpointInfo& a, const Cmn_EndpointInfo& b) {
        return a.mAddress == b.mAddress ? a.mPort < b.mPort : a.mAddress < b.mAddress;
    }

private:
    Cmn_IPv4Address mAddress;
    unsigned short mPort = 0;
};

template <>
struct std::hash<Cmn_EndpointInfo> {
    std::size_t operator()(const Cmn_EndpointInfo& endpoint) const noexcept {
        return std::hash<Cmn_IPv4Address>()(endpoint.GetAddress()) * 31 + endpoint.GetPort();
    }
};
