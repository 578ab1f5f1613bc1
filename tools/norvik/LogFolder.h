#pragma once

// The log files of a folder, and reading them while programs write them.
//
//   for (const LogFile& file : ListLogs(folder)) Use(file, ReadBytes(file.path));
//
// Threads:   any
// Ownership: results own their texts; no file stays open
// Errors:    what cannot be read is thrown as std::runtime_error that names the file; TryReadBytes gives nothing instead
// Units:     milliseconds since 1970 (UTC), zone offsets in minutes east of UTC

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/norvik/LogFormat.h"

namespace NorvikTool {

struct LogFile {
    std::string path;
    std::string fileName;
    std::optional<LogFileName> name;  // nothing when the file is not named as a log of a run
    std::uint64_t size = 0;
    bool beginsWithStamp = false;
    std::int64_t begun = 0;    // its first stamp; without one, when it was last written
    std::int64_t written = 0;  // when it was last written, as the file system says
};

// The files of all runs in a folder, the one begun last first. Run numbers start again at 1 after the
// highest, so they do not tell the order.
std::vector<LogFile> ListLogs(const std::string& folder);

// A single file, whatever its name.
std::optional<LogFile> FindLog(const std::string& path);

// Everything in a file. Neither keeps others from writing, renaming or deleting it.
std::string ReadBytes(const std::string& path);
std::optional<std::string> TryReadBytes(const std::string& path);

// The zone of this machine at a given time, with its summer time.
int ZoneOffsetAt(std::int64_t stamp);

}  // namespace NorvikTool
