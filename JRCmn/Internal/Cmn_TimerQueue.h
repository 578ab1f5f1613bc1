#pragma once

// The events of a timer service in the order in which they are due; events due at the same time keep the order in which
// they were added. Pure. Adding and removing cost O(log n), and next to nothing when the event is a late one, as most
// are.
//
//   const int id = queue.Add(now, 250, callable, "Poll fans");
//   queue.TakeExpired(now);
//   while (queue.PopExpired(event)) event.callable();
//
// Threads:   one at a time
// Ownership: owns the callables until they are popped or removed
// Errors:    without memory an operation throws and has done nothing. A due time saturates (292 million years ahead): it is
//            never in the past.
// Units:     milliseconds of the library's clock

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_IDRuns.h"

namespace NorvikLibInternal {

struct TimedEvent {
    std::function<void()> callable;
    Cmn_String description;
};

class TimerQueue {
public:
    // `lastID`: the ID after which the first one is looked for.
    explicit TimerQueue(int lastID = 0) : mIDs(lastID) {}

    // The ID, never 0 and never one in use.
    int Add(uint64_t now, uint64_t delay, std::function<void()> callable, const Cmn_String& description);
    // False when it is neither pending nor expired.
    bool Remove(int id);

    // Of the pending events; nothing when there is none.
    std::optional<uint64_t> EarliestDue() const;
    // Whether this is the pending event that is due first.
    bool IsEarliest(int id) const;

    // Moves the events that are due from the pending to the expired ones.
    void TakeExpired(uint64_t now);
    // Takes the first expired event out. False when there is none.
    bool PopExpired(TimedEvent& outEvent);
    bool HasExpired() const { return !mExpired.empty(); }
    // Moves the expired events back among the pending ones, to their places.
    void PutBackExpired();

private:
    struct Key {
        uint64_t due;
        uint64_t number;  // of the addition
        uint32_t slot;

        bool IsBefore(const Key& other) const {
            return due != other.due ? due < other.due : number < other.number;
        }
    };
    struct Slot {
        TimedEvent event;
        int id = 0;
        bool isExpired = false;
        uint32_t place = 0;  // in its heap
    };
    // A heap in which each key has four children: half as deep as a binary one, and siblings lie together.
    using Heap = std::vector<Key>;

    void Grow();
    void Insert(Heap& heap, const Key& key);
    void RemoveAt(Heap& heap, uint32_t place);
    void MoveUp(Heap& heap, uint32_t place, const Key& key);
    void MoveDown(Heap& heap, uint32_t place, const Key& key);
    void Put(Heap& heap, uint32_t place, const Key& key);
    void MoveFirst(Heap& from, Heap& to, bool isExpired);
    TimedEvent Free(uint32_t slot);

    Heap mPending;
    Heap mExpired;
    std::vector<Slot> mSlots;
    std::vector<uint32_t> mFreeSlots;
    boost::unordered_flat_map<int, uint32_t> mSlotOfID;
    IDRuns mIDs;
    uint64_t mAdded = 0;
};

}  // namespace NorvikLibInternal
