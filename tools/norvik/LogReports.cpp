#include "tools/norvik/LogReports.h"

#include <algorithm>
#include <string_view>

namespace NorvikTool {
namespace {

constexpr std::string_view cReportTag = "REPORT >>> ";
constexpr std::string_view cAnnouncement = "The following issue occurred ";
// Every occurrence up to this one is reported; the announcements begin with it.
constexpr std::uint64_t cFirstAnnounced = 50;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::size_t DigitsAt(std::string_view text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && IsDigit(text[end]))
        ++end;
    return end - at;
}

// Length of "Nov 14 2026 @ 18:10:31" at the start of a text; 0 when there is none.
std::size_t ReportTimeLength(std::string_view text) {
    constexpr std::string_view separator = " @ ";
    const std::size_t at = text.substr(0, 40).find(separator);
    if (at == std::string_view::npos || at < 4 || !IsDigit(text[at - 1])) return 0;
    std::size_t end = at + separator.size();
    for (int part = 0; part < 3; ++part) {
        const std::size_t digits = DigitsAt(text, end);
        if (digits == 0) return 0;
        end += digits;
        if (part < 2 && (end == text.size() || text[end++] != ':')) return 0;
    }
    return end;
}

std::string KindWord(std::string_view type) {
    if (type == "Failed Assert") return "assert";
    if (type == "Failed Debug Assert") return "debug-assert";
    if (type == "Failed Verify") return "verify";
    if (type == "Warning") return "warning";
    return "failure";
}

// Finds the place in "... in file(line)." at the end of a message. `before` gets what stands before " in ".
bool SplitPlace(std::string_view message, std::string_view& before, std::string& where) {
    if (!message.ends_with(").")) return false;
    const std::size_t open = message.rfind('(');
    if (open == std::string_view::npos) return false;
    const std::size_t digits = DigitsAt(message, open + 1);
    if (digits == 0 || open + 1 + digits + 2 != message.size()) return false;
    constexpr std::string_view in = " in ";
    const std::size_t at = message.rfind(in, open);
    if (at == std::string_view::npos || at + in.size() >= open) return false;
    before = message.substr(0, at);
    where = std::string(message.substr(at + in.size(), message.size() - 1 - at - in.size()));
    return true;
}

// The expression in "'expression' failed": false when the text is of another form.
bool TakeExpression(std::string_view text, std::string_view verb, std::string& expression) {
    if (text.size() < verb.size() + 2 || text.front() != '\'' || !text.ends_with(verb)) return false;
    text.remove_suffix(verb.size());
    if (text.size() < 2 || text.back() != '\'') return false;
    expression = std::string(text.substr(1, text.size() - 2));
    return true;
}

bool ParseReport(std::string_view text, FailureLine& failure) {
    text.remove_prefix(cReportTag.size());
    const std::size_t typeEnd = text.find("! ");
    if (typeEnd == std::string_view::npos) return false;
    failure.kind = KindWord(text.substr(0, typeEnd));
    text.remove_prefix(typeEnd + 2);
    text.remove_prefix(ReportTimeLength(text));
    if (text.starts_with(' ')) text.remove_prefix(1);

    constexpr std::string_view nested = "Nested failure: ";
    if (text.starts_with(nested)) text.remove_prefix(nested.size());
    std::string_view before = text;
    SplitPlace(text, before, failure.where);
    if (!failure.where.empty()) TakeExpression(before, " failed", failure.expression);
    failure.message = std::string(failure.expression.empty() ? before : text);
    return true;
}

// "<time>, 'expression' check failed in file(line)."
bool ParseCheck(std::string_view text, FailureLine& failure) {
    const std::size_t time = ReportTimeLength(text);
    if (time == 0 || !text.substr(time).starts_with(", ")) return false;
    text.remove_prefix(time + 2);
    std::string_view before;
    if (!SplitPlace(text, before, failure.where)) return false;
    if (!TakeExpression(before, " check failed", failure.expression)) return false;
    failure.kind = "check";
    failure.message = std::string(text);
    return true;
}

std::uint64_t AnnouncedCount(std::string_view text) {
    if (!text.starts_with(cAnnouncement)) return 0;
    const std::size_t digits = DigitsAt(text, cAnnouncement.size());
    if (digits == 0 || digits > 10 || !text.substr(cAnnouncement.size() + digits).starts_with(" times"))
        return 0;
    return std::stoull(std::string(text.substr(cAnnouncement.size(), digits)));
}

std::string WithDigitsFolded(std::string_view text) {
    std::string folded;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t digits = DigitsAt(text, i);
        folded += digits ? '#' : text[i];
        i += std::max<std::size_t>(digits, 1);
    }
    return folded;
}

std::string FirstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

}  // namespace

bool ParseFailureLine(const std::string& text, FailureLine& failure) {
    failure = FailureLine();
    return text.starts_with(cReportTag) ? ParseReport(text, failure) : ParseCheck(text, failure);
}

// Counts the records of one file into the groups.
class FailureTable::File {
public:
    // In an overwritten file, the first reports of a place may be gone.
    File(FailureTable& table, bool overwritten) : mTable(table), mOverwritten(overwritten) {}

    void AddRecord(std::int64_t stamp, const std::string& text) {
        if (const std::uint64_t announced = AnnouncedCount(text)) {
            mAnnounced = announced;
            return;
        }
        FailureLine failure;
        if (!ParseFailureLine(text, failure)) return;
        const Key key = failure.where.empty() ? Key(failure.kind, WithDigitsFolded(failure.message))
                                              : Key(failure.where, failure.expression);
        FailureGroup& group = mTable.mGroups[key];
        Count(mCounts[key], group);
        group.kind = failure.kind;
        group.where = failure.where;
        group.what = FirstLine(failure.expression.empty() ? failure.message : failure.expression);
        if (stamp == cNoStamp) return;
        group.first = group.first == cNoStamp ? stamp : std::min(group.first, stamp);
        group.last = std::max(group.last, stamp);
    }

private:
    struct Counts {
        std::uint64_t seen = 0;
        std::uint64_t happened = 0;
    };

    void Count(Counts& counts, FailureGroup& group) {
        ++mTable.mLinesSeen;
        ++counts.seen;
        ++group.seen;
        // Another thread's report may have come between an announcement and its report. It cannot be meant
        // when the place was reported too seldom; the announcement then waits for the next report.
        std::uint64_t happened = counts.happened + 1;
        if (mAnnounced != 0 && (mOverwritten || counts.seen >= cFirstAnnounced)) {
            happened = std::max(happened, mAnnounced);
            mAnnounced = 0;
        }
        group.count += happened - counts.happened;
        counts.happened = happened;
    }

    FailureTable& mTable;
    const bool mOverwritten;
    std::map<Key, Counts> mCounts;
    std::uint64_t mAnnounced = 0;
};

void FailureTable::AddFile(const std::vector<LogLine>& lines) {
    using Kind = LogLine::Kind;
    File file(*this, std::any_of(lines.begin(), lines.end(),
                                 [](const LogLine& line) { return line.kind == Kind::Note; }));
    for (std::size_t i = 0; i < lines.size();) {
        const LogLine& line = lines[i++];
        if (line.kind == Kind::Note || line.kind == Kind::Cut) continue;
        // Without stamps nothing tells records from continuation lines: each line is taken by itself.
        std::string text = line.text;
        // So is a report in a stretch of the log whose stamps were switched off.
        while (line.kind == Kind::Record && i < lines.size() && lines[i].kind == Kind::Continuation &&
               !lines[i].text.starts_with(cReportTag))
            text += "\n" + lines[i++].text;
        file.AddRecord(line.stamp, text);
    }
}

std::vector<FailureGroup> FailureTable::Groups(Order order) const {
    std::vector<FailureGroup> groups;
    for (const auto& [key, group] : mGroups)
        groups.push_back(group);
    std::stable_sort(groups.begin(), groups.end(), [=](const FailureGroup& a, const FailureGroup& b) {
        return order == Order::MostFrequent ? std::tie(a.count, a.last) > std::tie(b.count, b.last)
                                            : std::tie(a.last, a.count) > std::tie(b.last, b.count);
    });
    return groups;
}

}  // namespace NorvikTool
