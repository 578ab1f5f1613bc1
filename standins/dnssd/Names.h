#pragma once

// Names of service discovery: escaping, service types, host names, and how a name that is taken goes on. Pure.
//
//   EscapedLabel("Desk 1.2") == "Desk\\0321\\.2"
//
// Threads: any.  Ownership: none.  Errors: nullopt for what is no such name.  Units: bytes, of UTF-8.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace DnsSdStandin {

constexpr size_t kMaxLabel = 63;
constexpr char kLocalDomain[] = "local.";

// One label as it stands in a full name: dot and backslash behind a backslash, blanks and control characters as \DDD.
std::string EscapedLabel(std::string_view label);
// The first label of an escaped name, which goes out of it together with the dot behind it. Nullopt: not an escape.
std::optional<std::string> TakeLabel(std::string_view& name);

// Names are compared without the case of their ASCII letters.
std::string Folded(std::string_view name);
// "_desk._tcp" from "_desk._tcp" or "_desk._tcp.": one to 15 letters, digits or hyphens, then _tcp or _udp.
std::optional<std::string> ServiceType(std::string_view text);
// Whether this names the one domain that there is; no name does, too.
bool IsLocalDomain(std::string_view text);
// With a dot at the end.
std::string HostName(std::string_view text);

// The part of a name that has room in a label, up to a whole character.
std::string CutToLabel(std::string_view name, size_t limit = kMaxLabel);
// "Desk (2)" behind "Desk", "Desk (3)" behind "Desk (2)".
std::string NextName(std::string_view name);

// A sequence of items, each behind its length; at least one.
bool IsTxtRecord(std::string_view bytes);

std::string ToHex(std::string_view bytes);
std::optional<std::string> FromHex(std::string_view text);

}  // namespace DnsSdStandin
