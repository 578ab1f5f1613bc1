#pragma once

// IPC_SeqLock: a sequence lock, by which readers copy consistent data out of shared memory without ever holding up the
// writer. One 32-bit counter, even while nobody writes; it lies in the shared block beside the data that it guards. A new
// block is all zeroes, which is a lock that nobody has.
//
//   struct Block { IPC_SeqLock lock; Levels levels; };
//   auto& block = *static_cast<Block*>(memory.GetUserDataPtr());
//
//   block.lock.Write(&block.levels, &mLevels, sizeof mLevels);                       // the writer, under the block's mutex
//   if (!block.lock.Read(&levels, &block.levels, sizeof levels, 5).IsValid()) ...   // a reader: no copy in five seconds
//
// By hand, for data in several pieces (every piece is copied with Copy, never read or written in place):
//   writer: WriteLock(), Copy, ..., WriteUnlock()
//   reader: begin = ReadBegin(); not valid: again; Copy, ...; ReadEnd(begin) false: again; Sleep() when that goes on
//
// A writer that is killed between lock and unlock leaves the counter odd, and no reader accepts anything any more. The next
// writer sees that ReadBegin() is not valid although it holds the writers' mutex. Write() then goes on with the dead one's
// write: it rewrites the data and unlocks. By hand that is: rewrite all that the lock guards and call WriteUnlock(), without
// a WriteLock() before. A WriteLock() would make the counter even, and readers would accept the torn data until everything
// is rewritten; it returns a reading that is not valid then.
//
// Threads:   readers on any thread of any process, at any time. Writers exclude each other by other means: the block's mutex.
// Ownership: none; the lock has no resources and is neither copied nor moved. What lies in shared memory is never destroyed.
// Errors:    none. A writer that never stops, or is dead, keeps readers trying; they sleep between tries.
// Units:     bytes; sleeps of 1,000 ms. Readings count in steps of 2 and wrap around after 2^31 writes.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "JRCmn/Cmn_Export.h"

// A reading of the counter: the version of the data.
class IPC_SeqLockCounter {
public:
    IPC_SeqLockCounter() = default;  // not valid
    explicit IPC_SeqLockCounter(int64_t value) : mValue(value) {}

    // Nobody wrote.
    bool IsValid() const { return mValue % 2 == 0; }
    int64_t GetValue() const { return mValue; }

    // One that is not valid equals nothing, not even itself.
    bool operator==(const IPC_SeqLockCounter& other) const { return IsValid() && mValue == other.mValue; }
    bool operator!=(const IPC_SeqLockCounter& other) const { return !(*this == other); }

    // The same or later. The first reading after the wrap-around is 2^32 below the one before it and not soon after it.
    bool IsSoonAfter(const IPC_SeqLockCounter& other) const {
        return static_cast<uint64_t>(mValue) - static_cast<uint64_t>(other.mValue) < 0x7FFFFFFFFFFFFFFF;
    }

private:
    int64_t mValue = 1;
};

// The thread sanitizer knows no fences, and gcc says so. It misses nothing: all that is shared here is atomic to it.
#if defined(__SANITIZE_THREAD__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wtsan"
#endif

class IPC_SeqLock {
public:
    static constexpr unsigned int cForever = 0xFFFFFFFF;

    IPC_SeqLock() = default;
    IPC_SeqLock(const IPC_SeqLock&) = delete;
    IPC_SeqLock& operator=(const IPC_SeqLock&) = delete;

    // The reading that the matching unlock will return.
    IPC_SeqLockCounter WriteLock() {
        const auto old = static_cast<uint32_t>(mCounter.fetch_add(1));
        // The data must not be seen changed before the counter is.
        std::atomic_thread_fence(std::memory_order_release);
        return IPC_SeqLockCounter(static_cast<int32_t>(old + 2));
    }

    IPC_SeqLockCounter WriteUnlock() {
        const auto old = static_cast<uint32_t>(mCounter.fetch_add(1));
        return IPC_SeqLockCounter(static_cast<int32_t>(old + 1));
    }

    IPC_SeqLockCounter ReadBegin() const {
        return IPC_SeqLockCounter(mCounter.load(std::memory_order_acquire));
    }

    // Whether what was copied since `begin` belongs together.
    bool ReadEnd(const IPC_SeqLockCounter& begin) const {
        std::atomic_thread_fence(std::memory_order_acquire);
        return begin == IPC_SeqLockCounter(mCounter.load(std::memory_order_relaxed));
    }

    // One try of a reader: the reading that the copy belongs to, or one that is not valid when a writer was at work. The copy
    // is rubbish then.
    IPC_SeqLockCounter TryRead(void* copy, const void* shared, size_t size) const {
        const IPC_SeqLockCounter begin = ReadBegin();
        if (!begin.IsValid()) return {};
        Copy(copy, shared, size);
        return ReadEnd(begin) ? begin : IPC_SeqLockCounter();
    }

    // The whole of a reader: tries until the copy is consistent. After some two thousand tries in vain it sleeps; instead of
    // sleeping more often than `sleeps` times it gives up with a reading that is not valid.
    IPC_SeqLockCounter Read(void* copy, const void* shared, size_t size,
                            unsigned int sleeps = cForever) const {
        const IPC_SeqLockCounter first = TryRead(copy, shared, size);
        return first.IsValid() ? first : ReadAgain(copy, shared, size, sleeps);
    }

    // The whole of a writer, for all data that the lock guards; returns the reading that readers will see.
    IPC_SeqLockCounter Write(void* shared, const void* data, size_t size) {
        // Odd although this is the only writer: one that died. Its write goes on as this one.
        if (ReadBegin().IsValid()) WriteLock();
        Copy(shared, data, size);
        return WriteUnlock();
    }

    // Copies bytes that another thread or process may read or write at the same time. Which of its changes the copy has is
    // open, until ReadEnd says that there were none. The two must not overlap.
    static void Copy(void* to, const void* from, size_t size);

    // Some 1,000 ms, less when a function is queued to the thread (an APC), which runs then. For readers that keep finding a
    // writer at work.
    NORVIK_API static void Sleep();

private:
    NORVIK_API IPC_SeqLockCounter ReadAgain(void* copy, const void* shared, size_t size,
                                            unsigned int sleeps) const;

    std::atomic<int32_t> mCounter{0};
};

static_assert(sizeof(IPC_SeqLock) == 4 && std::atomic<int32_t>::is_always_lock_free);

#if defined(__GNUC__) && defined(__x86_64__) && !defined(__SANITIZE_THREAD__)

// memcpy would be a data race: the compiler may read a byte twice, or put off a read until after ReadEnd. Relaxed atomic loads
// are right and four to five times as slow, because no compiler joins them. So the copy is made of instructions that the
// compiler cannot look into: volatile, not moved against each other, and against other accesses to memory (the counter's)
// only as the "memory" clobber allows, which is not at all. The processor keeps loads in order, those of string moves, too;
// it may shuffle the stores of one string move among themselves, but not with the locked additions around them.
[[gnu::always_inline]] inline void IPC_SeqLock::Copy(void* to, const void* from, size_t size) {
    constexpr size_t kStringMoveFrom = 1024;  // below, starting one up costs more than it saves
    auto* target = static_cast<unsigned char*>(to);
    auto* source = static_cast<const unsigned char*>(from);
    if (size >= kStringMoveFrom) {
        size_t words = size / 8;
        size %= 8;
        __asm__ volatile("rep movsq" : "+D"(target), "+S"(source), "+c"(words) : : "memory");
    }
    for (; size >= 64; size -= 64, target += 64, source += 64) {
        __asm__ volatile(
            "movups (%1), %%xmm0\n\t"
            "movups 16(%1), %%xmm1\n\t"
            "movups 32(%1), %%xmm2\n\t"
            "movups 48(%1), %%xmm3\n\t"
            "movups %%xmm0, (%0)\n\t"
            "movups %%xmm1, 16(%0)\n\t"
            "movups %%xmm2, 32(%0)\n\t"
            "movups %%xmm3, 48(%0)"
            :
            : "r"(target), "r"(source)
            : "xmm0", "xmm1", "xmm2", "xmm3", "memory");
    }
    for (; size >= 8; size -= 8, target += 8, source += 8) {
        __asm__ volatile("movq (%1), %%rax\n\tmovq %%rax, (%0)"
                         :
                         : "r"(target), "r"(source)
                         : "rax", "memory");
    }
    for (; size > 0; size -= 1, target += 1, source += 1) {
        __asm__ volatile("movb (%1), %%al\n\tmovb %%al, (%0)" : : "r"(target), "r"(source) : "rax", "memory");
    }
}

#else

// For compilers without such instructions, and for the thread sanitizer, which looks at every access.
inline void IPC_SeqLock::Copy(void* to, const void* from, size_t size) {
    auto* target = static_cast<unsigned char*>(to);
    auto* source = const_cast<unsigned char*>(static_cast<const unsigned char*>(from));
    for (size_t i = 0; i < size; ++i) {
        const unsigned char byte = std::atomic_ref<unsigned char>(source[i]).load(std::memory_order_relaxed);
        std::atomic_ref<unsigned char>(target[i]).store(byte, std::memory_order_relaxed);
    }
}

#endif

#if defined(__SANITIZE_THREAD__)
#pragma GCC diagnostic pop
#endif
