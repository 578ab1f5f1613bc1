// A rotating log file: what stands in it against a writer into memory by the rule, and what the tool reads from it.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <utility>

#include "JRCmn/Cmn_LogFile.h"
#include "JRCmn/Internal/Cmn_RewindRule.h"
#include "fuzz/FuzzTarget.h"
#include "tools/norvik/LogText.h"

using namespace NorvikLibInternal;
using namespace NorvikTool;
using Texts = std::vector<std::string>;

namespace {

// Remembers of every byte which line it belongs to.
struct Writer {
    const std::size_t maximum, rewind;
    std::string bytes{};
    Texts lines{""};  // as far as every byte is still there; the first owns what is no line
    std::vector<std::size_t> owners{};
    std::size_t position = 0;

    void RewindWhenDue() {
        if (!MustRewind(position, maximum)) return;
        Put(kLogRewindMarker, 0);
        position = RewindOffset(maximum, rewind);
        Put(kLogTruncatedBanner, 0);
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

// A file of this process, removed at its end.
struct TempFile {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("norvik-rewind-" + std::to_string(std::random_device()()));
    ~TempFile() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
};

std::string Content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Where a record of several lines meets a seam it is unclear what its lines continue: they may be shown as cut, but none
// is lost, and what is shown as certain stands in order.
void CheckReading(const Writer& writer, bool hasLongRecords) {
    Texts certain, shown, surviving = writer.lines;
    std::erase(surviving, "");
    for (const LogLine& line : ReadLog(writer.bytes)) {
        if (line.kind == LogLine::Kind::Note || line.unfinished) continue;
        shown.push_back(line.text);
        if (line.kind != LogLine::Kind::Cut) certain.push_back(line.text);
    }
    if (!hasLongRecords) SAME(certain, surviving);
    SAME(std::ranges::is_sorted(certain) && std::ranges::includes(surviving, certain), true);
    for (const std::string& line : surviving)
        SAME(std::ranges::count(shown, line), 1);
}

}  // namespace

FUZZ_TARGET(LogRewind) {
    static const TempFile temp;
    Writer writer{1'000 + input.Below(1'000), 84 + input.Below(2'000)};
    Cmn_LogFile log(temp.path.string(), writer.maximum, writer.rewind);
    LogFollower follower;
    Texts written, followed;
    // In a round of few records, lines of one of several may be overwritten before it is clear that they are its own.
    const std::size_t round = std::min(writer.rewind, writer.maximum);
    const std::uint32_t mostLines = round > 1'300 ? 1 + 3 * input.Below(2) : 1;
    std::size_t unseen = 0;
    // Each record is later than the one before: nothing else tells a torn old line from a new one.
    for (std::int64_t stamp = 1'763'143'831'000; !input.IsEmpty() && written.size() < 200;
         stamp += 1 + input.Below(3)) {
        std::string start = std::to_string(stamp) + " ", record;
        start.insert(start.size() - 4, ".");
        writer.RewindWhenDue();
        for (std::uint32_t lines = 1 + input.Below(mostLines); lines > 0; --lines) {
            std::string line =
                std::to_string(10'000 + written.size()) + std::string(input.Below(60), "abc"[stamp % 3]);
            if (input.Below(8) == 0) line += " 12.345 volts";
            written.push_back(line);
            writer.lines.push_back(line);
            start += line;
            writer.Put(start + "\r\n", writer.lines.size() - 1);
            record += start + "\n";
            start.clear();
        }
        log.WriteWithoutTimeStamp(record.data());
        unseen += record.size();
        // A follower has to look some times in each round.
        if (round > 1'300 && unseen < round / 4 && input.Below(4)) continue;
        unseen = 0;
        CheckReading(writer, mostLines > 1);
        for (const LogLine& each : follower.Next(writer.bytes))
            if (each.kind != LogLine::Kind::Note) followed.push_back(each.text);
        SAME(followed.size() <= written.size() &&
                 std::equal(followed.begin(), followed.end(), written.begin()),
             true);
    }
    log.Flush();
    SAME(Content(temp.path), writer.bytes);
}
