#include "JRCmn/Internal/Cmn_TextAlgorithms.h"

#include <algorithm>
#include <cstring>

namespace NorvikLibInternal {
namespace {

std::size_t FindFirst(const char* inText, std::size_t inLength, char inByte) {
    std::size_t position = 0;
#if defined(NORVIK_SSE2)
    // The run-time's memchr takes a byte a cycle.
    const __m128i wanted = _mm_set1_epi8(inByte);
    for (; position + 16 <= inLength; position += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(inText + position));
        const auto hits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted)));
        if (hits != 0) return position + static_cast<std::size_t>(std::countr_zero(hits));
    }
#endif
    for (; position < inLength; ++position) {
        if (inText[position] == inByte) return position;
    }
    return kNotFound;
}

#if defined(NORVIK_SSE2)
// Bit i: the pattern's first byte stands at inText + i and its last byte where it then belongs.
inline unsigned Candidates(const char* inText, std::size_t inLastByte, __m128i inFirst, __m128i inLast) {
    const __m128i head = _mm_loadu_si128(reinterpret_cast<const __m128i*>(inText));
    const __m128i tail = _mm_loadu_si128(reinterpret_cast<const __m128i*>(inText + inLastByte));
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(head, inFirst), _mm_cmpeq_epi8(tail, inLast))));
}
#endif

// The rules of ShrinkText, in their order. `next` is the character that now follows, or -1 at the end.
using Rule = bool (*)(unsigned char c, int next, const CharacterClasses& classes);

bool IsOneOf(unsigned char inCharacter, std::string_view inSet) {
    return inSet.find(static_cast<char>(inCharacter)) != inSet.npos;
}

constexpr Rule kRules[] = {
    [](unsigned char c, int, const CharacterClasses&) { return c == ' '; },
    [](unsigned char c, int next, const CharacterClasses& classes) {
        return c == next && !classes.isDigit(c);
    },
    [](unsigned char c, int, const CharacterClasses&) { return IsOneOf(c, "aeiouy"); },
    [](unsigned char c, int, const CharacterClasses&) { return c >= 0x80; },
    [](unsigned char c, int next, const CharacterClasses& classes) {
        return IsOneOf(c, "-.") && (next < 0 || !classes.isDigit(static_cast<unsigned char>(next)));
    },
    [](unsigned char c, int, const CharacterClasses&) { return IsOneOf(c, ",;:#_(){}[]/|\\'\""); },
    [](unsigned char c, int, const CharacterClasses& classes) {
        return !classes.isAlphanumeric(c) && !IsOneOf(c, "-.");
    },
    [](unsigned char c, int, const CharacterClasses& classes) { return classes.isLower(c); },
    [](unsigned char c, int, const CharacterClasses& classes) { return !classes.isDigit(c); },
};

}  // namespace

std::size_t FindPattern(std::string_view inText, std::string_view inPattern) {
    if (inPattern.size() > inText.size()) return kNotFound;
    if (inPattern.empty()) return 0;
    if (inPattern.size() == 1) return FindFirst(inText.data(), inText.size(), inPattern[0]);

    const char* const text = inText.data();
    const std::size_t places = inText.size() - inPattern.size() + 1;
    const std::size_t lastByte = inPattern.size() - 1;
    // Both ends are known to be equal when this is asked.
    const auto matchesAt = [&](std::size_t position) {
        return std::memcmp(text + position + 1, inPattern.data() + 1, lastByte - 1) == 0;
    };
    std::size_t position = 0;
#if defined(NORVIK_SSE2)
    const __m128i first = _mm_set1_epi8(inPattern.front());
    const __m128i last = _mm_set1_epi8(inPattern.back());
    for (; position + 32 <= places; position += 32) {
        const unsigned low = Candidates(text + position, lastByte, first, last);
        const unsigned high = Candidates(text + position + 16, lastByte, first, last);
        for (unsigned hits = low | high << 16; hits != 0; hits &= hits - 1) {
            const std::size_t hit = position + static_cast<std::size_t>(std::countr_zero(hits));
            if (matchesAt(hit)) return hit;
        }
    }
#endif
    for (; position < places; ++position) {
        if (text[position] == inPattern.front() && text[position + lastByte] == inPattern.back() &&
            matchesAt(position)) {
            return position;
        }
    }
    return kNotFound;
}

std::size_t RevFindPattern(std::string_view inText, std::string_view inPattern) {
    if (inPattern.size() > inText.size()) return kNotFound;
    for (std::size_t position = inText.size() - inPattern.size() + 1; position-- > 0;) {
        if (inPattern.empty() ||
            (inText[position] == inPattern.front() &&
             std::memcmp(inText.data() + position, inPattern.data(), inPattern.size()) == 0)) {
            return position;
        }
    }
    return kNotFound;
}

std::size_t ShrinkText(char* ioText, std::size_t inLength, std::size_t inMaxLength,
                       const CharacterClasses& inClasses) {
    std::size_t length = inLength;
    for (const Rule& rule : kRules) {
        if (length <= inMaxLength) return length;
        // What stays moves to the end of the range, so that a pass takes linear time.
        const std::size_t end = length;
        std::size_t kept = end;
        for (std::size_t i = end; i-- > 0;) {
            const int next = kept < end ? static_cast<unsigned char>(ioText[kept]) : -1;
            if (length > inMaxLength && rule(static_cast<unsigned char>(ioText[i]), next, inClasses)) {
                --length;
            } else {
                ioText[--kept] = ioText[i];
            }
        }
        std::memmove(ioText, ioText + kept, length);
    }
    return std::min(length, inMaxLength);
}

}  // namespace NorvikLibInternal
