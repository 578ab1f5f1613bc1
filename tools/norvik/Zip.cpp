#include "tools/norvik/Zip.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace NorvikTool {
namespace {

constexpr std::uint64_t cTooLarge = 0xFFFF'FFFF;  // stands for a size in the 64-bit extension
constexpr std::uint64_t cTooMany = 0xFFFF;        // the same for a number of entries
constexpr std::uint64_t cVersion = 20;            // 2.0: deflate and folders
constexpr std::uint64_t cNameIsUtf8 = 1 << 11;
constexpr std::uint64_t cDeflate = 8;

void Append(std::string& bytes, std::uint64_t value, int count) {
    for (; count > 0; --count, value >>= 8)
        bytes += static_cast<char>(value & 0xFF);
}

// Without zlib's own header and checksum, as the archive has its own.
class Deflater {
public:
    Deflater() {
        if (deflateInit2(&mStream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                         Z_DEFAULT_STRATEGY) != Z_OK)
            throw std::runtime_error("there is no memory to compress with");
    }
    ~Deflater() { deflateEnd(&mStream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    std::string Run(std::string_view bytes) {
        std::string compressed;
        char buffer[65'536];
        // zlib asks for bytes that may be written, and leaves them alone.
        mStream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        mStream.avail_in = static_cast<uInt>(bytes.size());
        int result = Z_OK;
        while (result == Z_OK) {
            mStream.next_out = reinterpret_cast<Bytef*>(buffer);
            mStream.avail_out = sizeof buffer;
            result = deflate(&mStream, Z_FINISH);
            compressed.append(buffer, sizeof buffer - mStream.avail_out);
        }
        if (result != Z_STREAM_END) throw std::runtime_error("compressing failed");
        return compressed;
    }

private:
    z_stream mStream = {};
};

// Bytes 4 to 29 of a local header.
std::string Description(std::string_view name, std::string_view bytes, std::size_t compressed,
                        const ZipTime& time) {
    std::string text;
    Append(text, cVersion, 2);
    Append(text, cNameIsUtf8, 2);
    Append(text, cDeflate, 2);
    Append(text, time.hour << 11 | time.minute << 5 | time.second / 2, 2);
    Append(text, (std::max(time.year, 1980u) - 1980) << 9 | time.month << 5 | time.day, 2);
    Append(text, crc32_z(crc32(0, nullptr, 0), reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()),
           4);
    Append(text, compressed, 4);
    Append(text, bytes.size(), 4);
    Append(text, name.size(), 2);
    Append(text, 0, 2);
    return text;
}

}  // namespace

void ZipWriter::Write(std::string_view bytes) {
    mSink(bytes);
    mOffset += bytes.size();
}

void ZipWriter::Add(std::string_view name, std::string_view bytes, const ZipTime& time) {
    const std::string who(name);
    if (bytes.size() >= cTooLarge) throw std::runtime_error(who + " is too large for a zip archive (4 GiB)");
    if (name.size() > 0xFFFF) throw std::runtime_error("a name is too long for a zip archive");
    if (mEntries + 1 >= cTooMany) throw std::runtime_error("there are too many files for a zip archive");
    const std::string compressed = Deflater().Run(bytes);
    const std::string description = Description(name, bytes, compressed.size(), time);
    // The end record must still be reached, so the central headers count, too.
    const std::uint64_t end = mOffset + mCentral.size() + compressed.size() + 2 * name.size() + 30 + 46 + 22;
    if (end >= cTooLarge) throw std::runtime_error(who + " does not fit a zip archive any more (4 GiB)");

    mCentral += "PK\1\2";
    Append(mCentral, cVersion, 2);
    mCentral += description;
    for (const int count : {2, 2, 2, 4})  // no comment, first disk, no attributes
        Append(mCentral, 0, count);
    Append(mCentral, mOffset, 4);
    mCentral += name;
    ++mEntries;
    Write("PK\3\4" + description);
    Write(name);
    Write(compressed);
}

void ZipWriter::Finish() {
    std::string end = "PK\5\6";
    Append(end, 0, 4);
    Append(end, mEntries, 2);
    Append(end, mEntries, 2);
    Append(end, mCentral.size(), 4);
    Append(end, mOffset, 4);
    Append(end, 0, 2);
    Write(mCentral);
    Write(end);
}

}  // namespace NorvikTool
