#include "tools/norvik/LogText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "tools/norvik/LogFormat.h"

using namespace NorvikTool;
using namespace std::string_literals;

namespace {

const std::string cMarker = "\r\n***** REWINDING! *****\r\n";
const std::string cBanner =
    "\r\n\r\n************************\r\n*  LOG FILE TRUNCATED  *\r\n************************\r\n\r\n";

// Writes into a buffer by the rule of the log file, and remembers of every byte which line it belongs to.
class Writer {
public:
    Writer(std::size_t maximum, std::size_t rewind) : mMaximum(maximum), mRewind(rewind) {}

    // One write of a stamped line and its continuation lines.
    void Write(std::int64_t stamp, const std::vector<std::string>& lines) {
        if (mPosition > mMaximum) {
            Put(cMarker, 0);
            mPosition = mRewind < mMaximum ? mMaximum - mRewind : 0;
            Put(cBanner, 0);
        }
        for (std::size_t i = 0; i < lines.size(); ++i) {
            char text[40] = "";
            if (i == 0) std::snprintf(text, sizeof text, "%d.%03d ", int(stamp / 1000), int(stamp % 1000));
            mLines.push_back(lines[i]);
            mSizes.push_back(lines[i].size() + std::string(text).size() + 2);
            Put(text + lines[i] + "\r\n", mLines.size());
        }
    }

    // The lines of which every byte is still there, in the order of writing.
    std::vector<std::string> Surviving() const {
        std::vector<std::size_t> left(mLines.size() + 1, 0);
        for (const std::size_t owner : mOwners)
            ++left[owner];
        std::vector<std::string> lines;
        for (std::size_t i = 0; i < mLines.size(); ++i) {
            if (left[i + 1] == mSizes[i]) lines.push_back(mLines[i]);
        }
        return lines;
    }

    std::string bytes;

private:
    void Put(const std::string& text, std::size_t owner) {
        bytes.resize(std::max(bytes.size(), mPosition + text.size()));
        mOwners.resize(bytes.size());
        std::copy(text.begin(), text.end(), bytes.begin() + mPosition);
        std::fill_n(mOwners.begin() + mPosition, text.size(), owner);
        mPosition += text.size();
    }

    const std::size_t mMaximum, mRewind;
    std::size_t mPosition = 0;
    std::vector<std::size_t> mOwners;
    std::vector<std::string> mLines;
    std::vector<std::size_t> mSizes;
};

std::vector<std::string> WholeLines(const std::vector<LogLine>& lines, bool withCut) {
    std::vector<std::string> texts;
    for (const LogLine& line : lines) {
        if (line.kind == LogLine::Kind::Note || line.unfinished) continue;
        if (line.kind != LogLine::Kind::Cut || withCut) texts.push_back(line.text);
    }
    return texts;
}

class Random {
public:
    explicit Random(unsigned seed) : mEngine(seed) {}
    int Below(int n) { return static_cast<int>(mEngine() % static_cast<unsigned>(n)); }

    // Unique, of random length, sometimes with what looks like a stamp inside.
    std::string Line() {
        std::string text = "line " + std::to_string(mNext++) + " ";
        for (int i = Below(60); i > 0; --i)
            text += static_cast<char>('a' + Below(26));
        return Below(8) == 0 ? text + " 12.345 volts" : text;
    }

private:
    std::mt19937 mEngine;
    int mNext = 0;
};

// All lines of ReadLog, one a line, as a short picture: R record, C continuation, X cut, - note, ~
// unfinished.
std::string Picture(const std::string& bytes) {
    std::string picture;
    for (const LogLine& line : ReadLog(bytes)) {
        picture += "RCX-"[static_cast<int>(line.kind)];
        picture += (line.unfinished ? "~" : "") + line.text + "\n";
    }
    return picture;
}

const std::string cOverwritten = std::string("-") + cNoteOverwritten + "\n";
const std::string cRewound = std::string("-") + cNoteRewound + "\n";

}  // namespace

TEST(LogText, SurvivingLinesComeOnceInWritingOrderWhereverTheWriterStands) {
    const struct {
        std::size_t maximum, rewind;
        std::int64_t start;
        int longestGap;
    } cases[] = {
        {3000, 1500, 1763143831000, 3}, {3000, 2900, 1763143831000, 3},  {3000, 200, 1763143831000, 20},
        {2000, 2000, 1763143831000, 2}, {1000, 4000, 1763143831000, 40}, {2500, 1200, 5000000, 900},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.maximum << "/" << test.rewind);
        Random random(7);
        Writer writer(test.maximum, test.rewind);
        std::int64_t stamp = test.start;
        for (int i = 0; i < 2500; ++i) {
            writer.Write(stamp += random.Below(test.longestGap), {random.Line()});
            ASSERT_EQ(WholeLines(ReadLog(writer.bytes), false), writer.Surviving()) << "after line " << i;
        }
    }
}

// Where a record of several lines meets a seam it is unclear what its lines continue: they may be shown as
// cut, but none is lost, and what is shown as certain stands in order.
TEST(LogText, LinesWithoutStampsAreNeverLostOrTakenForNewerOnes) {
    Random random(3);
    Writer writer(4000, 2500);
    std::int64_t stamp = 1763143831000;
    for (int i = 0; i < 2500; ++i) {
        std::vector<std::string> record(1 + random.Below(4));
        for (std::string& line : record)
            line = random.Line();
        writer.Write(stamp += random.Below(4), record);

        const std::vector<LogLine> lines = ReadLog(writer.bytes);
        const std::vector<std::string> surviving = writer.Surviving(), shown = WholeLines(lines, true);
        const std::multiset<std::string> all(shown.begin(), shown.end());
        for (const std::string& line : surviving)
            ASSERT_EQ(all.count(line), 1u) << line << " after " << i;
        auto place = surviving.begin();
        for (const std::string& line : WholeLines(lines, false)) {
            place = std::find(place, surviving.end(), line);
            ASSERT_NE(place, surviving.end()) << line << " after " << i;
        }
    }
}

TEST(LogText, FollowerGivesEveryLineOnceThroughRewinds) {
    Random random(11);
    Writer writer(3000, 1500);
    LogFollower follower;
    std::vector<std::string> written, given;
    int notes = 0, untilSnapshot = 1;
    std::int64_t stamp = 1763143831000;
    for (int i = 0; i < 1500; ++i) {
        written.push_back(random.Line());
        writer.Write(stamp += random.Below(3), {written.back()});
        if (--untilSnapshot > 0) continue;
        untilSnapshot = 1 + random.Below(8);
        // A snapshot in the middle of a write, where the file still grows.
        const bool torn = writer.bytes.size() < 2500 && random.Below(2) == 0;
        for (const LogLine& line :
             follower.Next(std::string_view(writer.bytes).substr(0, writer.bytes.size() - (torn ? 5 : 0)))) {
            if (line.kind == LogLine::Kind::Note)
                ++notes;
            else
                given.push_back(line.text);
        }
    }
    written.resize(std::min(written.size(), given.size()));
    EXPECT_EQ(given, written);
    EXPECT_GT(given.size(), 1480u);
    EXPECT_GT(notes, 20);
}

TEST(LogText, OddFilesAreReadAsFarAsTheyTell) {
    const std::string newest = "90.000 new 1\r\n90.000 new 2\r\n";
    const struct {
        const char* name;
        std::string bytes, picture;
    } cases[] = {
        {"empty", "", ""},
        {"no stamps", "one\r\n\r\ntwo\r\n", "Cone\nC\nCtwo\n"},
        {"crash in mid-line", "10.000 one\r\n10.5", "Rone\nC~10.5\n"},
        {"equal stamps across the seam",
         "80.000 h\r\n80.000 he" + cBanner + newest + "rn\r\n85.000 old\r\n90.000 o" + cMarker,
         "Rh\nR~he\n" + cOverwritten + "Xrn\nRold\nRo\n" + cRewound + "Rnew 1\nRnew 2\n"},
        {"torn stamp", "80.000 h\r\n" + cBanner + newest + "5.000 rest\r\n85.000 old\r\n" + cMarker,
         "Rh\n" + cOverwritten + "X5.000 rest\nRold\n" + cRewound + "Rnew 1\nRnew 2\n"},
        {"leftovers of an older round",
         "80.000 h\r\n" + cBanner + newest + "85.000 old\r\n" + cMarker + "st\r\n82.000 older\r\n" + cMarker,
         "Rh\n" + cOverwritten + "Xst\nRolder\n" + cOverwritten + "Rold\n" + cRewound + "Rnew 1\nRnew 2\n"},
        {"rewound to the start", cBanner + newest + "85.000 old\r\n" + cMarker,
         cOverwritten + "Rold\n" + cRewound + "Rnew 1\nRnew 2\n"},
        {"marker in a message", "80.000 h\r\n***** REWINDING! *****\r\n81.000 i\r\n",
         "Rh\nC***** REWINDING! *****\nRi\n"},
        {"stopped after the marker", "80.000 h\r\n81.000 i\r\n" + cMarker, "Rh\nRi\n"},
        {"stopped in the banner", "80.000 h\r\n81.0" + cBanner.substr(0, 20) + "t\r\n82.000 i\r\n" + cMarker,
         "Rh\nC81.0\nC\nC****************t\nRi\n"},
        {"damaged banner",
         "80.000 h\r\n" + std::string(84, '#') + "\r\n" + newest + "85.000 old\r\n" + cMarker,
         "Rh\nC" + std::string(84, '#') + "\n" + cOverwritten + "Rold\n" + cOverwritten + "Rnew 1\nRnew 2\n"},
        {"message that quotes a log", "80.000 h\r\n81.000 i\r\n80.500 quoted\r\n82.000 j\r\n",
         "Rh\nRi\nC80.500 quoted\nRj\n"},
        {"rewound without stamps", "head\r\nhe" + cBanner + "new\r\nrn\r\nold\r\n" + cMarker,
         "Chead\nC~he\n-" + std::string(cNoteUnordered) + "\nCnew\nCrn\nCold\nC\n"},
        {"junk", "80.000 a\0\0b\r\n\xFF\x01\n\n99999999999999999999.000 x\n"s,
         "Ra\0\0b\nC\xFF\x01\nC\nC99999999999999999999.000 x\n"s},
    };
    for (const auto& test : cases)
        EXPECT_EQ(Picture(test.bytes), test.picture) << test.name;
}

TEST(LogText, LinesAreShownInLocalTimeWithWhatIsMissingMarked) {
    using Kind = LogLine::Kind;
    const LogLine record{Kind::Record, 1794679831045, false, "text"};
    EXPECT_EQ(Display(record, false, 60), "2026-11-14 19:10:31.045 text");
    EXPECT_EQ(Display(record, false, -19 * 60), "2026-11-13 23:10:31.045 text");
    EXPECT_EQ(Display(record, true, 60), "1794679831.045 text");
    EXPECT_EQ(Display({Kind::Cut, 5, true, "rest"}, true, 0), "... rest ...");
    EXPECT_EQ(Display({Kind::Continuation, 5, false, "a\0\0\x1B[b\tc"s}, true, 0), "a<00 x2><1B>[b\tc");
    EXPECT_EQ(Display({Kind::Note, 5, false, "gone"}, false, 0), "--- gone ---");
}

TEST(LogText, FileNamesAreTakenApart) {
    const struct {
        const char* text;
        std::uint64_t run;
        const char* name;
        unsigned subRun;
        bool valid;
    } cases[] = {
        {"Run #12 App - 01.log", 12, "App", 1, true},
        {"Run #3 My - App - 2 - 11.log", 3, "My - App - 2", 11, true},
        {"Run #12 App - 01.log.old", 0, "", 0, false},
        {"Run #x App - 01.log", 0, "", 0, false},
        {"Run #12 App.log", 0, "", 0, false},
        {"Run #.log", 0, "", 0, false},
        {"Run #99999999999999999999 A - 01.log", 0, "", 0, false},
    };
    for (const auto& test : cases) {
        const auto name = ParseLogFileName(test.text);
        ASSERT_EQ(name.has_value(), test.valid) << test.text;
        if (!name) continue;
        EXPECT_EQ(name->run, test.run);
        EXPECT_EQ(name->name, test.name);
        EXPECT_EQ(name->subRun, test.subRun);
    }
}
