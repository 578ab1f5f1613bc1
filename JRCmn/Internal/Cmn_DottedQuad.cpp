#include "JRCmn/Internal/Cmn_DottedQuad.h"

#include <cstring>

namespace NorvikLibInternal {
namespace {

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The value of a digit, or something larger than every base.
unsigned Digit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 99;
}

// One part, from `at` on, which is left behind it. False when there is none or it has more than 32 bits.
bool ReadPart(const char*& at, std::uint32_t& outValue) {
    unsigned base = 10;
    if (*at == '0') {
        const bool isHexadecimal = (at[1] | 0x20) == 'x';
        base = isHexadecimal ? 16 : 8;
        if (isHexadecimal) at += 2;
    }
    if (Digit(*at) >= base) return false;
    std::uint64_t value = 0;
    for (unsigned digit; (digit = Digit(*at)) < base; ++at) {
        value = value * base + digit;
        if (value > 0xFFFFFFFF) return false;
    }
    outValue = static_cast<std::uint32_t>(value);
    return true;
}

std::uint32_t ToNetworkOrder(std::uint32_t value) {
    const unsigned char octets[4] = {
        static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
        static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
    std::uint32_t word;
    std::memcpy(&word, octets, sizeof word);
    return word;
}

}  // namespace

std::uint32_t ParseDottedQuad(const char* text) {
    // The platform takes this one text for 0.0.0.0.
    if (text[0] == ' ' && text[1] == '\0') return 0;
    std::uint32_t address = 0;
    const char* at = text;
    for (unsigned part = 0; part < 4; ++part) {
        std::uint32_t value = 0;
        if (!ReadPart(at, value)) return kNoDottedQuad;
        if (*at == '.') {
            if (value > 0xFF) return kNoDottedQuad;
            address |= value << (24 - 8 * part);
            ++at;
            continue;
        }
        if ((*at != '\0' && !IsBlank(*at)) || value > 0xFFFFFFFF >> (8 * part)) return kNoDottedQuad;
        return ToNetworkOrder(address | value);
    }
    return kNoDottedQuad;
}

std::size_t PrintDottedQuad(std::uint32_t address, char (&out)[kDottedQuadSize]) {
    unsigned char octets[4];
    std::memcpy(octets, &address, sizeof octets);
    char* at = out;
    for (const unsigned octet : octets) {
        if (octet >= 100) *at++ = static_cast<char>('0' + octet / 100);
        if (octet >= 10) *at++ = static_cast<char>('0' + octet / 10 % 10);
        *at++ = static_cast<char>('0' + octet % 10);
        *at++ = '.';
    }
    *--at = '\0';
    return static_cast<std::size_t>(at - out);
}

}  // namespace NorvikLibInternal
