// The text class, second part: formatting, numbers, fields, encodings, files and streams.

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"

using namespace NorvikLibInternal;

namespace {

// Formatting tries this much on the stack before it takes memory.
constexpr int kLocalBufferSize = 1024;
// A block with less room is not worth a first try.
constexpr int kSmallestRoom = 10;

int Format(char* outBuffer, int inSize, const char* inFormat, va_list inArguments) {
    va_list copy;
    va_copy(copy, inArguments);
    const int count = FormatText(outBuffer, static_cast<std::size_t>(inSize), inFormat, copy);
    va_end(copy);
    return count;
}

int MeasureFormat(const char* inFormat, va_list inArguments) {
    va_list copy;
    va_copy(copy, inArguments);
    const int length = FormattedLength(inFormat, copy);
    va_end(copy);
    return length;
}

// What a conversion wrote; it frees itself, and takes no time to fill memory that is written next.
template <typename Char>
struct Converted {
    std::unique_ptr<Char[]> text;
    int length = 0;
};

// Calls convert(buffer, size) with room for the source's length and one, and again with double the room while
// it is too small, at most three times.
template <typename Char, typename Convert>
Converted<Char> ConvertGrowing(std::int64_t inSourceLength, Convert inConvert) {
    constexpr int kMaxDoublings = 3;
    std::int64_t size = inSourceLength + 1;
    for (int doublings = 0;; ++doublings, size *= 2) {
        const int limited = static_cast<int>(std::min<std::int64_t>(size, std::numeric_limits<int>::max()));
        auto buffer = std::make_unique_for_overwrite<Char[]>(static_cast<std::size_t>(limited));
        const Conversion result = inConvert(buffer.get(), limited);
        if (result.count > 0) return {std::move(buffer), result.count};
        if (!result.isTooSmall || doublings == kMaxDoublings) return {};
    }
}

const char* OrEmpty(const char* inString) {
    return inString != nullptr ? inString : "";
}

// "0x" is lower case only, as the files that hold such numbers have it.
bool IsHexadecimal(const char* inString) {
    return std::strncmp(inString, "0x", 2) == 0;
}

// A negative length means: up to the NUL. Null is empty.
template <typename Char>
std::basic_string_view<Char> SourceText(const Char* inString, int inLength) {
    if (inString == nullptr) return {};
    if (inLength >= 0) return {inString, static_cast<std::size_t>(inLength)};
    return inString;
}

CodePage NarrowCodePage(bool inIs1252) {
    return inIs1252 ? CodePage::k1252 : CodePage::kAnsi;
}

}  // namespace

// ---- Formatting -------------------------------------------------------------------------------------------

Cmn_String& Cmn_String::Printf(const char* inFormat, ...) {
    va_list arguments;
    va_start(arguments, inFormat);
    FormatContents(inFormat, arguments);
    va_end(arguments);
    return *this;
}

Cmn_String& Cmn_String::AppendPrintf(const char* inFormat, ...) {
    va_list arguments;
    va_start(arguments, inFormat);
    FormatAppended(inFormat, arguments);
    va_end(arguments);
    return *this;
}

int Cmn_String::SafePrintf(char* outBuffer, int inSize, const char* inFormat, ...) {
    if (outBuffer == nullptr || inSize < 0) return -1;
    va_list arguments;
    va_start(arguments, inFormat);
    const int count = Format(outBuffer, inSize, inFormat, arguments);
    va_end(arguments);
    return count;
}

void Cmn_String::FormatContents(const char* inFormat, va_list inArguments) {
    const int capacity = GetMaxLength();
    if (capacity >= kSmallestRoom && !IsShared()) {
        const int count = Format(mText, capacity, inFormat, inArguments);
        SetEnd(std::max(count, 0));
        if (count >= 0) return;
    }
    if (capacity < kLocalBufferSize) {
        char local[kLocalBufferSize];
        const int count = Format(local, kLocalBufferSize, inFormat, inArguments);
        if (count >= 0) {
            SetBytes({local, static_cast<std::size_t>(count)});
            return;
        }
    }
    // A text that does not fit needs room; for one that cannot be converted no room is enough.
    const int length = MeasureFormat(inFormat, inArguments);
    if (length < 0) {
        SetBytes({});
        return;
    }
    std::int64_t size = std::max(kLocalBufferSize, capacity);
    do {
        size *= 2;
    } while (size < length);
    Room(std::max<std::int64_t>(length, std::min(size, kMaxLength)), false);
    SetEnd(std::max(Format(mText, GetMaxLength(), inFormat, inArguments), 0));
}

void Cmn_String::FormatAppended(const char* inFormat, va_list inArguments) {
    const int length = GetLength();
    const int room = mText == nullptr || IsShared() ? 0 : GetMaxLength() - length;
    if (room > 1) {
        const int count = Format(mText + length, room, inFormat, inArguments);
        SetEnd(length + std::max(count, 0));
        if (count >= 0) return;
    }
    if (room < kLocalBufferSize) {
        char local[kLocalBufferSize];
        const int count = Format(local, kLocalBufferSize, inFormat, inArguments);
        if (count >= 0) {
            AppendBytes({local, static_cast<std::size_t>(count)});
            return;
        }
    }
    const int count = MeasureFormat(inFormat, inArguments);
    if (count < 0) return;
    // An argument that is part of this text, though not allowed, shall not be read from freed memory.
    const Cmn_String hold(*this);
    Room(static_cast<std::int64_t>(length) + count);
    SetEnd(length + std::max(Format(mText + length, count, inFormat, inArguments), 0));
}

// ---- Numbers ----------------------------------------------------------------------------------------------

ValueText::ValueText(long long inValue)
    : mLength(static_cast<std::size_t>(std::to_chars(mText, mText + sizeof mText, inValue).ptr - mText)) {}

ValueText::ValueText(unsigned long long inValue)
    : mLength(static_cast<std::size_t>(std::to_chars(mText, mText + sizeof mText, inValue).ptr - mText)) {}

ValueText::ValueText(double inValue) {
    constexpr int kSignificantDigits = 12;
    FormatFloat(inValue, kSignificantDigits, mText);
    mLength = std::strlen(mText);
}

bool Cmn_String::AsBool(const char* inString) {
    return std::atol(OrEmpty(inString)) != 0;
}

std::int16_t Cmn_String::AsInt16(const char* inString) {
    return static_cast<std::int16_t>(AsInt32(inString));
}
std::int32_t Cmn_String::AsInt32(const char* inString) {
    return static_cast<std::int32_t>(std::atol(OrEmpty(inString)));
}
std::int64_t Cmn_String::AsInt64(const char* inString) {
    return std::atoll(OrEmpty(inString));
}

std::uint16_t Cmn_String::AsUInt16(const char* inString) {
    return static_cast<std::uint16_t>(AsUInt32(inString));
}
std::uint32_t Cmn_String::AsUInt32(const char* inString) {
    const char* const text = OrEmpty(inString);
    return static_cast<std::uint32_t>(IsHexadecimal(text) ? std::strtoul(text + 2, nullptr, 16)
                                                          : std::strtoul(text, nullptr, 10));
}
std::uint64_t Cmn_String::AsUInt64(const char* inString) {
    const char* const text = OrEmpty(inString);
    return IsHexadecimal(text) ? std::strtoull(text + 2, nullptr, 16) : std::strtoull(text, nullptr, 10);
}

float Cmn_String::AsFloat32(const char* inString) {
    return static_cast<float>(std::atof(OrEmpty(inString)));
}
double Cmn_String::AsFloat64(const char* inString) {
    // The run-time's atof is its strtod without an end pointer. By the name strtod this compiler links a replacement of its
    // own, which reads hexadecimal, infinities and no d exponents.
    return std::atof(OrEmpty(inString));
}

// ---- A text as a stack of fields --------------------------------------------------------------------------

Cmn_String& Cmn_String::PushBytes(std::string_view inText, char inSeparator) {
    const Cmn_String hold = Hold(inText);
    Room(GetLength() + 1 + static_cast<std::int64_t>(inText.size()));
    return AppendBytes({&inSeparator, 1}).AppendBytes(inText);
}

bool Cmn_String::Pop(Cmn_String& outText, char inSeparator) {
    const std::size_t separator = View().rfind(inSeparator);
    if (separator == std::string_view::npos) return false;
    Cmn_String field(View().substr(separator + 1));
    Trim(static_cast<int>(separator), kAll);
    outText.Swap(field);
    return true;
}

// ---- Encodings --------------------------------------------------------------------------------------------

Cmn_String Cmn_String::ToUTF8(bool inFrom1252) const {
    if (IsEmpty()) return Cmn_String();
    const TextPlatform& platform = GetTextPlatform();
    const CodePage codePage = NarrowCodePage(inFrom1252);

    const int wideSize = platform.widen(codePage, false, View(), nullptr, 0).count;
    const auto wide = std::make_unique_for_overwrite<wchar_t[]>(static_cast<std::size_t>(wideSize));
    if (wideSize == 0 || platform.widen(codePage, false, View(), wide.get(), wideSize).count != wideSize) {
        Cmn_Trace("Error converting Cmn_BasicString to wide characters\n");
        return Cmn_String();
    }
    Cmn_String result;
    const int size = platform.narrow(CodePage::kUTF8, wide.get(), wideSize, nullptr, 0).count;
    result.Room(size);
    if (size == 0 ||
        platform.narrow(CodePage::kUTF8, wide.get(), wideSize, result.mText, size).count != size) {
        Cmn_Trace("Error converting wide chars to UTF8.\n");
        return Cmn_String();
    }
    result.SetEnd(size);
    return result;
}

int Cmn_String::FromUTF8(const char* inString, int inLength, bool inTo1252) {
    const auto source = SourceText(inString, inLength);
    if (source.empty() || source.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        SetBytes({});
        return 0;
    }
    const auto wide =
        ConvertGrowing<wchar_t>(static_cast<std::int64_t>(source.size()), [&](wchar_t* out, int size) {
            return GetTextPlatform().widen(CodePage::kUTF8, false, source, out, size);
        });
    return FromUTF16(wide.text.get(), wide.length, inTo1252);
}

int Cmn_String::FromUTF16(const wchar_t* inString, int inLength, bool inTo1252) {
    const auto source = SourceText(inString, inLength);
    if (source.empty() || source.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        SetBytes({});
        return 0;
    }
    const auto narrow =
        ConvertGrowing<char>(static_cast<std::int64_t>(source.size()), [&](char* out, int size) {
            return GetTextPlatform().narrow(NarrowCodePage(inTo1252), source.data(),
                                            static_cast<int>(source.size()), out, size);
        });
    SetBytes({narrow.text.get(), static_cast<std::size_t>(narrow.length)});
    return GetLength();
}

bool Cmn_String::ToUTF16(wchar_t* outBuffer, int inSize, bool inFrom1252) const {
    // With size 0 the system would answer how much room it needs, and write nothing.
    if (IsEmpty() || outBuffer == nullptr || inSize < 1) return false;
    return GetTextPlatform().widen(NarrowCodePage(inFrom1252), true, View(), outBuffer, inSize).count > 0;
}

// ---- Files ------------------------------------------------------------------------------------------------

bool Cmn_String::ReadFile(const char* inPath, unsigned int inMaxSize) {
    const Cmn_String path(std::string_view(OrEmpty(inPath)));  // it may be part of this text
    Clear();
    std::size_t size = 0;
    const auto getRoom = [&](std::size_t fileSize) {
        size = fileSize;
        Room(static_cast<std::int64_t>(fileSize), false);
        return mText;
    };
    if (!ReadWholeFile(path.c_str(), std::min<std::int64_t>(inMaxSize, kMaxLength), getRoom)) {
        Clear();
        return false;
    }
    if (mText != nullptr) {
        mText[size] = '\0';
        UpdateLength();
    }
    return true;
}

bool Cmn_String::WriteFile(const char* inPath) const {
    return WriteWholeFile(OrEmpty(inPath), View());
}

// ---- Streams ----------------------------------------------------------------------------------------------

std::ostream& operator<<(std::ostream& ioStream, const Cmn_String& inText) {
    return ioStream << inText.View();
}
