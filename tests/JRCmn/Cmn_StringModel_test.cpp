// The text class against a slow model on std::string: random operations on a few texts that share blocks with
// each other, and every search against a comparison at each position. Also compiles natively, for the
// sanitizers.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_TextPlatform.h"

namespace {

using NorvikLibInternal::GetTextPlatform;

class Random {
public:
    // A seed of its own for each round of --gtest_repeat with --gtest_shuffle.
    Random() : mEngine(static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed())) {}

    int Between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(mEngine); }
    // A position or count: mostly sensible, at times far out of range.
    int Count() {
        static constexpr int kExtremes[] = {-2147483647 - 1, -2147483647, -1, 0};
        return Between(0, 19) == 0 ? kExtremes[Between(0, 3)] : Between(-3, 40);
    }
    char Character() { return kAlphabet[static_cast<size_t>(Between(0, sizeof kAlphabet - 2))]; }
    std::string Text(int maxLength) {
        std::string text(static_cast<size_t>(Between(0, maxLength)), ' ');
        for (char& c : text)
            c = Character();
        return text;
    }
    std::string AllBytes(int length, int kinds) {
        std::string text(static_cast<size_t>(length), ' ');
        for (char& c : text)
            c = static_cast<char>(Between(0, kinds - 1));
        return text;
    }

private:
    static constexpr char kAlphabet[] = "aaabbeeXY 112--..,,#'\"\\\xE9\xE9\0\r";
    std::mt19937 mEngine;
};

std::string UpToNul(const std::string& text) {
    return text.c_str();
}

size_t Clamp(int64_t value, size_t high) {
    return static_cast<size_t>(std::clamp<int64_t>(value, 0, static_cast<int64_t>(high)));
}

// [start, start + count) of a text, a negative start shortening the count.
std::pair<size_t, size_t> RangeOf(int64_t start, int64_t count, size_t length) {
    if (start < 0) count += start;
    start = std::max<int64_t>(start, 0);
    if (start >= static_cast<int64_t>(length) || count < 1) return {0, 0};
    return {static_cast<size_t>(start), Clamp(count, length - static_cast<size_t>(start))};
}

std::string ModelReplaced(const std::string& text, const std::string& search,
                          const std::string& replacement) {
    if (search.empty()) return text;
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const bool isHere = text.compare(i, search.size(), search) == 0;
        result += isHere ? replacement : text.substr(i, 1);
        i += isHere ? search.size() : 1;
    }
    return result;
}

std::string ModelShrink(std::string text, int maxLength) {
    const auto isDigit = [](int c) { return c >= '0' && c <= '9'; };
    // Characters beyond ASCII are gone before these are asked.
    const auto isLower = [](int c) { return c >= 'a' && c <= 'z'; };
    const auto isAlphanumeric = [&](int c) { return isDigit(c) || isLower(c) || (c >= 'A' && c <= 'Z'); };
    const auto isIn = [](char c, const char* set) { return c != 0 && std::strchr(set, c) != nullptr; };
    const auto next = [&](size_t i) {
        return i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : -1;
    };
    const std::function<bool(size_t)> rules[] = {
        [&](size_t i) { return text[i] == ' '; },
        [&](size_t i) { return static_cast<unsigned char>(text[i]) == next(i) && !isDigit(text[i]); },
        [&](size_t i) { return isIn(text[i], "aeiouy"); },
        [&](size_t i) { return (text[i] & 0x80) != 0; },
        [&](size_t i) { return isIn(text[i], "-.") && !isDigit(next(i)); },
        [&](size_t i) { return isIn(text[i], ",;:#_(){}[]/|\\'\""); },
        [&](size_t i) { return !isAlphanumeric(text[i]) && !isIn(text[i], "-."); },
        [&](size_t i) { return isLower(text[i]); },
        [&](size_t i) { return !isDigit(text[i]); },
    };
    for (const auto& rule : rules) {
        for (size_t i = text.size(); i-- > 0 && static_cast<int>(text.size()) > maxLength;) {
            if (rule(i)) text.erase(i, 1);
        }
    }
    return text.substr(0, Clamp(maxLength, text.size()));
}

// A text and what it should be.
struct Pair {
    Cmn_String text;
    std::string model;
};

// What an operation works on: the text and its model, another pair, a source that is at times part of the
// text itself, a position, a count and a character.
struct Step {
    Step(Pair& a, Pair& b, Random& random)
        : t(a.text),
          m(a.model),
          other(b.text),
          m2(b.model),
          own(random.Text(12)),
          i(random.Count()),
          n(random.Count()),
          small(random.Between(0, 9)),
          c(random.Character()),
          flag(random.Between(0, 1) != 0) {
        const auto offset = static_cast<size_t>(random.Between(0, static_cast<int>(m.size())));
        const bool isPart = random.Between(0, 3) == 0;
        source = isPart ? t.c_str() + offset : own.c_str();
        from = UpToNul(isPart ? m.substr(offset) : own);
    }
    size_t At(int position) const { return Clamp(position, m.size()); }

    Cmn_String& t;
    std::string& m;
    Cmn_String& other;
    std::string& m2;
    std::string own;
    const char* source;
    std::string from;  // the source's model
    int i;
    int n;
    int small;
    char c;
    bool flag;
};

void SubStringOf(Step& s) {
    const auto [at, count] = RangeOf(s.i, s.n, s.m.size());
    s.t = s.t.SubString(s.i, s.n), s.m = s.m.substr(at, count);
}

void TrimRange(Step& s) {
    const auto [at, count] = RangeOf(s.i, s.n, s.m.size());
    s.t.Trim(s.i, s.n), s.m.erase(at, count);
}

void PopCharacters(Step& s) {
    EXPECT_EQ(s.t.PopFirst(), *s.m.c_str());
    s.m.erase(0, 1);
    EXPECT_EQ(s.t.PopLast(), s.m.empty() ? '\0' : s.m.back());
    s.m.resize(s.m.size() - s.At(1));
}

void PopField(Step& s) {
    const size_t at = s.m.rfind(',');
    EXPECT_EQ(s.t.Pop(s.other, ','), at != s.m.npos);
    if (at == s.m.npos) return;
    s.m2 = s.m.substr(at + 1), s.m.resize(at);
}

void WriteArray(Step& s) {
    std::memcpy(s.t.AsArray(20), s.own.c_str(), s.own.size() + 1);
    s.m = s.own.c_str();
    EXPECT_EQ(s.t.UpdateLength(), static_cast<int>(s.m.size()));
}

void SplitAndJoin(Step& s) {
    s.t = Cmn_String::Join(s.other.Split(',', s.flag), "+", s.flag), s.m.clear();
    for (size_t start = 0, end; start <= s.m2.size(); start = end + 1) {
        end = std::min(s.m2.find(',', start), s.m2.size());
        if (end > start) s.m += (s.m.empty() ? "" : "+") + s.m2.substr(start, end - start);
    }
}

void ReserveRoom(Step& s) {
    s.t.Reserve(s.n);
    EXPECT_GE(s.t.GetMaxLength(), s.n);
    EXPECT_LE(s.t.GetRefCount(), 1);
}

void (*const kOperations[])(Step&) = {
    [](Step& s) { s.t = s.other, s.m = s.m2; },
    [](Step& s) { s.t.Swap(s.other), s.m.swap(s.m2); },
    [](Step& s) { s.t = Cmn_String(std::move(s.other)), s.m = std::exchange(s.m2, ""); },
    [](Step& s) { s.t = s.source, s.m = s.from; },
    [](Step& s) { s.t = Cmn_String(std::string_view(s.own)), s.m = s.own; },
    [](Step& s) { s.t += s.source, s.m += s.from; },
    [](Step& s) { s.t += s.other, s.m += s.m2; },
    [](Step& s) { s.t = s.other + s.t, s.m = s.m2 + s.m; },
    [](Step& s) { s.t = s.source + s.t + s.own.c_str(), s.m = s.from + s.m + UpToNul(s.own); },
    [](Step& s) { s.t.Append(s.source, s.n), s.m += s.from.substr(0, Clamp(s.n, s.from.size())); },
    [](Step& s) { s.t.Set(s.source, s.n), s.m = s.from.substr(0, Clamp(s.n, s.from.size())); },
    [](Step& s) { s.t.Insert(s.i, s.source), s.m.insert(s.At(s.i), s.from); },
    [](Step& s) { s.t.Insert(s.i, s.other), s.m.insert(s.At(s.i), s.m2); },
    [](Step& s) {
        s.t.Insert(s.i, s.c, s.small), s.m.insert(s.At(s.i), std::string(Clamp(s.small, 9), s.c));
    },
    [](Step& s) {
        s.t.Join(s.other, s.source), s.m += s.m2.empty() ? "" : (s.m.empty() ? "" : s.from) + s.m2;
    },
    [](Step& s) { s.t.ReplaceAt(s.i, s.source), s.m.replace(s.At(s.i), s.from.size(), s.from); },
    [](Step& s) { s.t.ReplaceEnd(s.n, s.other), s.m.resize(s.m.size() - s.At(s.n)), s.m += s.m2; },
    [](Step& s) {
        s.t.Set(s.c, s.i, s.small),
            s.m.replace(s.At(s.i), Clamp(s.small, 9), std::string(Clamp(s.small, 9), s.c));
    },
    [](Step& s) {
        s.t.Pad(s.n, '.'), s.m.insert(0, std::string(Clamp(s.n - static_cast<int64_t>(s.m.size()), 99), '.'));
    },
    [](Step& s) { s.t.Reverse(), std::reverse(s.m.begin(), s.m.end()); },
    SubStringOf,
    [](Step& s) { s.t = s.other.Begin(s.n), s.m = s.m2.substr(0, Clamp(s.n, s.m2.size())); },
    [](Step& s) { s.t = s.other.End(s.n), s.m = s.m2.substr(s.m2.size() - Clamp(s.n, s.m2.size())); },
    TrimRange,
    [](Step& s) { s.t.TrimBegin(s.n), s.m.erase(0, s.At(s.n)); },
    [](Step& s) {
        s.t.TrimEnd(static_cast<unsigned>(s.n) + 0x700000000), s.m.resize(s.m.size() - s.At(s.n));
    },
    PopCharacters,
    [](Step& s) { s.t.Shrink(s.n), s.m = ModelShrink(s.m, s.n); },
    [](Step& s) { s.t.Replace(s.source, s.other), s.m = ModelReplaced(s.m, s.from, s.m2); },
    [](Step& s) { s.t.SetLength(s.n, s.c), s.m.resize(Clamp(s.n, 99), s.c); },
    ReserveRoom,
    [](Step& s) { s.t.At(s.small), s.t.SetLength(s.small, ' '), s.m.resize(Clamp(s.small, 9), ' '); },
    [](Step& s) {
        s.t.SetLength(9), s.t.At(s.small % 9) = s.c, s.m.resize(9, ' '), s.m[Clamp(s.small % 9, 9)] = s.c;
    },
    WriteArray,
    [](Step& s) { s.t.UpdateLength(), s.m = UpToNul(s.m); },
    [](Step& s) { s.t.Push(s.other, ',').Push(s.n), s.m += "," + s.m2 + "\r" + std::to_string(s.n); },
    PopField,
    [](Step& s) { s.t.Quote('<', '>'), s.m = "<" + s.m + ">"; },
    [](Step& s) { s.t.AppendPrintf("%d<%s>", 12, s.own.c_str()), s.m += "12<" + UpToNul(s.own) + ">"; },
    [](Step& s) { s.t.Printf("%s|%04d", s.own.c_str(), 7), s.m = UpToNul(s.own) + "|0007"; },
    SplitAndJoin,
};

void CheckBlock(const Pair& pair) {
    ASSERT_EQ(std::string(pair.text.View()), pair.model);
    EXPECT_EQ(pair.text.c_str()[pair.model.size()], '\0');
    EXPECT_LE(pair.text.GetLength(), pair.text.GetMaxLength());
    if (pair.text.GetRefCount() > 0) {
        EXPECT_EQ((pair.text.GetMaxLength() + 13) % 8, 0);
        EXPECT_EQ(pair.text.c_str()[pair.text.GetMaxLength()], '\0') << "last byte of the block";
    }
}

TEST(StringModelTest, RandomOperationsOnSharedTextsGiveWhatTheModelGives) {
    Random random;
    Pair pairs[4];
    for (int step = 0; step < 200'000; ++step) {
        Pair& a = pairs[random.Between(0, 3)];
        Pair& b = pairs[random.Between(0, 3)];
        // The model would change under its own feet: an operation with the same text gets a copy, which
        // shares.
        Pair copy = b;
        Step data(a, &a == &b ? copy : b, random);
        const auto operation = static_cast<size_t>(random.Between(0, std::size(kOperations) - 1));
        kOperations[operation](data);
        for (const Pair& pair : pairs)
            ASSERT_NO_FATAL_FAILURE(CheckBlock(pair)) << "operation " << operation;
        if (a.model.size() > 300) a = Pair();
    }
}

TEST(StringModelTest, OperationsWithTheTextItselfAsSource) {
    const struct {
        const char* expected;
        std::function<void(Cmn_String&)> change;
    } kCases[] = {
        {"abcdabcd", [](Cmn_String& s) { s += s; }},
        {"abcdabcd", [](Cmn_String& s) { s.Append(s); }},
        {"ababcdcd", [](Cmn_String& s) { s.Insert(2, s); }},
        {"cd", [](Cmn_String& s) { s = s.c_str() + 2; }},
        {"abcd", [](Cmn_String& s) { s = *&s; }},
        {"ababcd", [](Cmn_String& s) { s.ReplaceAt(2, s); }},
        {"aabcd", [](Cmn_String& s) { s.ReplaceEnd(3, s); }},
        {"abcdabcdabcd", [](Cmn_String& s) { s.Join(s, s); }},
        {"bcd", [](Cmn_String& s) { s.Replace(s, s.c_str() + s.Find('b')); }},
        {"abcd,abcd", [](Cmn_String& s) { s.Push(s, ','); }},
        {"bcd",
         [](Cmn_String& s) {
             s.Insert(1, ",");
             s.Pop(s, ',');
         }},
        {"abcd", [](Cmn_String& s) { s.FromUTF8(s.c_str(), -1); }},
    };
    for (const auto& test : kCases) {
        for (const bool isShared : {false, true}) {
            Cmn_String text("abcd");
            const Cmn_String other = isShared ? text : Cmn_String();
            test.change(text);
            EXPECT_STREQ(text, test.expected);
            EXPECT_STREQ(other, isShared ? "abcd" : "");
        }
    }
}

// What the run-time's comparison at each position says.
int ModelFind(const std::string& text, const std::string& pattern, int start) {
    for (int64_t i = std::max(start, 0);
         i + static_cast<int64_t>(pattern.size()) <= static_cast<int64_t>(text.size()); ++i) {
        if (std::strncmp(text.c_str() + i, pattern.data(), pattern.size()) == 0) return static_cast<int>(i);
    }
    return -1;
}

int ModelRevFind(const std::string& text, const std::string& pattern) {
    for (int64_t i = static_cast<int64_t>(text.size()) - static_cast<int64_t>(pattern.size()); i >= 0; --i) {
        if (std::strncmp(text.c_str() + i, pattern.data(), pattern.size()) == 0) return static_cast<int>(i);
    }
    return -1;
}

TEST(StringModelTest, SearchesAgreeWithAComparisonAtEachPositionAlsoByTheWayOfTwoByteCodePages) {
    Random random;
    const auto isSingleByte = GetTextPlatform().isSingleByte;
    for (int step = 0; step < 20'000; ++step) {
        // Few kinds of bytes make hits and near misses, all 256 make strange ones; 0 is among them always.
        const int kinds = step % 3 == 0 ? 256 : 2 + step % 2;
        const std::string text = random.AllBytes(random.Between(0, step % 50 == 0 ? 700 : 90), kinds);
        std::string pattern = random.AllBytes(random.Between(0, 9), kinds);
        if (!text.empty() && random.Between(0, 1) == 0) {
            pattern = text.substr(static_cast<size_t>(random.Between(0, static_cast<int>(text.size()) - 1)),
                                  static_cast<size_t>(random.Between(1, 40)));
        }
        const Cmn_String ours{std::string_view(text)};
        const Cmn_String wanted{std::string_view(pattern)};
        const int start = random.Between(-2, static_cast<int>(text.size()) + 2);
        for (const bool isFast : {true, false}) {
            GetTextPlatform().isSingleByte = isFast ? isSingleByte : [] { return false; };
            ASSERT_EQ(ours.Find(wanted, start), ModelFind(text, pattern, start)) << isFast;
            ASSERT_EQ(ours.RevFind(wanted, start), ModelRevFind(text, pattern)) << isFast;
        }
        GetTextPlatform().isSingleByte = isSingleByte;
        const bool isEqual = text.size() == pattern.size() && std::strcmp(text.c_str(), pattern.c_str()) == 0;
        ASSERT_EQ(ours == wanted, isEqual);
        ASSERT_EQ(ours.Equal(wanted, true), isEqual);
        ASSERT_EQ(ours.Compare(wanted, true) < 0, std::strcmp(text.c_str(), pattern.c_str()) < 0);
        ASSERT_EQ(ours < wanted, std::strcmp(text.c_str(), pattern.c_str()) < 0);
        ASSERT_TRUE(!isEqual || std::hash<Cmn_String>()(ours) == std::hash<Cmn_String>()(wanted));
    }
}

TEST(StringModelTest, SetSearchesAgreeWithASlowOne) {
    Random random;
    for (int step = 0; step < 20'000; ++step) {
        const std::string text = random.Text(20);
        const std::string set = UpToNul(random.Text(4));
        const int start = random.Between(-2, 22);
        const bool isWanted = random.Between(0, 1) != 0;
        const auto matches = [&](int i) {
            return (std::strchr(set.c_str(), text[static_cast<size_t>(i)]) != nullptr) == isWanted;
        };
        const int length = static_cast<int>(text.size());
        int forward = -1, backward = -1;
        for (int i = length - 1; i >= start && start >= 0; --i)
            forward = matches(i) ? i : forward;
        for (int i = 0; i <= start && i < length; ++i)
            backward = matches(i) ? i : backward;
        if (set.empty()) forward = backward = -1;
        const Cmn_String ours{std::string_view(text)};
        ASSERT_EQ(isWanted ? ours.FindInSet(set.c_str(), start) : ours.FindNotInSet(set.c_str(), start),
                  forward);
        ASSERT_EQ(isWanted ? ours.RevFindInSet(set.c_str(), start) : ours.RevFindNotInSet(set.c_str(), start),
                  backward);
    }
}

}  // namespace
