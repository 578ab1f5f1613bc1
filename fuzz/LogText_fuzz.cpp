// Log files of any bytes, read whole and followed while they change.

#include "JRCmn/Internal/Cmn_RewindRule.h"
#include "fuzz/FuzzTarget.h"
#include "tools/norvik/LogText.h"

using namespace NorvikLibInternal;
using namespace NorvikTool;

FUZZ_TARGET(LogText) {
    const std::string_view kPieces[] = {"\r\n",
                                        "\n",
                                        "1763143831.000 a",
                                        "1763143831.001 b",
                                        "5.000 c",
                                        "80.000 d",
                                        "text",
                                        "1763143830.9",
                                        kLogRewindMarker,
                                        kLogTruncatedBanner,
                                        kLogRewindMarker.substr(3, 9)};
    std::string bytes;
    LogFollower follower;
    while (!input.IsEmpty() && bytes.size() < 2'000) {
        if (input.Below(8) == 0 && !bytes.empty())
            bytes.erase(input.Below(static_cast<std::uint32_t>(bytes.size())), input.Below(40));
        bytes += input.Below(8) ? std::string(input.OneOf(kPieces)) : input.Bytes(9);
        if (input.Below(4) == 0) follower.Next(bytes);
    }
    // No text appears that is not there, and stamps do not run back except where a note says so.
    std::size_t total = 0;
    std::int64_t last = cNoStamp;
    for (const LogLine& line : ReadLog(bytes)) {
        if (line.kind == LogLine::Kind::Note) {
            last = cNoStamp;
            continue;
        }
        total += line.text.size();
        SAME(line.text.empty() || bytes.find(line.text) != bytes.npos, true);
        SAME(line.stamp >= last, true);
        last = line.stamp;
    }
    SAME(total <= bytes.size(), true);
    const auto first = FirstStamp(bytes);
    SAME(!first || (bytes[0] >= '0' && bytes[0] <= '9'), true);
}
