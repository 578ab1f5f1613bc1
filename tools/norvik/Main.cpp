// The command-line tool: finds the verb, parses its options, turns exceptions into messages and exit codes.

#include <cstdio>
#include <exception>

#include "JRCmn/Cmn_Assert.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {

// The table of verbs, in the order of the help: one line for each. A file of its own defines cDemoVerb, and so on.
#define NORVIK_VERBS(VERB) \
    VERB(Demo)             \
    VERB(DemoPart)         \
    VERB(Soak)             \
    VERB(SoakPart)         \
    VERB(Board)            \
    VERB(Machine)          \
    VERB(Logs)             \
    VERB(Collect)          \
    VERB(Pipe)             \
    VERB(Serve)            \
    VERB(Send)             \
    VERB(Discover)         \
    VERB(Publish)          \
    VERB(Toggles)          \
    VERB(Displays)

#define NORVIK_DECLARE(name) extern const Verb c##name##Verb;
#define NORVIK_ADDRESS(name) &c##name##Verb,

NORVIK_VERBS(NORVIK_DECLARE)

namespace {

const Verb* const cVerbs[] = {NORVIK_VERBS(NORVIK_ADDRESS)};

bool AsksForHelp(const std::string& word) {
    return word == "--help" || word == "-h";
}

void PrintVerbs() {
    Print("usage: norvik VERB [OPTIONS]\n       norvik VERB --help\n       norvik --version\n\nVerbs:\n");
    std::vector<std::vector<std::string>> rows;
    for (const Verb* verb : cVerbs) {
        if (*verb->summary) rows.push_back({"", verb->name, verb->summary});
    }
    PrintTable("lll", rows);
    Print("\nExit codes: 0 success, 1 failure, 2 wrong usage.\n");
}

void PrintHelp(const Verb& verb) {
    const std::string positionals = *verb.positionals ? std::string(" ") + verb.positionals : "";
    Print(std::string("usage: norvik ") + verb.name + " [OPTIONS]" + positionals + "\n\n" + verb.summary +
          "\n");
    if (*verb.details) Print(std::string("\n") + verb.details);
    Print("\nOptions:\n");
    std::vector<std::vector<std::string>> rows;
    for (const Option& option : verb.options)
        rows.push_back({"", std::string(option.name) + (option.value ? std::string(" ") + option.value : ""),
                        option.help});
    rows.push_back({"", "--help", "print this"});
    PrintTable("lll", rows);
}

int Complain(const std::string& who, const std::string& what, ExitCode code) {
    Flush();
    std::fprintf(stderr, "%s: %s\n", who.c_str(), what.c_str());
    return code;
}

int RunVerb(const Verb& verb, const std::vector<std::string>& words) {
    const std::string who = std::string("norvik ") + verb.name;
    for (const std::string& word : words) {
        if (word == "--") break;
        if (AsksForHelp(word)) {
            PrintHelp(verb);
            return cSuccess;
        }
    }
    try {
        return verb.run(Arguments(verb.options, *verb.positionals != '\0', words));
    } catch (const UsageError& error) {
        return Complain(who, std::string(error.what()) + " (see " + who + " --help)", cWrongUsage);
    } catch (const std::exception& error) {
        return Complain(who, error.what(), cFailure);
    }
}

int Run(const std::vector<std::string>& words) {
    if (words.empty() || AsksForHelp(words[0])) {
        PrintVerbs();
        return cSuccess;
    }
    if (words[0] == "--version") {
        Print(std::string("norvik ") + Cmn_Assert::SoftwareVersion + "\n");
        return cSuccess;
    }
    for (const Verb* verb : cVerbs) {
        if (words[0] == verb->name) return RunVerb(*verb, {words.begin() + 1, words.end()});
    }
    const char* kind = words[0][0] == '-' ? "option" : "verb";
    return Complain("norvik", std::string("unknown ") + kind + " '" + words[0] + "' (see norvik --help)",
                    cWrongUsage);
}

}  // namespace
}  // namespace NorvikTool

int main(int argc, char** argv) {
    using namespace NorvikTool;
    try {
        const int code = Run({argv + 1, argv + argc});
        Flush();
        return code;
    } catch (const OutputClosed&) {
        return cSuccess;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "norvik: %s\n", error.what());
        return cFailure;
    }
}
