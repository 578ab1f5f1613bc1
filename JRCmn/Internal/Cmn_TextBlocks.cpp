#include "JRCmn/Internal/Cmn_TextBlocks.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace NorvikLibInternal {
namespace {

struct FreeBlock {
    FreeBlock* next;
};

class FreeList {
public:
    constexpr FreeList() = default;
    // Texts that are destroyed later find the list taken for ever and use the heap.
    ~FreeList() {
        if (!Take()) return;
        while (mFirst != nullptr)
            std::free(std::exchange(mFirst, mFirst->next));
    }

    // Not a lock: nobody waits for it.
    bool Take() { return !mIsTaken.exchange(true, std::memory_order_acquire); }
    void GiveBack() { mIsTaken.store(false, std::memory_order_release); }

    // For whoever has taken the list.
    void* Pop() {
        FreeBlock* const block = mFirst;
        if (block == nullptr) return nullptr;
        mFirst = block->next;
        --mCount;
        return block;
    }
    bool Push(void* inBlock, std::size_t inMaxCount) {
        if (mCount >= inMaxCount) return false;
        mFirst = new (inBlock) FreeBlock{mFirst};
        ++mCount;
        return true;
    }

private:
    alignas(64) std::atomic<bool> mIsTaken{
        false};  // a cache line each, so that lists do not disturb each other
    FreeBlock* mFirst = nullptr;
    std::size_t mCount = 0;
};

constexpr std::size_t kBytesPerList = 262'144;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeepsBlocks = false;  // a freed block must look freed to the sanitizer
#else
constexpr bool kKeepsBlocks = true;
#endif

constinit FreeList gLists[kTextBlockLists];

bool IsListed(std::size_t inSize) {
    return kKeepsBlocks && inSize >= kSmallestListedBlock && inSize <= kLargestListedBlock;
}

std::size_t IndexFor(std::size_t inSize) {
    return (inSize - kSmallestListedBlock) / 8;
}

}  // namespace

void* AllocateTextBlock(std::size_t inSize) {
    void* block = nullptr;
    if (IsListed(inSize)) {
        FreeList& list = gLists[IndexFor(inSize)];
        if (list.Take()) {
            block = list.Pop();
            list.GiveBack();
        }
    }
    return block != nullptr ? block : std::malloc(inSize);
}

void FreeTextBlock(void* inBlock, std::size_t inSize) {
    if (IsListed(inSize)) {
        FreeList& list = gLists[IndexFor(inSize)];
        if (list.Take()) {
            const bool isKept = list.Push(inBlock, kBytesPerList / inSize);
            list.GiveBack();
            if (isKept) return;
        }
    }
    std::free(inBlock);
}

void* TextBlockBatch::Allocate(std::size_t inSize) {
    void* block = nullptr;
    if (IsListed(inSize)) {
        const std::size_t index = IndexFor(inSize);
        State& state = mStates[index];
        if (state == State::kUnused) state = gLists[index].Take() ? State::kTaken : State::kRefused;
        if (state == State::kTaken) block = gLists[index].Pop();
    }
    return block != nullptr ? block : std::malloc(inSize);
}

TextBlockBatch::~TextBlockBatch() {
    for (std::size_t i = 0; i < kTextBlockLists; ++i) {
        if (mStates[i] == State::kTaken) gLists[i].GiveBack();
    }
}

}  // namespace NorvikLibInternal
