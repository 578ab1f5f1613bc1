#pragma once

// Cmn_MACAddr: a 48-bit Ethernet address, its mapping to the 64-bit GUID of AVB entities, and who made the device.
//
//   const Cmn_MACAddr address = Cmn_MACAddr::GetFromString("00:1b:2f:aa:bb:cc");
//   if (address.GetVendor() != eNetworkDeviceVendor_Unknown) ...
//
// Threads:   any; a plain value of six bytes
// Ownership: none
// Errors:    text that is no address gives the invalid address, which is all zero
// Units:     bytes in the order of transmission: byte 0 is written first; bytes 0 to 2 are the OUI, the maker's number

#include <cstdint>
#include <functional>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

// Makers of network devices that the product line knows by their OUIs. The codes are stored: they stay.
enum ENetworkDeviceVendor : int {
    eNetworkDeviceVendor_Unknown = 0,
    eNetworkDeviceVendor_1 = 1,
    eNetworkDeviceVendor_2 = 2,
    eNetworkDeviceVendor_3 = 3,
    eNetworkDeviceVendor_4 = 4,
    eNetworkDeviceVendor_5 = 5,
    eNetworkDeviceVendor_6 = 6,
};

class NORVIK_API Cmn_MACAddr {
public:
    static constexpr unsigned int cMACAddressLength = 6;

    // Invalid.
    Cmn_MACAddr() = default;
    // Copies exactly as many bytes as it is told, which are six: more would be written past the address, and is reported.
    Cmn_MACAddr(const unsigned char* inBytes, unsigned int inCount);

    // Six pairs of hexadecimal digits with any one character between them. A text of another length is invalid; a pair
    // that is no number counts as far as strtoul reads it ("-1" is 0xFF, "g0" is 0).
    static Cmn_MACAddr GetFromString(const Cmn_String& inText);
    // Byte 0 is the lowest byte of the number; the two highest are ignored.
    static Cmn_MACAddr GetFromUInt64(unsigned long long inValue);
    // Leaves out the two bytes in the middle, whatever they are.
    static Cmn_MACAddr GetFromAVBGUID(const unsigned char inGUID[8]);
    // Puts FF FE (as the standard's EUI-64) or zeros in the middle.
    void PadToAVBGUID(unsigned char outGUID[8], bool inWithZeros) const;

    bool IsValid() const { return GetAsUInt64() != 0; }
    // Lower case, "00-1b-2f-aa-bb-cc" or "00:1b:2f:aa:bb:cc".
    Cmn_String GetAsString(bool inWithDashes) const;
    // The inverse of GetFromUInt64.
    unsigned long long GetAsUInt64() const {
        unsigned long long value = 0;
        for (unsigned i = 0; i < cMACAddressLength; ++i)
            value |= static_cast<unsigned long long>(mBytes[i]) << (8 * i);
        return value;
    }
    // The OUI as it is written: 0x001B2F.
    unsigned int GetVendorBytesAsUInt32() const {
        return static_cast<unsigned int>(mBytes[0]) << 16 | static_cast<unsigned int>(mBytes[1]) << 8 |
               mBytes[2];
    }
    const unsigned char* GetAsByteArray() const { return mBytes; }
    bool IsLocallyAdministered() const { return (mBytes[0] & 2) != 0; }
    bool IsMulticast() const { return (mBytes[0] & 1) != 0; }
    ENetworkDeviceVendor GetVendor() const;

    friend bool operator==(const Cmn_MACAddr&, const Cmn_MACAddr&) = default;
    // By GetAsUInt64, so the device part decides before the OUI.
    friend bool operator<(const Cmn_MACAddr& a, const Cmn_MACAddr& b) {
        return a.GetAsUInt64() < b.GetAsUInt64();
    }
    // The last two bytes count up; what they carry over is dropped, so that the result stays in the device's own range.
    Cmn_MACAddr operator+(unsigned char inNumber) const;

private:
    unsigned char mBytes[cMACAddressLength] = {};
};

template <>
struct std::hash<Cmn_MACAddr> {
    std::size_t operator()(const Cmn_MACAddr& address) const noexcept {
        // Devices of one maker differ in the high bytes of the number.
        const unsigned long long mixed = address.GetAsUInt64() * 0x9E3779B97F4A7C15ULL;
        return static_cast<std::size_t>(mixed ^ mixed >> 32);
    }
};
