#pragma once

// The occurrence records of one kind of report: an ordered map from a place to its record, with its own lock. Records
// live as long as the process.
//
// Threads:   any
// Ownership: keys are copied; texts in them that are pointers are literals
// Errors:    none
// Units:     as OccurrenceRecord

#include <map>
#include <string>
#include <string_view>
#include <tuple>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Internal/Cmn_Clock.h"
#include "JRCmn/Internal/Cmn_FailureRate.h"

namespace NorvikLibInternal {

template <typename Key>
class OccurrenceMap {
public:
    // Counts one occurrence. `place` may be anything that compares with a key, so that finding a known place costs no
    // allocation.
    template <typename Place>
    RateDecision Occur(const Place& place) {
        IPC_BenaphoreLocker locker(mLock);
        // Asked under the lock, so that occurrences are counted in the order of their times. The rule compares seconds: the
        // cheap clock is fine enough.
        const uint64_t now = ClockMillisecondsCoarse();
        // What fails in a tight loop is the place that failed last.
        if (mLatest == mRecords.end() || mLatest->first < place || place < mLatest->first) {
            mLatest = mRecords.find(place);
            if (mLatest == mRecords.end()) mLatest = mRecords.emplace(Key(place), OccurrenceRecord()).first;
        }
        return mLatest->second.Occur(now);
    }

private:
    using Records = std::map<Key, OccurrenceRecord, std::less<>>;

    IPC_Benaphore mLock;
    Records mRecords;
    typename Records::iterator mLatest = mRecords.end();
};

// A place in the source. Texts are compared by identity: they are literals.
using SourceLocation = std::tuple<const char*, int>;
using CheckLocation = std::tuple<const char*, int, const char*>;

// A place together with the text of a message.
struct MessageLocationView {
    SourceLocation location;
    std::string_view message;
};
struct MessageLocation {
    explicit MessageLocation(const MessageLocationView& view)
        : location(view.location), message(view.message) {}

    SourceLocation location;
    std::string message;

    MessageLocationView View() const { return {location, message}; }
};
inline bool operator<(const MessageLocationView& a, const MessageLocationView& b) {
    return a.location != b.location ? a.location < b.location : a.message < b.message;
}
inline bool operator<(const MessageLocation& a, const MessageLocation& b) {
    return a.View() < b.View();
}
inline bool operator<(const MessageLocation& a, const MessageLocationView& b) {
    return a.View() < b;
}
inline bool operator<(const MessageLocationView& a, const MessageLocation& b) {
    return a < b.View();
}

}  // namespace NorvikLibInternal
