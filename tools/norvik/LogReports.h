#pragma once

// Groups the failure lines of logs by the place they come from, so that ten thousand lines become a page.
//
//   FailureTable table;
//   for (const std::string& bytes : files) table.AddFile(ReadLog(bytes));
//   for (const FailureGroup& group : table.Groups(FailureTable::Order::MostFrequent)) Show(group);
//
// A place that fails often is reported less and less, and each such report is preceded by a line with the
// number of occurrences so far. So the number of lines says little; the count here is that number plus the
// lines after it.
//
// Threads:   any; a table belongs to one thread at a time
// Ownership: the table copies what it keeps
// Errors:    a report that is cut or of another form is grouped by its text
// Units:     stamps in milliseconds since 1970 (UTC)

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "tools/norvik/LogText.h"

namespace NorvikTool {

struct FailureGroup {
    std::string kind;         // one word: assert, debug-assert, verify, failure, warning, check
    std::string where;        // "file(line)", empty when the report names no place
    std::string what;         // the expression that failed, or the newest message
    std::uint64_t count = 0;  // how often it happened, as far as the logs tell: at least this often
    std::uint64_t seen = 0;   // how many lines say so
    std::int64_t first = cNoStamp;
    std::int64_t last = cNoStamp;
};

// One failure line, taken apart.
struct FailureLine {
    std::string kind;
    std::string where;
    std::string expression;  // empty for a failure or warning
    std::string message;
};

// Takes the text of a record (lines joined by line feeds) apart. False when it is no failure line.
bool ParseFailureLine(const std::string& text, FailureLine& failure);

class FailureTable {
public:
    enum class Order { MostFrequent, MostRecent };

    // Lines of one file, as ReadLog gives them. Counts begin anew in every file, since each program counts
    // for itself.
    void AddFile(const std::vector<LogLine>& lines);

    std::vector<FailureGroup> Groups(Order order) const;
    std::uint64_t LinesSeen() const { return mLinesSeen; }

private:
    // place, expression; without a place: kind, message with its digits folded
    using Key = std::tuple<std::string, std::string>;

    class File;

    std::map<Key, FailureGroup> mGroups;
    std::uint64_t mLinesSeen = 0;
};

}  // namespace NorvikTool
