#pragma once

// How messages stand in a pipe, and how they are put together again from what single reads bring. Pure.
//
// A pipe in message mode keeps messages apart by itself. In byte mode each is preceded by its length: 8 bytes, little
// endian, of which the upper four are zero.
//
//   PipeMessageReader reader(isByteMode, buffer, capacity);
//   do { n = read(reader.Target(), reader.Wanted()); } while ((state = reader.Took(n, moreFollows)) == kIncomplete);
//
// Threads:   one at a time
// Ownership: points to the buffer
// Errors:    kBadLength: the stream is out of step or the message is larger than the buffer; nothing of it was read. kTooLarge:
//            the rest of a message that did not fit has been read into the buffer and dropped.
// Units:     bytes

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace NorvikLibInternal {

constexpr int kPipePrefixSize = 8;

// The client's first message.
constexpr uint64_t kPipeHello = 0x47656220;

class PipeMessageReader {
public:
    enum State { kIncomplete, kMessage, kTooLarge, kBadLength };

    PipeMessageReader() = default;
    PipeMessageReader(bool isByteMode, void* buffer, int capacity)
        : mIsByteMode(isByteMode),
          mNeedsPrefix(isByteMode),
          mBuffer(static_cast<char*>(buffer)),
          mCapacity(capacity) {}

    // Where the next read goes, and how many bytes it asks for.
    void* Target() {
        if (mNeedsPrefix) return mPrefix + mCount;
        if (mDropping) return mCapacity > kPipePrefixSize ? mBuffer : mPrefix;
        return mBuffer + mCount;
    }
    int Wanted() const {
        if (mNeedsPrefix) return kPipePrefixSize - mCount;
        if (mDropping) return std::max(mCapacity, kPipePrefixSize);
        return (mIsByteMode ? mLength : mCapacity) - mCount;
    }

    // What the read has brought. `moreFollows`: the platform has more of the same message (message mode).
    State Took(int bytes, bool moreFollows) {
        if (mNeedsPrefix) return TookPrefix(bytes);
        if (mDropping) return moreFollows ? kIncomplete : kTooLarge;
        mCount += bytes;
        if (moreFollows) {
            mDropping = true;
            return kIncomplete;
        }
        return mIsByteMode && mCount < mLength ? kIncomplete : kMessage;
    }

    // Whether the stream stands inside a message: left here, it would be out of step.
    bool HasPart() const { return mDropping || (mIsByteMode && (mCount > 0 || !mNeedsPrefix)); }
    bool HasPrefixPart() const { return mNeedsPrefix && mCount > 0; }
    // Of the whole message.
    int Size() const { return mCount; }
    // As far as it has arrived.
    uint64_t Prefix() const {
        uint64_t prefix;
        std::memcpy(&prefix, mPrefix, sizeof prefix);
        return prefix;
    }
    int Capacity() const { return mCapacity; }

private:
    static constexpr int kLengthSize = 4;

    State TookPrefix(int bytes) {
        mCount += bytes;
        if (mCount < kLengthSize) return kIncomplete;
        // The length is judged as soon as it is there, before anything is read by it.
        uint32_t length;
        std::memcpy(&length, mPrefix, sizeof length);
        if (length > static_cast<uint32_t>(mCapacity)) return kBadLength;
        if (mCount < kPipePrefixSize) return kIncomplete;
        uint32_t upper;
        std::memcpy(&upper, mPrefix + kLengthSize, sizeof upper);
        if (upper != 0) return kBadLength;
        mLength = static_cast<int>(length);
        mNeedsPrefix = false;
        mCount = 0;
        return mLength == 0 ? kMessage : kIncomplete;
    }

    bool mIsByteMode = false;
    bool mNeedsPrefix = false;
    bool mDropping = false;
    char* mBuffer = nullptr;
    int mCapacity = 0;
    int mLength = 0;
    int mCount = 0;  // of the prefix, then of the message
    char mPrefix[kPipePrefixSize] = {};
};

}  // namespace NorvikLibInternal
