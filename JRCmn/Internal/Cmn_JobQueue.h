#pragma once

// A queue of jobs that one side fills under its own lock, and the other empties without any. It also knows when the
// emptying side must be woken: once for a burst, not once for a job. Pure.
//
//   filling:   { lock; wake = queue.Push({function, name}); }  if (wake) event.Set();
//   emptying:  queue.TakeAll(batch); event.Reset(); if (queue.HasMore()) event.Set(); while (batch.Pop(job)) ...
//
// Threads:   Push one thread at a time, TakeAll and HasMore one thread at a time, both sides at once
// Ownership: owns the jobs until they are taken. Memory comes in chunks of fifty jobs, which a batch takes over as they are:
//            a block of the heap for each job, or moving them all, would cost more than all the rest.
// Errors:    when there is no memory Push and TakeAll throw; no job is lost
// Units:     none

#include <atomic>
#include <functional>
#include <utility>

#include "JRCmn/Cmn_String.h"

namespace NorvikLibInternal {

struct Job {
    std::function<void()> function;
    Cmn_String name;
};

struct JobChunk {
    static constexpr unsigned kJobs = 50;

    std::atomic<unsigned> count{0};  // written by the filling side
    unsigned taken = 0;              // by the emptying side
    std::atomic<JobChunk*> next{nullptr};
    Job jobs[kJobs];
};

// Jobs that were taken, oldest first.
class JobBatch {
public:
    JobBatch() = default;
    JobBatch(JobBatch&& other) noexcept { Append(std::move(other)); }
    JobBatch& operator=(JobBatch&&) = delete;
    ~JobBatch() {
        while (mFirst)
            DropFirst();
    }

    bool Pop(Job& outJob) {
        while (mFirst && mFirst->taken == mFirst->count)
            DropFirst();
        if (!mFirst) return false;
        outJob = std::exchange(mFirst->jobs[mFirst->taken++], {});
        return true;
    }

    // Calls `visit` with each job until it returns false.
    template <typename Visit>
    void ForEach(Visit visit) const {
        for (const JobChunk* chunk = mFirst; chunk; chunk = chunk->next) {
            for (unsigned i = chunk->taken; i < chunk->count; ++i)
                if (!visit(chunk->jobs[i])) return;
        }
    }

    // Puts the other's jobs behind these.
    void Append(JobBatch&& other) {
        if (!other.mFirst) return;
        JobChunk* const chunks = std::exchange(other.mFirst, nullptr);
        if (mFirst) {
            mLast->next = chunks;
        } else {
            mFirst = chunks;
        }
        mLast = other.mLast;
    }

    void Append(JobChunk* chunk) {
        chunk->next = nullptr;
        if (mFirst) {
            mLast->next = chunk;
        } else {
            mFirst = chunk;
        }
        mLast = chunk;
    }

private:
    void DropFirst() { delete std::exchange(mFirst, mFirst->next.load()); }

    JobChunk* mFirst = nullptr;
    JobChunk* mLast = nullptr;  // only while there is a first
};

class JobQueue {
public:
    JobQueue() = default;
    ~JobQueue() {
        while (mHead)
            delete std::exchange(mHead, mHead->next.load());
    }
    JobQueue(const JobQueue&) = delete;
    JobQueue& operator=(const JobQueue&) = delete;

    // Whether to wake the other side.
    bool Push(Job job) {
        if (mTailCount == JobChunk::kJobs) {
            JobChunk* const chunk = new JobChunk;
            mTail->next.store(chunk, std::memory_order_release);
            mTail = chunk;
            mTailCount = 0;
        }
        mTail->jobs[mTailCount] = std::move(job);
        mTail->count.store(++mTailCount, std::memory_order_release);
        return !mWoken.exchange(true, std::memory_order_acq_rel);
    }

    // Appends all jobs.
    void TakeAll(JobBatch& ioBatch) {
        // A chunk that has a successor is full, and the filling side is done with it.
        while (JobChunk* const next = mHead->next.load(std::memory_order_acquire))
            ioBatch.Append(std::exchange(mHead, next));
        const unsigned count = mHead->count.load(std::memory_order_acquire);
        if (count == mHead->taken) return;
        JobChunk* const rest = new JobChunk;
        while (mHead->taken < count) {
            rest->jobs[rest->count] = std::exchange(mHead->jobs[mHead->taken++], {});
            ++rest->count;
        }
        ioBatch.Append(rest);
    }

    // To be asked after the signal that wakes this side was reset: whether jobs came since, so that it must be set again. A
    // job that comes after this question wakes by itself.
    bool HasMore() {
        mWoken.exchange(false, std::memory_order_acq_rel);
        const bool more = mHead->count.load(std::memory_order_acquire) > mHead->taken ||
                          mHead->next.load(std::memory_order_acquire) != nullptr;
        return more && !mWoken.exchange(true, std::memory_order_acq_rel);
    }

private:
    std::atomic<bool> mWoken{false};  // since HasMore was last asked
    JobChunk* mTail = new JobChunk;   // the filling side's
    unsigned mTailCount = 0;
    JobChunk* mHead = mTail;  // the emptying side's
};

}  // namespace NorvikLibInternal
