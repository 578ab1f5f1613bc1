#pragma once

// A queue of jobs that one side fills under its own lock, and the other empties without any. It also knows when the
// emptying side must be woken: once for a burst, not once for a job. Pure.
//
//   filling:   { lock; wake = queue.Push(std::move(function), name); }  if (wake) event.Set();
//   emptying:  queue.TakeAll(batch); event.Reset(); if (queue.HasMore()) event.Set();
//              while (!batch.IsEmpty()) batch.Pop()();
//
// Threads:   Push one thread at a time, TakeAll and HasMore one thread at a time, both sides at once
// Ownership: owns the jobs until they are taken. Memory comes in chunks of fifty jobs, which a batch takes over as they are:
//            a block of the heap for each job, or moving them all, would cost more than all the rest.
// Errors:    when there is no memory Push and TakeAll throw; no job is lost
// Units:     none

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>

#include "JRCmn/Cmn_String.h"

namespace NorvikLibInternal {

// Names are there for a description of many jobs at once, and mostly the same for jobs in a row: such share one.
class JobChunk {
public:
    using Job = std::function<void()>;

    // ---- The filling side.
    bool IsFull() const { return mAdded == kJobs; }
    // `name` is a text of either kind; a Cmn_String is shared.
    template <typename Name>
    void Add(Job&& job, const Name& name) {
        if (mNames == 0 || std::strcmp(mName[mNames - 1], name) != 0) {
            mName[mNames] = name;
            ++mNames;
        }
        mNameOf[mAdded] = static_cast<unsigned char>(mNames - 1);
        mJobs[mAdded] = std::move(job);
        mCount.store(++mAdded, std::memory_order_release);
    }
    void SetNext(JobChunk* next) { mNext.store(next, std::memory_order_release); }

    // ---- The emptying side.
    JobChunk* Next() const { return mNext.load(std::memory_order_acquire); }
    bool IsEmpty() const { return mTaken == mCount.load(std::memory_order_acquire); }
    Job Pop() { return std::exchange(mJobs[mTaken++], nullptr); }
    template <typename Visit>
    bool ForEachName(Visit visit) const {
        const unsigned count = mCount.load(std::memory_order_acquire);
        for (unsigned i = mTaken; i < count; ++i)
            if (!visit(mName[mNameOf[i]])) return false;
        return true;
    }
    void MoveTo(JobChunk& other) {
        for (unsigned i = mTaken, count = mCount.load(std::memory_order_acquire); i < count; ++i)
            other.Add(Pop(), mName[mNameOf[i]]);
    }

private:
    static constexpr unsigned kJobs = 50;

    std::atomic<unsigned> mCount{0};
    std::atomic<JobChunk*> mNext{nullptr};
    unsigned mAdded = 0;  // the filling side's own count
    unsigned mNames = 0;
    unsigned mTaken = 0;
    unsigned char mNameOf[kJobs];
    Job mJobs[kJobs];
    Cmn_String mName[kJobs];
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

    bool IsEmpty() {
        while (mFirst && mFirst->IsEmpty())
            DropFirst();
        return mFirst == nullptr;
    }

    // Only straight after IsEmpty has said no.
    JobChunk::Job Pop() { return mFirst->Pop(); }

    // Calls `visit` with the name of each job until it returns false.
    template <typename Visit>
    void ForEachName(Visit visit) const {
        const JobChunk* chunk = mFirst;
        while (chunk && chunk->ForEachName(visit))
            chunk = chunk->Next();
    }

    // Puts the other's jobs behind these.
    void Append(JobBatch&& other) {
        if (!other.mFirst) return;
        Link(std::exchange(other.mFirst, nullptr));
        mLast = other.mLast;
    }

    void Append(JobChunk* chunk) {
        chunk->SetNext(nullptr);
        Link(chunk);
        mLast = chunk;
    }

private:
    void Link(JobChunk* chunk) {
        if (mFirst) {
            mLast->SetNext(chunk);
        } else {
            mFirst = chunk;
        }
    }
    void DropFirst() { delete std::exchange(mFirst, mFirst->Next()); }

    JobChunk* mFirst = nullptr;
    JobChunk* mLast = nullptr;  // only while there is a first
};

class JobQueue {
public:
    JobQueue() = default;
    ~JobQueue() {
        while (mHead)
            delete std::exchange(mHead, mHead->Next());
    }
    JobQueue(const JobQueue&) = delete;
    JobQueue& operator=(const JobQueue&) = delete;

    // Whether to wake the other side.
    bool Push(JobChunk::Job&& job, const char* name) {
        if (mTail->IsFull()) {
            auto chunk = std::make_unique<JobChunk>();
            chunk->Add(std::move(job), name);
            mTail->SetNext(chunk.get());
            mTail = chunk.release();
        } else {
            mTail->Add(std::move(job), name);
        }
        return !mWoken.exchange(true, std::memory_order_acq_rel);
    }

    // Appends all jobs.
    void TakeAll(JobBatch& ioBatch) {
        // A chunk that has a successor is full, and the filling side is done with it.
        while (JobChunk* const next = mHead->Next())
            ioBatch.Append(std::exchange(mHead, next));
        if (mHead->IsEmpty()) return;
        JobChunk* const rest = new JobChunk;
        ioBatch.Append(rest);
        mHead->MoveTo(*rest);
    }

    // To be asked after the signal that wakes this side was reset: whether jobs came since, so that it must be set again. A
    // job that comes after this question wakes by itself.
    bool HasMore() {
        mWoken.exchange(false, std::memory_order_acq_rel);
        const bool more = !mHead->IsEmpty() || mHead->Next();
        return more && !mWoken.exchange(true, std::memory_order_acq_rel);
    }

private:
    std::atomic<bool> mWoken{false};  // since HasMore was last asked
    JobChunk* mTail = new JobChunk;   // the filling side's
    JobChunk* mHead = mTail;          // the emptying side's
};

}  // namespace NorvikLibInternal
