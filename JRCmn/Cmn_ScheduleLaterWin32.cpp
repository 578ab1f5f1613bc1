#include "JRCmn/Cmn_ScheduleLaterWin32.h"

#include <cstring>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/IF_EventManager.h"
#include "JRCmn/Internal/Cmn_JobQueue.h"

using namespace NorvikLibInternal;

Cmn_ScheduleLaterWin32::Cmn_ScheduleLaterWin32()
    : mQueue(std::make_unique<JobQueue>()), mLeftOver(std::make_unique<JobBatch>()) {
    if (IF_EventManager* const manager = gIF_EventManager) RegisterWith(*manager);
}

Cmn_ScheduleLaterWin32::~Cmn_ScheduleLaterWin32() {
    if (mDestroyed) *mDestroyed = true;
    if (mRegistered) {
        if (IF_EventManager* const manager = gIF_EventManager) manager->UnregisterHandler(this);
    }
    // A job may destroy this object while the thread that has handed it in has not left yet.
    { const IPC_BenaphoreLocker locker(mLock); }
    Cmn_ScheduleLaterWin32::DiscardPendingJobs();
}

// Claimed under the lock, done without: what the manager has to report may hand in a job itself.
void Cmn_ScheduleLaterWin32::RegisterWith(IF_EventManager& manager) {
    {
        const IPC_BenaphoreLocker locker(mLock);
        if (mRegistered.exchange(true)) return;
    }
    if (!manager.RegisterHandler(this, "")) mRegistered = false;
}

void Cmn_ScheduleLaterWin32::ScheduleLater(std::function<void()> inJob, const char* name) {
    if (!mRegistered) {
        IF_EventManager* const manager = gIF_EventManager;
        if (!manager) {
            VerifyFailed("gIF_EventManager", CMN_SOURCE_FILE, 46);
            return;
        }
        RegisterWith(*manager);
    }
    if (!CMN_VERIFY_AT(53, inJob)) return;
    const IPC_BenaphoreLocker locker(mLock);
    // Under the lock, for the destructor; once for a burst.
    if (mQueue->Push(std::move(inJob), name ? name : "")) mWakeEvent.Set();
}

void Cmn_ScheduleLaterWin32::DiscardPendingJobs() {
    JobBatch dropped = std::move(*mLeftOver);
    mQueue->TakeAll(dropped);
}

void Cmn_ScheduleLaterWin32::RespondToEvent() {
    ProcessAllPendingJobs();
}

Cmn_String Cmn_ScheduleLaterWin32::GetLastEventDescription() {
    return mLastDescription.IsEmpty() ? Cmn_String("Cmn_ScheduleLater/no action") : mLastDescription;
}

void Cmn_ScheduleLaterWin32::ProcessAllPendingJobs() {
    JobBatch jobs = std::move(*mLeftOver);
    bool destroyed = false;
    bool* const outerDestroyed = std::exchange(mDestroyed, &destroyed);
    const auto leave = [&] {
        if (!destroyed) {
            mDestroyed = outerDestroyed;
        } else if (outerDestroyed) {
            *outerDestroyed = true;
        }
    };
    try {
        mQueue->TakeAll(jobs);
        Describe(jobs);
        mWakeEvent.Reset();
        if (mQueue->HasMore()) mWakeEvent.Set();
        while (!destroyed && !jobs.IsEmpty())
            jobs.Pop()();
    } catch (...) {
        if (!destroyed) {
            // Before what was left over by a batch that ran inside this one, and so was newer.
            jobs.Append(std::move(*mLeftOver));
            mLeftOver->Append(std::move(jobs));
            mWakeEvent.Set();
        }
        leave();
        throw;
    }
    leave();
}

// All names, in one text that is made at once: a burst may hold many thousands. A line of the log shows less than the limit
// in any case.
void Cmn_ScheduleLaterWin32::Describe(const JobBatch& jobs) {
    constexpr int kLongest = 0x100000;
    int length = 0;
    jobs.ForEachName([&](const Cmn_String& name) { return (length += name.GetLength() + 1) < kLongest; });
    mLastDescription.Clear();
    if (length == 0) return;
    char* const start = mLastDescription.AsArray(length);
    char* end = start;
    jobs.ForEachName([&](const Cmn_String& name) {
        std::memcpy(end, name.c_str(), static_cast<size_t>(name.GetLength()));
        end += name.GetLength();
        *end++ = ';';
        return end - start < length;
    });
    end[-1] = 0;
    mLastDescription.UpdateLength();
}
