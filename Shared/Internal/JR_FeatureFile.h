#pragma once

// How the file of feature toggles is read: a feature a line, its name, a colon, and its value. Pure.
//
//   ReadFeatureLines(file, [](const std::string& line) { const auto parts = SplitFeatureLine(line); ... });
//
// Threads:   none of its own
// Ownership: none
// Errors:    none: any bytes can be read. A line is cut after cLongestFeatureLine bytes and the rest of it dropped, so that
//            a file without line ends takes no memory.
// Units:     bytes

#include <istream>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

namespace NorvikLibInternal {

constexpr std::size_t cLongestFeatureLine = 1000;

// Calls with each line, without its end. A line end in the form of Windows is one, too, and a byte-order mark is none of
// the file's text.
template <typename OnLine>
void ReadFeatureLines(std::istream& file, OnLine onLine) {
    constexpr std::string_view cByteOrderMark = "\xEF\xBB\xBF";
    char bytes[cLongestFeatureLine + 1];
    for (bool isFirst = true;; isFirst = false) {
        file.getline(bytes, sizeof bytes);
        const bool isCut = file.fail() && !file.eof() && !file.bad();
        if (file.fail() && !isCut) return;
        // Counts the line end, unless the file's end or the buffer's came first.
        const auto size = static_cast<std::size_t>(file.gcount()) - (isCut || file.eof() ? 0 : 1);
        std::string_view line(bytes, size);
        if (isCut) {
            file.clear();
            file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        }
        if (isFirst && line.starts_with(cByteOrderMark)) line.remove_prefix(cByteOrderMark.size());
        if (line.ends_with('\r')) line.remove_suffix(1);
        onLine(std::string(line));
    }
}

struct FeatureLine {
    std::string_view name;
    std::string_view value;
};

// At the first colon; nothing when there is none.
inline std::optional<FeatureLine> SplitFeatureLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == line.npos) return std::nullopt;
    return FeatureLine{line.substr(0, colon), line.substr(colon + 1)};
}

// As a stream reads a boolean: a number, so that "true" is false. `isClear` tells whether it was a plain 0 or 1.
inline bool ReadFeatureValue(std::string_view text, bool& isClear) {
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    bool value = false;
    isClear = static_cast<bool>(stream >> value) && (stream >> std::ws).eof();
    return value;
}

}  // namespace NorvikLibInternal
