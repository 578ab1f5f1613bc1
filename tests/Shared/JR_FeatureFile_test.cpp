#include "Shared/Internal/JR_FeatureFile.h"

#include <gtest/gtest.h>

namespace {

using namespace NorvikLibInternal;

TEST(JR_FeatureFile, AValueIsReadAsAStreamReadsABoolean) {
    const std::string cases[] = {"1", "0", " 1 \t", "01", "", "true", "1x", "0:1", "2", "-1", "0x1", "1\xFF"};
    std::string read;  // in capitals when it was not plainly 0 or 1
    for (const std::string& text : cases) {
        bool isClear = false;
        const bool value = ReadFeatureValue(text, isClear);
        read += value ? (isClear ? 'y' : 'Y') : (isClear ? 'n' : 'N');
    }
    EXPECT_EQ(read, "ynyyNNYNYYNY");
}

}  // namespace
