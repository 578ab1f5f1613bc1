#include "JRCmn/Cmn_MACAddr.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "JRCmn/Cmn_Assert.h"

static_assert(sizeof(Cmn_MACAddr) == 6 && std::is_trivially_copyable_v<Cmn_MACAddr>);

namespace {

// ---- OUIs ------------------------------------------------------------------------------------------------------

constexpr std::uint32_t kOUIsOfVendor2[] = {
    0x00095B, 0x000FB5, 0x00146C, 0x00184D, 0x001B2F, 0x001E2A, 0x001F33, 0x00223F, 0x0024B2, 0x0026F2,
    0x008EF2, 0x04A151, 0x08028E, 0x0836C9, 0x08BD43, 0x100C6B, 0x100D7F, 0x10DA43, 0x1459C0, 0x200CC8,
    0x204E7F, 0x20E52A, 0x288088, 0x289401, 0x28C68E, 0x2C3033, 0x2CB05D, 0x30469A, 0x3498B5, 0x3894ED,
    0x3C3786, 0x405D82, 0x4494FC, 0x44A56E, 0x4C60DE, 0x504A6E, 0x506A03, 0x54077D, 0x6CB0CE, 0x6CCDD6,
    0x744401, 0x78D294, 0x803773, 0x80CC9C, 0x841B5E, 0x8C3BAD, 0x941865, 0x94A67E, 0x9C3DCF, 0x9CC9EB,
    0x9CD36D, 0xA00460, 0xA021B7, 0xA040A0, 0xA06391, 0xA42B8C, 0xB03956, 0xB07FB9, 0xB0B98A, 0xBCA511,
    0xC03F0E, 0xC0FFD4, 0xC40415, 0xC43DC7, 0xC89E43, 0xCC40D0, 0xDCEF09, 0xE0469A, 0xE046EE, 0xE091F5,
    0xE0C250, 0xE4F4C6, 0xE8FCAF, 0xF87394,
};

// A hash table in the program's constant data: nothing is built at run time, so there is no first caller to wait for.
class VendorTable {
public:
    consteval VendorTable() {
        for (const std::uint32_t oui : kOUIsOfVendor2)
            Add(oui, eNetworkDeviceVendor_2);
        Add(0xD0699E, eNetworkDeviceVendor_1);
        Add(0xEC9ECD, eNetworkDeviceVendor_3);
        Add(0xA8A159, eNetworkDeviceVendor_4);
        Add(0x001395, eNetworkDeviceVendor_5);
        Add(0x00A07E, eNetworkDeviceVendor_6);
    }
    // Unknown when it is not there.
    ENetworkDeviceVendor Find(std::uint32_t oui) const {
        std::uint32_t place = FirstPlace(oui);
        while (mEntries[place].oui != oui && mEntries[place].vendor != eNetworkDeviceVendor_Unknown)
            place = (place + 1) % kSize;
        return mEntries[place].vendor;
    }

private:
    static constexpr std::uint32_t kSize = 256;  // so that a third is taken

    static constexpr std::uint32_t FirstPlace(std::uint32_t oui) { return oui * 0x9E3779B1U >> 24; }
    consteval void Add(std::uint32_t oui, ENetworkDeviceVendor vendor) {
        std::uint32_t place = FirstPlace(oui);
        while (mEntries[place].vendor != eNetworkDeviceVendor_Unknown)
            place = (place + 1) % kSize;
        mEntries[place] = {oui, vendor};
    }

    struct Entry {
        std::uint32_t oui = 0;
        ENetworkDeviceVendor vendor = eNetworkDeviceVendor_Unknown;
    };
    Entry mEntries[kSize] = {};
};
constexpr VendorTable kVendors;

// Vendor 1 has also a small block inside an OUI that many makers share: 00:50:C2:9C:9.
constexpr std::uint32_t kSharedOUI = 0x0050C2;
constexpr unsigned char kSharedByte3 = 0x9C;
constexpr unsigned char kSharedHalfByte4 = 0x9;

// ---- Hexadecimal -----------------------------------------------------------------------------------------------

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

unsigned char ReadPair(const char* pair) {
    const int high = HexDigit(pair[0]), low = HexDigit(pair[1]);
    if (high >= 0 && low >= 0) return static_cast<unsigned char>(high << 4 | low);
    const char text[] = {pair[0], pair[1], '\0'};
    return static_cast<unsigned char>(std::strtoul(text, nullptr, 16));
}

}  // namespace

Cmn_MACAddr::Cmn_MACAddr(const unsigned char* inBytes, unsigned int inCount) {
    CMN_VERIFY(inCount <= cMACAddressLength);
    std::memcpy(mBytes, inBytes, inCount);
}

Cmn_MACAddr Cmn_MACAddr::GetFromString(const Cmn_String& inText) {
    Cmn_MACAddr address;
    if (inText.GetLength() != 3 * cMACAddressLength - 1) return address;
    for (std::size_t i = 0; i < cMACAddressLength; ++i)
        address.mBytes[i] = ReadPair(inText.c_str() + 3 * i);
    return address;
}

Cmn_MACAddr Cmn_MACAddr::GetFromUInt64(unsigned long long inValue) {
    Cmn_MACAddr address;
    for (std::size_t i = 0; i < cMACAddressLength; ++i)
        address.mBytes[i] = static_cast<unsigned char>(inValue >> (8 * i));
    return address;
}

Cmn_MACAddr Cmn_MACAddr::GetFromAVBGUID(const unsigned char inGUID[8]) {
    Cmn_MACAddr address;
    std::memcpy(address.mBytes, inGUID, 3);
    std::memcpy(address.mBytes + 3, inGUID + 5, 3);
    return address;
}

void Cmn_MACAddr::PadToAVBGUID(unsigned char outGUID[8], bool inWithZeros) const {
    std::memcpy(outGUID, mBytes, 3);
    outGUID[3] = inWithZeros ? 0x00 : 0xFF;
    outGUID[4] = inWithZeros ? 0x00 : 0xFE;
    std::memcpy(outGUID + 5, mBytes + 3, 3);
}

Cmn_String Cmn_MACAddr::GetAsString(bool inWithDashes) const {
    constexpr char kDigits[] = "0123456789abcdef";
    char text[3 * cMACAddressLength];
    for (std::size_t i = 0; i < cMACAddressLength; ++i) {
        text[3 * i] = kDigits[mBytes[i] >> 4];
        text[3 * i + 1] = kDigits[mBytes[i] & 15];
        text[3 * i + 2] = inWithDashes ? '-' : ':';
    }
    return Cmn_String(std::string_view(text, sizeof text - 1));
}

ENetworkDeviceVendor Cmn_MACAddr::GetVendor() const {
    const std::uint32_t oui = GetVendorBytesAsUInt32();
    const ENetworkDeviceVendor vendor = kVendors.Find(oui);
    if (vendor != eNetworkDeviceVendor_Unknown) return vendor;
    const bool isInBlock =
        oui == kSharedOUI && mBytes[3] == kSharedByte3 && mBytes[4] >> 4 == kSharedHalfByte4;
    return isInBlock ? eNetworkDeviceVendor_1 : eNetworkDeviceVendor_Unknown;
}

Cmn_MACAddr Cmn_MACAddr::operator+(unsigned char inNumber) const {
    Cmn_MACAddr sum = *this;
    const unsigned number = (static_cast<unsigned>(mBytes[4]) << 8) + mBytes[5] + inNumber;
    sum.mBytes[4] = static_cast<unsigned char>(number >> 8);
    sum.mBytes[5] = static_cast<unsigned char>(number);
    return sum;
}
