#pragma once

// The platform's mutex: between the threads of a process (IPC_UnnamedMutex) or of all processes (IPC_NamedMutex), with a
// locker for a scope.
//
//   IPC_NamedMutex desk("Desk");
//   if (!desk.Create()) return false;            // held by this thread now
//   desk.Unlock();
//   ...
//   IPC_MutexLocker locker(desk, true);          // or std::lock_guard guard(desk)
//   if (!locker.TimedLock(100)) return false;    // released at the end of the scope
//
// Threads:   any may lock. The platform's mutex belongs to the thread that locked it: the same thread unlocks it, as many
//            times as it has locked it. Opening and closing belong to one thread, while no other uses the object.
// Ownership: owns its handle, closed in the destructor; neither copied nor moved. Closing does not unlock: unlock first.
// Errors:    false, and a report unless it says otherwise; the platform's last error is left to be read. A mutex whose
//            owner ended without unlocking is acquired, with a trace: what it guards may be half written.
// Units:     milliseconds; names have 1 to 259 bytes, "Global\" and "Local\" in front mean what they mean to the platform

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

// What both kinds have in common.
class NORVIK_API IPC_BasicMutex {
public:
    static constexpr unsigned int cInfiniteTimeout = 0xFFFFFFFF;

    IPC_BasicMutex(const IPC_BasicMutex&) = delete;
    IPC_BasicMutex& operator=(const IPC_BasicMutex&) = delete;

    bool Lock();
    // False after the time, without a report.
    bool TimedLock(unsigned int timeoutMs);
    // False, without a report, when this thread does not hold it.
    bool Unlock();

    // The names that standard lock guards call; they do not look at the answer.
    bool lock() { return Lock(); }
    bool unlock() { return Unlock(); }

    // Null when it is not open.
    void* GetHandle() const { return mMutex; }

protected:
    IPC_BasicMutex() = default;
    ~IPC_BasicMutex();

    void* mMutex = nullptr;
};

class NORVIK_API IPC_UnnamedMutex : public IPC_BasicMutex {
public:
    // Not held by anyone.
    IPC_UnnamedMutex();
};

// Refers to nothing until it is opened; opening what is open already is reported and refused. The mutex itself lives as
// long as anybody has it open.
class NORVIK_API IPC_NamedMutex : public IPC_BasicMutex {
public:
    explicit IPC_NamedMutex(const Cmn_String& name);

    // The caller holds it then; one that exists already is waited for.
    bool Create();
    // One that exists; it is not locked. False without a report when there is none.
    bool Open();
    // The same, but what bears the name and is no mutex, or denies access, is reported. It creates the mutex for a moment to
    // find out: two that try at once may each take the other for its owner.
    bool TryOpen();
    void Close();

    const Cmn_String& GetName() const { return mName; }

private:
    bool IsReadyToOpen() const;

    Cmn_String mName;
};

// Holds a mutex for a scope; belongs to one thread.
class NORVIK_API IPC_MutexLocker {
public:
    explicit IPC_MutexLocker(IPC_BasicMutex& mutex, bool deferLock = false);
    ~IPC_MutexLocker();
    IPC_MutexLocker(const IPC_MutexLocker&) = delete;
    IPC_MutexLocker& operator=(const IPC_MutexLocker&) = delete;

    // True at once when it holds the mutex already.
    bool Lock();
    bool TimedLock(unsigned int timeoutMs);
    bool IsLocked() const { return mIsLocked; }

private:
    IPC_BasicMutex& mMutex;
    bool mIsLocked = false;
};
