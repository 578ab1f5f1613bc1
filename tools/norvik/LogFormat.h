#pragma once

// How log lines, times and log file names are written: lines for the terminal, names taken apart.
//
//   Print(Display(line, false, 60) + "\n");  // "2026-11-14 19:10:31.045 text"
//
// Threads:   any
// Ownership: results own their texts
// Errors:    a name that is not a log file's gives nothing
// Units:     stamps in milliseconds since 1970 (UTC), zone offsets in minutes east of UTC

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/norvik/LogText.h"

namespace NorvikTool {

// "2026-11-14 18:10:31.123"
std::string LocalTimeText(std::int64_t stamp, int zoneOffset);

// A line as it is shown: local time (or, raw, the stamp), or blanks of that width; "..." where text is
// missing; control bytes as PrintableText has them, so that junk in a file does not reach the terminal.
std::string Display(const LogLine& line, bool raw, int zoneOffset);

// Control bytes as <00>, several of one kind as <00 x12>.
std::string PrintableText(std::string_view text);

struct LogFileName {
    std::uint64_t run = 0;
    std::string name;
    unsigned subRun = 0;
};

// Takes "Run #12 App - 01.log" apart.
std::optional<LogFileName> ParseLogFileName(std::string_view fileName);

}  // namespace NorvikTool
