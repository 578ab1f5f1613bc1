#pragma once

// Reads the bytes of a log file into lines in the order in which they were written, also when the file was
// rewound.
//
//   for (const LogLine& line : ReadLog(bytes)) Use(line);
//
// Layout of a log file. Each line begins with a stamp ("1763143831.123 ") and ends in CR LF; lines without a
// stamp continue the one before. A file that has passed its maximum gets a marker line at its end, and the
// writer jumps back to a fixed offset, writes a banner there and goes on over the old text. The file is never
// shortened, so after some rounds it holds, in the order of its bytes:
//
//   head | banner | newest lines | torn rest of an old line, old lines | marker | leftovers of older rounds,
//   marker ...
//
// Each part was written in one go, and stamps never run back while a file is written. So the parts can be
// told apart where a stamp is lower than one before it, and their stamps put them into order. No byte tells
// where the newest line ends and the torn rest of an old one begins: lines without a stamp at such a seam are
// shown as cut, belonging to nothing.
//
// Threads:   any; each object belongs to one thread at a time
// Ownership: results own their texts
// Errors:    none: any bytes give lines. What is unclear is shown as cut, never guessed.
// Units:     stamps in milliseconds since 1970 (UTC)

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace NorvikTool {

constexpr std::int64_t cNoStamp = -1;

struct LogLine {
    enum class Kind {
        Record,        // begins with its own stamp
        Continuation,  // has none: more text of the record before it
        Cut,           // has lost its beginning, or stands where it is unclear what it continues
        Note,          // not from the file: says what happened between the lines around it
    };
    Kind kind = Kind::Record;
    std::int64_t stamp = cNoStamp;  // of its record; of the line after it, when cut
    bool unfinished = false;        // its end is missing: overwritten, or not yet written
    std::string text;               // without stamp and line end

    bool operator==(const LogLine&) const = default;
};

// The notes that ReadLog puts between lines.
extern const char* const cNoteOverwritten;
extern const char* const cNoteRewound;
extern const char* const cNoteUnordered;

// All lines of a file, oldest first. A file rewound while stamps were switched off cannot be ordered: its
// lines come in the order of the bytes, after a note.
std::vector<LogLine> ReadLog(std::string_view bytes);

// The stamp with which a file begins: when its log was begun. Nothing when it does not begin with one.
std::optional<std::int64_t> FirstStamp(std::string_view bytes);

// Follows a file that is being written, from one snapshot of its bytes to the next.
class LogFollower {
public:
    // The lines that are new since the last call, each once, through rewinds; the first call gives all there
    // are. A line without its end, and lines of which it is not clear yet whether they are new, wait for a
    // later call.
    std::vector<LogLine> Next(std::string_view bytes);

private:
    void Remember(const std::vector<LogLine>& lines);

    std::int64_t mStamp = cNoStamp - 1;  // of the newest line that was given out
    std::size_t mLinesAtStamp = 0;       // how many lines with this stamp were given out
    std::size_t mSize = 0;
    bool mIsUnordered = false;
};

}  // namespace NorvikTool
