// What readers of others say of the archives is tests/system/support_bundle.py.

#include "tools/norvik/Zip.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(Zip, WhatTheFormatCannotHoldIsRefusedBeforeAnythingIsWritten) {
    std::size_t written = 0;
    NorvikTool::ZipWriter zip([&](std::string_view bytes) { written += bytes.size(); });
    const char byte = 0;
    // Refused by its length; the bytes are not there.
    EXPECT_THROW(zip.Add("big.dmp", {&byte, std::size_t{1} << 32}, {}), std::runtime_error);
    EXPECT_THROW(zip.Add(std::string(65'536, 'n'), "", {}), std::runtime_error);
    EXPECT_EQ(written, 0u);
}
