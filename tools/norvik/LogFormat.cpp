#include "tools/norvik/LogFormat.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace NorvikTool {
namespace {

constexpr std::size_t cTimeWidth = 23;

}  // namespace

std::string PrintableText(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c >= ' ' && c != 0x7F) || c == '\t') {
            result += text[i++];
            continue;
        }
        const std::size_t begin = i;
        while (i < text.size() && text[i] == text[begin])
            ++i;
        char code[40];
        if (i - begin == 1)
            std::snprintf(code, sizeof code, "<%02X>", c);
        else
            std::snprintf(code, sizeof code, "<%02X x%lu>", c, static_cast<unsigned long>(i - begin));
        result += code;
    }
    return result;
}

std::string LocalTimeText(std::int64_t stamp, int zoneOffset) {
    using namespace std::chrono;
    const sys_time<milliseconds> time{milliseconds(stamp) + minutes(zoneOffset)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d.%03d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    return text;
}

std::string Display(const LogLine& line, bool raw, int zoneOffset) {
    const std::string indent = raw ? "" : std::string(cTimeWidth + 1, ' ');
    const std::string text = PrintableText(line.text) + (line.unfinished ? " ..." : "");
    switch (line.kind) {
        case LogLine::Kind::Note:
            return "--- " + text + " ---";
        case LogLine::Kind::Cut:
            return indent + "... " + text;
        case LogLine::Kind::Continuation:
            return indent + text;
        case LogLine::Kind::Record:
            break;
    }
    if (!raw) return LocalTimeText(line.stamp, zoneOffset) + " " + text;
    char stamp[40];
    std::snprintf(stamp, sizeof stamp, "%lld.%03lld ", static_cast<long long>(line.stamp / 1000),
                  static_cast<long long>(line.stamp % 1000));
    return stamp + text;
}

std::optional<LogFileName> ParseLogFileName(std::string_view fileName) {
    constexpr std::string_view prefix = "Run #", separator = " - ", extension = ".log";
    if (!fileName.starts_with(prefix) || !fileName.ends_with(extension)) return {};
    fileName.remove_prefix(prefix.size());
    fileName.remove_suffix(std::min(extension.size(), fileName.size()));

    const auto number = [](std::string_view text) -> std::optional<std::uint64_t> {
        if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != text.npos) return {};
        std::uint64_t value = 0;
        for (const char c : text)
            value = value * 10 + static_cast<unsigned>(c - '0');
        return value;
    };
    const std::size_t blank = fileName.find(' ');
    const std::size_t dash = fileName.rfind(separator);
    if (blank == std::string_view::npos || dash == std::string_view::npos || dash <= blank) return {};
    const auto run = number(fileName.substr(0, blank));
    const auto subRun = number(fileName.substr(dash + separator.size()));
    if (!run || !subRun || *subRun > 9999) return {};
    return LogFileName{*run, std::string(fileName.substr(blank + 1, dash - blank - 1)),
                       static_cast<unsigned>(*subRun)};
}

}  // namespace NorvikTool
