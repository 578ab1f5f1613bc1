// Texts that are nearly addresses: IPv4 against the platform's reading, MAC against strtoul pair by pair.

#include <cstdlib>

#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/Cmn_MACAddr.h"
#include "fuzz/FuzzTarget.h"

#if defined(_WIN32)
#include "JRCmn/Internal/Cmn_Windows.h"
#else
#include <arpa/inet.h>
#endif

FUZZ_TARGET(Addresses) {
    static const std::string kPieces[] = {
        "0", "1", "8",  "9", "255", "256",  "0x", "x",    "f",     ".",     ".",        ".",         ".",
        ".", " ", "\t", "-", "07",  "0377", "a.", "0xff", "65535", "65536", "16777215", "4294967295"};
    while (!input.IsEmpty()) {
        std::string text;
        for (int count = input.Between(0, 9); count > 0; --count)
            text += input.Below(20) ? input.OneOf(kPieces) : input.Bytes(2).c_str();
        const Cmn_IPv4Address address{Cmn_String(text.c_str())};
        // Only Windows takes the one blank for an address.
        const unsigned expected = text == " " ? 0 : ::inet_addr(text.c_str());
        SAME(address.ToUInt32(), expected);
        SAME(address.ToString().View(), std::string(::inet_ntoa(in_addr(address.ToInAddr()))));
        SAME(Cmn_IPv4Address(address.ToString()).ToUInt32(), expected);

        std::string mac = input.Below(2) ? input.Bytes(18) : input.Text(18, "0123456789abcdefABCDEFx-+ :g");
        if (input.Below(4)) mac.resize(17, '7');
        const Cmn_MACAddr ours = Cmn_MACAddr::GetFromString(Cmn_String(std::string_view(mac)));
        unsigned char bytes[6] = {};
        for (std::size_t i = 0; mac.size() == 17 && i < 6; ++i)
            bytes[i] = static_cast<unsigned char>(std::strtoul(mac.substr(3 * i, 2).c_str(), nullptr, 16));
        SAME(std::string_view(reinterpret_cast<const char*>(ours.GetAsByteArray()), 6),
             std::string_view(reinterpret_cast<const char*>(bytes), 6));
        SAME(Cmn_MACAddr::GetFromString(ours.GetAsString(input.Below(2))).GetAsUInt64(), ours.GetAsUInt64());
    }
}
