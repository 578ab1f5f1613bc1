// Numbers as they stand in settings files, against a reader digit by digit.

#include <limits>

#include "JRCmn/Cmn_String.h"
#include "fuzz/FuzzTarget.h"

namespace {

struct Reading {
    bool isNegative = false;
    bool isTooLarge = false;
    std::uint64_t amount = 0;  // of the digits that fit
};

int Digit(char c) {
    const std::size_t at = std::string_view("0123456789abcdef0123456789ABCDEF").find(c);
    return at == std::string_view::npos ? 99 : static_cast<int>(at % 16);
}

Reading Read(std::string_view text, unsigned base) {
    Reading reading;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    reading.isNegative = text.starts_with('-');
    if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
    if (base == 16 && text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x' && Digit(text[2]) < 16)
        text.remove_prefix(2);
    for (; !text.empty() && Digit(text[0]) < static_cast<int>(base); text.remove_prefix(1)) {
        const auto digit = static_cast<unsigned>(Digit(text[0]));
        if (reading.amount > (UINT64_MAX - digit) / base) reading.isTooLarge = true;
        reading.amount = reading.amount * base + digit;
    }
    return reading;
}

std::uint64_t Unsigned(const std::string& text) {
    const bool isHexadecimal = text.starts_with("0x");
    const Reading read = Read(std::string_view(text).substr(isHexadecimal ? 2 : 0), isHexadecimal ? 16 : 10);
    if (read.isTooLarge) return UINT64_MAX;
    return read.isNegative ? 0 - read.amount : read.amount;
}

std::int64_t Signed(const std::string& text) {
    const Reading read = Read(text, 10);
    constexpr auto kMost = std::uint64_t{INT64_MAX};
    if (read.isNegative)
        return read.isTooLarge || read.amount > kMost ? INT64_MIN : -static_cast<std::int64_t>(read.amount);
    return read.isTooLarge || read.amount > kMost ? INT64_MAX : static_cast<std::int64_t>(read.amount);
}

}  // namespace

FUZZ_TARGET(SettingNumbers) {
    while (!input.IsEmpty()) {
        const std::string text =
            input.Below(4) ? input.Text(24, "0123456789990xabF+- \tg.") : input.Bytes(24).c_str();
        SAME(Cmn_String::AsUInt64(text.c_str()), Unsigned(text));
        SAME(Cmn_String::AsInt64(text.c_str()), Signed(text));
        const std::uint64_t number = std::uint64_t{input.Below(0)} << 32 | input.Below(0);
        SAME(Cmn_String::AsUInt64(std::to_string(number).c_str()), number);
    }
}
