#pragma once

// How a word is written on a command line so that the usual run-times read exactly it. Pure.
//
//   std::string line = program;
//   AppendQuoted(line += ' ', "C:\\My Shows\\");   // "C:\My Shows\\"
//
// Threads, ownership, errors, units: none

#include <string>
#include <string_view>

namespace NorvikLibInternal {

// Always in quotes, so that an empty word is one, too. Backslashes count as themselves, unless a quote follows: there each
// is written twice, and the quote gets one more of its own.
inline void AppendQuoted(std::string& line, std::string_view word) {
    line += '"';
    std::size_t backslashes = 0;
    for (const char c : word) {
        if (c == '"') line.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        line += c;
    }
    line.append(backslashes, '\\') += '"';
}

}  // namespace NorvikLibInternal
