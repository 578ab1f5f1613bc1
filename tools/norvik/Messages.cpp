#include "tools/norvik/Messages.h"

#include <charconv>

#include "tools/norvik/Verb.h"

namespace NorvikTool {

std::string MessageText(const void* data, std::size_t size) {
    constexpr char cDigits[] = "0123456789ABCDEF";
    std::string text = std::to_string(size) + " ";
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned char byte = static_cast<const unsigned char*>(data)[i];
        if (byte < 0x20 || byte == 0x7F || byte == '\\') {
            text += "\\x";
            text += cDigits[byte >> 4];
            text += cDigits[byte & 15];
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

std::uint16_t ParsePort(const std::string& text, std::uint16_t minimum) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || port < minimum)
        throw UsageError("a port is a number from " + std::to_string(minimum) + " to 65535, not '" + text +
                         "'");
    return port;
}

}  // namespace NorvikTool
