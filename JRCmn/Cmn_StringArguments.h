#pragma once

// What the methods of Cmn_String take: texts in any form, and values that have a text. Included by
// Cmn_String.h; nothing here is named by a program.
//
// Threads:   any
// Ownership: a TextArgument points to the text it was made from, during a call; a ValueText holds its own
// Errors:    none
// Units:     bytes

#include <concepts>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "JRCmn/Cmn_Export.h"

template <typename Char>
class Cmn_BasicString;

namespace NorvikLibInternal {

template <typename T, typename... Types>
concept OneOf = (std::same_as<T, Types> || ...);

// The types are taken as they are: a pointer does not pass for a bool, nor an enumerator for a character.
template <typename T>
concept TextNumber = OneOf<T, float, double> ||
    (std::integral<T> && !OneOf<T, char, wchar_t, char8_t, char16_t, char32_t>);

template <typename T>
concept TextValue = TextNumber<T> || std::same_as<T, char>;

// The text of a value: the character itself, "1" or "0" for a bool, decimal digits for integers, the
// run-time's _gcvt form with 12 significant digits for float and double.
class NORVIK_API ValueText {
public:
    template <TextValue T>
    static ValueText Of(T inValue) {
        if constexpr (OneOf<T, char, bool, double>) {
            return ValueText(inValue);
        } else if constexpr (std::same_as<T, float>) {
            return ValueText(static_cast<double>(inValue));
        } else if constexpr (std::is_signed_v<T>) {
            return ValueText(static_cast<long long>(inValue));
        } else {
            return ValueText(static_cast<unsigned long long>(inValue));
        }
    }
    std::string_view View() const { return {mText, mLength}; }

private:
    explicit ValueText(char inCharacter) : mText{inCharacter}, mLength(1) {}
    explicit ValueText(bool inValue) : ValueText(inValue ? '1' : '0') {}
    explicit ValueText(long long inValue);
    explicit ValueText(unsigned long long inValue);
    explicit ValueText(double inValue);

    char mText[40];
    std::size_t mLength;
};

// A text to search for, compare with or put in: a Cmn_String, characters up to a NUL, or one character. Null
// is an empty text. Always terminated, for the run-time's sake.
class TextArgument {
public:
    // Not explicit, all three: it is there to be made from an argument.
    TextArgument(const char* inString)
        : mText(inString != nullptr ? std::string_view(inString) : std::string_view("")),
          mIsNull(inString == nullptr) {}
    TextArgument(const Cmn_BasicString<char>& inString);
    template <std::same_as<char> T>
    TextArgument(T inCharacter) : mText(mCharacter, 1), mCharacter{inCharacter} {}
    TextArgument(const TextArgument&) = delete;
    TextArgument& operator=(const TextArgument&) = delete;

    std::string_view View() const { return mText; }
    bool IsNull() const { return mIsNull; }

private:
    std::string_view mText;
    char mCharacter[2] = {};
    bool mIsNull = false;
};

}  // namespace NorvikLibInternal
