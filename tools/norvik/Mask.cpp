#include "tools/norvik/Mask.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

namespace NorvikTool {
namespace {

constexpr std::size_t cLongestName = 255;
constexpr std::size_t cMacDigits = 12;
constexpr std::string_view cLocal = "local";

// As the groups of addresses of version 6 begin that stand for one of version 4: as sockets of both name it, and as
// gateways between both do.
constexpr std::string_view cMapped = "0:0:0:0:0:ffff:", cTranslated = "64:ff9b:";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsHex(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsAlnum(char c) {
    return IsLetter(c) || IsDigit(c);
}

bool IsNameByte(char c) {
    // Letters beyond ASCII have several bytes or a code page; all of those are taken for letters.
    return IsAlnum(c) || c == '-' || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return Lower(c); });
    return lower;
}

char At(std::string_view text, std::size_t at) {
    return at < text.size() ? text[at] : '\0';
}

template <typename Predicate>
std::size_t RunLength(std::string_view text, std::size_t at, std::size_t limit, Predicate isPart) {
    std::size_t length = 0;
    while (length < limit && at + length < text.size() && isPart(text[at + length]))
        ++length;
    return length;
}

// "\x5C", as the tool's verbs show the backslash and bytes that cannot be printed. Other digits are no escape, but a
// folder: "C:\x64".
bool IsEscape(std::string_view text, std::size_t at) {
    const std::string_view word = text.substr(std::min(at, text.size()), 4);
    if (word == "\\x5C" || word == "\\x7F") return true;
    return (word.starts_with("\\x0") || word.starts_with("\\x1")) && IsHex(At(word, 3));
}

bool BeginsWord(std::string_view text, std::size_t at) {
    if (!IsNameByte(text[at]) && text[at] != ':') return false;  // "::ffff:a00:9"
    return at == 0 || !IsAlnum(text[at - 1]) || (at >= 4 && IsEscape(text, at - 4));
}

// The word that ends before a place, without what may stand between it and a value.
std::string_view WordBefore(std::string_view text, std::size_t at) {
    std::size_t end = at;
    while (end > 0 && at - end < 4 &&
           std::string_view(" \t:=\"'([").find(text[end - 1]) != std::string_view::npos)
        --end;
    std::size_t begin = end;
    while (begin > 0 && end - begin < 32 && IsLetter(text[begin - 1]))
        --begin;
    return text.substr(begin, end - begin);
}

bool SpeaksOfVersion(std::string_view word) {
    const std::string lower = Lower(word);
    for (const char* const known :
         {"v", "ver", "release", "build", "revision", "rev", "firmware", "driver"}) {
        if (lower == known) return true;
    }
    return lower.ends_with("version");
}

// ---- Each of these gives the length of what stands at a place, 0 when it is something else, and one spelling of it.

std::size_t Ipv4At(std::string_view text, std::size_t at, std::string& key) {
    if (at >= 2 && text[at - 1] == '.' && IsDigit(text[at - 2])) return 0;
    std::size_t end = at;
    unsigned address = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && At(text, end++) != '.') return 0;
        const std::size_t digits = RunLength(text, end, 4, IsDigit);
        if (digits == 0 || digits > 3) return 0;
        unsigned value = 0;
        for (std::size_t i = 0; i < digits; ++i)
            value = value * 10 + static_cast<unsigned>(text[end + i] - '0');
        if (value > 255 || (part == 0 && (value == 0 || value == 127 || value >= 224))) return 0;
        address = address << 8 | value;
        end += digits;
    }
    // As the groups that it is at the end of an address of version 6.
    std::array<char, 16> groups = {};
    std::snprintf(groups.data(), groups.size(), "%x:%x:", address >> 16, address & 0xFFFF);
    key = groups.data();
    const bool goesOn = IsAlnum(At(text, end)) || (At(text, end) == '.' && IsDigit(At(text, end + 1)));
    return goesOn || SpeaksOfVersion(WordBefore(text, at)) ? 0 : end - at;
}

// Groups of hexadecimal digits between colons; the empty group stands for "::".
std::vector<std::string> Groups(std::string_view text) {
    std::vector<std::string> groups(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ':') {
            if (At(text, i + 1) == ':') groups.emplace_back(), ++i;
            groups.emplace_back();
        } else if (!groups.back().empty() || text[i] != '0' || !IsHex(At(text, i + 1))) {
            groups.back() += Lower(text[i]);
        }
    }
    return groups;
}

bool FollowsAnotherGroup(std::string_view text, std::size_t at) {
    if (at < 2 || text[at - 1] != ':') return false;
    std::size_t digits = 0;
    while (digits + 1 < at && digits < 5 && IsHex(text[at - 2 - digits]))
        ++digits;
    return digits > 0 && digits < 5 && (at < digits + 2 || !IsAlnum(text[at - 2 - digits]));
}

// One spelling of an address, empty when it is none.
std::string Ipv6Key(std::string all) {
    std::size_t longest = 0, digits = 0;
    for (const char c : all)
        longest = std::max(longest, digits = c == ':' ? 0 : digits + 1);
    const std::size_t twins = all.find("::");
    if (longest > 4 || all.find(":::") != all.npos || twins != all.rfind("::")) return {};
    if (twins == 0) all.insert(0, 1, '0');
    if (all.ends_with("::")) all += '0';
    if (all[0] == ':') return {};

    std::vector<std::string> groups = Groups(all);
    const auto gap = std::find(groups.begin(), groups.end(), "");
    const bool hasGap = gap != groups.end();
    const std::size_t missing = 9 - groups.size();
    if (hasGap ? missing > 8 : missing != 1) return {};
    if (hasGap) groups.insert(groups.erase(gap), missing, "0");
    std::string key;
    for (const std::string& group : groups)
        key += group + ":";
    if (key.starts_with(cMapped)) return key.substr(cMapped.size());
    // Every other address that is written with a gap, and names a machine, begins with a long group; "12::30" and
    // "::dec" do not.
    return !hasGap || all.find(':') > 2 || key.starts_with(cTranslated) ? key : "";
}

std::size_t Ipv6At(std::string_view text, std::size_t at, std::string& key) {
    if (FollowsAnotherGroup(text, at)) return 0;
    std::size_t length = RunLength(text, at, 40, [](char c) { return IsHex(c) || c == ':'; });
    if (length > 1 && text[at + length - 1] == ':' && text[at + length - 2] != ':') --length;
    std::string all(text.substr(at, length));
    // "64:ff9b::10.0.0.9"
    const std::size_t last = all.rfind(':') + 1;
    std::string groups;
    if (const std::size_t dotted = last == 0 ? 0 : Ipv4At(text, at + last, groups)) {
        all.replace(last, all.npos, groups, 0, groups.size() - 1);
        length = last + dotted;
    }
    if (length < 4 || IsAlnum(At(text, at + length))) return 0;
    key = Ipv6Key(all);
    return key.empty() ? 0 : length;
}

// "21-11-26-18-59-29": two digits each for a date and a time of the day.
bool IsDateAndTime(std::string_view digits) {
    constexpr std::array<int, 6> highest = {99, 12, 31, 23, 59, 59};
    if (digits.size() != cMacDigits || !std::all_of(digits.begin(), digits.end(), IsDigit)) return false;
    for (std::size_t i = 0; i < highest.size(); ++i) {
        if ((digits[2 * i] - '0') * 10 + digits[2 * i + 1] - '0' > highest[i]) return false;
    }
    return true;
}

// Six or eight pairs of digits.
std::size_t MacAt(std::string_view text, std::size_t at, std::string& key) {
    const char separator = At(text, at + 2);
    if (separator != ':' && separator != '-') return 0;
    if (at >= 2 && text[at - 1] == separator && IsHex(text[at - 2])) return 0;
    std::size_t end = at;
    for (;; ++end) {
        if (!IsHex(At(text, end)) || !IsHex(At(text, end + 1))) return 0;
        key += {Lower(text[end]), Lower(text[end + 1])};
        end += 2;
        if (At(text, end) != separator || key.size() > 16) break;
    }
    if ((key.size() != cMacDigits && key.size() != 16) || IsAlnum(At(text, end)) || IsDateAndTime(key))
        return 0;
    return end - at;
}

// A chain of labels, as in "desk.local".
std::string_view NameAt(std::string_view text, std::size_t at) {
    std::size_t length = RunLength(text, at, cLongestName, IsNameByte);
    while (length > 0 && length < cLongestName && At(text, at + length) == '.') {
        const std::size_t label = RunLength(text, at + length + 1, cLongestName, IsNameByte);
        if (label == 0) break;
        length += 1 + label;
    }
    return text.substr(at, length);
}

// The host's part of a lower-case name that ends in ".local". Labels with '_' in front make it a service.
std::optional<std::string_view> BeforeLocal(std::string_view name) {
    if (name.size() <= cLocal.size() + 1 || !name.ends_with(cLocal)) return {};
    name.remove_suffix(cLocal.size());
    if (name.back() != '.') return {};
    name.remove_suffix(1);
    if (name[0] == '_' || name.find("._") != name.npos) return {};
    return name;
}

}  // namespace

const std::string& Masker::Address(const std::string& key, const char* prefix) {
    std::string& word = mAddresses[key];
    if (word.empty()) word = prefix + std::to_string(++mCounts[prefix]);
    return word;
}

const std::string& Masker::Host(const std::string& name) {
    std::string& word = mHosts[name];
    if (word.empty()) word = "host-" + std::to_string(mHosts.size());
    return word;
}

void Masker::AddHost(std::string_view name) {
    std::string lower = Lower(name.substr(0, cLongestName));
    if (lower.ends_with('.')) lower.pop_back();
    if (const auto host = BeforeLocal(lower)) lower = std::string(*host);
    const bool isNumber =
        std::all_of(lower.begin(), lower.end(), [](char c) { return IsDigit(c) || c == '.'; });
    if (lower.size() > 1 && !isNumber && lower != "localhost" && lower != cLocal) Host(lower);
}

void Masker::Learn(std::string_view text) {
    // As the lines of discovery name hosts, also those outside of ".local".
    for (const std::string_view phrase : {" to be from ", "(host ", "DNS lookup for "}) {
        for (std::size_t at = text.find(phrase); at != text.npos; at = text.find(phrase, at))
            AddHost(NameAt(text, at += phrase.size()));
    }
    Mask(text);
}

std::string_view Masker::HostAt(std::string_view text, std::size_t at, std::size_t& length) {
    if (at > 0 && IsNameByte(text[at - 1]) && !(at >= 4 && IsEscape(text, at - 4))) return {};
    const std::string_view name = NameAt(text, at);
    length = name.size();
    const std::string lower = Lower(name);
    if (const auto host = BeforeLocal(lower)) {
        if (at == 0 || !IsEscape(text, at - 1)) AddHost(*host);
        if (const auto known = mHosts.find(*host); known != mHosts.end()) return known->second;
    }
    if (const auto whole = mHosts.find(lower); whole != mHosts.end()) return whole->second;
    length = std::min(name.find('.'), name.size());
    const auto first = mHosts.find(std::string_view(lower).substr(0, length));
    return first == mHosts.end() ? std::string_view() : std::string_view(first->second);
}

// What replaces the text at a place where a word may begin; empty when it stays.
std::string_view Masker::ReplacementAt(std::string_view text, std::size_t at, std::size_t& length) {
    if (IsHex(text[at]) || text[at] == ':') {
        std::string key;
        if ((length = MacAt(text, at, key)) != 0) return Address(key, "mac-");
        key.clear();
        if ((length = Ipv6At(text, at, key)) != 0) return Address(key, "ip-");
        key.clear();
        if (IsDigit(text[at]) && (length = Ipv4At(text, at, key)) != 0) return Address(key, "ip-");
        length = RunLength(text, at, cMacDigits + 1, IsHex);
        if (length == cMacDigits && !IsAlnum(At(text, at + length))) {
            const auto known = mAddresses.find(Lower(text.substr(at, length)));
            if (known != mAddresses.end()) return known->second;
        }
    }
    return HostAt(text, at, length);
}

std::string Masker::Mask(std::string_view text) {
    std::string masked;
    masked.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = 0;
        const std::string_view word =
            BeginsWord(text, at) ? ReplacementAt(text, at, length) : std::string_view();
        if (word.empty()) {
            masked += text[at++];
        } else {
            masked += word;
            at += length;
        }
    }
    return masked;
}

}  // namespace NorvikTool
