#include "JRCmn/Internal/Cmn_StackWalk.h"

#include <algorithm>
#include <cstring>

using namespace NorvikLibInternal;

namespace {

// 256 KB: enough for the deepest trace in ordinary code, 62 frames of 4 KB each.
constexpr uint64_t kSnapshotBytes = 0x40000;

// Operations that undo a prologue, as the platform's exception data codes them.
enum UnwindOperation : unsigned {
    kPushRegister = 0,
    kAllocateLarge = 1,
    kAllocateSmall = 2,
    kSetFrameRegister = 3,
    kSaveRegister = 4,
    kSaveRegisterFar = 5,
    kEpilogue = 6,
    kSpare = 7,
    kSaveVector = 8,
    kSaveVectorFar = 9,
    kPushMachineFrame = 10,
};

struct UnwindInfo {
    unsigned char version : 3;
    unsigned char flags : 5;
    unsigned char prologueSize;
    unsigned char codeCount;
    unsigned char frameRegister : 4;
    unsigned char frameOffset : 4;
    uint16_t codes[1];
};

constexpr unsigned kChained = 4;  // a flag of UnwindInfo
constexpr int kMaxChain = 32;

const UnwindInfo& InfoOf(uint64_t image, const RUNTIME_FUNCTION* function) {
    // An odd value leads to the entry of the function that this one is a part of.
    for (int i = 0; i < kMaxChain && (function->UnwindData & 1); ++i) {
        function = reinterpret_cast<const RUNTIME_FUNCTION*>(image + (function->UnwindData & ~1u));
    }
    return *reinterpret_cast<const UnwindInfo*>(image + function->UnwindData);
}

struct CodeSize {
    unsigned slots;  // of the code array
    uint64_t bytes;  // of the stack
};

CodeSize SizeOfCode(const uint16_t* code) {
    const unsigned operand = *code >> 12;
    switch ((*code >> 8) & 0xF) {
        case kPushRegister:
            return {1, 8};
        case kAllocateLarge:
            if (operand == 0) return {2, code[1] * uint64_t{8}};
            return {3, code[1] | uint64_t{code[2]} << 16};
        case kAllocateSmall:
            return {1, operand * 8 + 8};
        case kPushMachineFrame:
            return {1, operand ? 48u : 40u};
        case kSaveRegister:
        case kSpare:
        case kSaveVector:
            return {2, 0};
        case kSaveRegisterFar:
        case kSaveVectorFar:
            return {3, 0};
        default:
            return {1, 0};
    }
}

// How far from a frame's base unwinding reads at most.
uint64_t FrameSize(uint64_t image, const RUNTIME_FUNCTION* function) {
    uint64_t bytes = 8;  // the return address
    for (int i = 0; i < kMaxChain; ++i) {
        const UnwindInfo& info = InfoOf(image, function);
        for (unsigned at = 0; at < info.codeCount;) {
            const CodeSize size = SizeOfCode(info.codes + at);
            at += size.slots;
            bytes += size.bytes;
        }
        if (!(info.flags & kChained)) break;
        function = reinterpret_cast<const RUNTIME_FUNCTION*>(info.codes + ((info.codeCount + 1u) & ~1u));
    }
    return bytes;
}

void Skip(StackFrames& frames, int skip) {
    const int left = std::max(0, frames.count - std::max(0, skip));
    std::copy(frames.addresses + frames.count - left, frames.addresses + frames.count, frames.addresses);
    frames.count = left;
}

}  // namespace

namespace NorvikLibInternal {

StackSnapshot::StackSnapshot()
    : mCopy(static_cast<unsigned char*>(
          ::VirtualAlloc(nullptr, kSnapshotBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {}

void StackSnapshot::Take(const CONTEXT& context) {
    mContext = context;
    mSize = 0;
    if (!mCopy || context.Rsp % 8 != 0) return;
    const void* stack = nullptr;
    MEMORY_BASIC_INFORMATION region;
    while (mSize < kSnapshotBytes) {
        const uint64_t from = context.Rsp + mSize;
        if (!::VirtualQuery(reinterpret_cast<void*>(from), &region, sizeof region)) break;
        if (region.State == MEM_FREE || (stack && region.AllocationBase != stack)) break;
        stack = region.AllocationBase;
        const uint64_t end = reinterpret_cast<uint64_t>(region.BaseAddress) + region.RegionSize;
        const uint64_t bytes = std::min(end - from, kSnapshotBytes - mSize);
        // The system copies, so that memory that is gone meanwhile is an error here and not a fault. The
        // innermost frame of a stack that has overflowed may begin in memory that does not exist yet.
        SIZE_T copied = 0;
        if (!::ReadProcessMemory(::GetCurrentProcess(), reinterpret_cast<void*>(from), mCopy.Get() + mSize,
                                 bytes, &copied)) {
            std::memset(mCopy.Get() + mSize, 0, bytes);
        }
        mSize += bytes;
    }
}

bool StackSnapshot::Contains(uint64_t address, uint64_t bytes) const {
    const uint64_t start = reinterpret_cast<uint64_t>(mCopy.Get());
    return address >= start && address - start <= mSize && bytes <= mSize - (address - start);
}

// What points into the thread's stack is made to point to the same place of the copy.
void StackSnapshot::PointIntoCopy(uint64_t& value) const {
    const uint64_t offset = value - mContext.Rsp;
    if (offset < mSize) value = reinterpret_cast<uint64_t>(mCopy.Get()) + offset;
}

StackFrames StackSnapshot::Walk() {
    StackFrames frames;
    frames.addresses[frames.count++] = mContext.Rip;
    for (uint64_t at = 0; at + 8 <= mSize; at += 8)
        PointIntoCopy(*reinterpret_cast<uint64_t*>(mCopy.Get() + at));
    CONTEXT context = mContext;
    for (DWORD64* const value : {&context.Rsp, &context.Rbp, &context.Rbx, &context.Rsi, &context.Rdi,
                                 &context.R12, &context.R13, &context.R14, &context.R15}) {
        PointIntoCopy(*value);
    }
    for (bool isCaller = false; frames.count < kMaxStackFrames; isCaller = true) {
        const uint64_t stack = context.Rsp;
        if (!LeaveFrame(context, isCaller) || context.Rip == 0 || context.Rsp <= stack) break;
        frames.addresses[frames.count++] = context.Rip - 1;
    }
    return frames;
}

bool StackSnapshot::LeaveFrame(CONTEXT& context, bool isCaller) const {
    // A call that does not return may be the last instruction of its function, with its return address in the
    // next one.
    const uint64_t at = isCaller ? context.Rip - 1 : context.Rip;
    DWORD64 image = 0;
    PRUNTIME_FUNCTION function = ::RtlLookupFunctionEntry(at, &image, nullptr);
    if (function) {
        if (!HoldsFrame(context, image, *function)) return false;
        const uint64_t inFunction = std::min(context.Rip, image + function->EndAddress - 1);
        void* handlerData = nullptr;
        DWORD64 establisher = 0;
        ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, inFunction, function, &context, &handlerData,
                           &establisher, nullptr);
        return true;
    }
    // Code without exception data is a function that calls none, or the target of a call through a bad
    // pointer. Only the innermost frame can be that, and its return address lies on top of the stack.
    if (isCaller || !Contains(context.Rsp, 8)) return false;
    context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
    context.Rsp += 8;
    return true;
}

// The unwinding itself trusts the stack, so what it will read is looked at first.
bool StackSnapshot::HoldsFrame(const CONTEXT& context, uint64_t image,
                               const RUNTIME_FUNCTION& function) const {
    const UnwindInfo& info = InfoOf(image, &function);
    uint64_t base = context.Rsp;
    const bool inPrologue = context.Rip - image - function.BeginAddress < info.prologueSize;
    if (info.frameRegister && !inPrologue) {
        // The context holds the registers in the order of their numbers.
        base = (&context.Rax)[info.frameRegister] - info.frameOffset * uint64_t{16};
    }
    return Contains(context.Rsp, 8) && Contains(base, FrameSize(image, &function));
}

StackFrames WalkStack(const CONTEXT& context, int skip) {
    StackSnapshot snapshot;
    snapshot.Take(context);
    StackFrames frames = snapshot.Walk();
    Skip(frames, skip);
    return frames;
}

StackFrames WalkOwnStack(const void* returnAddress, int skip) {
    CONTEXT context;
    ::RtlCaptureContext(&context);
    StackFrames frames = WalkStack(context, 0);
    // Whatever the compiler made of the functions in between, the return address tells them from the caller's.
    const uint64_t first = reinterpret_cast<uint64_t>(returnAddress) - 1;
    const auto end = frames.addresses + frames.count;
    const auto found = std::find(frames.addresses, end, first);
    Skip(frames, skip + static_cast<int>(found == end ? 0 : found - frames.addresses));
    return frames;
}

}  // namespace NorvikLibInternal
