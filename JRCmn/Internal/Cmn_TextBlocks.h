#pragma once

// Where the blocks of texts come from: malloc and free, with lists of small blocks between, because a block
// that is used again costs a tenth of the run-time's heap. Splitting a record into fields is mostly this.
//
//   void* block = AllocateTextBlock(24);
//   FreeTextBlock(block, 24);
//
// Threads:   any. A list is taken for a few instructions, or by a TextBlockBatch; whoever finds it taken goes
//            to the heap and never waits.
// Ownership: at most 256 KiB of free blocks stay in each of the seven lists, until the library is unloaded
// Errors:    null when memory runs out
// Units:     bytes, header included, a multiple of 8

#include <cstddef>

namespace NorvikLibInternal {

constexpr std::size_t kSmallestListedBlock = 16;
constexpr std::size_t kLargestListedBlock = 64;
constexpr std::size_t kTextBlockLists = (kLargestListedBlock - kSmallestListedBlock) / 8 + 1;

void* AllocateTextBlock(std::size_t inSize);
void FreeTextBlock(void* inBlock, std::size_t inSize);

// Allocates many blocks in a row: keeps the lists that it takes until it is destroyed.
class TextBlockBatch {
public:
    TextBlockBatch() = default;
    ~TextBlockBatch();
    TextBlockBatch(const TextBlockBatch&) = delete;
    TextBlockBatch& operator=(const TextBlockBatch&) = delete;

    void* Allocate(std::size_t inSize);

private:
    enum class State : unsigned char { kUnused, kTaken, kRefused };
    State mStates[kTextBlockLists] = {};
};

}  // namespace NorvikLibInternal
