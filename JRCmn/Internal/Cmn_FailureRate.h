#pragma once

// How often a place that keeps failing is reported. Pure.
//
//   const RateDecision decision = record.Occur(now);
//   if (decision.report) ...
//
// Threads:   a record is guarded by its owner
// Ownership: none
// Errors:    none; the count stops at its largest value
// Units:     milliseconds

#include <cstdint>

namespace NorvikLibInternal {

struct RateDecision {
    bool report = false;
    uint32_t count = 0;  // occurrences so far, this one included

    // From the fiftieth on, a report says before it how often the place has failed.
    bool TellsCount() const { return report && count >= kAlwaysReported; }
    bool IsLastOfTheFirst() const { return count == kAlwaysReported; }

    static constexpr uint32_t kAlwaysReported = 50;
};

class OccurrenceRecord {
public:
    RateDecision Occur(uint64_t now) {
        if (mCount != UINT32_MAX) ++mCount;
        const bool report = MustReport(now);
        if (report) {
            mLastReport = now;
            mCountAtLastReport = mCount;
        }
        return {report, mCount};
    }

private:
    static constexpr uint64_t kSilenceEnds =
        900'000;  // a place that comes back after a quarter of an hour is news
    static constexpr uint64_t kAtMostEvery = 1'000;
    static constexpr uint32_t kOften = 500;

    bool MustReport(uint64_t now) const {
        if (mCount <= RateDecision::kAlwaysReported) return true;
        const uint64_t sinceReport = now - mLastReport;
        if (sinceReport > kSilenceEnds) return true;
        if (sinceReport < kAtMostEvery) return false;
        const uint32_t step = mCount > kOften ? mCount / 5 : 100;
        return mCount - mCountAtLastReport >= step;
    }

    uint64_t mLastReport = 0;
    uint32_t mCount = 0;
    uint32_t mCountAtLastReport = 0;
};

}  // namespace NorvikLibInternal
