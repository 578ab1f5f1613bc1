#pragma once

// One page for a browser that holds whole log files: time line, failures by place, blocked loops with their stacks, and all
// lines, to be searched. It needs no other file and no network.
//
//   LogPage page("Run 12");
//   page.AddFile("Run #12 App - 01.log", ReadLog(bytes), &ZoneOffsetAt);
//   file.Write(page.Html());
//
// The lines lie in a block of JSON that the page's script reads; of them only those that are in sight are elements of the
// page, so it stays quick with a million. Tables show the first few hundred entries and say how many more there are. What the
// page counts stands as data attributes of its element "main", and what its script found as those of "body", for tests.
//
// Threads:   one at a time
// Ownership: copies what it keeps
// Errors:    none: all text is escaped, bytes that are no UTF-8 become U+FFFD, control bytes are shown as <00>
// Units:     stamps in milliseconds since 1970 (UTC), zone offsets in minutes east of UTC

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/norvik/LogBlocked.h"
#include "tools/norvik/LogReports.h"

namespace NorvikTool {

// "&lt;" for '<' and so on, for text and attributes.
std::string HtmlText(std::string_view text);
// With the quotes; also fit for a script element.
std::string JsonText(std::string_view text);

class LogPage {
public:
    using ZoneOffset = int (*)(std::int64_t stamp);

    explicit LogPage(std::string title) : mTitle(std::move(title)) {}

    void AddFile(const std::string& name, const std::vector<LogLine>& lines, ZoneOffset zoneOffset);
    std::string Html() const;

private:
    struct Blocked {
        BlockedLoop loop;
        std::int64_t time;
        std::size_t line;  // of the page
    };

    void AddLine(const LogLine& line, char kind, std::int64_t time);
    std::string Tiles(const std::vector<FailureGroup>& groups, std::uint64_t happened) const;
    std::string Failures(const std::vector<FailureGroup>& groups) const;
    std::string BlockedLoops() const;
    std::string Data() const;

    const std::string mTitle;
    std::vector<std::string> mNames;
    FailureTable mTable;
    std::vector<Blocked> mBlocked;
    ZoneOffset mZoneOffset = nullptr;
    // Columns of the JSON block: local times as steps from one line to the next, a letter a line, all texts in one.
    std::string mTimes, mKinds, mTexts;
    std::int64_t mLastTime = 0;
    std::int64_t mFirst = cNoStamp, mLast = cNoStamp;
    std::size_t mLines = 0;
};

// What is the same in every page (LogPageParts.cpp).
extern const char* const cPageStyle;
extern const char* const cPageViewer;
extern const char* const cPageScript;

}  // namespace NorvikTool
