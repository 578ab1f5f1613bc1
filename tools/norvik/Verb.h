#pragma once

// What a verb of the tool is, its options, and how it prints. A verb is one file that defines one Verb, and one line in the
// table of Main.cpp:
//
//   int RunEcho(const Arguments& arguments) {
//       for (const std::string& word : arguments.Positionals()) Print(word + "\n");
//       return cSuccess;
//   }
//   const Verb cEchoVerb{"echo", "WORD...", "print the words", "", {{"--loud", nullptr, "in capitals"}}, &RunEcho};
//
// Threads:   the main thread; Print and Flush must not be called from two threads at once
// Ownership: texts of a Verb are literals
// Errors:    a wrong command line is thrown as UsageError (exit code 2), everything else that ends a verb as another
//            std::exception (exit code 1); Main prints their text. Print throws OutputClosed when nobody reads any more.
// Units:     none

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "JRCmn/Cmn_Export.h"

namespace NorvikTool {

enum ExitCode { cSuccess = 0, cFailure = 1, cWrongUsage = 2 };

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The reader of a pipe went away. Not an error: Main ends the program quietly.
struct OutputClosed {};

struct Option {
    const char* name;   // with its dashes
    const char* value;  // what the help calls its value; null for a flag
    const char* help;
};

// A command line that fits its verb's options.
class Arguments {
public:
    // Takes "--name value" and "--name=value"; "--" ends the options.
    Arguments(const std::vector<Option>& options, bool takesPositionals,
              const std::vector<std::string>& words);

    bool Has(std::string_view option) const;
    std::string Text(std::string_view option, std::string_view fallback) const;
    std::uint64_t Number(std::string_view option, std::uint64_t fallback, std::uint64_t minimum = 0) const;
    const std::vector<std::string>& Positionals() const { return mPositionals; }

private:
    std::map<std::string, std::string, std::less<>> mValues;
    std::vector<std::string> mPositionals;
};

struct Verb {
    const char* name;
    const char* positionals;  // as the usage line shows them; empty: the verb takes none
    const char* summary;      // one line for the list of verbs; one without is not listed
    const char* details;      // further paragraphs of the help, each line ended; may be empty
    std::vector<Option> options;
    int (*run)(const Arguments& arguments);
};

// Standard output, byte for byte: lines end in "\n" alone, so that scripts need not strip anything. Collected
// and written in large pieces; Flush writes what there is.
void Print(std::string_view text);
void PrintFormat(const char* format, ...) NORVIK_PRINTF(1, 2);
void Flush();

// Aligned columns, two blanks between them; the last column may contain blanks. `alignment` has an 'l' or 'r'
// a column.
void PrintTable(std::string_view alignment, const std::vector<std::vector<std::string>>& rows);

}  // namespace NorvikTool
