#include "tools/norvik/LogReports.h"

#include <gtest/gtest.h>

#include <sstream>

#include "JRCmn/Internal/Cmn_RewindRule.h"

using namespace NorvikTool;

namespace {

const std::string cTime = "Nov 14 2026 @ 18:10:31";

std::string Report(const std::string& type, const std::string& text) {
    return "REPORT >>> " + type + "! " + cTime + " " + text;
}

// A log of one line a second.
std::string Log(const std::vector<std::string>& lines) {
    std::string bytes;
    for (int second = 1000; const std::string& line : lines)
        bytes += std::to_string(second++) + ".000 " + line + "\r\n";
    return bytes;
}

// "COUNT of SEEN lines, FIRST-LAST: WHAT|" of each place, with the seconds of the log.
std::string Picture(const FailureTable& table, FailureTable::Order order) {
    std::ostringstream text;
    for (const auto& [kind, where, what, count, seen, first, last] : table.Groups(order))
        text << count << " of " << seen << " lines, " << first / 1000 << "-" << last / 1000 << ": " << what
             << "|";
    return text.str();
}

}  // namespace

TEST(LogReports, FailureLinesOfEveryFormAreTakenApart) {
    const struct {
        std::string text, parts;  // the parts: kind, place, expression, message
    } cases[] = {
        {Report("Failed Verify", "'(a) in b' failed in J\\X(63)."),
         "verify|J\\X(63)|(a) in b|'(a) in b' failed in J\\X(63)."},
        {Report("Failed Debug Assert", "'x' failed in X(1)."), "debug-assert|X(1)|x|'x' failed in X(1)."},
        {Report("Failed Assert", "Nested failure: 'x' failed in X(1)."), "assert|X(1)|x|'x' failed in X(1)."},
        {Report("Failure", "no answer\nfrom 3 in X.cpp(7)."), "failure|X.cpp(7)||no answer\nfrom 3"},
        {Report("Warning", "Stop! in (5) s"), "warning|||Stop! in (5) s"},
        {"REPORT >>> Warning! Nov  4 2026 @ 8:10:31 Stop", "warning|||Stop"},
        {"REPORT >>> Warning! no time", "warning|||no time"},
        {cTime + ", 'n == 1' check failed in X(9).", "check|X(9)|n == 1|'n == 1' check failed in X(9)."},
        {"REPORT >>> ", "none"},
        {"he wrote REPORT >>> Failure! x", "none"},
        {"'x' check failed in X.cpp(9).", "none"},
    };
    for (const auto& test : cases) {
        FailureLine line;
        const bool parsed = ParseFailureLine(test.text, line);
        EXPECT_EQ(parsed ? line.kind + "|" + line.where + "|" + line.expression + "|" + line.message : "none",
                  test.parts);
    }
}

TEST(LogReports, CountOfAPlaceIsTheAnnouncedOneAndWhatCameAfter) {
    const auto announced = [](int n) {
        return "The following issue occurred " + std::to_string(n) + " times.";
    };
    const std::string verify = Report("Failed Verify", "'a in c' failed in X.cpp(63).");
    std::vector<std::string> lines(49, verify);
    // 800 comes between an announcement and its report, of a place that has not failed often enough to be meant.
    lines.insert(lines.end(),
                 {announced(50), verify, announced(650), verify, announced(800),
                  Report("Warning", "Fan 3: 120 rpm"), verify, Report("Warning", "Fan 12: 7 rpm")});

    FailureTable table;
    table.AddFile(ReadLog(Log(lines)));
    const std::string check = "800 of 52 lines, 1000-1055: a in c|",
                      warning = "2 of 2 lines, 1054-1056: Fan 12: 7 rpm|";
    EXPECT_EQ(Picture(table, FailureTable::Order::MostFrequent), check + warning);
    EXPECT_EQ(Picture(table, FailureTable::Order::MostRecent), warning + check);

    // Another program counts anew. Its first reports were overwritten, so the announcement is believed.
    table.AddFile(ReadLog("900.000 head\r\n90" + std::string(NorvikLibInternal::kLogTruncatedBanner) +
                          Log({announced(700), verify, verify})));
    table.AddFile(ReadLog(Log({announced(700), verify})));
    EXPECT_EQ(Picture(table, FailureTable::Order::MostFrequent),
              "1502 of 55 lines, 1000-1055: a in c|" + warning);
    EXPECT_EQ(table.LinesSeen(), 57u);
}
