#include "standins/dnssd/Names.h"

#include <algorithm>
#include <charconv>

namespace DnsSdStandin {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The character behind a backslash, which goes out of the text.
std::optional<char> TakeEscaped(std::string_view& text) {
    if (text.empty()) return std::nullopt;
    if (!IsDigit(text[0])) {
        const char c = text[0];
        text.remove_prefix(1);
        return c;
    }
    if (text.size() < 3 || !IsDigit(text[1]) || !IsDigit(text[2])) return std::nullopt;
    const int value = (text[0] - '0') * 100 + (text[1] - '0') * 10 + (text[2] - '0');
    if (value > 255) return std::nullopt;
    text.remove_prefix(3);
    return static_cast<char>(value);
}

}  // namespace

std::string EscapedLabel(std::string_view label) {
    std::string text;
    for (const char c : label) {
        const auto byte = static_cast<uint8_t>(c);
        if (c == '.' || c == '\\') text += '\\';
        if (byte <= ' ' || byte == 0x7F) {
            const char escape[] = {'\\', static_cast<char>('0' + byte / 100),
                                   static_cast<char>('0' + byte / 10 % 10),
                                   static_cast<char>('0' + byte % 10)};
            text.append(escape, sizeof escape);
        } else {
            text += c;
        }
    }
    return text;
}

std::optional<std::string> TakeLabel(std::string_view& name) {
    std::string label;
    while (!name.empty()) {
        const char c = name[0];
        name.remove_prefix(1);
        if (c == '.') break;
        if (c != '\\') {
            label += c;
            continue;
        }
        const std::optional<char> escaped = TakeEscaped(name);
        if (!escaped) return std::nullopt;
        label += *escaped;
    }
    return label;
}

std::string Folded(std::string_view name) {
    std::string folded(name);
    for (char& c : folded)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return folded;
}

std::optional<std::string> ServiceType(std::string_view text) {
    constexpr size_t kMaxProgram = 15;
    if (text.ends_with('.')) text.remove_suffix(1);
    const size_t dot = text.find('.');
    if (dot == std::string_view::npos || dot < 2 || dot > kMaxProgram + 1 || text[0] != '_') return {};
    for (const char c : text.substr(1, dot - 1))
        if (!IsLetter(c) && !IsDigit(c) && c != '-') return {};
    const std::string protocol = Folded(text.substr(dot + 1));
    if (protocol != "_tcp" && protocol != "_udp") return {};
    return std::string(text);
}

bool IsLocalDomain(std::string_view text) {
    return text.empty() || Folded(HostName(text)) == kLocalDomain;
}

std::string HostName(std::string_view text) {
    std::string name(text);
    if (!name.ends_with('.')) name += '.';
    return name;
}

std::string CutToLabel(std::string_view name, size_t limit) {
    if (name.size() <= limit) return std::string(name);
    // A character goes on with bytes 10xxxxxx, at most three of them; bytes that are no UTF-8 are cut where they are.
    size_t size = limit;
    while (limit - size < 3 && size > 0 && (static_cast<uint8_t>(name[size]) & 0xC0) == 0x80)
        --size;
    return std::string(name.substr(0, size));
}

std::string NextName(std::string_view name) {
    unsigned number = 1;
    const size_t open = name.rfind(" (");
    if (open != std::string_view::npos && name.ends_with(')')) {
        const char* const first = name.data() + open + 2;
        const char* const last = name.data() + name.size() - 1;
        unsigned found = 0;
        const auto [end, error] = std::from_chars(first, last, found);
        if (error == std::errc() && end == last && found > 1 && found < 1'000'000) {
            number = found;
            name = name.substr(0, open);
        }
    }
    const std::string suffix = " (" + std::to_string(number + 1) + ")";
    return CutToLabel(name, kMaxLabel - suffix.size()) + suffix;
}

bool IsTxtRecord(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > UINT16_MAX) return false;
    while (!bytes.empty()) {
        const size_t item = 1 + static_cast<uint8_t>(bytes[0]);
        if (item > bytes.size()) return false;
        bytes.remove_prefix(item);
    }
    return true;
}

std::string ToHex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        text += kDigits[static_cast<uint8_t>(c) >> 4];
        text += kDigits[static_cast<uint8_t>(c) & 15];
    }
    return text;
}

std::optional<std::string> FromHex(std::string_view text) {
    if (text.size() % 2 != 0) return {};
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        uint8_t byte = 0;
        const auto [end, error] = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
        if (error != std::errc() || end != text.data() + i + 2) return {};
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

}  // namespace DnsSdStandin
