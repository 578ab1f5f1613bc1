#include "tools/norvik/LogText.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "JRCmn/Internal/Cmn_RewindRule.h"

namespace NorvikTool {

const char* const cNoteOverwritten = "older lines were overwritten here";
const char* const cNoteRewound = "the file was rewound here";
const char* const cNoteUnordered =
    "the file was rewound here; of the lines below, which have no time, the first are newest";

namespace {

// The marker has an empty line's end before it, which may have been overwritten without it.
constexpr std::string_view cMarker = NorvikLibInternal::kLogRewindMarker.substr(2, 22);
static_assert(cMarker.starts_with('*') && cMarker.ends_with('*'));

constexpr std::int64_t cEndOfTime = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t cUsualDigits = 10;  // of the seconds, from 2001 to 2286
constexpr std::size_t cMostDigits = 11;

// ---- Lines of the file

struct Stamp {
    std::int64_t value;
    std::size_t digits;  // of the seconds
    std::size_t length;  // with the blank
};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::optional<Stamp> ParseStamp(std::string_view line) {
    std::size_t digits = 0;
    std::int64_t value = 0;
    for (; digits < line.size() && digits <= cMostDigits && IsDigit(line[digits]); ++digits)
        value = value * 10 + (line[digits] - '0');
    if (digits == 0 || digits > cMostDigits || line.size() < digits + 5) return {};
    if (line[digits] != '.' || line[digits + 4] != ' ') return {};
    for (std::size_t i = digits + 1; i < digits + 4; ++i) {
        if (!IsDigit(line[i])) return {};
        value = value * 10 + (line[i] - '0');
    }
    return Stamp{value, digits, digits + 5};
}

struct FileLine {
    std::string_view whole;
    std::size_t stampLength = 0;
    std::int64_t stamp = cNoStamp;
    bool finished = true;

    bool IsStamped() const { return stamp != cNoStamp; }
    bool IsMarker() const { return !IsStamped() && whole == cMarker; }
};
using FileLines = std::vector<FileLine>;

FileLines SplitLines(std::string_view bytes) {
    FileLines lines;
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        FileLine line;
        line.finished = end != std::string_view::npos;
        line.whole = bytes.substr(0, end);
        bytes.remove_prefix(line.finished ? end + 1 : bytes.size());
        if (!line.whole.empty() && line.whole.back() == '\r') line.whole.remove_suffix(1);
        lines.push_back(line);
    }
    return lines;
}

// The text between banners. The first chunk is the head of the file (empty when the file is rewound to its
// start), every other one begins with the lines written after a rewind.
std::vector<FileLines> SplitAtBanners(std::string_view bytes) {
    std::vector<FileLines> chunks;
    for (;;) {
        const std::size_t banner = bytes.find(NorvikLibInternal::kLogTruncatedBanner);
        chunks.push_back(SplitLines(bytes.substr(0, banner)));
        if (banner == std::string_view::npos) return chunks;
        bytes.remove_prefix(banner + NorvikLibInternal::kLogTruncatedBanner.size());
    }
}

// Reads the stamps. What looks like a stamp but is older than the head of the file, or shorter than its
// stamps, is the torn rest of one, or a number in a message.
void ReadStamps(std::vector<FileLines>& chunks) {
    std::optional<Stamp> first;
    std::int64_t lowest = 0;
    for (std::size_t chunk = 0; chunk < chunks.size(); ++chunk) {
        for (FileLine& line : chunks[chunk]) {
            const std::optional<Stamp> stamp = ParseStamp(line.whole);
            if (!stamp) continue;
            if (!first) {
                first = stamp;
                if (chunk == 0) lowest = stamp->value;
            }
            if (stamp->value < lowest || stamp->digits < first->digits ||
                stamp->digits > std::max(first->digits, cUsualDigits))
                continue;
            line.stamp = stamp->value;
            line.stampLength = stamp->length;
        }
    }
}

// ---- Pieces: what was written in one go

struct Piece {
    std::vector<LogLine> lines;
    std::int64_t first = cNoStamp;  // stamps of its first and last line
    std::int64_t last = cNoStamp;
    bool isHead = false;
    bool isNewest = false;  // begins after a banner
    bool endsAtMarker = false;
    bool isUnordered = false;  // after a rewind, without any stamp
};

// Indices into the lines of a chunk: the first and last stamped line of each piece in it.
struct Span {
    std::size_t first;
    std::size_t last;
};

// Finds where one piece ends and an older one begins: the stamps fall, and do not come back to where they
// were. When they do come back, or when the chunk holds text of one round only, a lower stamp is text: a
// message quotes a log.
std::vector<Span> FindSpans(FileLines& lines, bool severalRounds) {
    std::vector<std::int64_t> highestAfter(lines.size(), cNoStamp);
    for (std::size_t i = lines.size(); i-- > 1;)
        highestAfter[i - 1] = std::max(highestAfter[i], lines[i].stamp);

    std::vector<Span> spans;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        FileLine& line = lines[i];
        if (!line.IsStamped()) continue;
        const std::int64_t highest = spans.empty() ? cNoStamp : lines[spans.back().last].stamp;
        if (line.stamp >= highest && !spans.empty()) {
            spans.back().last = i;
        } else if (spans.empty() || (severalRounds && highestAfter[i] <= highest)) {
            spans.push_back({i, i});
        } else {
            line.stamp = cNoStamp;
            line.stampLength = 0;
        }
    }
    return spans;
}

// When the stamps of a whole chunk are equal, nothing falls at the seam. Lines older than the newest ones are
// there if the marker is; the first line without a stamp is then the torn rest between them.
void SplitAtEqualStamps(const FileLines& lines, std::vector<Span>& spans) {
    if (spans.size() != 1 || lines[spans[0].first].stamp != lines[spans[0].last].stamp) return;
    if (std::none_of(lines.begin(), lines.end(), [](const FileLine& line) { return line.IsMarker(); }))
        return;
    const Span all = spans[0];
    std::size_t torn = all.first;
    while (torn < all.last && lines[torn].IsStamped())
        ++torn;
    if (torn == all.last) return;
    std::size_t next = torn;
    while (!lines[next].IsStamped())
        ++next;
    spans = {{all.first, torn - 1}, {next, all.last}};
}

void AddLine(Piece& piece, const FileLine& line, LogLine::Kind kind, std::int64_t stamp) {
    // Cut remains of a marker are not worth showing.
    if (kind == LogLine::Kind::Cut && cMarker.ends_with(line.whole)) return;
    piece.lines.push_back({kind, stamp, !line.finished, std::string(line.whole.substr(line.stampLength))});
}

// Builds the pieces of one chunk.
class ChunkReader {
public:
    ChunkReader(FileLines& lines, bool isHead, bool severalRounds)
        : mLines(lines),
          mIsHead(isHead),
          mSeveralRounds(severalRounds),
          mSpans(FindSpans(lines, severalRounds)) {
        if (!isHead) SplitAtEqualStamps(lines, mSpans);
    }

    std::vector<Piece> Read() {
        if (mSpans.empty()) {
            AddUnstamped();
            return std::move(mPieces);
        }
        std::size_t begin = 0;
        for (std::size_t s = 0; s < mSpans.size(); ++s) {
            mPieces.emplace_back();
            AddStamped(begin, mSpans[s], s == 0);
            begin = CloseAtSeam(s);
        }
        return std::move(mPieces);
    }

private:
    void AddUnstamped() {
        if (mLines.empty()) return;
        Piece piece;
        piece.isHead = mIsHead;
        piece.isNewest = piece.isUnordered = !mIsHead;
        // Nothing tells when these were written; the head is oldest, the rest is shown last.
        piece.first = piece.last = mIsHead ? cNoStamp : cEndOfTime;
        for (std::size_t i = 0; i < mLines.size(); ++i) {
            if (mIsHead || !mLines[i].IsMarker())
                AddLine(piece, mLines[i], LogLine::Kind::Continuation, cNoStamp);
        }
        mPieces.push_back(std::move(piece));
    }

    // Lines from `begin` to the end of the span: what stands before the first stamp lost its record.
    void AddStamped(std::size_t begin, const Span& span, bool isFirst) {
        Piece& piece = mPieces.back();
        piece.isHead = mIsHead && isFirst;
        piece.isNewest = !mIsHead && isFirst;
        piece.first = mLines[span.first].stamp;
        piece.last = mLines[span.last].stamp;
        for (std::size_t i = begin; i < span.first; ++i) {
            if (piece.isHead)
                AddLine(piece, mLines[i], LogLine::Kind::Continuation, cNoStamp);
            else
                AddLine(piece, mLines[i], LogLine::Kind::Cut, piece.first);
        }
        std::int64_t stamp = piece.first;
        for (std::size_t i = span.first; i <= span.last; ++i) {
            const bool stamped = mLines[i].IsStamped();
            if (stamped) stamp = mLines[i].stamp;
            AddLine(piece, mLines[i], stamped ? LogLine::Kind::Record : LogLine::Kind::Continuation, stamp);
        }
    }

    // The unstamped lines behind a span. Up to a marker they continue the piece, unless it is the newest one:
    // that ends before the marker, so torn rests of the round before stand there. Behind the marker, and
    // everywhere when there is none and an older piece follows, stands a torn rest. Returns where the next
    // piece begins.
    std::size_t CloseAtSeam(std::size_t s) {
        const std::size_t begin = mSpans[s].last + 1;
        const bool isLast = s + 1 == mSpans.size();
        const std::size_t end = isLast ? mLines.size() : mSpans[s + 1].first;
        const std::size_t marker = FindMarker(begin, end, isLast);
        if (marker == end) {
            if (isLast) Continue(begin, WithoutTornMarker(begin, end));
            return begin;
        }
        if (mPieces.back().isNewest) {
            AddFragment(begin, marker, true);
        } else {
            // The marker brings an empty line with it.
            const bool empty = marker > begin && mLines[marker - 1].whole.empty();
            Continue(begin, empty ? marker - 1 : marker);
            mPieces.back().endsAtMarker = true;
        }
        if (isLast) AddFragment(marker + 1, end, false);
        return marker + 1;
    }

    std::size_t FindMarker(std::size_t begin, std::size_t end, bool isLast) const {
        if (!mSeveralRounds) return end;
        std::size_t marker = begin;
        while (marker < end && !mLines[marker].IsMarker())
            ++marker;
        // The first marker of all is the end of the file; before other text it is part of a message.
        const bool isText = isLast && mPieces.back().isHead && marker + 1 != end;
        return isText ? end : marker;
    }

    void Continue(std::size_t begin, std::size_t end) {
        Piece& piece = mPieces.back();
        for (std::size_t i = begin; i < end; ++i)
            AddLine(piece, mLines[i], LogLine::Kind::Continuation, piece.last);
    }

    // Lines that lost their stamp, of a time before the piece in front of them.
    void AddFragment(std::size_t begin, std::size_t end, bool endsAtMarker) {
        const Piece& owner = mPieces.back();
        Piece fragment;
        fragment.first = fragment.last = owner.first;
        fragment.endsAtMarker = endsAtMarker;
        for (std::size_t i = begin; i < end; ++i)
            AddLine(fragment, mLines[i], LogLine::Kind::Cut, owner.first);
        if (!fragment.lines.empty()) mPieces.push_back(std::move(fragment));
    }

    // The newest lines may end inside the marker at the end of the file, which may have left others torn
    // before.
    std::size_t WithoutTornMarker(std::size_t begin, std::size_t end) const {
        if (!mSeveralRounds || !mPieces.back().isNewest) return end;
        while (end > begin && mLines[end - 1].finished && cMarker.ends_with(mLines[end - 1].whole))
            --end;
        return end;
    }

    FileLines& mLines;
    const bool mIsHead;
    const bool mSeveralRounds;
    std::vector<Span> mSpans;
    std::vector<Piece> mPieces;
};

// ---- Order

// Pieces come in the order of their bytes. Where stamps are equal: the head is the oldest, what follows a
// banner the newest, and of the others the one further back in the file is older.
std::vector<Piece> InOrder(std::vector<Piece> pieces) {
    std::reverse(pieces.begin(), pieces.end());
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) {
        const auto key = [](const Piece& p) {
            return std::make_tuple(p.first, p.last, p.isHead ? 0 : p.isNewest ? 2 : 1);
        };
        return key(a) < key(b);
    });
    return pieces;
}

const char* NoteBetween(const Piece* before, const Piece& after) {
    if (after.isUnordered) return cNoteUnordered;
    return before && before->endsAtMarker && after.isNewest ? cNoteRewound : cNoteOverwritten;
}

// Each piece is a stretch of the file's history, so one after the other would do. Merging by stamp also
// orders a file whose banner is damaged, where the head and the newest lines are one piece.
std::vector<LogLine> Merge(std::vector<Piece> pieces) {
    struct Entry {
        std::int64_t key;
        std::size_t piece;
        LogLine* line;
    };
    std::vector<Entry> entries;
    for (std::size_t p = 0; p < pieces.size(); ++p) {
        for (LogLine& line : pieces[p].lines)
            entries.push_back({pieces[p].isUnordered ? cEndOfTime : line.stamp, p, &line});
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::tie(a.key, a.piece) < std::tie(b.key, b.piece);
    });

    std::vector<LogLine> lines;
    lines.reserve(entries.size() + pieces.size());
    const Piece* before = nullptr;
    for (const Entry& entry : entries) {
        const Piece& piece = pieces[entry.piece];
        if (&piece != before && !(before == nullptr && piece.isHead))
            lines.push_back({LogLine::Kind::Note, entry.line->stamp, false, NoteBetween(before, piece)});
        before = &piece;
        lines.push_back(std::move(*entry.line));
    }
    return lines;
}

}  // namespace

std::vector<LogLine> ReadLog(std::string_view bytes) {
    std::vector<FileLines> chunks = SplitAtBanners(bytes);
    ReadStamps(chunks);
    // The head is text of one round, up to the banner. Without a banner, but with a marker, the writer was
    // stopped between the two, or the banner is damaged.
    const bool noBanner =
        chunks.size() == 1 &&
        std::any_of(chunks[0].begin(), chunks[0].end(), [](const FileLine& line) { return line.IsMarker(); });
    std::vector<Piece> pieces;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        for (Piece& piece : ChunkReader(chunks[i], i == 0, i > 0 || noBanner).Read())
            pieces.push_back(std::move(piece));
    }
    return Merge(InOrder(std::move(pieces)));
}

std::optional<std::int64_t> FirstStamp(std::string_view bytes) {
    const std::optional<Stamp> stamp = ParseStamp(bytes);
    return stamp ? std::optional(stamp->value) : std::nullopt;
}

std::vector<LogLine> LogFollower::Next(std::string_view bytes) {
    if (bytes.size() < mSize) *this = LogFollower();  // begun anew
    mSize = bytes.size();

    const bool first = mStamp < cNoStamp;
    std::size_t known = 0;  // lines with the last stamp that are already given out
    std::vector<LogLine> fresh;
    std::optional<LogLine> note;
    for (LogLine& line : ReadLog(bytes)) {
        if (line.kind == LogLine::Kind::Note) {
            note = std::move(line);
            // Without times nothing tells which lines are new; that is said once.
            if (!first && note->text == cNoteUnordered) {
                if (!mIsUnordered) fresh.push_back(*note);
                mIsUnordered = true;
                break;
            }
            mIsUnordered = mIsUnordered || note->text == cNoteUnordered;
            continue;
        }
        const bool isCut = line.kind == LogLine::Kind::Cut;
        const bool isNew = line.stamp > mStamp || (line.stamp == mStamp && !isCut && ++known > mLinesAtStamp);
        // Lines cut out of older text tell nothing new later on; the last line may still be growing.
        if (isNew && (first || !(isCut || line.unfinished))) {
            if (note) fresh.push_back(std::move(*note));
            fresh.push_back(std::move(line));
        }
        note.reset();
    }
    if (first && !fresh.empty() && fresh.back().unfinished) fresh.pop_back();
    Remember(fresh);
    return fresh;
}

void LogFollower::Remember(const std::vector<LogLine>& lines) {
    for (const LogLine& line : lines) {
        if (line.kind == LogLine::Kind::Note || line.kind == LogLine::Kind::Cut || line.stamp < mStamp)
            continue;
        if (line.stamp > mStamp) {
            mStamp = line.stamp;
            mLinesAtStamp = 0;
        }
        ++mLinesAtStamp;
    }
}

}  // namespace NorvikTool
