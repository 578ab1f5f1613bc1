#pragma once

// IPC_SharedMemory: a named block of memory that processes share, guarded by a named mutex of its own.
//
//   IPC_SharedMemory block("Levels");
//   if (!block.Create(sizeof(Levels))) return false;   // held by this thread
//   block.Write(&mLevels, sizeof mLevels, &count, 4);  // the user data begin at offset 4
//   block.Lock(false);                                 // lets the others in
//
//   IPC_SharedMemory levels("Levels");                 // another process
//   if (!levels.Open(true)) return false;
//   IPC_SharedMemoryLocker locker(levels);
//   levels.Read(&mLevels, sizeof mLevels, &count, 4);
//
// For readers that must not wait, put an IPC_SeqLock into the block. docs/formats/shared-memory-block.md has the layout.
//
// Threads:   Lock and its unlocking belong to one thread, also the unlocking after Create. Write, Read and the pointer are
//            free to any thread that holds the lock. Create, Open, TryOpen and Delete belong to one thread, while no other
//            uses the object.
// Ownership: owns view, mapping and mutex handle; neither copied nor moved. The block lives as long as anybody has it open.
//            Deleting does not unlock: unlock first, or the others wait until this thread ends.
// Errors:    false, with a report unless it says otherwise; the platform's last error is left to be read. An opening that
//            fails releases everything and leaves the object as it was.
// Units:     bytes and milliseconds; names have 1 to 251 bytes

#include <cstdint>

#include "IPC/IPC_Mutex.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API IPC_SharedMemory {
public:
    // Maps nothing.
    explicit IPC_SharedMemory(const Cmn_String& name);
    ~IPC_SharedMemory();
    IPC_SharedMemory(const IPC_SharedMemory&) = delete;
    IPC_SharedMemory& operator=(const IPC_SharedMemory&) = delete;

    // A new block, all zeroes; one that exists already and is large enough is used as it is, with a new size. It waits for the
    // mutex and keeps it: fill the block, then Lock(false).
    bool Create(unsigned int userSize);
    // Waits for the mutex and releases it again. False without a report when nobody has the block's mutex.
    bool Open(bool readOnly);
    // The same, but waits at most so long; false without a report after that.
    bool TryOpen(unsigned int timeoutMs, bool readOnly);
    // Unmaps and closes everything.
    void Delete();

    // Waits for the mutex without a limit (true), or releases it (false).
    bool Lock(bool lock);

    // Copy min(size, total - offset) bytes at the offset from the block's start and store their number (0 on failure; it may
    // be null). They do not lock. An offset beyond the end gives false without a report. At offset 0 lies the header, which
    // a write there overwrites: later openings read it. A block that was opened for reading only is not written to.
    bool Write(const void* data, unsigned int size, unsigned int* written, unsigned int offset);
    bool Read(void* data, unsigned int size, unsigned int* read, unsigned int offset);

    // Null without a block. Of a block that was opened for reading only nothing may be written through it.
    void* GetUserDataPtr() const;
    // What the header said when the block was opened; 0 without a block.
    unsigned int GetUserDataSize() const;
    const Cmn_String& GetName() const { return mName; }

private:
    bool IsNameUsable() const;
    struct UnlessDone;
    bool MapNew(uint32_t totalSize);
    bool MapExisting(bool readOnly, int openLine, int mapLine);
    bool TakeSizeFromHeader();
    uint32_t CountAt(unsigned int offset, unsigned int size) const;

    uint32_t mTotalSize = 0;
    void* mFileMappingHandle = nullptr;
    IPC_NamedMutex mMutex;
    Cmn_String mName;
    void* mDataPtr = nullptr;
    bool mIsReadOnly = false;
};

// Holds a block's mutex for a scope; belongs to one thread.
class NORVIK_API IPC_SharedMemoryLocker {
public:
    explicit IPC_SharedMemoryLocker(IPC_SharedMemory& memory);
    ~IPC_SharedMemoryLocker();
    IPC_SharedMemoryLocker(const IPC_SharedMemoryLocker&) = delete;
    IPC_SharedMemoryLocker& operator=(const IPC_SharedMemoryLocker&) = delete;

    bool IsLocked() const { return mIsLocked; }

private:
    IPC_SharedMemory& mMemory;
    const bool mIsLocked;
};
