// The platform of the pure parts for native builds under the sanitizers: texts have one byte per character, checks and
// traces go nowhere, time stands still, and there are no conversions and no whole files: they are tested on Windows.

#include <dlfcn.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Clock.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"

bool Cmn_Assert::FailedVerify(const char*, const char*, int) {
    return false;
}

bool Cmn_Assert::IsDebuggerPresent() {
    return false;
}

void Cmn_Trace(const char*, ...) {}

namespace NorvikLibInternal {

uint64_t ClockMilliseconds() {
    return 0;
}

// The stand-in's functions, which are part of the program.
void* FindDnsSdFunction(const char* name) {
    return ::dlsym(RTLD_DEFAULT, name);
}

#define NORVIK_DEFINE_DNS_SD_CALL(name, failure) constinit DnsSdCall<name##Call> name{#name, failure};
NORVIK_DNS_SD_CALLS(NORVIK_DEFINE_DNS_SD_CALL)
#undef NORVIK_DEFINE_DNS_SD_CALL

TextPlatform& GetTextPlatform() {
    static TextPlatform platform = {[] { return true; }, nullptr, nullptr};
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

const CharacterClasses kCharacterClasses = {[](unsigned char c) { return std::isdigit(c) != 0; },
                                            [](unsigned char c) { return std::isalnum(c) != 0; },
                                            [](unsigned char c) { return std::islower(c) != 0; }};

// Nothing that is run natively asks for these.
void LowerText(char*) {}
void UpperText(char*) {}
bool ReadWholeFile(const char*, std::uint64_t, const std::function<char*(std::size_t)>&) {
    return false;
}
bool WriteWholeFile(const char*, std::string_view) {
    return false;
}

int FormatText(char* outBuffer, std::size_t inSize, const char* inFormat, va_list inArguments) {
    char* whole = nullptr;
    const int length = ::vasprintf(&whole, inFormat, inArguments);
    if (length < 0) return length;
    // The Windows formatter fills the room also when it is too small.
    std::memcpy(outBuffer, whole, std::min(inSize, static_cast<std::size_t>(length) + 1));
    std::free(whole);
    return static_cast<std::size_t>(length) > inSize ? -1 : length;
}

int FormattedLength(const char* inFormat, va_list inArguments) {
    return std::vsnprintf(nullptr, 0, inFormat, inArguments);
}

void FormatFloat(double inValue, int inDigits, char* outText) {
    std::sprintf(outText, "%.*g", inDigits, inValue);
}

}  // namespace NorvikLibInternal
