// Texts shared between threads; also compiled natively, where a sanitizer watches.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "JRCmn/Cmn_String.h"

namespace {

TEST(StringTest, ThreadsCopyAndDestroyOneTextAndTheCountComesOutRight) {
    const Cmn_String text("shared between threads");
    const auto copyAndDestroy = [&text] {
        for (int i = 0; i < 1'000'000; ++i) {
            Cmn_String copy(text);
            if (i % 1000 == 0) copy += "x";
        }
    };
    std::thread other(copyAndDestroy);
    copyAndDestroy();
    other.join();
    EXPECT_EQ(text.GetRefCount(), 1);
    EXPECT_STREQ(text, "shared between threads");
}

TEST(StringTest, ThreadsThatSplitAndDestroyPiecesOfEachOtherKeepThemWhole) {
    const Cmn_String record("a,bb,ccc,dddddddd,eeeeeeeeeeeeeeee,ffffffffffffffffffffffffffffff");
    const auto work = [&record] {
        std::vector<Cmn_String> kept;
        for (int i = 0; i < 20'000; ++i) {
            auto pieces = record.Split(',', true);
            kept.push_back(pieces[static_cast<size_t>(i) % pieces.size()]);
            ASSERT_EQ(Cmn_String::Join(pieces, ",", true), record);
            if (kept.size() > 50) kept.clear();
        }
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
}

}  // namespace
