#pragma once

// Replaces addresses and host names in texts, the same one by the same word in all of them.
//
//   Masker masker;
//   masker.AddHost("DESK-7");
//   for (const std::string& text : texts) masker.Learn(text);   // names that stand in one text, and bare in another
//   for (std::string& text : texts) text = masker.Mask(text);   // "from desk-7.local, 10.0.0.9" -> "from host-1, ip-1"
//
// What is replaced: IPv4 and IPv6 addresses ("ip-1"), MAC addresses ("mac-1"; without colons or dashes too, when the
// address was seen with them), names that end in ".local", and the hosts that were added or that discovery named, where they
// stand as a word ("host-1"). Different spellings of one address are one.
// What is kept: addresses that name no machine (0.x, 127.x, 224.x and above, "::", "::1"), numbers with four parts behind a
// word such as "version", times and dates, names of services.
//
// Threads:   one at a time
// Ownership: results own their texts
// Errors:    none: any bytes give a text
// Units:     none

#include <map>
#include <string>
#include <string_view>

namespace NorvikTool {

class Masker {
public:
    // A computer's name, with or without its domain. Those of one letter, of digits only, and "localhost" tell nothing.
    void AddHost(std::string_view name);

    // Takes up the host names and MAC addresses of a text.
    void Learn(std::string_view text);

    std::string Mask(std::string_view text);

private:
    const std::string& Host(const std::string& name);
    const std::string& Address(const std::string& key, const char* prefix);
    std::string_view ReplacementAt(std::string_view text, std::size_t at, std::size_t& length);
    std::string_view HostAt(std::string_view text, std::size_t at, std::size_t& length);

    std::map<std::string, std::string, std::less<>> mHosts;      // lower case, without ".local"
    std::map<std::string, std::string, std::less<>> mAddresses;  // one spelling of each
    std::map<std::string, int, std::less<>> mCounts;             // by what the words begin with
};

}  // namespace NorvikTool
