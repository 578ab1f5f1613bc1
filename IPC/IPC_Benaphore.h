#pragma once

// IPC_Benaphore: the library's light lock between threads of one process. An uncontended lock and unlock cost one
// atomic operation each and no system call.
//
//   IPC_Benaphore mLock;
//   ...
//   IPC_BenaphoreLocker locker(mLock);   // released at the end of the scope
//
// Threads:   any; which waiter gets a release is not ordered (no fairness)
// Ownership: owns a small heap block of two words; neither copied nor moved
// Errors:    none. Not recursive: a second Lock() by the holder waits for ever. A thread that is terminated while it
//            holds the lock leaves it locked for ever.
// Units:     none

#include <atomic>
#include <cstdint>

#include "JRCmn/Cmn_Export.h"

class NORVIK_API IPC_Benaphore {
public:
    IPC_Benaphore();
    ~IPC_Benaphore();
    IPC_Benaphore(const IPC_Benaphore&) = delete;
    IPC_Benaphore& operator=(const IPC_Benaphore&) = delete;

    void Lock() {
        if (mWords->count.fetch_add(1) + 1 >= 2) WaitForRelease();
    }

    void Unlock() {
        if (mWords->count.fetch_sub(1) - 1 >= 1) mWords->releases.fetch_add(1);
    }

    // For diagnosis, true only for the moment: holders and waiters together, and releases that no waiter has taken yet.
    int32_t GetHoldersAndWaiters() const { return mWords->count.load(); }
    int32_t GetPendingReleases() const { return mWords->releases.load(); }

private:
    struct Words {
        std::atomic<int32_t> count{0};     // holders and waiters
        std::atomic<int32_t> releases{0};  // posted by Unlock, each taken by one waiter
    };

    void WaitForRelease();
    bool TakeRelease();

    Words* const mWords;
};

// Holds a benaphore for a scope.
class IPC_BenaphoreLocker {
public:
    explicit IPC_BenaphoreLocker(IPC_Benaphore& lock) : mLock(lock) { mLock.Lock(); }
    ~IPC_BenaphoreLocker() { mLock.Unlock(); }
    IPC_BenaphoreLocker(const IPC_BenaphoreLocker&) = delete;
    IPC_BenaphoreLocker& operator=(const IPC_BenaphoreLocker&) = delete;

private:
    IPC_Benaphore& mLock;
};
