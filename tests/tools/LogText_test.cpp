#include "tools/norvik/LogText.h"

#include <gtest/gtest.h>

#include "JRCmn/Internal/Cmn_RewindRule.h"
#include "tools/norvik/LogFormat.h"

using namespace NorvikLibInternal;
using namespace NorvikTool;
using namespace std::string_literals;
using Kind = LogLine::Kind;

namespace {

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
