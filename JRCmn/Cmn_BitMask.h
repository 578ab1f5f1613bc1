#pragma once

// Cmn_BitMask: a fixed number of bits, which pass between processes as bytes. Bit i is bit i mod 8 of byte i / 8, the
// least significant bit first.
//
//   Cmn_BitMask<162> mask;                     // 21 bytes, all bits off
//   mask.SetBit(29, true);
//   message.push_back(mask.GetByte(3));
//
// Threads:   any; each bit and byte is an atomic of its own, so neighbours are not disturbed and nothing is read half.
//            Bits that belong together are not seen together.
// Ownership: none
// Errors:    an index out of range is reported; it reads as off (0) and writes nothing
// Units:     indexes count bits or bytes from 0. The bits of the last byte that are beyond the mask are kept as they were
//            set with SetByte, and no bit index reaches them.

#include <array>
#include <atomic>

#include "JRCmn/Cmn_Assert.h"

template <unsigned int tNumberBools>
class Cmn_BitMask {
public:
    static constexpr int cArraySize = (tNumberBools + 7) / 8;

    bool GetBit(unsigned int inIndex) const { return CMN_VERIFY(inIndex < tNumberBools) && IsSet(inIndex); }

    void SetBit(unsigned int inIndex, bool inValue) {
        if (!CMN_VERIFY(inIndex < tNumberBools)) return;
        const auto bit = static_cast<unsigned char>(1u << inIndex % 8);
        if (inValue) {
            mBytes[inIndex / 8].fetch_or(bit, std::memory_order_relaxed);
        } else {
            mBytes[inIndex / 8].fetch_and(static_cast<unsigned char>(~bit), std::memory_order_relaxed);
        }
    }

    unsigned char GetByte(int inIndex) const {
        if (!CMN_VERIFY(inIndex >= 0 && inIndex < cArraySize)) return 0;
        return mBytes[static_cast<unsigned int>(inIndex)].load(std::memory_order_relaxed);
    }

    void SetByte(int inIndex, unsigned char inValue) {
        if (!CMN_VERIFY(inIndex >= 0 && inIndex < cArraySize)) return;
        mBytes[static_cast<unsigned int>(inIndex)].store(inValue, std::memory_order_relaxed);
    }

    // Without a check, for an index that the caller has checked.
    bool IsSet(unsigned int inIndex) const {
        return (mBytes[inIndex / 8].load(std::memory_order_relaxed) >> inIndex % 8 & 1) != 0;
    }

private:
    std::array<std::atomic<unsigned char>, cArraySize> mBytes{};
};
