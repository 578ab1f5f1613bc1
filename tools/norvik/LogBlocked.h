#pragma once

// What a log says of handlers that blocked their event loop: who, when, for how long, and the stack while it happened.
//
//   for (const BlockedLoop& blocked : FindBlockedLoops(ReadLog(bytes))) Show(blocked);
//
// The loop's watchdog writes "ELW: Handler ... is currently blocking event loop" and the stack while the handler runs, and
// the loop itself "Event handler ... has blocked event loop for ... milliseconds." when it has returned. Both stand for one
// event when the second follows the first; either may be alone, as a loop need not be watched, and one that never returned
// has no end.
//
// Threads:   any
// Ownership: results own their texts
// Errors:    none: a line of another form is no report
// Units:     milliseconds; stamps since 1970 (UTC)

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/norvik/LogText.h"

namespace NorvikTool {

struct BlockedLoop {
    std::string handler;                  // empty: the watchdog did not know
    std::int64_t stamp = cNoStamp;        // of the first line
    std::optional<std::uint64_t> lasted;  // nothing: no line says so
    std::vector<std::string> stack;       // frames as they stand in the log, the innermost first
    std::size_t line = 0;                 // index of the first line
};

std::vector<BlockedLoop> FindBlockedLoops(const std::vector<LogLine>& lines);

}  // namespace NorvikTool
