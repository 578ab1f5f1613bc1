#pragma once

// Cmn_String: the narrow-character text that every interface of the library takes and returns. One pointer in
// size; copies share their characters until one of them is changed.
//
//   Cmn_String name = "Channel";
//   name.Join("7", " ");                              // "Channel 7"
//   line.Printf("%-12s %5.1f dB\n", name.c_str(), level);
//   for (const Cmn_String& field : row.Split(',', true)) values.push_back(field.AsInt32());
//
// Threads:   copies of a text may live and die on different threads; one object belongs to one at a time
// Ownership: a heap block (counter, size, length, characters, NUL) shared between copies and released by
//            the last; an empty default text has none. A pointer from c_str() or AsArray() is good until the
//            text is next changed or destroyed. A source may be part of the text itself (s.Insert(2, s)),
//            except an argument of Printf or AppendPrintf: they write while they read it.
// Errors:    only a null pointer is reported, where it says so below, and only std::bad_alloc is thrown: when
//            memory runs out or a text would pass 2,147,483,627 bytes. The text is then unchanged (Printf and
//            ReadFile may leave it empty). Positions and counts out of range are clamped; failed searches
//            give -1.
// Units:     positions, lengths and counts are bytes. Characters are in the process's ANSI code page;
//            comparisons and searches follow the run-time's multibyte code page and, like it, end at a NUL

#include <atomic>
#include <compare>
#include <cstdarg>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_StringArguments.h"

namespace NorvikLibInternal {
class TextBlockBatch;
}

// A template over the character type, of which only the form for char exists.
template <>
class NORVIK_API Cmn_BasicString<char> {
    using Text = const NorvikLibInternal::TextArgument&;  // a Cmn_String, const char* or char

public:
    enum : int { kAll = std::numeric_limits<int>::max() };  // as a count or start: as far as there is

    // ---- Construction and assignment. A char, bool, integer, float or double has them all, too:
    // the character, "1" or "0", decimal digits, or 12 significant digits as _gcvt writes them.
    constexpr Cmn_BasicString() noexcept = default;
    Cmn_BasicString(const Cmn_BasicString& inOther) noexcept : mText(inOther.mText) { AddReference(); }
    Cmn_BasicString(Cmn_BasicString&& inOther) noexcept : mText(std::exchange(inOther.mText, nullptr)) {}
    // A copy with a capacity of at least inMinCapacity. Null is reported and gives an empty text.
    Cmn_BasicString(const char* inString, int inMinCapacity = 0);
    explicit Cmn_BasicString(std::string_view inText);
    template <NorvikLibInternal::TextValue T>
    explicit Cmn_BasicString(T inValue) : Cmn_BasicString(NorvikLibInternal::ValueText::Of(inValue).View()) {}
    ~Cmn_BasicString() { DropReference(); }

    Cmn_BasicString& operator=(const Cmn_BasicString& inOther) noexcept {
        if (mText != inOther.mText) Cmn_BasicString(inOther).Swap(*this);
        return *this;
    }
    Cmn_BasicString& operator=(Cmn_BasicString&& inOther) noexcept {
        Cmn_BasicString(std::move(inOther)).Swap(*this);
        return *this;
    }
    // A template, so that `text = {}` means an empty text and not a null pointer.
    template <NorvikLibInternal::OneOf<const char*, char*> T>
    Cmn_BasicString& operator=(T inString) {
        return AssignString(inString);
    }
    template <NorvikLibInternal::TextValue T>
    Cmn_BasicString& operator=(T inValue) {
        return SetBytes(NorvikLibInternal::ValueText::Of(inValue).View());
    }

    // Onto an empty text this shares the other's characters.
    Cmn_BasicString& operator+=(const Cmn_BasicString& inOther);
    Cmn_BasicString& operator+=(const char* inString) { return Append(inString); }
    template <NorvikLibInternal::TextValue T>
    Cmn_BasicString& operator+=(T inValue) {
        return AppendBytes(NorvikLibInternal::ValueText::Of(inValue).View());
    }

    // ---- Access and size.
    int GetLength() const { return mText != nullptr ? GetBlock().length : 0; }
    bool IsEmpty() const { return GetLength() == 0; }
    // Capacity in characters, without the terminator; 0 without a block.
    int GetMaxLength() const { return mText != nullptr ? GetBlock().size - kBlockOverhead : 0; }
    // Number of objects that share the characters; 0 without a block.
    int GetRefCount() const { return mText != nullptr ? Counter().load(std::memory_order_acquire) : 0; }
    // Never null, always terminated.
    const char* c_str() const { return mText != nullptr ? mText : ""; }
    operator const char*() const { return c_str(); }
    // It would ask whether the pointer is null, which it never is: ask IsEmpty(). (Passing a text for a bool parameter still
    // does that. The null pointer is nullptr: NULL is a number here and gives the text "0".)
    explicit operator bool() const = delete;
    std::string_view View() const { return {c_str(), static_cast<std::size_t>(GetLength())}; }
    // The first and last character; 0 for an empty text.
    char First() const { return IsEmpty() ? '\0' : mText[0]; }
    char Last() const { return IsEmpty() ? '\0' : mText[GetLength() - 1]; }
    // A writable character, after reserving max(inIndex, length). Writing at or beyond the length does not
    // change the length; what lies there is undefined until written, and after overwriting the terminator the
    // text must not be read before UpdateLength(). A copy made afterwards shares later
    // writes through it.
    char& At(int inIndex);
    // The writable characters, with room for inCapacity; call UpdateLength() after writing.
    char* AsArray(int inCapacity);
    // Takes the length anew, as the distance to the first NUL within the capacity, and returns it.
    int UpdateLength();
    // Grows by fill characters or cuts.
    Cmn_BasicString& SetLength(int inLength, char inFill = ' ');
    // Makes this object the only owner of a block with at least this capacity. Without keeping, a block made
    // for that holds the empty text; when no new block is needed the text stays.
    Cmn_BasicString& Reserve(int inCapacity, bool inKeepContents = true);
    // Releases the block.
    void Clear() { Cmn_BasicString().Swap(*this); }
    void Swap(Cmn_BasicString& ioOther) noexcept { std::swap(mText, ioOther.mText); }

    // ---- Formatting, by the run-time's formatter. Arguments that it cannot convert (%ls with a character
    // that the code page lacks) leave Printf's text empty and AppendPrintf's as it was.
    Cmn_BasicString& Printf(const char* inFormat, ...) NORVIK_PRINTF(2, 3);
    Cmn_BasicString& AppendPrintf(const char* inFormat, ...) NORVIK_PRINTF(2, 3);
    // Into a caller's buffer: the number of characters, negative when they do not fit inSize or cannot be
    // converted. Terminated only when there is room for the NUL, too.
    static int SafePrintf(char* outBuffer, int inSize, const char* inFormat, ...) NORVIK_PRINTF(3, 4);

    // ---- Appending and building. Null counts as empty; Append and those built on it (+=, +) report it.
    Cmn_BasicString& Append(const char* inString, int inMaxCount = kAll);
    Cmn_BasicString& Append(const Cmn_BasicString& inOther) { return AppendBytes(inOther.View()); }
    Cmn_BasicString& Insert(int inPosition, Text inText);
    Cmn_BasicString& Insert(int inPosition, char inCharacter, int inCount);
    // Appends the separator, unless this text is empty, and the part. An empty part adds nothing.
    Cmn_BasicString& Join(Text inPart, Text inSeparator);
    // The elements that are not empty, with separators between. Empty ones are skipped whatever the bool
    // says; that is meant: programs rely on it.
    static Cmn_BasicString Join(const std::vector<Cmn_BasicString>& inList, Text inSeparator, bool);
    // At most inCount characters, ending at a NUL.
    Cmn_BasicString& Set(const char* inString, int inCount);
    // Overwrites inCount characters from the position (0 to length), beyond the end if need be.
    Cmn_BasicString& Set(char inCharacter, int inPosition, int inCount);
    // Fills up to the width at the front: the text is right-aligned.
    Cmn_BasicString& Pad(int inWidth, char inFill = ' ');
    // The same for numbers in a proportional font, where a digit is about two spaces wide: two spaces a digit
    // missing and one for a minus sign. Non-breaking spaces are character 0xA0.
    Cmn_BasicString& PadProportional(int inWidth, bool inNonBreaking);
    Cmn_BasicString& Reverse();  // byte by byte
    Cmn_BasicString& ToLower();
    Cmn_BasicString& ToUpper();

    // ---- Extracting. An empty result owns nothing.
    // A negative start shortens the count by as much.
    Cmn_BasicString SubString(int inStart, int inCount) const;
    Cmn_BasicString Begin(int inCount) const;
    Cmn_BasicString End(int inCount) const;
    // The pieces between separators: "a,,b" has three, "a," two, an empty text one (none when empty ones are
    // skipped).
    std::vector<Cmn_BasicString> Split(char inSeparator, bool inSkipEmpty) const;

    // ---- Erasing and replacing.
    // Erases a range (it does not strip blanks). A negative start shortens the count by as much.
    Cmn_BasicString& Trim(int inStart, int inCount);
    Cmn_BasicString& TrimBegin(int inCount);
    // Only the low 32 bits count, as a signed number; below 1 nothing happens.
    Cmn_BasicString& TrimEnd(unsigned long long inCount);
    // Remove and return a character; 0 when there is none.
    char PopFirst();
    char PopLast();
    // Abbreviates so that the text stays readable: leaves out, from the end, blanks, doubled letters, vowels
    // and so on until it fits (the order stands in ShrinkText). Without an argument: by one character.
    Cmn_BasicString& Shrink(int inMaxLength);
    Cmn_BasicString& Shrink() { return Shrink(GetLength() - 1); }
    // Overwrites from the position (0 to length), beyond the end if need be.
    Cmn_BasicString& ReplaceAt(int inPosition, Text inText);
    // Puts the text in place of the last inCount characters (0 to length).
    Cmn_BasicString& ReplaceEnd(int inCount, Text inText);
    // With every occurrence replaced, from the left, not overlapping, compared byte by byte. With none, or an
    // empty search text, the result shares this text.
    Cmn_BasicString Replaced(Text inSearch, Text inReplacement) const;
    Cmn_BasicString& Replace(Text inSearch, Text inReplacement) {
        return *this = Replaced(inSearch, inReplacement);
    }

    // ---- Searching. A start below 0 counts as 0; an empty pattern is found at the start.
    int Find(Text inText, int inStart = 0) const;
    int Findi(Text inText, int inStart = 0) const;  // the same without regard to case
    // The last occurrence in the whole text. The start is there for the callers that pass one and has no
    // effect; that is meant.
    int RevFind(Text inText, int inStart = 0) const;
    int RevFindi(Text inText, int inStart = 0) const;
    // The first character at or after the start that is (not) in the set. -1, all four, for a null or empty
    // set and for a negative start; forwards also for a start beyond the end. A NUL is in every other set.
    int FindInSet(const char* inSet, int inStart = 0) const;
    int FindNotInSet(const char* inSet, int inStart = 0) const;
    // Backwards from the start, or from the last character when the start lies beyond.
    int RevFindInSet(const char* inSet, int inStart = kAll) const;
    int RevFindNotInSet(const char* inSet, int inStart = kAll) const;

    // ---- Comparing. Null counts as empty. Texts of different length are never equal; texts of the same
    // length are compared up to a NUL.
    bool Equal(Text inOther, bool inCaseSensitive) const;
    int Compare(Text inOther, bool inCaseSensitive) const;  // negative, 0 or positive
    // True for an empty text. A null pointer is reported and counts as empty.
    bool BeginsWith(Text inText, bool inCaseSensitive) const;
    bool EndsWith(Text inText, bool inCaseSensitive) const;
    // Length of the common beginning.
    int GetEqualLength(Text inOther, bool inCaseSensitive) const;

    friend bool operator==(const Cmn_BasicString& a, const Cmn_BasicString& b) {
        return a.mText == b.mText || (a.GetLength() == b.GetLength() && a.EqualBytes(b));
    }
    friend bool operator==(const Cmn_BasicString& a, const char* b) { return a.Compare(b, true) == 0; }
    friend std::weak_ordering operator<=>(const Cmn_BasicString& a, const Cmn_BasicString& b) {
        return a.Compare(b, true) <=> 0;
    }
    friend std::weak_ordering operator<=>(const Cmn_BasicString& a, const char* b) {
        return a.Compare(b, true) <=> 0;
    }
    // Written out beside <=>: std::less<> and its kin look for these by name and would otherwise compare the pointers that
    // both sides convert to.
    friend bool operator<(const Cmn_BasicString& a, const Cmn_BasicString& b) {
        return a.Compare(b, true) < 0;
    }
    friend bool operator<(const Cmn_BasicString& a, const char* b) { return a.Compare(b, true) < 0; }
    friend bool operator<(const char* a, const Cmn_BasicString& b) { return b.Compare(a, true) > 0; }
    friend bool operator>(const Cmn_BasicString& a, const Cmn_BasicString& b) {
        return a.Compare(b, true) > 0;
    }
    friend bool operator>(const Cmn_BasicString& a, const char* b) { return a.Compare(b, true) > 0; }
    friend bool operator>(const char* a, const Cmn_BasicString& b) { return b.Compare(a, true) < 0; }
    friend bool operator<=(const Cmn_BasicString& a, const Cmn_BasicString& b) {
        return a.Compare(b, true) <= 0;
    }
    friend bool operator<=(const Cmn_BasicString& a, const char* b) { return a.Compare(b, true) <= 0; }
    friend bool operator<=(const char* a, const Cmn_BasicString& b) { return b.Compare(a, true) >= 0; }
    friend bool operator>=(const Cmn_BasicString& a, const Cmn_BasicString& b) {
        return a.Compare(b, true) >= 0;
    }
    friend bool operator>=(const Cmn_BasicString& a, const char* b) { return a.Compare(b, true) >= 0; }
    friend bool operator>=(const char* a, const Cmn_BasicString& b) { return b.Compare(a, true) <= 0; }

    // ---- Quoting. The forms with one character use it on both sides.
    bool IsQuoted(char inOpen, char inClose) const;
    bool IsQuoted(char inQuote) const { return IsQuoted(inQuote, inQuote); }
    Cmn_BasicString GetQuoted(char inOpen, char inClose) const {
        return Cmn_BasicString(*this).Quote(inOpen, inClose);
    }
    Cmn_BasicString GetQuoted(char inQuote) const { return GetQuoted(inQuote, inQuote); }
    Cmn_BasicString& Quote(char inOpen, char inClose);
    Cmn_BasicString& Quote(char inQuote) { return Quote(inQuote, inQuote); }
    // Only when IsQuoted; otherwise the text as it is.
    Cmn_BasicString GetUnquoted(char inOpen, char inClose) const;
    Cmn_BasicString GetUnquoted(char inQuote) const { return GetUnquoted(inQuote, inQuote); }
    Cmn_BasicString& Unquote(char inOpen, char inClose) { return *this = GetUnquoted(inOpen, inClose); }
    Cmn_BasicString& Unquote(char inQuote) { return Unquote(inQuote, inQuote); }

    // ---- Numbers. Leading blanks and a sign are accepted, reading stops at the first other character, no
    // digits give 0, and nothing is reported. Null counts as empty. Unsigned numbers may be hexadecimal after
    // "0x" ("0X" is not: 0).
    // Only a number that is not 0 is true: "true" and "yes" are false; that is meant.
    static bool AsBool(const char* inString);
    static std::int16_t AsInt16(const char* inString);
    static std::int32_t AsInt32(const char* inString);
    static std::int64_t AsInt64(const char* inString);
    static std::uint16_t AsUInt16(const char* inString);
    static std::uint32_t AsUInt32(const char* inString);
    static std::uint64_t AsUInt64(const char* inString);
    static float AsFloat32(const char* inString);
    static double AsFloat64(const char* inString);
    bool AsBool() const { return AsBool(c_str()); }
    std::int16_t AsInt16() const { return AsInt16(c_str()); }
    std::int32_t AsInt32() const { return AsInt32(c_str()); }
    std::int64_t AsInt64() const { return AsInt64(c_str()); }
    std::uint16_t AsUInt16() const { return AsUInt16(c_str()); }
    std::uint32_t AsUInt32() const { return AsUInt32(c_str()); }
    std::uint64_t AsUInt64() const { return AsUInt64(c_str()); }
    float AsFloat32() const { return AsFloat32(c_str()); }
    double AsFloat64() const { return AsFloat64(c_str()); }

    // ---- A text as a stack of fields: each is pushed behind a separator (carriage return for numbers), the
    // first, too, and popped in reverse order. Pop returns false and changes nothing when there is no
    // separator.
    template <NorvikLibInternal::TextNumber T>
    Cmn_BasicString& Push(T inValue) {
        return PushBytes(NorvikLibInternal::ValueText::Of(inValue).View(), kFieldEnd);
    }
    Cmn_BasicString& Push(Text inText, char inSeparator) { return PushBytes(inText.View(), inSeparator); }
    template <NorvikLibInternal::TextNumber T>
    bool Pop(T& outValue) {
        Cmn_BasicString field;
        if (!Pop(field, kFieldEnd)) return false;
        outValue = NumberFrom<T>(field.c_str());
        return true;
    }
    bool Pop(Cmn_BasicString& outText, char inSeparator);

    // ---- Encodings. The bool selects Windows-1252 instead of the ANSI code page for this text. Characters
    // that the target lacks become its replacement character. A negative length means: up to the NUL.
    Cmn_BasicString ToUTF8(bool inFrom1252 = false) const;  // empty, and traced, when it fails
    // Replace the contents and return the new length; null and what cannot be converted give an empty text
    // and 0.
    int FromUTF8(const char* inString, int inLength, bool inTo1252 = false);
    int FromUTF16(const wchar_t* inString, int inLength, bool inTo1252 = false);
    // Writes no terminator. False when nothing was written: the text is empty or does not fit inSize wide
    // characters.
    bool ToUTF16(wchar_t* outBuffer, int inSize, bool inFrom1252 = false) const;

    // ---- Files. Others may have the file open, too.
    // The whole file up to its first NUL. False, with an empty text, when it cannot be opened or read to its
    // end or is larger than inMaxSize bytes.
    bool ReadFile(const char* inPath, unsigned int inMaxSize);
    // Without a terminator, in place of what was there. False when not all could be written.
    bool WriteFile(const char* inPath) const;

private:
    struct Block {  // directly in front of the characters
        std::int32_t references;
        std::int32_t size;  // of the whole block, header and terminator included
        std::int32_t length;
    };
    static constexpr int kBlockOverhead = sizeof(Block) + 1;
    // The block's size must fit its field, and block sizes are multiples of 8.
    static constexpr std::int64_t kMaxBlockSize = std::numeric_limits<std::int32_t>::max() & ~7LL;
    static constexpr std::int64_t kMaxLength = kMaxBlockSize - kBlockOverhead;
    static constexpr char kFieldEnd = '\r';

    Block& GetBlock() const { return reinterpret_cast<Block*>(mText)[-1]; }
    std::atomic_ref<std::int32_t> Counter() const {
        return std::atomic_ref<std::int32_t>(GetBlock().references);
    }
    void AddReference() const {
        if (mText != nullptr) Counter().fetch_add(1, std::memory_order_relaxed);
    }
    void DropReference() const {
        if (mText != nullptr && Counter().fetch_sub(1, std::memory_order_acq_rel) == 1) FreeBlock();
    }
    bool IsShared() const { return GetRefCount() > 1; }

    // With a source of memory that is cheaper for many blocks, or without.
    static char* NewBlock(std::int64_t inCapacity, NorvikLibInternal::TextBlockBatch* inBatch = nullptr);
    void FreeBlock() const;
    // Reserve, in sizes that cannot overflow. Nothing has changed when it throws.
    void Room(std::int64_t inCapacity, bool inKeepContents = true);
    void SetEnd(std::int64_t inLength);
    // Keeps the block alive when the text lies in it, so that the next Room() leaves it alone and makes
    // another.
    Cmn_BasicString Hold(std::string_view inText) const;
    void FormatContents(const char* inFormat, va_list inArguments);
    void FormatAppended(const char* inFormat, va_list inArguments);
    Cmn_BasicString& AssignString(const char* inString);
    Cmn_BasicString& SetBytes(std::string_view inText);
    Cmn_BasicString& AppendBytes(std::string_view inText) { return InsertBytes(GetLength(), inText); }
    Cmn_BasicString& InsertBytes(std::int64_t inPosition, std::string_view inText);
    Cmn_BasicString& InsertFill(std::int64_t inPosition, char inCharacter, std::int64_t inCount);
    char* OpenGap(std::int64_t inPosition, std::int64_t inCount);
    Cmn_BasicString& Overwrite(std::int64_t inPosition, std::string_view inText, std::int64_t inLength);
    Cmn_BasicString& PushBytes(std::string_view inText, char inSeparator);
    bool EqualBytes(const Cmn_BasicString& inOther) const;
    int FindBytes(std::string_view inPattern, int inStart, bool inCaseSensitive) const;
    int RevFindBytes(std::string_view inPattern, bool inCaseSensitive) const;
    int FindSet(const char* inSet, int inStart, int inStep, bool inWanted) const;
    bool MatchesAt(std::int64_t inPosition, Text inText, bool inCaseSensitive) const;

    template <typename T>
    static T NumberFrom(const char* inString) {
        if constexpr (std::same_as<T, bool>) {
            return AsBool(inString);
        } else if constexpr (std::same_as<T, float>) {
            return AsFloat32(inString);
        } else if constexpr (std::same_as<T, double>) {
            return AsFloat64(inString);
        } else if constexpr (std::is_signed_v<T>) {
            return static_cast<T>(sizeof(T) == 8 ? AsInt64(inString) : AsInt32(inString));
        } else {
            return static_cast<T>(sizeof(T) == 8 ? AsUInt64(inString) : AsUInt32(inString));
        }
    }

    char* mText = nullptr;
};

using Cmn_String = Cmn_BasicString<char>;

// The empty text, for whoever must return a reference to one.
NORVIK_API extern const Cmn_String kEmptyString;

// A new text; when one of them is empty it shares the other.
NORVIK_API Cmn_String operator+(const Cmn_String& inFirst, const Cmn_String& inSecond);
NORVIK_API Cmn_String operator+(const Cmn_String& inFirst, const char* inSecond);
NORVIK_API Cmn_String operator+(const char* inFirst, const Cmn_String& inSecond);
// Would be arithmetic with the character pointer: name + 5 is name + Cmn_String(5) or name.c_str() + 5.
template <typename T>
requires(std::is_integral_v<T> || std::is_enum_v<T>) Cmn_String operator+(const Cmn_String& inFirst,
                                                                          T inSecond) = delete;
template <typename T>
requires(std::is_integral_v<T> || std::is_enum_v<T>) Cmn_String operator+(
    T inFirst, const Cmn_String& inSecond) = delete;

NORVIK_API std::ostream& operator<<(std::ostream& ioStream, const Cmn_String& inText);

inline NorvikLibInternal::TextArgument::TextArgument(const Cmn_String& inString) : mText(inString.View()) {}

// Equal texts have equal hashes: like the comparison, it ends at a NUL inside the text.
template <>
struct std::hash<Cmn_String> {
    std::size_t operator()(const Cmn_String& inText) const noexcept {
        return std::hash<std::string_view>()(std::string_view(inText.c_str()));
    }
};
