#include "tools/norvik/LogReports.h"

#include <gtest/gtest.h>

using namespace NorvikTool;

namespace {

const std::string cTime = "Nov 14 2026 @ 18:10:31";

// A log of one line a second.
std::string Log(const std::vector<std::string>& lines) {
    std::string bytes;
    int second = 1000;
    for (const std::string& line : lines)
        bytes += std::to_string(second++) + ".000 " + line + "\r\n";
    return bytes;
}

std::string Announced(int count) {
    return "The following issue occurred " + std::to_string(count) +
           (count == 50 ? " times. We stop reporting every occurrence..."
                        : " times (We are not reporting every occurrence).");
}

const std::string cVerify =
    "REPORT >>> Failed Verify! " + cTime + " 'a (b) in c' failed in JRCmn\\X.cpp(63).";

}  // namespace

TEST(LogReports, FailureLinesOfEveryFormAreTakenApart) {
    const struct {
        std::string text;
        const char *kind, *where, *expression, *message;
    } cases[] = {
        {cVerify, "verify", "JRCmn\\X.cpp(63)", "a (b) in c", "'a (b) in c' failed in JRCmn\\X.cpp(63)."},
        {"REPORT >>> Failed Assert! Nov  4 2026 @ 8:10:31 'x' failed in X.cpp(1).", "assert", "X.cpp(1)", "x",
         "'x' failed in X.cpp(1)."},
        {"REPORT >>> Failed Verify! " + cTime + " Nested failure: 'x' failed in X.cpp(1).", "verify",
         "X.cpp(1)", "x", "'x' failed in X.cpp(1)."},
        {"REPORT >>> Failure! " + cTime + " no answer\nfrom 3 in X.cpp(7).", "failure", "X.cpp(7)", "",
         "no answer\nfrom 3"},
        {"REPORT >>> Warning! " + cTime + " Stop! in (5) s", "warning", "", "", "Stop! in (5) s"},
        {"REPORT >>> Warning! no time", "warning", "", "", "no time"},
        {cTime + ", 'n == 1' check failed in X.cpp(9).", "check", "X.cpp(9)", "n == 1",
         "'n == 1' check failed in X.cpp(9)."},
    };
    for (const auto& test : cases) {
        FailureLine failure;
        ASSERT_TRUE(ParseFailureLine(test.text, failure)) << test.text;
        EXPECT_EQ(failure.kind, test.kind) << test.text;
        EXPECT_EQ(failure.where, test.where) << test.text;
        EXPECT_EQ(failure.expression, test.expression) << test.text;
        EXPECT_EQ(failure.message, test.message) << test.text;
    }
    FailureLine failure;
    for (const char* other :
         {"", "REPORT >>> ", "he wrote REPORT >>> Failure! x", "'x' check failed in X.cpp(9)."})
        EXPECT_FALSE(ParseFailureLine(other, failure)) << other;
}

TEST(LogReports, CountOfAPlaceIsTheAnnouncedOneAndWhatCameAfter) {
    std::vector<std::string> lines(49, cVerify);
    for (const std::string& line : {Announced(50), cVerify, Announced(650), cVerify})
        lines.push_back(line);
    // Comes between an announcement and its report, and has not failed often enough to be meant.
    lines.push_back(Announced(800));
    lines.push_back("REPORT >>> Warning! " + cTime + " Fan 3: 120 rpm");
    lines.push_back(cVerify);
    lines.push_back("REPORT >>> Warning! " + cTime + " Fan 12: 7 rpm");

    FailureTable table;
    table.AddFile(ReadLog(Log(lines)));
    const auto groups = table.Groups(FailureTable::Order::MostFrequent);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].count, 800u);
    EXPECT_EQ(groups[0].seen, 52u);
    EXPECT_EQ(groups[0].what, "a (b) in c");
    EXPECT_EQ(groups[0].first, 1000'000);
    EXPECT_EQ(groups[0].last, 1055'000);
    EXPECT_EQ(groups[1].count, 2u);
    EXPECT_EQ(groups[1].what, "Fan 12: 7 rpm");
    EXPECT_EQ(table.Groups(FailureTable::Order::MostRecent)[0].kind, "warning");

    // Another program counts anew.
    table.AddFile(ReadLog(Log({cVerify})));
    EXPECT_EQ(table.Groups(FailureTable::Order::MostFrequent)[0].count, 801u);
    EXPECT_EQ(table.LinesSeen(), 55u);
}

TEST(LogReports, AnnouncementCountsInAFileWhoseFirstReportsWereOverwritten) {
    const std::string banner =
        "\r\n\r\n************************\r\n*  LOG FILE TRUNCATED  *\r\n************************\r\n\r\n";
    FailureTable table;
    table.AddFile(ReadLog("900.000 head\r\n90" + banner + Log({Announced(700), cVerify, cVerify})));
    EXPECT_EQ(table.Groups(FailureTable::Order::MostFrequent).at(0).count, 701u);
}
