// What readers of others say of the archives is tests/system/support_bundle.py.

#include "tools/norvik/Zip.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <stdexcept>

// Noise, which gets longer than the writer's buffer.
TEST(Zip, WhatIsPackedComesBackWhole) {
    std::mt19937 random(1);
    for (const std::size_t size : {0, 1, 65'536, 200'000}) {
        std::string bytes, archive, back(size + 1, '\0');
        for (std::size_t i = 0; i < size; ++i)
            bytes += static_cast<char>(random());
        NorvikTool::ZipWriter zip([&](std::string_view piece) { archive += piece; });
        zip.Add("n", bytes, {});
        zip.Finish();
        constexpr std::size_t behindHeader = 30 + 1;
        z_stream stream = {};
        ASSERT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
        stream.next_in = reinterpret_cast<Bytef*>(archive.data() + behindHeader);
        stream.avail_in = static_cast<uInt>(archive.size() - behindHeader);
        stream.next_out = reinterpret_cast<Bytef*>(back.data());
        stream.avail_out = static_cast<uInt>(back.size());
        EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
        EXPECT_TRUE(back.substr(0, stream.total_out) == bytes) << size;
        inflateEnd(&stream);
    }
}

TEST(Zip, WhatTheFormatCannotHoldIsRefusedBeforeAnythingIsWritten) {
    std::size_t written = 0;
    NorvikTool::ZipWriter zip([&](std::string_view bytes) { written += bytes.size(); });
    const char byte = 0;
    // Refused by its length; the bytes are not there.
    EXPECT_THROW(zip.Add("big.dmp", {&byte, std::size_t{1} << 32}, {}), std::runtime_error);
    EXPECT_THROW(zip.Add(std::string(65'536, 'n'), "", {}), std::runtime_error);
    EXPECT_EQ(written, 0u);
}
