#include "tools/norvik/LogText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "JRCmn/Internal/Cmn_RewindRule.h"
#include "tools/norvik/LogFormat.h"

using namespace NorvikLibInternal;
using namespace NorvikTool;
using namespace std::string_literals;
using Kind = LogLine::Kind;
using Texts = std::vector<std::string>;

namespace {

// Writes into a buffer by the rule of the log file, and remembers of every byte which line it belongs to.
struct Writer {
    const std::size_t maximum, rewind;
    std::string bytes{};
    Texts lines{""};  // as far as every byte is still there; the first owns what is no line
    std::vector<std::size_t> owners{};
    std::size_t position = 0;

    // One write of a stamped line and its continuation lines, each of which is unique.
    void Write(std::int64_t stamp, const Texts& record) {
        if (MustRewind(position, maximum)) {
            Put(kLogRewindMarker, 0);
            position = RewindOffset(maximum, rewind);
            Put(kLogTruncatedBanner, 0);
        }
        std::string start = std::to_string(stamp) + " ";
        start.insert(start.size() - 4, ".");
        for (const std::string& line : record) {
            lines.push_back(line);
            Put(std::exchange(start, "") + line + "\r\n", lines.size() - 1);
        }
    }

    void Put(std::string_view text, std::size_t owner) {
        bytes.resize(std::max(bytes.size(), position + text.size()));
        owners.resize(bytes.size());
        for (const char c : text) {
            lines[std::exchange(owners[position], owner)].clear();
            bytes[position++] = c;
        }
    }
};

// Replaces what the table of odd files abbreviates: | line end, < banner, > marker, = two newest lines.
std::string Expand(std::string_view text) {
    const std::string_view meanings[] = {"\r\n", kLogTruncatedBanner, kLogRewindMarker,
                                         "90.000 n1\r\n90.000 n2\r\n"};
    std::string bytes;
    for (const char& c : text) {
        const std::size_t meaning = std::string_view("|<>=").find(c);
        bytes += meaning < 4 ? meanings[meaning] : std::string_view(&c, 1);
    }
    return bytes;
}

// R record, C continuation, X cut, ~ unfinished; the notes: < overwritten, > rewound, ? unordered.
std::string Picture(const std::string& bytes) {
    std::string picture;
    for (const auto& [kind, stamp, unfinished, text] : ReadLog(bytes)) {
        if (kind == Kind::Note)
            picture += text == cNoteOverwritten ? "<" : text == cNoteRewound ? ">" : "?";
        else
            picture += "RCX"[static_cast<int>(kind)] + (unfinished ? "~"s : "") + text + "|";
    }
    return picture;
}

}  // namespace

TEST(LogText, SurvivingLinesComeOnceInWritingOrderWhereverTheWriterStands) {
    const struct {
        std::size_t maximum, rewind;
        std::int64_t stamp;
        int longestGap, mostLines;
    } cases[] = {{3000, 1500, 1763143831000, 3, 1},  {3000, 2900, 1763143831000, 3, 1},
                 {3000, 200, 1763143831000, 900, 1}, {2000, 2000, 1763143831000, 2, 1},
                 {1000, 4000, 1763143831000, 40, 1}, {2500, 1200, 5000000, 900, 1},
                 {4000, 2500, 1763143831000, 4, 4}};
    for (auto [maximum, rewind, stamp, longestGap, mostLines] : cases) {
        // With other seeds a line may end where an old one of the same millisecond begins, which nothing tells.
        std::mt19937 engine(2);
        const auto below = [&](int n) { return static_cast<int>(engine() % static_cast<unsigned>(n)); };
        Writer writer{maximum, rewind};
        LogFollower follower;
        Texts written, followed;
        for (int i = 0, untilLook = 1; i < 2500; ++i) {
            SCOPED_TRACE(testing::Message() << maximum << "/" << rewind << " after write " << i);
            Texts record(1 + below(mostLines));
            for (std::string& line : record) {
                line = std::to_string(10'000 + written.size()) + std::string(below(60), "abc"[i % 3]);
                if (below(8) == 0) line += " 12.345 volts";
                written.push_back(line);
            }
            writer.Write(stamp += below(longestGap), record);

            Texts certain, shown, surviving = writer.lines;
            std::erase(surviving, "");
            for (const LogLine& line : ReadLog(writer.bytes)) {
                if (line.kind == Kind::Note || line.unfinished) continue;
                shown.push_back(line.text);
                if (line.kind != Kind::Cut) certain.push_back(line.text);
            }
            ASSERT_TRUE(certain == surviving || mostLines > 1) << testing::PrintToString(certain);
            // Where a record of several lines meets a seam it is unclear what its lines continue: they may be
            // shown as cut, but none is lost, and what is shown as certain stands in order.
            ASSERT_TRUE(std::ranges::is_sorted(certain) && std::ranges::includes(surviving, certain));
            for (const std::string& line : surviving)
                ASSERT_EQ(std::ranges::count(shown, line), 1) << line;

            if (--untilLook > 0) continue;
            untilLook = rewind < 500 ? 1 : 1 + below(8);  // some in each round
            // Where the file still grows, some looks come in the middle of a write.
            const std::size_t missing = writer.bytes.size() < maximum ? below(2) * 5 : 0;
            for (const LogLine& line : follower.Next({writer.bytes.data(), writer.bytes.size() - missing})) {
                if (line.kind != Kind::Note) followed.push_back(line.text);
            }
        }
        EXPECT_GT(followed.size(), 2490u);
        written.resize(std::min(written.size(), followed.size()));
        EXPECT_EQ(followed, written) << maximum << "/" << rewind;
    }
}

TEST(LogText, OddFilesAreReadAsFarAsTheyTell) {
    const struct {
        const char* name;
        std::string bytes, picture;
    } cases[] = {
        {"empty", "", ""},
        {"no stamps", "one||two|", "Cone|C|Ctwo|"},
        {"crash in mid-line", "10.000 one|10.5", "Rone|C~10.5|"},
        {"equal stamps", "80.000 h|80.000 i<=n|85.000 o|90.000 p>", "Rh|R~i|<Xn|Ro|Rp|>Rn1|Rn2|"},
        {"torn stamp", "80.000 h|<=5.000 rest|85.000 old|>", "Rh|<X5.000 rest|Rold|>Rn1|Rn2|"},
        {"leftovers of older rounds", "80.000 h|<=85.000 o>st|82.000 p|>", "Rh|<Xst|Rp|<Ro|>Rn1|Rn2|"},
        {"rewound to the start", "<=85.000 old|>", "<Rold|>Rn1|Rn2|"},
        {"marker in a message", "80.000 h>81.000 i|", "Rh|C***** REWINDING! *****|Ri|"},
        {"stopped after the marker", "80.000 h|81.000 i|>", "Rh|Ri|"},
        {"stopped in the banner", "80.000 h|81.0||******t|82.000 i|>", "Rh|C81.0|C|C******t|Ri|"},
        {"damaged banner", "80.000 h|####|=85.000 old|>", "Rh|C####|<Rold|<Rn1|Rn2|"},
        {"message quotes a log", "80.000 h|81.000 i|80.500 q|82.000 j|", "Rh|Ri|C80.500 q|Rj|"},
        {"rewound without stamps", "head|he<new|rn|old|>", "Chead|C~he|?Cnew|Crn|Cold|C|"},
        {"junk", "8.000 \0b|\xFF\n99999999999999999999.000 x\n"s, "R\0b|C\xFF|C99999999999999999999.000 x|"s},
    };
    for (const auto& test : cases)
        EXPECT_EQ(Picture(Expand(test.bytes)), test.picture) << test.name;
}

TEST(LogText, LinesAreShownInLocalTimeWithWhatIsMissingMarked) {
    const LogLine record{Kind::Record, 1794679831045, false, "text"};
    EXPECT_EQ(Display(record, false, 60), "2026-11-14 19:10:31.045 text");
    EXPECT_EQ(Display(record, false, -19 * 60), "2026-11-13 23:10:31.045 text");
    EXPECT_EQ(Display(record, true, 60), "1794679831.045 text");
    EXPECT_EQ(Display({Kind::Cut, 5, true, "rest"}, true, 0), "... rest ...");
    EXPECT_EQ(Display({Kind::Continuation, 5, false, "a\0\0\x1B[b\tc"s}, true, 0), "a<00 x2><1B>[b\tc");
    EXPECT_EQ(Display({Kind::Note, 5, false, "gone"}, false, 0), "--- gone ---");
}
