#pragma once

// IPC_Buffer: a block of bytes that a message is read into.
//
//   IPC_Buffer buffer(4'096);
//   int count = 0;
//   pipe.Read(buffer.GetData(), buffer.GetCapacity(), &count, 1'000);
//   buffer.SetCount(count);
//
// Threads:   one at a time
// Ownership: owns its bytes
// Errors:    a capacity below 0 counts as 0. std::bad_alloc leaves the buffer as it was.
// Units:     bytes

#include <algorithm>
#include <memory>

class IPC_Buffer {
public:
    explicit IPC_Buffer(int capacity = 0) { SetCapacity(capacity); }
    IPC_Buffer(const IPC_Buffer&) = delete;
    IPC_Buffer& operator=(const IPC_Buffer&) = delete;

    // Also empties it.
    void SetCapacity(int capacity) {
        const int bytes = std::max(capacity, 0);
        mData = std::make_unique<char[]>(static_cast<size_t>(bytes));
        mCapacity = bytes;
        mCount = 0;
    }
    int GetCapacity() const { return mCapacity; }

    // How many bytes of it are filled.
    void SetCount(int count) { mCount = std::clamp(count, 0, mCapacity); }
    int GetCount() const { return mCount; }

    char* GetData() { return mData.get(); }
    const char* GetData() const { return mData.get(); }

    // Empties it for the next message.
    void Reset() { mCount = 0; }

private:
    std::unique_ptr<char[]> mData;
    int mCapacity = 0;
    int mCount = 0;
};
