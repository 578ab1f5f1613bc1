// Texts shared between threads; also compiled natively, where a sanitizer watches.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "JRCmn/Cmn_String.h"

TEST(StringTest, ThreadsCopyAndDestroyOneTextAndPiecesOfItAndTheCountComesOutRight) {
    const Cmn_String record("a,bb,ccc,dddddddd,eeeeeeeeeeeeeeee,ffffffffffffffffffffffffffffff");
    const auto work = [&record] {
        std::vector<Cmn_String> kept;
        for (int i = 0; i < 1'000'000; ++i) {
            Cmn_String copy(record);
            if (i % 50 != 0) continue;
            copy += "x";
            const auto pieces = record.Split(',', true);
            kept.push_back(pieces[static_cast<size_t>(i / 50) % pieces.size()]);
            ASSERT_EQ(Cmn_String::Join(pieces, ",", true), record);
            if (kept.size() > 50) kept.clear();
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(record.GetRefCount(), 1);
}
