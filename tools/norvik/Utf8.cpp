#include "tools/norvik/Utf8.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>

namespace NorvikTool {

std::string ToUtf8(std::string_view text) {
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    const bool fits = text.size() < 1u << 30;
    if (!fits || std::all_of(text.begin(), text.end(), isAscii)) return std::string(text);
    const int size = static_cast<int>(text.size());
    if (::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), size, nullptr, 0) > 0)
        return std::string(text);
    std::wstring wide(text.size(), L'\0');  // no code page gives more units than it has bytes
    const int units = ::MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), size);
    std::string utf8(static_cast<std::size_t>(units) * 3, '\0');
    utf8.resize(static_cast<std::size_t>(
        std::max(0, ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(),
                                          static_cast<int>(utf8.size()), nullptr, nullptr))));
    return units > 0 && !utf8.empty() ? utf8 : std::string(text);
}

}  // namespace NorvikTool
