// The searches and comparisons of the text class against a comparison at each position, also by the way of two-byte code
// pages.

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <numeric>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"
#include "fuzz/FuzzTarget.h"

namespace {

using std::string;

// The first place from here on, in steps of 1 or -1, where the run-time's comparison finds the pattern.
int ModelFind(const string& text, const string& pattern, int64_t first, int step,
              decltype(&strncmp) compare) {
    const auto last = static_cast<int64_t>(text.size()) - static_cast<int64_t>(pattern.size());
    for (int64_t i = first; i >= 0 && i <= last; i += step) {
        if (compare(text.c_str() + i, pattern.data(), pattern.size()) == 0) return static_cast<int>(i);
    }
    return -1;
}

}  // namespace

FUZZ_TARGET(StringSearches) {
    auto& isSingleByte = NorvikLibInternal::GetTextPlatform().isSingleByte;
    const auto real = isSingleByte;
    string allBytes(256, '\0');
    std::iota(allBytes.begin(), allBytes.end(), '\0');
    while (!input.IsEmpty()) {
        // Few kinds of bytes make hits and near misses, all 256 make strange ones; NUL is always among them.
        const std::string_view kinds[] = {allBytes, {"\0aA", 2}, {"\0aA", 3}};
        const std::string_view kind = input.OneOf(kinds);
        const string text = input.Text(input.Below(50) ? 90 : 700, kind);
        const int length = static_cast<int>(text.size());
        const string pattern =
            input.Below(2) ? input.Text(9, kind)
                           : text.substr(static_cast<size_t>(input.Between(0, length)), input.Below(40));
        const int start = input.Below(9) ? input.Between(-2, length + 2) : static_cast<int>(input.Below(0));
        const int64_t first = std::max(start, 0), last = length - static_cast<int64_t>(pattern.size());
        const Cmn_String ours{std::string_view(text)}, wanted{std::string_view(pattern)};
        for (const bool isFast : {true, false}) {
            isSingleByte = isFast ? real : [] { return false; };
            SAME(ours.Find(wanted, start), ModelFind(text, pattern, first, 1, strncmp));
            SAME(ours.RevFind(wanted, start), ModelFind(text, pattern, last, -1, strncmp));
        }
        isSingleByte = real;
        SAME(ours.Findi(wanted, start), ModelFind(text, pattern, first, 1, strncasecmp));
        SAME(ours.RevFindi(wanted, start), ModelFind(text, pattern, last, -1, strncasecmp));

        const string set = pattern.c_str(), nulToo = set + '\0';
        const auto at = static_cast<size_t>(start);
        const auto orNone = [&](size_t found) {
            return set.empty() || start < 0 ? -1 : static_cast<int>(found);
        };
        SAME(ours.FindInSet(set.c_str(), start), orNone(text.find_first_of(nulToo, at)));
        SAME(ours.FindNotInSet(set.c_str(), start), orNone(text.find_first_not_of(nulToo, at)));
        SAME(ours.RevFindInSet(set.c_str(), start), orNone(text.find_last_of(nulToo, at)));
        SAME(ours.RevFindNotInSet(set.c_str(), start), orNone(text.find_last_not_of(nulToo, at)));

        const bool isEqual = text.size() == pattern.size() && set == text.c_str();
        SAME(ours == wanted, isEqual);
        SAME(ours.Equal(wanted, true), isEqual);
        SAME(ours.Compare(wanted, true) < 0, std::strcmp(text.c_str(), set.c_str()) < 0);
        SAME(!isEqual || std::hash<Cmn_String>()(ours) == std::hash<Cmn_String>()(wanted), true);
    }
}
