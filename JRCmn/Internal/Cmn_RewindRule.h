#pragma once

// What the rotating log file writes when it rewinds, and where. Pure, so that the reader of log files shares it.
//
// Layout of a file that has rewound: the head up to the rewind offset | kLogTruncatedBanner | the newest lines | what is
// left of older lines | kLogRewindMarker. The file is never shortened.
//
// Threads: any.  Ownership, errors: none.  Units: bytes from the start of the file.

#include <cstdint>
#include <string_view>

namespace NorvikLibInternal {

// Written at the end that was reached.
inline constexpr std::string_view kLogRewindMarker = "\r\n***** REWINDING! *****\r\n";

// Written at the place that writing goes on from.
inline constexpr std::string_view kLogTruncatedBanner =
    "\r\n\r\n************************\r\n"
    "*  LOG FILE TRUNCATED  *\r\n"
    "************************\r\n\r\n";

static_assert(kLogRewindMarker.size() == 26 && kLogTruncatedBanner.size() == 84);

// A file may pass its maximum by the line that reaches it; the next line rewinds.
constexpr bool MustRewind(uint64_t written, uint64_t maximum) {
    return written > maximum;
}

constexpr uint64_t RewindOffset(uint64_t maximum, uint64_t rewindSize) {
    return rewindSize < maximum ? maximum - rewindSize : 0;
}

}  // namespace NorvikLibInternal
