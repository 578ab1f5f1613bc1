#pragma once

// Cmn_IPv4Address: an IPv4 address.
//
//   const Cmn_IPv4Address console("192.168.1.20");
//   if (!console.IsValid()) return false;
//   Cmn_Trace("Console at %s.\n", console.ToString().c_str());
//
// Threads:   any; a plain value of one word
// Ownership: none
// Errors:    text that is no address gives the invalid address. That is 255.255.255.255, on purpose: the broadcast address
//            calls itself invalid, and who sends to it does not ask.
// Units:     words are in network byte order, as the platform's in_addr has them: 127.0.0.1 is 0x0100007F

#include <cstdint>
#include <cstring>
#include <functional>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

struct in_addr;

class NORVIK_API Cmn_IPv4Address {
public:
    // Invalid.
    Cmn_IPv4Address() : Cmn_IPv4Address(cInvalid) {}
    Cmn_IPv4Address(unsigned int inNetworkOrder) { std::memcpy(mBytes, &inNetworkOrder, sizeof mBytes); }
    Cmn_IPv4Address(const in_addr& inAddress) {
        std::memcpy(mBytes, reinterpret_cast<const char*>(&inAddress), sizeof mBytes);
    }
    // What the platform's inet_addr takes: "10.0.0.2", but also "10.2", "0x7f.1" and "010.0.0.1" (8.0.0.1); what comes
    // behind a blank is ignored.
    Cmn_IPv4Address(const Cmn_String& inText);

    static Cmn_IPv4Address GetAddrAny() { return {0}; }
    static Cmn_IPv4Address GetBroadcastAddr() { return {cInvalid}; }

    bool IsValid() const { return ToUInt32() != cInvalid; }

    // "10.0.0.2"
    Cmn_String ToString() const;
    // The word itself, for calls of the platform; good as long as this object.
    const in_addr& ToInAddr() const;
    unsigned int ToUInt32() const {
        unsigned int word;
        std::memcpy(&word, mBytes, sizeof word);
        return word;
    }

    friend bool operator==(const Cmn_IPv4Address& a, const Cmn_IPv4Address& b) {
        return a.ToUInt32() == b.ToUInt32();
    }
    // Compares the words as this machine's numbers, so the last octet decides first: some strict order for containers, not
    // that of the dotted form.
    friend bool operator<(const Cmn_IPv4Address& a, const Cmn_IPv4Address& b) {
        return a.ToUInt32() < b.ToUInt32();
    }

private:
    static constexpr unsigned int cInvalid = 0xFFFFFFFF;

    // Bytes, because those may be looked at as an in_addr; a number of our own may not.
    alignas(std::uint32_t) unsigned char mBytes[4];
};

template <>
struct std::hash<Cmn_IPv4Address> {
    std::size_t operator()(const Cmn_IPv4Address& address) const noexcept {
        // Neighbours in a network differ in the highest byte only, which a table by low bits would not see.
        return static_cast<std::size_t>(address.ToUInt32() * 0x9E3779B97F4A7C15ULL >> 32);
    }
};
