#include "JRCmn/Internal/Cmn_FailureRate.h"

#include <gtest/gtest.h>

namespace {

using NorvikLibInternal::OccurrenceRecord;
using NorvikLibInternal::RateDecision;

// The record after `count` occurrences at one moment.
OccurrenceRecord After(int count, uint64_t now) {
    OccurrenceRecord record;
    for (int i = 0; i < count; ++i) record.Occur(now);
    return record;
}

TEST(FailureRate, TheFirstFiftyAreReportedAndTheFiftiethSaysThatItStops) {
    OccurrenceRecord record;
    for (uint32_t i = 1; i <= 50; ++i) {
        const RateDecision decision = record.Occur(1000);
        EXPECT_TRUE(decision.report);
        EXPECT_EQ(decision.TellsCount(), i == 50);
        EXPECT_EQ(decision.IsLastOfTheFirst(), i == 50);
    }
    const RateDecision next = record.Occur(1999);
    EXPECT_FALSE(next.report);
    EXPECT_FALSE(next.TellsCount());
}

struct Case {
    const char* situation;
    int quickly;         // occurrences at time 0, of which the fiftieth is the last report
    uint64_t atTime;     // of the occurrence that is judged
    bool report;
};

TEST(FailureRate, LaterOccurrencesAreReportedByTimeAndNumber) {
    const Case cases[] = {
        {"149 after 999 ms: too soon", 149, 999, false},
        {"the hundredth since the report, after 1,000 ms", 149, 1'000, true},
        {"the ninety-ninth since the report", 148, 1'000, false},
        {"a quarter of an hour to the millisecond is not over", 60, 900'000, false},
        {"silence for more than a quarter of an hour", 60, 900'001, true},
        // Up to 500 the step is 100, above it a fifth of the count.
        {"number 500, 450 after the report", 499, 1'000, true},
        {"number 501 with a step of 100.2 rounded down", 500, 1'000, true},
    };
    for (const Case& c : cases) {
        OccurrenceRecord record = After(c.quickly, 0);
        EXPECT_EQ(record.Occur(c.atTime).report, c.report) << c.situation;
    }
}

TEST(FailureRate, AboveFiveHundredTheStepIsAFifthOfTheCount) {
    OccurrenceRecord record = After(999, 0);
    ASSERT_TRUE(record.Occur(1'000).report);  // number 1,000
    // Due at the first count n with n >= 1,000 + n / 5, rounded down: 1,249.
    for (int number = 1'001; number < 1'249; ++number) EXPECT_FALSE(record.Occur(5'000).report) << number;
    EXPECT_TRUE(record.Occur(5'000).report);
}

TEST(FailureRate, AClockThatStandsStillNeverLeadsToAFlood) {
    OccurrenceRecord record = After(50, 7);
    int reports = 0;
    for (int i = 0; i < 1'000'000; ++i) reports += record.Occur(7).report;
    EXPECT_EQ(reports, 0);
}

}  // namespace
