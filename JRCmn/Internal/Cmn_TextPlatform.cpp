#include "JRCmn/Internal/Cmn_TextPlatform.h"

#include <mbstring.h>
#include <stdio.h>
#include <stdlib.h>

#include <atomic>

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_Windows.h"

// Last: its macros break the standard library's headers.
#include <mbctype.h>

namespace NorvikLibInternal {
namespace {

const unsigned char* Bytes(const char* inText) {
    return reinterpret_cast<const unsigned char*>(inText);
}

bool IsSingleByte() {
    const int codePage = ::_getmbcp();
    if (codePage == 0) return true;  // the run-time says so itself
    // Other run-times give the number of a single-byte code page, too.
    struct Answer {
        int codePage;
        bool isSingleByte;
    };
    static std::atomic<Answer> last{Answer{0, true}};
    Answer answer = last.load(std::memory_order_relaxed);
    if (answer.codePage != codePage) {
        CPINFO info;
        answer = {codePage, ::GetCPInfo(static_cast<UINT>(codePage), &info) && info.MaxCharSize == 1};
        last.store(answer, std::memory_order_relaxed);
    }
    return answer.isSingleByte;
}

Conversion Result(int inCount) {
    return {inCount, inCount == 0 && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER};
}

bool IsUTF8(CodePage inCodePage) {
    return inCodePage == CodePage::kUTF8 || (inCodePage == CodePage::kAnsi && ::GetACP() == CP_UTF8);
}

Conversion Widen(CodePage inCodePage, bool inPrecomposed, std::string_view inText, wchar_t* outText,
                 int inSize) {
    // For UTF-8 the system refuses the flag.
    const DWORD flags = inPrecomposed && !IsUTF8(inCodePage) ? MB_PRECOMPOSED : 0;
    return Result(::MultiByteToWideChar(static_cast<UINT>(inCodePage), flags, inText.data(),
                                        static_cast<int>(inText.size()), outText, inSize));
}

Conversion Narrow(CodePage inCodePage, const wchar_t* inText, int inLength, char* outText, int inSize) {
    return Result(::WideCharToMultiByte(static_cast<UINT>(inCodePage), 0, inText, inLength, outText, inSize,
                                        nullptr, nullptr));
}

// As a static import user32 would cost every program 12 ms at its start.
DynamicFunction<decltype(&::CharLowerA)> gCharLower("user32.dll", "CharLowerA");
DynamicFunction<decltype(&::CharUpperA)> gCharUpper("user32.dll", "CharUpperA");

// Others may read and write the file meanwhile.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

}  // namespace

TextPlatform& GetTextPlatform() {
    static constinit TextPlatform platform = {IsSingleByte, Widen, Narrow};
    return platform;
}

int CompareTexts(const char* inFirst, const char* inSecond, bool inCaseSensitive) {
    return (inCaseSensitive ? ::_mbscmp : ::_mbsicmp)(Bytes(inFirst), Bytes(inSecond));
}

int CompareTextBytes(const char* inFirst, const char* inSecond, std::size_t inCount, bool inCaseSensitive) {
    return (inCaseSensitive ? ::_mbsnbcmp : ::_mbsnbicmp)(Bytes(inFirst), Bytes(inSecond), inCount);
}

bool IsInTextSet(const char* inSet, unsigned char inCharacter) {
    return ::_mbschr(Bytes(inSet), inCharacter) != nullptr;
}

unsigned FoldCharacter(unsigned char inCharacter) {
    return ::_mbctolower(inCharacter);
}

const CharacterClasses kCharacterClasses = {
    [](unsigned char c) { return ::_ismbcdigit(c) != 0; },
    [](unsigned char c) { return ::_ismbcalnum(c) != 0; },
    [](unsigned char c) { return ::_ismbclower(c) != 0; },
};

void LowerText(char* ioText) {
    if (gCharLower) gCharLower(ioText);
}
void UpperText(char* ioText) {
    if (gCharUpper) gCharUpper(ioText);
}

int FormatText(char* outBuffer, std::size_t inSize, const char* inFormat, va_list inArguments) {
    return inFormat ? ::_vsnprintf(outBuffer, inSize, inFormat, inArguments) : -1;
}

int FormattedLength(const char* inFormat, va_list inArguments) {
    return inFormat ? ::_vscprintf(inFormat, inArguments) : -1;
}

void FormatFloat(double inValue, int inDigits, char* outText) {
    ::_gcvt(inValue, inDigits, outText);
}

bool ReadWholeFile(const char* inPath, std::uint64_t inMaxSize,
                   const std::function<char*(std::size_t)>& inGetRoom) {
    const KernelHandle file(
        ::CreateFileA(inPath, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER size;
    if (!file || !::GetFileSizeEx(file.Get(), &size)) return false;
    const auto wanted = static_cast<std::uint64_t>(size.QuadPart);
    if (wanted > inMaxSize) return false;
    if (wanted == 0) return true;
    DWORD read = 0;
    return ::ReadFile(file.Get(), inGetRoom(wanted), static_cast<DWORD>(wanted), &read, nullptr) &&
           read == wanted;
}

bool WriteWholeFile(const char* inPath, std::string_view inText) {
    const KernelHandle file(
        ::CreateFileA(inPath, GENERIC_WRITE, kShareAll, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    return file &&
           ::WriteFile(file.Get(), inText.data(), static_cast<DWORD>(inText.size()), &written, nullptr) &&
           written == inText.size();
}

}  // namespace NorvikLibInternal
