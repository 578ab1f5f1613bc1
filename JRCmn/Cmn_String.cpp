#include "JRCmn/Cmn_String.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_TextAlgorithms.h"
#include "JRCmn/Internal/Cmn_TextBlocks.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"

using namespace NorvikLibInternal;

static_assert(sizeof(Cmn_String) == sizeof(char*), "a text is one pointer");

constinit const Cmn_String kEmptyString;

namespace {

std::string_view FirstBytes(const char* inString, int inMaxCount) {
    if (inString == nullptr || inMaxCount < 1) return "";
    return {inString, ::strnlen(inString, static_cast<std::size_t>(inMaxCount))};
}

// Part of a text of the given length: a negative start shortens the count by as much.
struct Range {
    Range(std::int64_t inStart, std::int64_t inCount, std::int64_t inLength)
        : start(std::max<std::int64_t>(inStart, 0)),
          count(std::min(inLength - start, inStart < 0 ? inCount + inStart : inCount)) {}
    std::int64_t start;
    std::int64_t count;  // below 1: nothing
};

// The run-time's comparison of a number of bytes ends at a NUL that both texts have: what stands behind a NUL
// in the pattern plays no part.
std::string_view ComparedPart(std::string_view inPattern) {
    const std::size_t nul = inPattern.find('\0');
    return nul == inPattern.npos ? inPattern : inPattern.substr(0, nul + 1);
}

}  // namespace

// ---- The block --------------------------------------------------------------------------------------------

char* Cmn_String::NewBlock(std::int64_t inCapacity, TextBlockBatch* inBatch) {
    if (inCapacity > kMaxLength) throw std::bad_alloc();
    const std::int64_t size = (inCapacity + kBlockOverhead + 7) / 8 * 8;
    const auto bytes = static_cast<std::size_t>(size);
    void* const memory = inBatch != nullptr ? inBatch->Allocate(bytes) : AllocateTextBlock(bytes);
    if (memory == nullptr) throw std::bad_alloc();
    char* const text = reinterpret_cast<char*>(new (memory) Block{1, static_cast<std::int32_t>(size), 0} + 1);
    text[0] = '\0';
    text[size - kBlockOverhead] = '\0';
    return text;
}

void Cmn_String::FreeBlock() const {
    FreeTextBlock(&GetBlock(), static_cast<std::size_t>(GetBlock().size));
}

void Cmn_String::Room(std::int64_t inCapacity, bool inKeepContents) {
    if (inCapacity <= GetMaxLength() && !IsShared()) return;
    const int length = GetLength();
    Cmn_String larger;
    larger.mText = NewBlock(std::max<std::int64_t>(inCapacity, length));
    if (inKeepContents && mText != nullptr) {
        std::memcpy(larger.mText, mText, static_cast<std::size_t>(length));
        larger.SetEnd(length);
    }
    Swap(larger);
}

void Cmn_String::SetEnd(std::int64_t inLength) {
    if (mText == nullptr) return;
    mText[inLength] = '\0';
    GetBlock().length = static_cast<std::int32_t>(inLength);
}

Cmn_String Cmn_String::Hold(std::string_view inText) const {
    const std::less_equal<const char*> isBeforeOrAt;
    const bool isPartOfThis = mText != nullptr && isBeforeOrAt(mText, inText.data()) &&
                              isBeforeOrAt(inText.data(), mText + GetMaxLength());  // also behind the end
    return isPartOfThis ? *this : Cmn_String();
}

// ---- Construction and assignment --------------------------------------------------------------------------

Cmn_String::Cmn_BasicString(const char* inString, int inMinCapacity) {
    CMN_VERIFY_AT(141, inString != 0);  // NOLINT(modernize-use-nullptr): the text is fixed
    const std::string_view text = TextArgument(inString).View();
    Room(std::max(static_cast<std::int64_t>(text.size()), static_cast<std::int64_t>(inMinCapacity)));
    SetBytes(text);
}

Cmn_String::Cmn_BasicString(std::string_view inText) {
    if (inText.empty()) return;
    mText = NewBlock(static_cast<std::int64_t>(std::min<std::size_t>(inText.size(), kMaxBlockSize)));
    std::memcpy(mText, inText.data(), inText.size());
    SetEnd(static_cast<std::int64_t>(inText.size()));
}

Cmn_String& Cmn_String::AssignString(const char* inString) {
    CMN_VERIFY_AT(141, inString != 0);  // NOLINT(modernize-use-nullptr): the text is fixed
    return SetBytes(TextArgument(inString).View());
}

Cmn_String& Cmn_String::SetBytes(std::string_view inText) {
    if (inText.empty()) {
        if (IsShared()) Clear();
        SetEnd(0);
        return *this;
    }
    const Cmn_String hold = Hold(inText);
    Room(static_cast<std::int64_t>(std::min<std::size_t>(inText.size(), kMaxBlockSize)), false);
    std::memcpy(mText, inText.data(), inText.size());
    SetEnd(static_cast<std::int64_t>(inText.size()));
    return *this;
}

Cmn_String& Cmn_String::operator+=(const Cmn_String& inOther) {
    if (IsEmpty()) return *this = inOther;
    return AppendBytes(inOther.View());
}

// ---- Access and size --------------------------------------------------------------------------------------

char& Cmn_String::At(int inIndex) {
    const int index = std::max(inIndex, 0);
    // Even the terminator needs a block to stand in.
    Room(std::max({index, GetLength(), mText == nullptr ? 1 : 0}));
    return mText[index];
}

char* Cmn_String::AsArray(int inCapacity) {
    Room(std::max(inCapacity, mText == nullptr ? 1 : 0));
    return mText;
}

int Cmn_String::UpdateLength() {
    if (mText == nullptr) return 0;
    const std::string_view written = FirstBytes(mText, GetMaxLength());
    if (IsShared()) {
        SetBytes(written);
    } else {
        mText[GetMaxLength()] = '\0';
        SetEnd(static_cast<std::int64_t>(written.size()));
    }
    return GetLength();
}

Cmn_String& Cmn_String::SetLength(int inLength, char inFill) {
    const int length = std::max(inLength, 0);
    const int old = GetLength();
    if (length > old) return InsertFill(old, inFill, static_cast<std::int64_t>(length) - old);
    Room(length);
    SetEnd(length);
    return *this;
}

Cmn_String& Cmn_String::Reserve(int inCapacity, bool inKeepContents) {
    Room(inCapacity, inKeepContents);
    return *this;
}

// ---- Appending and building -------------------------------------------------------------------------------

Cmn_String& Cmn_String::Append(const char* inString, int inMaxCount) {
    if (!CMN_VERIFY_AT(452, inString != 0)) return *this;  // NOLINT(modernize-use-nullptr): the text is fixed
    return AppendBytes(FirstBytes(inString, inMaxCount));
}

char* Cmn_String::OpenGap(std::int64_t inPosition, std::int64_t inCount) {
    const std::int64_t length = GetLength();
    Room(length + inCount);
    char* const gap = mText + inPosition;
    std::memmove(gap + inCount, gap, static_cast<std::size_t>(length - inPosition));
    SetEnd(length + inCount);
    return gap;
}

Cmn_String& Cmn_String::InsertBytes(std::int64_t inPosition, std::string_view inText) {
    if (inText.empty()) return *this;
    const Cmn_String hold = Hold(inText);
    std::memcpy(OpenGap(inPosition, static_cast<std::int64_t>(inText.size())), inText.data(), inText.size());
    return *this;
}

Cmn_String& Cmn_String::InsertFill(std::int64_t inPosition, char inCharacter, std::int64_t inCount) {
    if (inCount > 0)
        std::memset(OpenGap(inPosition, inCount), inCharacter, static_cast<std::size_t>(inCount));
    return *this;
}

Cmn_String& Cmn_String::Insert(int inPosition, Text inText) {
    return InsertBytes(std::clamp(inPosition, 0, GetLength()), inText.View());
}

Cmn_String& Cmn_String::Insert(int inPosition, char inCharacter, int inCount) {
    return InsertFill(std::clamp(inPosition, 0, GetLength()), inCharacter, inCount);
}

Cmn_String& Cmn_String::Join(Text inPart, Text inSeparator) {
    const std::string_view part = inPart.View();
    const std::string_view separator = IsEmpty() ? std::string_view() : inSeparator.View();
    if (part.empty()) return *this;
    const Cmn_String holds[] = {Hold(part), Hold(separator)};
    Room(static_cast<std::int64_t>(GetLength() + separator.size() + part.size()));
    return AppendBytes(separator).AppendBytes(part);
}

Cmn_String Cmn_String::Join(const std::vector<Cmn_String>& inList, Text inSeparator, bool) {
    const std::string_view separator = inSeparator.View();
    std::size_t length = 0;
    for (const Cmn_String& part : inList) {
        if (!part.IsEmpty()) length += part.View().size() + (length != 0 ? separator.size() : 0);
    }
    Cmn_String result;
    result.Room(static_cast<std::int64_t>(length));
    for (const Cmn_String& part : inList) {
        if (part.IsEmpty()) continue;
        if (!result.IsEmpty()) result.AppendBytes(separator);
        result.AppendBytes(part.View());
    }
    return result;
}

Cmn_String& Cmn_String::Set(const char* inString, int inCount) {
    return SetBytes(FirstBytes(inString, inCount));
}

Cmn_String& Cmn_String::Set(char inCharacter, int inPosition, int inCount) {
    if (inCount < 1) return *this;
    const std::int64_t position = std::clamp(inPosition, 0, GetLength());
    const std::int64_t length = std::max<std::int64_t>(GetLength(), position + inCount);
    Room(length);
    std::memset(mText + position, inCharacter, static_cast<std::size_t>(inCount));
    SetEnd(length);
    return *this;
}

Cmn_String& Cmn_String::Pad(int inWidth, char inFill) {
    return InsertFill(0, inFill, static_cast<std::int64_t>(inWidth) - GetLength());
}

Cmn_String& Cmn_String::PadProportional(int inWidth, bool inNonBreaking) {
    constexpr char kNonBreakingSpace = '\xA0';
    const std::int64_t missing = static_cast<std::int64_t>(inWidth) - GetLength();
    return InsertFill(0, inNonBreaking ? kNonBreakingSpace : ' ', 2 * missing + (First() == '-' ? 1 : 0));
}

Cmn_String& Cmn_String::Reverse() {
    Room(GetLength());
    if (mText != nullptr) std::reverse(mText, mText + GetLength());
    return *this;
}

Cmn_String& Cmn_String::ToLower() {
    if (IsEmpty()) return *this;
    Room(GetLength());
    LowerText(mText);
    return *this;
}

Cmn_String& Cmn_String::ToUpper() {
    if (IsEmpty()) return *this;
    Room(GetLength());
    UpperText(mText);
    return *this;
}

Cmn_String operator+(const Cmn_String& inFirst, const Cmn_String& inSecond) {
    Cmn_String result(inFirst);  // shared, so that += makes the one block
    result += inSecond;
    return result;
}

Cmn_String operator+(const Cmn_String& inFirst, const char* inSecond) {
    Cmn_String result(inFirst);
    result += inSecond;
    return result;
}

Cmn_String operator+(const char* inFirst, const Cmn_String& inSecond) {
    Cmn_String result(inFirst);
    result += inSecond;
    return result;
}

// ---- Extracting -------------------------------------------------------------------------------------------

Cmn_String Cmn_String::SubString(int inStart, int inCount) const {
    const Range range(inStart, inCount, GetLength());
    if (range.count < 1) return Cmn_String();
    if (range.count == GetLength()) return *this;
    return Cmn_String(
        View().substr(static_cast<std::size_t>(range.start), static_cast<std::size_t>(range.count)));
}

Cmn_String Cmn_String::Begin(int inCount) const {
    return SubString(0, inCount);
}

Cmn_String Cmn_String::End(int inCount) const {
    return SubString(GetLength() - std::clamp(inCount, 0, GetLength()), inCount);
}

std::vector<Cmn_String> Cmn_String::Split(char inSeparator, bool inSkipEmpty) const {
    const std::string_view text = View();
    std::size_t count = 1;
    ForEachByte(text, inSeparator, [&count](std::size_t) { ++count; });

    std::vector<Cmn_String> pieces;
    pieces.reserve(count);
    TextBlockBatch batch;
    std::size_t start = 0;
    const auto endPiece = [&](std::size_t end) {
        const std::size_t length = end - start;
        if (length != 0 || !inSkipEmpty) {
            Cmn_String& piece = pieces.emplace_back();
            if (length != 0) {
                piece.mText = NewBlock(static_cast<std::int64_t>(length), &batch);
                std::memcpy(piece.mText, text.data() + start, length);
                piece.SetEnd(static_cast<std::int64_t>(length));
            }
        }
        start = end + 1;
    };
    ForEachByte(text, inSeparator, endPiece);
    endPiece(text.size());
    return pieces;
}

// ---- Erasing and replacing --------------------------------------------------------------------------------

Cmn_String& Cmn_String::Trim(int inStart, int inCount) {
    const std::int64_t length = GetLength();
    const Range range(inStart, inCount, length);
    if (range.count < 1) return *this;
    Room(length);
    char* const cut = mText + range.start;
    std::memmove(cut, cut + range.count, static_cast<std::size_t>(length - range.start - range.count));
    SetEnd(length - range.count);
    return *this;
}

Cmn_String& Cmn_String::TrimBegin(int inCount) {
    return Trim(0, inCount);
}

Cmn_String& Cmn_String::TrimEnd(unsigned long long inCount) {
    const int count = std::clamp(static_cast<int>(static_cast<std::uint32_t>(inCount)), 0, GetLength());
    return Trim(GetLength() - count, count);
}

char Cmn_String::PopFirst() {
    const char character = First();
    TrimBegin(1);
    return character;
}

char Cmn_String::PopLast() {
    const char character = Last();
    TrimEnd(1);
    return character;
}

Cmn_String& Cmn_String::Shrink(int inMaxLength) {
    if (inMaxLength >= GetLength() || IsEmpty()) return *this;
    Room(GetLength());
    const auto maxLength = static_cast<std::size_t>(std::max(inMaxLength, 0));
    SetEnd(static_cast<std::int64_t>(ShrinkText(mText, View().size(), maxLength, kCharacterClasses)));
    return *this;
}

Cmn_String& Cmn_String::Overwrite(std::int64_t inPosition, std::string_view inText, std::int64_t inLength) {
    const Cmn_String hold = Hold(inText);
    Room(std::max<std::int64_t>(inLength, GetLength()));
    if (!inText.empty()) std::memcpy(mText + inPosition, inText.data(), inText.size());
    SetEnd(inLength);
    return *this;
}

Cmn_String& Cmn_String::ReplaceAt(int inPosition, Text inText) {
    const std::int64_t position = std::clamp(inPosition, 0, GetLength());
    const std::int64_t end = position + static_cast<std::int64_t>(inText.View().size());
    return Overwrite(position, inText.View(), std::max<std::int64_t>(end, GetLength()));
}

Cmn_String& Cmn_String::ReplaceEnd(int inCount, Text inText) {
    const std::int64_t position = GetLength() - std::clamp(inCount, 0, GetLength());
    return Overwrite(position, inText.View(), position + static_cast<std::int64_t>(inText.View().size()));
}

Cmn_String Cmn_String::Replaced(Text inSearch, Text inReplacement) const {
    const std::string_view search = inSearch.View();
    const std::string_view replacement = inReplacement.View();
    if (search.empty()) return *this;

    std::string_view rest = View();
    std::int64_t length = GetLength();
    std::size_t found = FindPattern(rest, search);
    if (found == kNotFound) return *this;
    for (; found != kNotFound; found = FindPattern(rest, search)) {
        rest.remove_prefix(found + search.size());
        length += static_cast<std::int64_t>(replacement.size()) - static_cast<std::int64_t>(search.size());
    }

    Cmn_String result;
    if (length == 0) return result;
    result.mText = NewBlock(length);
    rest = View();
    char* out = result.mText;
    const auto copy = [&out](std::string_view part) {
        if (!part.empty()) out = static_cast<char*>(std::memcpy(out, part.data(), part.size())) + part.size();
    };
    for (found = FindPattern(rest, search); found != kNotFound; found = FindPattern(rest, search)) {
        copy(rest.substr(0, found));
        copy(replacement);
        rest.remove_prefix(found + search.size());
    }
    copy(rest);
    result.SetEnd(length);
    return result;
}

// ---- Searching --------------------------------------------------------------------------------------------

int Cmn_String::Find(Text inText, int inStart) const {
    return FindBytes(inText.View(), inStart, true);
}
int Cmn_String::Findi(Text inText, int inStart) const {
    return FindBytes(inText.View(), inStart, false);
}
int Cmn_String::RevFind(Text inText, int) const {
    return RevFindBytes(inText.View(), true);
}
int Cmn_String::RevFindi(Text inText, int) const {
    return RevFindBytes(inText.View(), false);
}

int Cmn_String::FindBytes(std::string_view inPattern, int inStart, bool inCaseSensitive) const {
    const std::string_view text = View();
    const auto start = static_cast<std::size_t>(std::max(inStart, 0));
    if (start + inPattern.size() > text.size()) return -1;
    if (inCaseSensitive && GetTextPlatform().isSingleByte()) {
        const std::string_view compared = ComparedPart(inPattern);
        const std::size_t ignored = inPattern.size() - compared.size();
        const std::size_t found = FindPattern(text.substr(start, text.size() - start - ignored), compared);
        return found != kNotFound ? static_cast<int>(start + found) : -1;
    }
    for (std::size_t i = start; i + inPattern.size() <= text.size(); ++i) {
        if (CompareTextBytes(text.data() + i, inPattern.data(), inPattern.size(), inCaseSensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int Cmn_String::RevFindBytes(std::string_view inPattern, bool inCaseSensitive) const {
    const std::string_view text = View();
    if (inPattern.size() > text.size()) return -1;
    if (inCaseSensitive && GetTextPlatform().isSingleByte()) {
        const std::string_view compared = ComparedPart(inPattern);
        const std::size_t ignored = inPattern.size() - compared.size();
        const std::size_t found = RevFindPattern(text.substr(0, text.size() - ignored), compared);
        return found != kNotFound ? static_cast<int>(found) : -1;
    }
    for (std::size_t i = text.size() - inPattern.size() + 1; i-- > 0;) {
        if (CompareTextBytes(text.data() + i, inPattern.data(), inPattern.size(), inCaseSensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int Cmn_String::FindInSet(const char* inSet, int inStart) const {
    return FindSet(inSet, inStart, 1, true);
}
int Cmn_String::FindNotInSet(const char* inSet, int inStart) const {
    return FindSet(inSet, inStart, 1, false);
}

int Cmn_String::RevFindInSet(const char* inSet, int inStart) const {
    return FindSet(inSet, std::min(inStart, GetLength() - 1), -1, true);
}

int Cmn_String::RevFindNotInSet(const char* inSet, int inStart) const {
    return FindSet(inSet, std::min(inStart, GetLength() - 1), -1, false);
}

int Cmn_String::FindSet(const char* inSet, int inStart, int inStep, bool inWanted) const {
    if (inSet == nullptr || *inSet == '\0' || inStart < 0) return -1;
    for (int i = inStart; i >= 0 && i < GetLength(); i += inStep) {
        if (IsInTextSet(inSet, static_cast<unsigned char>(mText[i])) == inWanted) return i;
    }
    return -1;
}

// ---- Comparing --------------------------------------------------------------------------------------------

bool Cmn_String::EqualBytes(const Cmn_String& inOther) const {
    // Equal bytes are equal in every code page; unequal ones may stand behind a NUL.
    return std::memcmp(c_str(), inOther.c_str(), View().size()) == 0 || Compare(inOther, true) == 0;
}

bool Cmn_String::Equal(Text inOther, bool inCaseSensitive) const {
    const std::string_view other = inOther.View();
    if (other.size() != View().size()) return false;
    return other.data() == c_str() || other.empty() || Compare(inOther, inCaseSensitive) == 0;
}

int Cmn_String::Compare(Text inOther, bool inCaseSensitive) const {
    return CompareTexts(c_str(), inOther.View().data(), inCaseSensitive);
}

bool Cmn_String::MatchesAt(std::int64_t inPosition, Text inText, bool inCaseSensitive) const {
    const char* const inString = inText.IsNull() ? nullptr : inText.View().data();
    CMN_VERIFY_AT(1489, inString != 0);  // NOLINT(modernize-use-nullptr): the text is fixed
    const std::string_view text = inText.View();
    return inPosition >= 0 && text.size() <= View().size() &&
           (text.empty() ||
            CompareTextBytes(c_str() + inPosition, text.data(), text.size(), inCaseSensitive) == 0);
}

bool Cmn_String::BeginsWith(Text inText, bool inCaseSensitive) const {
    return MatchesAt(0, inText, inCaseSensitive);
}

bool Cmn_String::EndsWith(Text inText, bool inCaseSensitive) const {
    return MatchesAt(GetLength() - static_cast<std::int64_t>(inText.View().size()), inText, inCaseSensitive);
}

int Cmn_String::GetEqualLength(Text inOther, bool inCaseSensitive) const {
    const auto fold = [inCaseSensitive](char c) {
        const auto character = static_cast<unsigned char>(c);
        return inCaseSensitive ? character : FoldCharacter(character);
    };
    const std::string_view other = inOther.View();
    const std::size_t limit = std::min(View().size(), other.size());
    std::size_t length = 0;
    while (length < limit && fold(mText[length]) == fold(other[length]))
        ++length;
    return static_cast<int>(length);
}

// ---- Quoting ----------------------------------------------------------------------------------------------

bool Cmn_String::IsQuoted(char inOpen, char inClose) const {
    return GetLength() >= 2 && First() == inOpen && Last() == inClose;
}

Cmn_String& Cmn_String::Quote(char inOpen, char inClose) {
    Room(static_cast<std::int64_t>(GetLength()) + 2);
    return InsertFill(0, inOpen, 1).InsertFill(GetLength(), inClose, 1);
}

Cmn_String Cmn_String::GetUnquoted(char inOpen, char inClose) const {
    return IsQuoted(inOpen, inClose) ? SubString(1, GetLength() - 2) : *this;
}
