#pragma once

// The frames of a thread's stack. Capturing one and finding out what its frames are called (Cmn_FrameName.h)
// are apart, because the first may happen while a thread is suspended, and the second takes locks that this
// thread may hold.
//
//   StackSnapshot snapshot;                        // reserves its memory
//   ... SuspendThread, GetThreadContext ...
//   snapshot.Take(context);                        // no allocation, no lock
//   ... ResumeThread ...
//   const StackFrames frames = snapshot.Walk();
//
// Threads:   any; a snapshot belongs to one thread at a time
// Ownership: a snapshot owns a copy of the stack
// Errors:    a stack or a context that is damaged gives fewer frames, never a fault: of the stack only the copy is read
// Units:     addresses are those of the instruction a frame is in: for a caller the last byte of its call, so that the line of
//            the call is named, not the next one

#include <cstdint>

#include "JRCmn/Internal/Cmn_Handle.h"

namespace NorvikLibInternal {

constexpr int kMaxStackFrames = 62;

struct StackFrames {
    int count = 0;  // innermost frame first
    uint64_t addresses[kMaxStackFrames];
};

struct VirtualMemoryTraits {
    using Type = unsigned char*;
    static bool IsEmpty(Type memory) { return memory == nullptr; }
    static Type Empty() { return nullptr; }
    static void Close(Type memory) { ::VirtualFree(memory, 0, MEM_RELEASE); }
};

class StackSnapshot {
public:
    StackSnapshot();

    // Copies the stack of the thread that `context` describes, from its innermost frame on. A thread other
    // than the caller's is best suspended; the stack of a running one may change under the copying, which
    // costs frames.
    void Take(const CONTEXT& context);

    StackFrames Walk();

private:
    bool Contains(uint64_t address, uint64_t bytes) const;
    void PointIntoCopy(uint64_t& value) const;
    bool LeaveFrame(CONTEXT& context, bool isCaller) const;
    bool HoldsFrame(const CONTEXT& context, uint64_t image, const RUNTIME_FUNCTION& function) const;

    Handle<VirtualMemoryTraits> mCopy;
    uint64_t mSize = 0;
    CONTEXT mContext = {};
};

// The frames of the thread that `context` describes, without the `skip` innermost ones.
StackFrames WalkStack(const CONTEXT& context, int skip);

// The frames of this thread, beginning with the one that `returnAddress` leads into, without the `skip`
// innermost ones.
StackFrames WalkOwnStack(const void* returnAddress, int skip);

// As Cmn_Assert::PrintStackTrace, with frames that were walked before.
void TraceStack(const StackFrames& frames, bool symbols);

}  // namespace NorvikLibInternal
