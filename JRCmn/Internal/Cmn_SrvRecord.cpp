#include "JRCmn/Internal/Cmn_SrvRecord.h"

#include <algorithm>

namespace NorvikLibInternal {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Takes the first character off an escaped name: itself, "\." or "\046".
char TakeCharacter(std::string_view& name) {
    std::size_t size = 1;
    char character = name[0];
    if (character == '\\' && name.size() >= 4 && std::all_of(name.begin() + 1, name.begin() + 4, &IsDigit)) {
        size = 4;
        character = static_cast<char>((name[1] - '0') * 100 + (name[2] - '0') * 10 + (name[3] - '0'));
    } else if (character == '\\' && name.size() >= 2) {
        size = 2;
        character = name[1];
    }
    name.remove_prefix(size);
    return character;
}

// As a label stands in an escaped name, without the dot.
void AppendEscaped(std::string_view label, std::string& name) {
    for (const char c : label) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '.' || c == '\\') name += '\\';
        if (byte > ' ' && byte != 0x7F) {
            name += c;
            continue;
        }
        name += '\\';
        for (const int digit : {byte / 100, byte / 10 % 10, byte % 10})
            name += static_cast<char>('0' + digit);
    }
}

constexpr std::size_t kHost = 6;  // where the name begins
constexpr std::size_t kMaxLabel = 63, kMaxName = 255;

}  // namespace

std::string SrvRecordData(unsigned short port, const std::string& hostName) {
    std::string data{0, 0, 0, 0, static_cast<char>(port >> 8), static_cast<char>(port & 0xFF)};
    std::string label;
    for (std::string_view rest = hostName; !rest.empty();) {
        const bool isDot = rest.front() == '.';
        const char character = TakeCharacter(rest);
        if (!isDot) label += character;
        if (!isDot && !rest.empty()) continue;
        if (label.empty() || label.size() > kMaxLabel) return {};
        data += static_cast<char>(label.size());
        data += label;
        label.clear();
    }
    data += '\0';
    return data.size() - kHost > kMaxName ? std::string() : data;
}

std::optional<SrvRecord> ParseSrvRecordData(std::string_view data) {
    if (data.size() <= kHost || data.size() - kHost > kMaxName) return std::nullopt;
    const auto Byte = [&](std::size_t at) { return static_cast<unsigned char>(data[at]); };
    SrvRecord record;
    record.port = static_cast<unsigned short>(Byte(4) << 8 | Byte(5));
    std::size_t at = kHost;
    while (Byte(at) != 0) {
        const std::size_t size = Byte(at);
        if (size > kMaxLabel || size + 1 >= data.size() - at) return std::nullopt;
        AppendEscaped(data.substr(at + 1, size), record.host);
        record.host += '.';
        at += size + 1;
    }
    if (at + 1 != data.size()) return std::nullopt;
    return record;
}

}  // namespace NorvikLibInternal
