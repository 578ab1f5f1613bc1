// Files of feature toggles of any bytes, against a model that has the whole file at once.

#include "Shared/Internal/JR_FeatureFile.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

namespace {

// The byte-order mark counts for the length of the first line.
std::vector<std::string> Lines(const std::string& bytes) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', start), bytes.size());
        std::string line = bytes.substr(start, std::min(end - start, cLongestFeatureLine));
        if (start == 0 && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
        if (line.ends_with('\r')) line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

// A value is clear when it is 0 or 1, with a sign, zeros before it and blanks around it.
bool IsClear(std::string text) {
    constexpr char kBlanks[] = " \t\n\v\f\r";
    text.erase(0, text.find_first_not_of(kBlanks));
    text.erase(text.find_last_not_of(kBlanks) + 1);
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.erase(0, 1);
    if (text.empty() || text.find_first_not_of("01") != text.npos) return false;
    const std::string number = text.substr(std::min(text.find_first_not_of('0'), text.size()));
    return number.empty() || (number == "1" && !isNegative);
}

}  // namespace

FUZZ_TARGET(FeatureFiles) {
    std::string bytes(input.Below(3) == 0 ? "\xEF\xBB\xBF" : "");
    while (!input.IsEmpty()) {
        const std::string pieces[] = {
            "\n",
            "\r\n",
            "\r",
            ":",
            "1",
            "0",
            " ",
            "-",
            std::string(1, '\0'),
            "Name",
            input.Bytes(3),
            input.Below(20) ? "" : std::string(cLongestFeatureLine - 5 + input.Below(9), 'z')};
        bytes += input.OneOf(pieces);
    }
    std::vector<std::string> lines;
    std::istringstream file(bytes);
    ReadFeatureLines(file, [&](const std::string& line) { lines.push_back(line); });
    SAME(lines, Lines(bytes));
    for (const std::string& line : lines) {
        const auto parts = SplitFeatureLine(line);
        SAME(parts.has_value(), line.find(':') != line.npos);
        if (!parts) continue;
        SAME(std::string(parts->name) + ':' + std::string(parts->value), line);
        SAME(parts->name.find(':'), std::string_view::npos);
        bool isClear = false;
        const bool value = ReadFeatureValue(parts->value, isClear);
        SAME(isClear, IsClear(std::string(parts->value)));
        if (isClear) SAME(value, parts->value.find('1') != std::string_view::npos);
    }
}
