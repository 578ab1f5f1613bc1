#pragma once

// The commands by which tests and people at the command line make a network.
//
//   const ScriptAnswer answer = RunScript(registry, "add Desk _desk._tcp 1,2 desk.local. 8000 05613d3132");
//
// Threads:   as the registry
// Ownership: none
// Errors:    an answer that is not ok says what the command takes; nothing was changed
// Units:     names as in a full name (escaped, without blanks), bytes in hexadecimal digits

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standins/dnssd/Registry.h"

namespace DnsSdStandin {

struct ScriptAnswer {
    bool isOk = false;
    std::string text;
};

// Without what concerns connections: drop, exit, halves, await.
ScriptAnswer RunScript(Registry& registry, std::string_view line);

// For those, too.
std::vector<std::string> Words(std::string_view line);
std::optional<Kind> OperationKind(std::string_view name);
std::optional<int32_t> Number(std::string_view word, int32_t first, int32_t last);
// "1,2"; 4294967295 is the index for this machine only.
std::optional<InterfaceList> Interfaces(std::string_view word);
// All commands with their arguments, one a line.
std::string ScriptUsage();

}  // namespace DnsSdStandin
