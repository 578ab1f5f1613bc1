#include "Shared/Internal/JR_FeatureFile.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using namespace NorvikLibInternal;
using Lines = std::vector<std::string>;

// The whole file at once; the byte-order mark counts for the length of the first line.
Lines Model(const std::string& bytes) {
    Lines lines;
    for (std::size_t start = 0; start < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', start), bytes.size());
        std::string line = bytes.substr(start, std::min(end - start, cLongestFeatureLine));
        if (start == 0 && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
        if (line.ends_with('\r')) line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

TEST(JR_FeatureFile, RandomFilesAreReadAsTheModelReadsThem) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        std::string bytes(random() % 3 == 0 ? "\xEF\xBB\xBF" : "");
        for (auto pieces = random() % 12; pieces > 0; --pieces) {
            const std::string pieceOf[] = {"\n",
                                           "\r",
                                           ":",
                                           "1",
                                           std::string(1, '\0'),
                                           "Name",
                                           "\xEF",
                                           std::string(cLongestFeatureLine - 2 + random() % 5, 'z')};
            bytes += pieceOf[random() % 8];
        }
        Lines lines;
        std::istringstream file(bytes);
        ReadFeatureLines(file, [&](const std::string& line) { lines.push_back(line); });
        ASSERT_EQ(lines, Model(bytes)) << round;
    }
}

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
