#include "tools/norvik/LogPage.h"

#include <algorithm>
#include <cstdio>

#include "tools/norvik/LogFormat.h"

namespace NorvikTool {
namespace {

constexpr std::size_t cMostRows = 300;     // of a table
constexpr std::size_t cLongestCell = 400;  // bytes of a failure's text in its table; the lines have it whole

// The length of the UTF-8 character at the start of a text, 0 when there is none.
std::size_t CharacterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF5   ? 0
                               : first >= 0xF0 ? 4
                               : first >= 0xE0 ? 3
                               : first >= 0xC2 ? 2
                                               : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    // Spelled longer than needed, halves of a pair, beyond the last character.
    const bool isWrong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) ||
                         (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90);
    return isWrong ? 0 : length;
}

// Copies a text, each of its bytes below 0x80 as `escape` says.
template <typename Escape>
std::string Escaped(std::string_view text, Escape escape) {
    std::string result;
    result.reserve(text.size() + text.size() / 16 + 2);
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        if (length == 0) {
            result += "\xEF\xBF\xBD";
        } else if (length == 1) {
            escape(result, text[0]);
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

std::string Cell(const char* tag, const std::string& text, const char* attributes = "") {
    return std::string("<") + tag + attributes + ">" + HtmlText(text) + "</" + tag + ">";
}

std::string Attribute(const char* name, std::uint64_t value) {
    return std::string(" data-") + name + "=\"" + std::to_string(value) + "\"";
}

std::string Shortened(const std::string& text) {
    return text.size() <= cLongestCell ? text : text.substr(0, cLongestCell) + " ...";
}

// "1,234,567"
std::string Grouped(std::uint64_t value) {
    std::string text = std::to_string(value);
    for (std::size_t at = text.size(); at > 3;)
        text.insert(at -= 3, ",");
    return text;
}

// What the page's search takes to find all lines of a place; without one, those whose messages differ in numbers only.
std::string SearchFor(const FailureGroup& group) {
    if (!group.where.empty()) return group.where;
    std::string expression = "/";
    for (const char c : PrintableText(group.what)) {
        const bool isDigit = c >= '0' && c <= '9';
        if (std::string_view("\\^$.|?*+()[]{}/").find(c) != std::string_view::npos) expression += '\\';
        if (!isDigit) expression += c;
        if (isDigit && !expression.ends_with("\\d+")) expression += "\\d+";
    }
    return expression + "/";
}

std::string MoreRows(std::size_t all) {
    return all <= cMostRows ? ""
                            : "<p class=\"quiet\">" + std::to_string(all - cMostRows) +
                                  " more are not listed here; the lines below have them all.</p>";
}

// Date and time to the second.
std::string TimeCell(std::int64_t localTime) {
    return localTime == cNoStamp
               ? "<td class=\"time\">-</td>"
               : "<td class=\"time\">" + LocalTimeText(localTime, 0).substr(0, 19) + "</td>";
}

char KindOf(const LogLine& line) {
    switch (line.kind) {
        case LogLine::Kind::Note:
            return 'N';
        case LogLine::Kind::Cut:
            return 'X';
        case LogLine::Kind::Continuation:
            // Without stamps nothing tells records from continuation lines; reports tell themselves.
            if (line.text.starts_with("REPORT >>> ")) break;
            return 'C';
        case LogLine::Kind::Record:
            break;
    }
    FailureLine failure;
    if (!ParseFailureLine(line.text, failure)) return 'R';
    return failure.kind == "warning" ? 'W' : 'F';
}

}  // namespace

std::string HtmlText(std::string_view text) {
    return Escaped(text, [](std::string& result, char c) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                // No page may hold these, not even as numbers.
                result += static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\t' ? '?' : c;
        }
    });
}

std::string JsonText(std::string_view text) {
    return "\"" +
           Escaped(text,
                   [](std::string& result, char c) {
                       // '<' could end the script element or begin a comment in it.
                       if (static_cast<unsigned char>(c) >= ' ' && c != '<' && c != '"' && c != '\\') {
                           result += c;
                           return;
                       }
                       char code[8];
                       std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
                       result += c == '\n' ? "\\n" : code;
                   }) +
           "\"";
}

void LogPage::AddLine(const LogLine& line, char kind, std::int64_t time) {
    LogLine shown = line;
    if (shown.kind == LogLine::Kind::Record) shown.kind = LogLine::Kind::Continuation;
    mTimes += (mKinds.empty() ? "" : ",") + std::to_string(time - mLastTime);
    mTexts += (mKinds.empty() ? "" : "\n") + Display(shown, true, 0);
    mKinds += kind;
    mLastTime = time;
}

void LogPage::AddFile(const std::string& name, const std::vector<LogLine>& lines, ZoneOffset zoneOffset) {
    mZoneOffset = zoneOffset;
    const auto local = [&](std::int64_t stamp) { return stamp + std::int64_t{60'000} * zoneOffset(stamp); };
    mNames.push_back(name);
    mTable.AddFile(lines);
    const auto stamped =
        std::find_if(lines.begin(), lines.end(), [](const LogLine& l) { return l.stamp != cNoStamp; });
    std::int64_t time = stamped == lines.end() ? mLastTime : local(stamped->stamp);
    AddLine({LogLine::Kind::Note, cNoStamp, false, name}, 'N', time);

    const std::vector<BlockedLoop> blocked = FindBlockedLoops(lines);
    auto next = blocked.begin();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const LogLine& line = lines[i];
        if (line.stamp != cNoStamp) {
            time = local(line.stamp);
            mFirst = mFirst == cNoStamp ? time : std::min(mFirst, time);
            mLast = std::max(mLast, time);
        }
        char kind = KindOf(line);
        if (kind != 'N') ++mLines;
        if (next != blocked.end() && next->line == i) {
            kind = 'B';
            mBlocked.push_back({*next++, time, mKinds.size()});
        }
        AddLine(line, kind, time);
    }
}

std::string LogPage::Tiles(const std::vector<FailureGroup>& groups, std::uint64_t happened) const {
    const struct {
        std::uint64_t value;
        const char *name, *kind;
    } tiles[] = {{mLines, "lines", ""},
                 {happened, "failures", happened ? " bad" : ""},
                 {groups.size(), "places that failed", groups.empty() ? "" : " bad"},
                 {mBlocked.size(), "blocked loops", mBlocked.empty() ? "" : " slow"},
                 {mNames.size(), mNames.size() == 1 ? "file" : "files", ""}};
    std::string html = "<ul class=\"tiles\">";
    for (const auto& [value, name, kind] : tiles)
        html += std::string("<li class=\"tile") + kind + "\"><b>" + Grouped(value) + "</b> " + name + "</li>";
    return html + "</ul>\n";
}

std::string LogPage::Failures(const std::vector<FailureGroup>& groups) const {
    if (groups.empty()) return "<p class=\"quiet\">None.</p>\n";
    std::string html =
        "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"Failures by "
        "place\"><table><thead><tr>"
        "<th class=\"number\">Count</th><th "
        "class=\"number\">Lines</th><th>Kind</th><th>What</th><th>Where</th>"
        "<th>First</th><th>Last</th><th></th></tr></thead><tbody>\n";
    const auto local = [&](std::int64_t stamp) {
        return stamp == cNoStamp ? stamp : stamp + std::int64_t{60'000} * mZoneOffset(stamp);
    };
    for (std::size_t i = 0; i < std::min(groups.size(), cMostRows); ++i) {
        const FailureGroup& group = groups[i];
        const std::string what = Shortened(PrintableText(group.what));
        const std::string find = SearchFor(group);
        html += "<tr>" + Cell("td", std::to_string(group.count), " class=\"number\"") +
                Cell("td", std::to_string(group.seen), " class=\"number\"") + "<td><span class=\"kind " +
                group.kind + "\">" + group.kind + "</span></td>" + Cell("td", what, " class=\"code\"") +
                Cell("td", group.where.empty() ? "-" : group.where, " class=\"code place\"") +
                TimeCell(local(group.first)) + TimeCell(local(group.last)) +
                "<td><button type=\"button\" data-find=\"" + HtmlText(find) +
                "\" aria-label=\"Show the lines of " + HtmlText(find) + "\">Lines</button></td></tr>\n";
    }
    return html + "</tbody></table></div>" + MoreRows(groups.size());
}

std::string LogPage::BlockedLoops() const {
    if (mBlocked.empty()) return "<p class=\"quiet\">None.</p>\n";
    std::string html;
    for (std::size_t i = 0; i < std::min(mBlocked.size(), cMostRows); ++i) {
        const auto& [loop, time, line] = mBlocked[i];
        const std::string lasted = loop.lasted ? std::to_string(*loop.lasted) + " ms" : "end not logged";
        html += "<details class=\"blocked\"" + std::string(i == 0 ? " open" : "") +
                "><summary><span class=\"time\">" + LocalTimeText(time, 0) + "</span> <b>" +
                HtmlText(loop.handler.empty() ? "unknown handler" : PrintableText(loop.handler)) +
                "</b> <span class=\"kind slow\">" + lasted + "</span></summary>";
        std::string stack;
        for (const std::string& frame : loop.stack)
            stack += PrintableText(frame) + "\n";
        html += stack.empty()
                    ? "<p class=\"quiet\">No stack: the loop was not watched (EnableWatchdogThread).</p>"
                    : "<pre tabindex=\"0\">" + HtmlText(stack) + "</pre>";
        html += "<p><button type=\"button\" data-line=\"" + std::to_string(line) +
                "\">Show in the log</button></p></details>\n";
    }
    return html + MoreRows(mBlocked.size());
}

std::string LogPage::Data() const {
    std::string spans;
    for (const Blocked& blocked : mBlocked)
        spans += (spans.empty() ? "[" : ",[") + std::to_string(blocked.time) + "," +
                 std::to_string(blocked.loop.lasted.value_or(0)) + "]";
    return "{\"blocked\":[" + spans + "],\"times\":[" + mTimes + "],\"kinds\":\"" + mKinds +
           "\",\"texts\":" + JsonText(mTexts) + "}";
}

std::string LogPage::Html() const {
    const std::vector<FailureGroup> groups = mTable.Groups(FailureTable::Order::MostFrequent);
    std::uint64_t happened = 0;
    for (const FailureGroup& group : groups)
        happened += group.count;
    const std::string title = HtmlText(mTitle);
    const std::string span = mFirst == cNoStamp
                                 ? "without times"
                                 : LocalTimeText(mFirst, 0).substr(0, 19) + " to " +
                                       LocalTimeText(mLast, 0).substr(0, 19) +
                                       ", in the time zone of the computer that made this page";
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + title +
           "</title>\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"color-scheme\" content=\"light dark\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
           "'unsafe-inline'; "
           "script-src 'unsafe-inline'\">\n<style>" +
           cPageStyle + "</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#log\">To the lines</a>\n<main" +
           Attribute("lines", mLines) + Attribute("failures", happened) +
           Attribute("failure-lines", mTable.LinesSeen()) + Attribute("places", groups.size()) +
           Attribute("blocked", mBlocked.size()) + Attribute("files", mNames.size()) + ">\n<header><h1>" +
           title + "</h1><p class=\"quiet\">" + span + "</p></header>\n" + Tiles(groups, happened) +
           "<section aria-labelledby=\"h-time\"><h2 id=\"h-time\">Time line</h2><div "
           "id=\"timeline\"></div></section>\n"
           "<section aria-labelledby=\"h-fail\"><h2 id=\"h-fail\">Failures by place</h2>\n" +
           Failures(groups) +
           "</section>\n<section aria-labelledby=\"h-block\"><h2 id=\"h-block\">Blocked loops</h2>\n" +
           BlockedLoops() + "</section>\n" + cPageViewer +
           "</main>\n<script type=\"application/json\" id=\"data\">" + Data() + "</script>\n<script>" +
           cPageScript + "</script>\n</body>\n</html>\n";
}

}  // namespace NorvikTool
