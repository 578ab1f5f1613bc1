// The platform of the text class for native builds (sanitizers, call counts, fuzzers), with a code page of
// one byte per character: Latin 1, whose wide form has the same numbers. Checks and traces are counted
// instead of written.

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"

int gNativeReports = 0;
int gNativeTraces = 0;

bool Cmn_Assert::FailedVerify(const char*, const char*, int) {
    ++gNativeReports;
    return false;
}

bool Cmn_Assert::IsDebuggerPresent() {
    return false;
}

void Cmn_Trace(const char*, ...) {
    ++gNativeTraces;
}

namespace NorvikLibInternal {
namespace {

bool IsSingleByte() {
    return true;
}

// Copies what fits; with no output it only counts.
template <typename In, typename Out, typename Convert>
Conversion ConvertEach(const In* inText, std::size_t inLength, Out* outText, int inSize, Convert inConvert) {
    int count = 0;
    for (std::size_t i = 0; i < inLength;) {
        Out units[4];
        const int unitCount = inConvert(inText, inLength, i, units);
        if (outText != nullptr && count + unitCount > inSize) return {0, true};
        if (outText != nullptr) std::copy(units, units + unitCount, outText + count);
        count += unitCount;
    }
    return {count, false};
}

// Knows the two-byte forms, which are all that Latin 1 needs; other bytes become the replacement character.
Conversion Widen(CodePage inCodePage, bool, std::string_view inText, wchar_t* outText, int inSize) {
    return ConvertEach(inText.data(), inText.size(), inSize != 0 ? outText : nullptr, inSize,
                       [inCodePage](const char* text, std::size_t length, std::size_t& i, wchar_t* units) {
                           const auto byte = static_cast<unsigned char>(text[i++]);
                           units[0] = byte;
                           if (inCodePage != CodePage::kUTF8 || byte < 0x80) return 1;
                           const bool isPair =
                               (byte & 0xE0) == 0xC0 && i < length && (text[i] & 0xC0) == 0x80;
                           units[0] = isPair ? (byte & 0x1F) << 6 | (text[i++] & 0x3F) : 0xFFFD;
                           return 1;
                       });
}

Conversion Narrow(CodePage inCodePage, const wchar_t* inText, int inLength, char* outText, int inSize) {
    return ConvertEach(inText, static_cast<std::size_t>(inLength), inSize != 0 ? outText : nullptr, inSize,
                       [inCodePage](const wchar_t* text, std::size_t, std::size_t& i, char* units) {
                           const wchar_t wide = text[i++];
                           const bool isUTF8 = inCodePage == CodePage::kUTF8;
                           units[0] = static_cast<char>(wide < (isUTF8 ? 0x80 : 0x100) ? wide : '?');
                           if (!isUTF8 || wide < 0x80 || wide >= 0x800) return 1;
                           units[0] = static_cast<char>(0xC0 | wide >> 6);
                           units[1] = static_cast<char>(0x80 | (wide & 0x3F));
                           return 2;
                       });
}

}  // namespace

TextPlatform& GetTextPlatform() {
    static TextPlatform platform = {IsSingleByte, Widen, Narrow};
    return platform;
}

int CompareTexts(const char* inFirst, const char* inSecond, bool inCaseSensitive) {
    return (inCaseSensitive ? std::strcmp : ::strcasecmp)(inFirst, inSecond);
}

int CompareTextBytes(const char* inFirst, const char* inSecond, std::size_t inCount, bool inCaseSensitive) {
    return (inCaseSensitive ? std::strncmp : ::strncasecmp)(inFirst, inSecond, inCount);
}

bool IsInTextSet(const char* inSet, unsigned char inCharacter) {
    return std::strchr(inSet, inCharacter) != nullptr;
}

unsigned FoldCharacter(unsigned char inCharacter) {
    return static_cast<unsigned>(std::tolower(inCharacter));
}

const CharacterClasses kCharacterClasses = {
    [](unsigned char c) { return std::isdigit(c) != 0; },
    [](unsigned char c) { return std::isalnum(c) != 0; },
    [](unsigned char c) { return std::islower(c) != 0; },
};

void LowerText(char* ioText) {
    for (; *ioText != '\0'; ++ioText)
        *ioText = static_cast<char>(std::tolower(static_cast<unsigned char>(*ioText)));
}

void UpperText(char* ioText) {
    for (; *ioText != '\0'; ++ioText)
        *ioText = static_cast<char>(std::toupper(static_cast<unsigned char>(*ioText)));
}

int FormatText(char* outBuffer, std::size_t inSize, const char* inFormat, va_list inArguments) {
    va_list copy;
    va_copy(copy, inArguments);
    const int length = FormattedLength(inFormat, copy);
    va_end(copy);
    if (length < 0) return length;
    const auto whole = std::make_unique<char[]>(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(whole.get(), static_cast<std::size_t>(length) + 1, inFormat, inArguments);
    // The Windows formatter fills the room also when it is too small.
    std::memcpy(outBuffer, whole.get(), std::min(inSize, static_cast<std::size_t>(length) + 1));
    return static_cast<std::size_t>(length) > inSize ? -1 : length;
}

int FormattedLength(const char* inFormat, va_list inArguments) {
    return std::vsnprintf(nullptr, 0, inFormat, inArguments);
}

void FormatFloat(double inValue, int inDigits, char* outText) {
    std::sprintf(outText, "%.*g", inDigits, inValue);
}

bool ReadWholeFile(const char* inPath, std::uint64_t inMaxSize,
                   const std::function<char*(std::size_t)>& inGetRoom) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(inPath, "rb"), std::fclose);
    if (file == nullptr || std::fseek(file.get(), 0, SEEK_END) != 0) return false;
    const long size = std::ftell(file.get());
    if (size < 0 || static_cast<std::uint64_t>(size) > inMaxSize) return false;
    if (size == 0) return true;
    std::rewind(file.get());
    const auto wanted = static_cast<std::size_t>(size);
    return std::fread(inGetRoom(wanted), 1, wanted, file.get()) == wanted;
}

bool WriteWholeFile(const char* inPath, std::string_view inText) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(inPath, "wb"), std::fclose);
    return file != nullptr && std::fwrite(inText.data(), 1, inText.size(), file.get()) == inText.size();
}

}  // namespace NorvikLibInternal
