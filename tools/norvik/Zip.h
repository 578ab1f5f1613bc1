#pragma once

// Writes a zip archive, entry after entry, to whatever takes bytes. The compression is zlib's.
//
//   ZipWriter zip([&](std::string_view bytes) { file.Write(bytes); });
//   zip.Add("logs/Run #1 App - 01.log", bytes, {2026, 11, 21, 18, 59, 29});
//   zip.Finish();
//
// Layout (.ZIP File Format Specification, APPNOTE.TXT 6.3.10, PKWARE; little-endian, without its 64-bit extension):
//
//   for each entry: local header | name | compressed bytes      then, for each: central header | name      then: end record
//
//   local header, 30 bytes        central header, 46 bytes          end record, 22 bytes
//    0  4 signature "PK\3\4"       0  4 signature "PK\1\2"           0  4 signature "PK\5\6"
//    4  2 version to read it       4  2 version that wrote it        4  2 number of this disk
//    6  2 flags                    6  .. bytes 4 to 29 of the        6  2 disk of the central headers
//    8  2 method: 8 deflate            local header                  8  2 entries on this disk
//   10  2 time (h<<11 m<<5 s/2)   32  2 length of the comment       10  2 entries
//   12  2 date (y-1980<<9 m<<5 d) 34  2 number of its disk          12  4 bytes of the central headers
//   14  4 CRC-32                  36  2 internal attributes         16  4 offset of the central headers
//   18  4 compressed bytes        38  4 external attributes         20  2 length of the comment
//   22  4 bytes                   42  4 offset of the local header
//   26  2 length of the name
//   28  2 length of extra fields
//
// Threads:   one at a time
// Ownership: copies what it keeps; the sink must outlive it
// Errors:    what the format cannot hold (4 GiB in an entry or before one, 65,535 entries) is thrown as std::runtime_error
//            before anything of the entry is written; what the sink throws comes through
// Units:     bytes; times as they are to be shown, without a zone

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace NorvikTool {

struct ZipTime {
    unsigned year = 1980, month = 1, day = 1, hour = 0, minute = 0, second = 0;
};

class ZipWriter {
public:
    using Sink = std::function<void(std::string_view bytes)>;

    explicit ZipWriter(Sink sink) : mSink(std::move(sink)) {}

    // The name is UTF-8, with '/' between folders.
    void Add(std::string_view name, std::string_view bytes, const ZipTime& time);

    // Without it the archive cannot be read.
    void Finish();

private:
    void Write(std::string_view bytes);

    const Sink mSink;
    std::uint64_t mOffset = 0;
    std::uint64_t mEntries = 0;
    std::string mCentral;
};

}  // namespace NorvikTool
