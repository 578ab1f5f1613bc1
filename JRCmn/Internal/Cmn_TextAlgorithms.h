#pragma once

// Algorithms on bytes, without a platform: searching, and the passes that abbreviate a text. They read
// nothing outside the ranges they are given, also where they take 16 bytes at a time.
//
// Threads:   any
// Ownership: ranges are the caller's
// Errors:    none; a search that fails gives kNotFound
// Units:     bytes

#include <bit>
#include <cstddef>
#include <string_view>

#if defined(__SSE2__) || defined(_M_X64)
#define NORVIK_SSE2 1
#include <emmintrin.h>
#endif

namespace NorvikLibInternal {

constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// The first and the last place of the pattern. An empty pattern is found at the beginning and at the end.
std::size_t FindPattern(std::string_view inText, std::string_view inPattern);
std::size_t RevFindPattern(std::string_view inText, std::string_view inPattern);

// Calls action(position) for each place of the byte, in order.
template <typename Action>
inline void ForEachByte(std::string_view inText, char inByte, Action inAction) {
    std::size_t position = 0;
#if defined(NORVIK_SSE2)
    const __m128i wanted = _mm_set1_epi8(inByte);
    for (; position + 16 <= inText.size(); position += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(inText.data() + position));
        auto hits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted)));
        for (; hits != 0; hits &= hits - 1)
            inAction(position + static_cast<std::size_t>(std::countr_zero(hits)));
    }
#endif
    for (; position < inText.size(); ++position) {
        if (inText[position] == inByte) inAction(position);
    }
}

// Character classes of the code page in use.
struct CharacterClasses {
    bool (*isDigit)(unsigned char);
    bool (*isAlphanumeric)(unsigned char);
    bool (*isLower)(unsigned char);
};

// Abbreviates the text in place to at most inMaxLength characters and returns its new length. While it is too
// long it loses, each from the end towards the beginning: blanks; the first of two equal neighbours, digits
// excepted; the vowels aeiouy; bytes with the high bit; minus signs and full stops with no digit behind them;
// punctuation; everything else but letters, digits, minus signs and full stops; lower-case letters;
// everything but digits; its end.
std::size_t ShrinkText(char* ioText, std::size_t inLength, std::size_t inMaxLength,
                       const CharacterClasses& inClasses);

}  // namespace NorvikLibInternal
