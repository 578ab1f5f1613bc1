#include "tools/norvik/Messages.h"

#include <charconv>

#include "tools/norvik/Verb.h"

namespace NorvikTool {

std::string Printable(std::string_view text) {
    constexpr char cDigits[] = "0123456789ABCDEF";
    std::string printable;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F && byte != '\\') {
            printable += c;
        } else {
            printable += {'\\', 'x', cDigits[byte >> 4], cDigits[byte & 15]};
        }
    }
    return printable;
}

std::string MessageText(const void* data, std::size_t size) {
    return std::to_string(size) + " " + Printable({static_cast<const char*>(data), size});
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
