// The text class against a model on std::string: random operations on a few texts that share blocks with each
// other and are at times their own source, and searches against a comparison at each position. Also compiles
// natively, for the sanitizers.

#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <numeric>
#include <random>
#include <string>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"

namespace {

using NorvikLibInternal::GetTextPlatform;
using std::string;

constexpr std::string_view kLetters{"aaabbeeXY 112--..,,#'\"\\\xE9\xE9\0\r", 27};

struct Random {
    int Between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine); }
    // A position or count: mostly sensible, at times on or beyond the edge of what there is.
    int Count() {
        static constexpr int kEdges[] = {INT_MIN, -INT_MAX, -1, 0, 1, 1 << 30, INT_MAX - 13, INT_MAX};
        return Between(0, 9) == 0 ? kEdges[Between(0, 7)] : Between(-3, 40);
    }
    string Text(int maxLength, std::string_view alphabet) {
        string text(static_cast<size_t>(Between(0, maxLength)), ' ');
        for (char& c : text)
            c = alphabet[static_cast<size_t>(Between(0, static_cast<int>(alphabet.size()) - 1))];
        return text;
    }
    // A seed of its own for each round of --gtest_repeat with --gtest_shuffle.
    std::mt19937 engine{static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed())};
};

size_t Clamp(int64_t value, size_t high) {
    return static_cast<size_t>(std::clamp<int64_t>(value, 0, static_cast<int64_t>(high)));
}

// A text and what it should be.
struct Pair {
    Cmn_String text;
    string model;
};

// What an operation works on: the text and its model, another text (at times the same), a source (at times
// part of the text), positions and counts.
struct Step {
    Pair& pair;
    Pair& otherPair;
    Random& random;
    Cmn_String& t = pair.text;
    string& m = pair.model;
    Cmn_String& other = otherPair.text;
    string m2 = otherPair.model;
    int i = random.Count();
    int n = random.Count();
    int few = std::min(random.Count(), 40);
    char c = kLetters[static_cast<size_t>(random.Between(0, 26))];
    string own = random.Text(12, kLetters);
    size_t offset = static_cast<size_t>(random.Between(0, static_cast<int>(m.size())));
    bool isPart = random.Between(0, 3) == 0;
    const char* source = isPart ? t.c_str() + offset : own.c_str();
    string from = isPart ? m.substr(offset).c_str() : own.c_str();  // the source's model
    size_t at = Clamp(i, m.size());
    // Of the range of n at i, of which nothing may be left.
    size_t count = Clamp(std::min<int64_t>(i, 0) + n, m.size() - at);
    size_t kept = m.size() - Clamp(n, m.size());  // without the last n
};

void PopField(Step& s) {
    const size_t at = s.m.rfind(',');
    EXPECT_EQ(s.t.Pop(s.other, ','), at != s.m.npos);
    if (at != s.m.npos) s.m2 = s.m.substr(at + 1), s.m.resize(at), s.otherPair.model = s.m2;
}

void ReplaceAll(Step& s) {
    s.t.Replace(s.source, s.other);
    for (size_t i = 0; !s.from.empty() && (i = s.m.find(s.from, i)) != s.m.npos; i += s.m2.size())
        s.m.replace(i, s.from.size(), s.m2);
}

void SplitIntoPieces(Step& s) {
    string whole;
    for (const Cmn_String& piece : s.t.Split(',', false))
        whole += (piece.Find(',') < 0 ? string(piece.View()) : "not split") + ",";
    EXPECT_EQ(whole, s.m + ",");
}

void (*const kOperations[])(Step&) = {
    [](Step& s) { s.t = s.other, s.m = s.m2; },
    [](Step& s) { s.t.Swap(s.other), s.m.swap(s.otherPair.model); },
    [](Step& s) { s.t = Cmn_String(std::move(s.other)), s.otherPair.model = "", s.m = s.m2; },
    [](Step& s) { s.t = s.source, s.m = s.from; },
    [](Step& s) { s.t = Cmn_String(std::string_view(s.own)), s.m = s.own; },
    [](Step& s) { s.t += s.source, s.m += s.from; },
    [](Step& s) { s.t += s.other, s.m += s.m2; },
    [](Step& s) { s.t = s.other + s.t, s.m = s.m2 + s.m; },
    [](Step& s) { s.t = s.source + s.t + s.own.c_str(), s.m = s.from + s.m + s.own.c_str(); },
    [](Step& s) { s.t.Append(s.source, s.n), s.m += s.from.substr(0, Clamp(s.n, 999)); },
    [](Step& s) { s.t.Set(s.source, s.n), s.m = s.from.substr(0, Clamp(s.n, 999)); },
    [](Step& s) { s.t.Insert(s.i, s.source), s.m.insert(s.at, s.from); },
    [](Step& s) { s.t.Insert(s.i, s.c, s.few), s.m.insert(s.at, Clamp(s.few, 99), s.c); },
    [](Step& s) { s.t.Join(s.other, s.source), s.m += s.m.empty() || s.m2.empty() ? s.m2 : s.from + s.m2; },
    [](Step& s) { s.t.ReplaceAt(s.i, s.source), s.m.replace(s.at, s.from.size(), s.from); },
    [](Step& s) { s.t.ReplaceEnd(s.n, s.source), s.m = s.m.substr(0, s.kept) + s.from; },
    [](Step& s) { s.t.Set(s.c, s.i, s.few), s.m.replace(s.at, Clamp(s.few, 99), Clamp(s.few, 99), s.c); },
    [](Step& s) { s.t.Pad(s.few, '.'), s.m.insert(0, Clamp(int64_t{s.few} - int64_t(s.m.size()), 99), '.'); },
    [](Step& s) { s.t.Reverse(), std::reverse(s.m.begin(), s.m.end()); },
    [](Step& s) { s.t = s.t.SubString(s.i, s.n), s.m = s.m.substr(s.at, s.count); },
    [](Step& s) { s.t = s.t.Begin(s.n), s.m = s.m.substr(0, Clamp(s.n, 999)); },
    [](Step& s) { s.t = s.t.End(s.n), s.m = s.m.substr(s.kept); },
    [](Step& s) { s.t.Trim(s.i, s.n), s.m.erase(s.at, s.count); },
    [](Step& s) { s.t.TrimBegin(s.n), s.m.erase(0, Clamp(s.n, 999)); },
    [](Step& s) { s.t.TrimEnd(static_cast<unsigned>(s.n) + 0x700000000), s.m.resize(s.kept); },
    [](Step& s) { s.m += s.t.Quote('<', s.c).PopLast() == s.c && s.t.PopFirst() == '<' ? "" : "popped"; },
    [](Step& s) { s.t.Shrink(s.few), s.m = s.t.View(); },
    ReplaceAll,
    [](Step& s) { s.t.SetLength(s.few, s.c), s.m.resize(Clamp(s.few, 99), s.c); },
    [](Step& s) { s.t.Reserve(s.few); },
    [](Step& s) { s.t.SetLength(9).At(12) = s.t.First(), s.t.At(4) = s.c, s.m.resize(9, ' '), s.m[4] = s.c; },
    [](Step& s) { strcpy(s.t.AsArray(20), s.own.c_str()), s.t.UpdateLength(), s.m = s.own.c_str(); },
    [](Step& s) { (s.t += "x").At(s.t.GetMaxLength()) = 1, s.t.UpdateLength(), s.m = (s.m + "x").c_str(); },
    [](Step& s) { s.t.Push(s.source, ',').Push(s.n), s.m += "," + s.from + "\r" + std::to_string(s.n); },
    PopField,
    [](Step& s) {
        s.t.AppendPrintf("%d<%s>", 12, s.own.c_str()), s.m += string("12<") + s.own.c_str() + ">";
    },
    SplitIntoPieces,
};

void CheckBlock(const Pair& pair) {
    const int room = pair.text.GetMaxLength();
    ASSERT_EQ(pair.text.View(), pair.model);
    EXPECT_TRUE(pair.text.GetLength() <= room && pair.text.c_str()[pair.model.size()] == 0);
    // The size of the block, and its last byte.
    EXPECT_TRUE(pair.text.GetRefCount() == 0 || ((room + 13) % 8 == 0 && pair.text.c_str()[room] == 0));
}

TEST(StringModelTest, RandomOperationsOnSharedTextsGiveWhatTheModelGives) {
    Random random;
    Pair pairs[4];
    for (int step = 0; step < 200'000; ++step) {
        Pair& pair = pairs[random.Between(0, 3)];
        Step data{pair, pairs[random.Between(0, 3)], random};
        const auto operation = static_cast<size_t>(random.Between(0, std::size(kOperations) - 1));
        kOperations[operation](data);
        for (const Pair& each : pairs)
            ASSERT_NO_FATAL_FAILURE(CheckBlock(each)) << "operation " << operation;
        if (pair.model.size() > 300) pair = Pair();
    }
}

// The first place from here on, in steps of 1 or -1, where the run-time's comparison finds the pattern.
int ModelFind(const string& text, const string& pattern, int64_t first, int step,
              decltype(&strncmp) compare) {
    const auto last = static_cast<int64_t>(text.size()) - static_cast<int64_t>(pattern.size());
    for (int64_t i = first; i >= 0 && i <= last; i += step) {
        if (compare(text.c_str() + i, pattern.data(), pattern.size()) == 0) return static_cast<int>(i);
    }
    return -1;
}

TEST(StringModelTest, SearchesAgreeWithAComparisonAtEachPositionAlsoByTheWayOfTwoByteCodePages) {
    Random random;
    auto& isSingleByte = GetTextPlatform().isSingleByte;
    const auto real = isSingleByte;
    string allBytes(256, '\0');
    std::iota(allBytes.begin(), allBytes.end(), '\0');
    for (int step = 0; step < 20'000; ++step) {
        // Few kinds of bytes make hits and near misses, all 256 make strange ones; NUL is always among them.
        const auto kinds =
            step % 3 == 0 ? std::string_view(allBytes) : std::string_view("\0aA", 2 + step % 2);
        const string text = random.Text(step % 50 == 0 ? 700 : 90, kinds);
        const int length = static_cast<int>(text.size());
        const auto part = static_cast<size_t>(random.Between(0, length));
        const string pattern =
            step % 2 == 0 ? random.Text(9, kinds) : text.substr(part, Clamp(random.Count(), 40));
        const int start = step % 9 == 0 ? random.Count() : random.Between(-2, length + 2);
        const int64_t first = std::max(start, 0), last = length - static_cast<int64_t>(pattern.size());
        const Cmn_String ours{std::string_view(text)}, wanted{std::string_view(pattern)};
        for (const bool isFast : {true, false}) {
            isSingleByte = isFast ? real : [] { return false; };
            ASSERT_EQ(ours.Find(wanted, start), ModelFind(text, pattern, first, 1, strncmp)) << isFast;
            ASSERT_EQ(ours.RevFind(wanted, start), ModelFind(text, pattern, last, -1, strncmp)) << isFast;
        }
        isSingleByte = real;
        ASSERT_EQ(ours.Findi(wanted, start), ModelFind(text, pattern, first, 1, strncasecmp));
        ASSERT_EQ(ours.RevFindi(wanted, start), ModelFind(text, pattern, last, -1, strncasecmp));

        const string set = pattern.c_str(), nulToo = set + '\0';
        const auto at = static_cast<size_t>(start);
        const auto orNone = [&](size_t found) {
            return set.empty() || start < 0 ? -1 : static_cast<int>(found);
        };
        ASSERT_EQ(ours.FindInSet(set.c_str(), start), orNone(text.find_first_of(nulToo, at)));
        ASSERT_EQ(ours.FindNotInSet(set.c_str(), start), orNone(text.find_first_not_of(nulToo, at)));
        ASSERT_EQ(ours.RevFindInSet(set.c_str(), start), orNone(text.find_last_of(nulToo, at)));
        ASSERT_EQ(ours.RevFindNotInSet(set.c_str(), start), orNone(text.find_last_not_of(nulToo, at)));

        const bool isEqual = text.size() == pattern.size() && set == text.c_str();
        ASSERT_TRUE((ours == wanted) == isEqual && ours.Equal(wanted, true) == isEqual);
        ASSERT_EQ(ours.Compare(wanted, true) < 0, std::strcmp(text.c_str(), set.c_str()) < 0);
        ASSERT_TRUE(!isEqual || std::hash<Cmn_String>()(ours) == std::hash<Cmn_String>()(wanted));
    }
}

}  // namespace
