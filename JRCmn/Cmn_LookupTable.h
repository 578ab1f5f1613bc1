#pragma once

// Cmn_LookupTable: one entry for every whole source value between the first and the last of a few points, computed
// once, so that a look-up is an index. Between two points the entries run in a straight line.
//
//   const Cmn_LookupTable<unsigned int, unsigned int> table({{0, 10}, {63, 10}, {64, 20}, {100, 20}});
//   table.Lookup(64);   // 20
//
// Threads:   any, once it is made
// Ownership: owns its entries
// Errors:    no points, or sources that do not rise, fail an assertion, which throws. A source outside the table is
//            reported and gives the entry at that end.
// Units:     whole numbers; the table has last - first + 1 entries

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "JRCmn/Cmn_Assert.h"

template <typename Source, typename Target>
class Cmn_LookupTable {
public:
    explicit Cmn_LookupTable(const std::vector<std::pair<Source, Target>>& points)
        : mFirstValue(First(points)), mLastValue(points.back().first) {
        for (std::size_t i = 1; i < points.size(); ++i)
            Fill(points[i - 1], points[i]);
        mEntries.push_back(points.back().second);
    }

    Target Lookup(Source inSource) const {
        if (!CMN_VERIFY(inSource >= mFirstValue)) return mEntries.front();
        if (!CMN_VERIFY(inSource <= mLastValue)) return mEntries.back();
        return mEntries[static_cast<std::size_t>(int64_t{inSource} - int64_t{mFirstValue})];
    }

private:
    using Point = std::pair<Source, Target>;

    static Source First(const std::vector<Point>& points) {
        CMN_ASSERT(!points.empty());
        return points.front().first;
    }

    // From one point up to, and without, the next.
    void Fill(const Point& from, const Point& to) {
        CMN_ASSERT(from.first < to.first);
        const int64_t width = int64_t{to.first} - int64_t{from.first};
        const int64_t rise = int64_t{to.second} - int64_t{from.second};
        for (int64_t i = 0; i < width; ++i)
            mEntries.push_back(static_cast<Target>(int64_t{from.second} + rise * i / width));
    }

    Source mFirstValue;
    Source mLastValue;
    std::vector<Target> mEntries;
};
