#pragma once

// What the text class asks of the run-time and the system. Cmn_TextPlatform.cpp answers for Windows; a second
// set of answers lets the text class compile natively, for sanitizers and fuzzers.
//
// Threads:   any; the table of GetTextPlatform() is changed by tests only, while no other thread runs
// Ownership: none
// Errors:    as each function says; nothing is traced here
// Units:     bytes; wide characters are UTF-16 units

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_TextAlgorithms.h"

namespace NorvikLibInternal {

enum class CodePage : unsigned { kAnsi = 0, k1252 = 1252, kUTF8 = 65001 };

// The number of elements written, 0 after a failure.
struct Conversion {
    int count;
    bool isTooSmall;  // it failed because the output has too little room
};

// The answers that a test may want to replace. With size 0 the conversions only say how many elements they
// need.
struct TextPlatform {
    // Whether the run-time's multibyte code page has one byte for each character.
    bool (*isSingleByte)();
    Conversion (*widen)(CodePage codePage, bool precomposed, std::string_view text, wchar_t* out, int size);
    Conversion (*narrow)(CodePage codePage, const wchar_t* text, int length, char* out, int size);
};
NORVIK_API TextPlatform& GetTextPlatform();

// The order of two terminated texts, and of their first bytes, in the multibyte code page.
int CompareTexts(const char* inFirst, const char* inSecond, bool inCaseSensitive);
int CompareTextBytes(const char* inFirst, const char* inSecond, std::size_t inCount, bool inCaseSensitive);
bool IsInTextSet(const char* inSet, unsigned char inCharacter);
unsigned FoldCharacter(unsigned char inCharacter);
extern const CharacterClasses kCharacterClasses;

// In place, up to the terminator.
void LowerText(char* ioText);
void UpperText(char* ioText);

// The formatter: at most inSize characters, terminated only when there is room. Negative when they do not fit
// or cannot be converted. FormattedLength is negative for the second reason only.
int FormatText(char* outBuffer, std::size_t inSize, const char* inFormat, va_list inArguments);
int FormattedLength(const char* inFormat, va_list inArguments);
void FormatFloat(double inValue, int inDigits, char* outText);

// Reads the whole file into the room that the caller gives for its size; asks for none when it is empty.
// False when it cannot be opened, is larger than inMaxSize, or ends early.
bool ReadWholeFile(const char* inPath, std::uint64_t inMaxSize,
                   const std::function<char*(std::size_t)>& inGetRoom);
// Creates or truncates the file. False when not all was written.
bool WriteWholeFile(const char* inPath, std::string_view inText);

}  // namespace NorvikLibInternal
