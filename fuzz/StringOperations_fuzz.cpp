// The text class against a model on std::string: operations on a few texts that share blocks with each other and are at
// times their own source.

#include <algorithm>
#include <climits>
#include <cstring>

#include "JRCmn/Cmn_String.h"
#include "fuzz/FuzzTarget.h"

namespace {

using std::string;

constexpr std::string_view kLetters{"aaabbeeXY 112--..,,#'\"\\\xE9\xE9\0\r", 27};

// A position or count: mostly sensible, at times on or beyond the edge of what there is.
int Count(FuzzInput& input) {
    static constexpr int kEdges[] = {INT_MIN, -INT_MAX, -1, 0, 1, 1 << 30, INT_MAX - 13, INT_MAX};
    return input.Below(10) == 0 ? input.OneOf(kEdges) : input.Between(-3, 40);
}

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
    FuzzInput& input;
    Cmn_String& t = pair.text;
    string& m = pair.model;
    Cmn_String& other = otherPair.text;
    string m2 = otherPair.model;
    int i = Count(input);
    int n = Count(input);
    int few = std::min(Count(input), 40);
    char c = input.OneOf(kLetters);
    string own = input.Text(12, kLetters);
    size_t offset = static_cast<size_t>(input.Between(0, static_cast<int>(m.size())));
    bool isPart = input.Between(0, 3) == 0;
    const char* source = isPart ? t.c_str() + offset : own.c_str();
    string from = isPart ? m.substr(offset).c_str() : own.c_str();  // the source's model
    size_t at = Clamp(i, m.size());
    // Of the range of n at i, of which nothing may be left.
    size_t count = Clamp(std::min<int64_t>(i, 0) + n, m.size() - at);
    size_t kept = m.size() - Clamp(n, m.size());  // without the last n
};

void PopField(Step& s) {
    const size_t at = s.m.rfind(',');
    SAME(s.t.Pop(s.other, ','), at != s.m.npos);
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
    SAME(whole, s.m + ",");
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
    SAME(pair.text.View(), pair.model);
    SAME(pair.text.GetLength() <= room && pair.text.c_str()[pair.model.size()] == 0, true);
    // The size of the block, and its last byte.
    SAME(pair.text.GetRefCount() == 0 || ((room + 13) % 8 == 0 && pair.text.c_str()[room] == 0), true);
}

}  // namespace

FUZZ_TARGET(StringOperations) {
    Pair pairs[4];
    while (!input.IsEmpty()) {
        Pair& pair = pairs[input.Below(4)];
        Step step{pair, pairs[input.Below(4)], input};
        input.OneOf(kOperations)(step);
        for (const Pair& each : pairs)
            CheckBlock(each);
        if (pair.model.size() > 300) pair = Pair();
    }
}
