#pragma once

// Which IDs are in use, as runs of consecutive numbers, so that the next free one is found in O(log n) however many are in
// use behind each other. Pure.
//
//   const int id = runs.TakeNext();   // 1, 2, 3, ... 2147483647, 1, ...; never one that is in use
//   runs.GiveBack(id);
//
// Threads:   one at a time
// Ownership: none
// Errors:    without memory an operation throws and has done nothing; an ID that is given back must be in use
// Units:     IDs are 1 to 2,147,483,647; 0 is none

#include <limits>
#include <map>

namespace NorvikLibInternal {

class IDRuns {
public:
    static constexpr int kFirst = 1;
    static constexpr int kLast = std::numeric_limits<int>::max();

    // `lastTaken` is the ID after which the search begins.
    explicit IDRuns(int lastTaken = 0) : mLastTaken(lastTaken) {}

    int TakeNext() {
        int id = mLastTaken == kLast ? kFirst : mLastTaken + 1;
        auto next = mRuns.upper_bound(id);
        id = SkipRunBefore(next, id);
        if (id == 0) {  // the run ended with the last ID
            next = mRuns.upper_bound(kFirst);
            id = SkipRunBefore(next, kFirst);
        }
        Insert(next, id);
        return mLastTaken = id;
    }

    void GiveBack(int id) {
        const auto next = mRuns.upper_bound(id);
        const auto run = std::prev(next);
        const int last = run->second;
        if (run->first == id) {
            auto node = mRuns.extract(run);
            if (last == id) {
                mSpare = std::move(node);
            } else {
                node.key() = id + 1;
                mRuns.insert(next, std::move(node));
            }
            return;
        }
        if (last != id) AddRun(next, id + 1, last);  // may fail, and comes first
        run->second = id - 1;
    }

private:
    using Runs = std::map<int, int>;  // first ID of a run to its last; runs do not touch

    // The first ID from `id` on that is not in the run before `next`; 0 when that run ends with the last ID.
    int SkipRunBefore(Runs::iterator next, int id) const {
        if (next == mRuns.begin()) return id;
        const int last = std::prev(next)->second;
        if (last < id) return id;
        return last == kLast ? 0 : last + 1;
    }

    void Insert(Runs::iterator next, int id) {
        const bool joinsNext = next != mRuns.end() && next->first - 1 == id;
        const int last = joinsNext ? next->second : id;
        if (joinsNext) {
            mSpare = mRuns.extract(next++);
        }
        if (next != mRuns.begin()) {
            const auto before = std::prev(next);
            if (before->second + 1 == id) {
                before->second = last;
                return;
            }
        }
        AddRun(next, id, last);
    }

    // Timers come and go one at a time: the node of the run that went last serves for the next, without the heap.
    void AddRun(Runs::iterator next, int first, int last) {
        if (mSpare.empty()) {
            mRuns.emplace_hint(next, first, last);
            return;
        }
        mSpare.key() = first;
        mSpare.mapped() = last;
        mRuns.insert(next, std::move(mSpare));
    }

    Runs mRuns;
    Runs::node_type mSpare;
    int mLastTaken;
};

}  // namespace NorvikLibInternal
