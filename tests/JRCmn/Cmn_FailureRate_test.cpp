#include "JRCmn/Internal/Cmn_FailureRate.h"

#include <gtest/gtest.h>

using NorvikLibInternal::OccurrenceRecord;

TEST(FailureRate, LaterOccurrencesAreReportedByTimeAndNumber) {
    const struct {
        const char* situation;
        int quickly;      // occurrences at time 0, of which the fiftieth is the last one reported
        uint64_t atTime;  // of the occurrence that is judged
        bool report;
    } cases[] = {
        {"the fiftieth", 49, 0, true},
        {"the fifty-first", 50, 0, false},
        {"the hundredth since the report, after 999 ms", 149, 999, false},
        {"the hundredth since the report, after 1,000 ms", 149, 1'000, true},
        {"the ninety-ninth since the report", 148, 1'000, false},
        {"silence of a quarter of an hour to the millisecond", 60, 900'000, false},
        {"silence of more than a quarter of an hour", 60, 900'001, true},
    };
    for (const auto& c : cases) {
        OccurrenceRecord record;
        for (int i = 0; i < c.quickly; ++i)
            record.Occur(0);
        EXPECT_EQ(record.Occur(c.atTime).report, c.report) << c.situation;
    }
}

TEST(FailureRate, AboveFiveHundredTheStepIsAFifthOfTheCount) {
    OccurrenceRecord record;
    for (int i = 0; i < 999; ++i)
        record.Occur(0);
    ASSERT_TRUE(record.Occur(1'000).report);  // number 1,000
    // Due at the first count n with n >= 1,000 + n / 5, rounded down: 1,249.
    for (int number = 1'001; number < 1'249; ++number)
        EXPECT_FALSE(record.Occur(5'000).report) << number;
    EXPECT_TRUE(record.Occur(5'000).report);
}
