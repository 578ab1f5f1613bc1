#pragma once

// Cuts a byte stream into frames: a 32-bit length in the machine's order, then as many bytes. Pure.
//
//   FrameAssembler assembler(maxMessageSize);
//   outcome = assembler.Take(bytes, count, [&](const unsigned char* body, uint32_t size) { return Use(body, size); });
//
// A frame that lies whole in the input is delivered where it lies. Only what a read has cut off is copied, once, so the
// cost is linear in the input however small the frames are.
//
// Threads:   one at a time
// Ownership: owns the buffer for a frame that is not whole yet. A body is valid during its delivery only.
// Errors:    everything but kWaiting ends the stream. A length is judged before anything is done by it. What the delivery
//            throws goes through and ends the stream, too.
// Units:     bytes

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace NorvikLibInternal {

enum class FrameOutcome {
    kWaiting,  // all input was taken
    kStopped,  // the delivery said so; the rest of the input is dropped
    kTooLong,  // the frame would not fit the buffer
    kNoRoom,   // the buffer is too small even for a length
    // The books of the buffer are wrong: before and after copying, before and after a frame was removed.
    kOverfullBefore,
    kOverfullAfterCopy,
    kLengthLost,
    kOverfullAfterRemoval,
};

class FrameAssembler {
public:
    static constexpr uint64_t kLengthSize = sizeof(uint32_t);

    // Whether a body makes a frame within the limit. Nothing fits a limit below the length's own size.
    static bool Fits(uint64_t bodySize, uint64_t frameLimit) {
        return frameLimit >= kLengthSize && bodySize <= frameLimit - kLengthSize && bodySize <= UINT32_MAX;
    }

    explicit FrameAssembler(uint64_t capacity)
        : mCapacity(capacity), mHolder(std::make_unique_for_overwrite<unsigned char[]>(capacity)) {}

    void Clear() { mUsed = 0; }

    // Deliver: bool(const unsigned char* body, uint32_t size); false stops.
    template <typename Deliver>
    FrameOutcome Take(const unsigned char* bytes, uint64_t count, Deliver&& deliver) {
        const unsigned char* const end = bytes + count;
        if (mCapacity < kLengthSize) return CopyWithoutRoom(bytes, end);
        if (mUsed != 0) {
            const FrameOutcome outcome = FinishHeld(bytes, end, deliver);
            if (outcome != FrameOutcome::kWaiting || mUsed != 0) return outcome;
        }
        const uint64_t largestBody = mCapacity - kLengthSize;
        while (Left(bytes, end) >= kLengthSize) {
            const uint32_t size = LengthAt(bytes);
            if (size > largestBody) return FrameOutcome::kTooLong;
            if (size > Left(bytes, end) - kLengthSize) break;
            const unsigned char* const body = bytes + kLengthSize;
            bytes = body + size;
            if (!deliver(body, size)) return FrameOutcome::kStopped;
        }
        Fill(mCapacity, bytes, end);
        return FrameOutcome::kWaiting;
    }

private:
    static uint64_t Left(const unsigned char* bytes, const unsigned char* end) {
        return static_cast<uint64_t>(end - bytes);
    }

    static uint32_t LengthAt(const unsigned char* bytes) {
        uint32_t length;
        std::memcpy(&length, bytes, sizeof length);
        return length;
    }

    // Copies until `wanted` bytes are held or the input is used up.
    bool Fill(uint64_t wanted, const unsigned char*& bytes, const unsigned char* end) {
        if (mUsed < wanted) {
            const uint64_t count = std::min(wanted - mUsed, Left(bytes, end));
            if (count != 0) std::memcpy(mHolder.get() + mUsed, bytes, count);
            mUsed += count;
            bytes += count;
        }
        return mUsed >= wanted;
    }

    // A buffer of 0 to 3 bytes never holds a length: it fills up, and the input after that is refused.
    FrameOutcome CopyWithoutRoom(const unsigned char* bytes, const unsigned char* end) {
        if (mUsed == mCapacity) return FrameOutcome::kNoRoom;
        Fill(mCapacity, bytes, end);
        return FrameOutcome::kWaiting;
    }

    // The frame whose beginning is held; when it has been delivered nothing is.
    template <typename Deliver>
    FrameOutcome FinishHeld(const unsigned char*& bytes, const unsigned char* end, Deliver& deliver) {
        if (mUsed > mCapacity) return FrameOutcome::kOverfullBefore;
        if (!Fill(kLengthSize, bytes, end)) return FrameOutcome::kWaiting;
        const uint32_t size = LengthAt(mHolder.get());
        if (!Fits(size, mCapacity)) return FrameOutcome::kTooLong;
        if (!Fill(kLengthSize + size, bytes, end)) return FrameOutcome::kWaiting;
        if (mUsed > mCapacity) return FrameOutcome::kOverfullAfterCopy;
        if (!deliver(static_cast<const unsigned char*>(mHolder.get()) + kLengthSize, size))
            return FrameOutcome::kStopped;
        if (mUsed < kLengthSize) return FrameOutcome::kLengthLost;
        mUsed -= kLengthSize + size;
        return mUsed > mCapacity ? FrameOutcome::kOverfullAfterRemoval : FrameOutcome::kWaiting;
    }

    const uint64_t mCapacity;
    uint64_t mUsed = 0;
    const std::unique_ptr<unsigned char[]> mHolder;
};

}  // namespace NorvikLibInternal
