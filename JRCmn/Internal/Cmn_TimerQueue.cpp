#include "JRCmn/Internal/Cmn_TimerQueue.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace NorvikLibInternal {
namespace {

constexpr uint32_t kChildren = 4;
constexpr size_t kFirstSize = 16;
// Differences to it fit a signed number, so that an event of the far future is not taken for one of the past.
constexpr uint64_t kLatestDue = std::numeric_limits<int64_t>::max();

uint64_t DueTime(uint64_t now, uint64_t delay) {
    return delay < kLatestDue - now ? now + delay : kLatestDue;
}

}  // namespace

int TimerQueue::Add(uint64_t now, uint64_t delay, std::function<void()> callable,
                    const Cmn_String& description) {
    if (mFreeSlots.empty()) Grow();
    const uint32_t index = mFreeSlots.back();
    const int id = mIDs.TakeNext();
    try {
        mSlotOfID.emplace(id, index);
    } catch (...) {
        mIDs.GiveBack(id);
        throw;
    }
    mFreeSlots.pop_back();
    Slot& slot = mSlots[index];
    slot.event.callable = std::move(callable);
    slot.event.description = description;
    slot.id = id;
    slot.isExpired = false;
    Insert(mPending, {DueTime(now, delay), mAdded++, index});
    return id;
}

// All memory is reserved here, so that nothing fails half-way when events are added and moved.
void TimerQueue::Grow() {
    const size_t size = mSlots.size(), grown = std::max(kFirstSize, 2 * size);
    mPending.reserve(grown);
    mExpired.reserve(grown);
    mFreeSlots.reserve(grown);
    mSlotOfID.reserve(grown);
    mSlots.resize(grown);
    for (size_t i = grown; i > size; --i)
        mFreeSlots.push_back(static_cast<uint32_t>(i - 1));
}

bool TimerQueue::Remove(int id) {
    const auto found = mSlotOfID.find(id);
    if (found == mSlotOfID.end()) return false;
    const uint32_t index = found->second;
    const Slot& slot = mSlots[index];
    mIDs.GiveBack(id);  // may fail, and comes first
    RemoveAt(slot.isExpired ? mExpired : mPending, slot.place);
    // What the callable holds is destroyed when all is in order again: that may add and remove events itself.
    const TimedEvent event = Free(index);
    return true;
}

std::optional<uint64_t> TimerQueue::EarliestDue() const {
    if (mPending.empty()) return std::nullopt;
    return mPending.front().due;
}

bool TimerQueue::IsEarliest(int id) const {
    return !mPending.empty() && mSlots[mPending.front().slot].id == id;
}

void TimerQueue::TakeExpired(uint64_t now) {
    while (!mPending.empty() && mPending.front().due <= now)
        MoveFirst(mPending, mExpired, true);
}

bool TimerQueue::PopExpired(TimedEvent& outEvent) {
    if (mExpired.empty()) return false;
    const uint32_t index = mExpired.front().slot;
    mIDs.GiveBack(mSlots[index].id);  // may fail, and comes first
    RemoveAt(mExpired, 0);
    outEvent = Free(index);
    return true;
}

void TimerQueue::PutBackExpired() {
    while (!mExpired.empty())
        MoveFirst(mExpired, mPending, false);
}

void TimerQueue::MoveFirst(Heap& from, Heap& to, bool isExpired) {
    const Key key = from.front();
    RemoveAt(from, 0);
    mSlots[key.slot].isExpired = isExpired;
    Insert(to, key);
}

TimedEvent TimerQueue::Free(uint32_t index) {
    Slot& slot = mSlots[index];
    mSlotOfID.erase(slot.id);
    slot.id = 0;
    mFreeSlots.push_back(index);
    return std::exchange(slot.event, {});
}

void TimerQueue::Insert(Heap& heap, const Key& key) {
    heap.push_back(key);
    MoveUp(heap, static_cast<uint32_t>(heap.size() - 1), key);
}

void TimerQueue::RemoveAt(Heap& heap, uint32_t place) {
    const Key last = heap.back();
    heap.pop_back();
    if (place == heap.size()) return;
    if (place > 0 && last.IsBefore(heap[(place - 1) / kChildren])) {
        MoveUp(heap, place, last);
    } else {
        MoveDown(heap, place, last);
    }
}

// Both move others to make a place for `key`, from `place` on.
void TimerQueue::MoveUp(Heap& heap, uint32_t place, const Key& key) {
    while (place > 0) {
        const uint32_t parent = (place - 1) / kChildren;
        if (!key.IsBefore(heap[parent])) break;
        Put(heap, place, heap[parent]);
        place = parent;
    }
    Put(heap, place, key);
}

void TimerQueue::MoveDown(Heap& heap, uint32_t place, const Key& key) {
    for (;;) {
        const uint64_t first = uint64_t{place} * kChildren + 1;
        if (first >= heap.size()) break;
        const uint64_t end = std::min<uint64_t>(first + kChildren, heap.size());
        uint32_t best = static_cast<uint32_t>(first);
        for (uint32_t child = best + 1; child < end; ++child) {
            if (heap[child].IsBefore(heap[best])) best = child;
        }
        if (!heap[best].IsBefore(key)) break;
        Put(heap, place, heap[best]);
        place = best;
    }
    Put(heap, place, key);
}

void TimerQueue::Put(Heap& heap, uint32_t place, const Key& key) {
    mSlots[key.slot].place = place;
    heap[place] = key;
}

}  // namespace NorvikLibInternal
