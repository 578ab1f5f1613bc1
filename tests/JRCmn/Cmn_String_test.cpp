#include "JRCmn/Cmn_String.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <limits>
#include <new>
#include <sstream>
#include <unordered_set>

#include "JRCmn/Internal/Cmn_TextPlatform.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

// Last: its macros break the standard library's headers.
#include <mbctype.h>

namespace {

using NorvikLibInternal::GetTextPlatform;
using testing::ElementsAre;

constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();
const char* const kNull = nullptr;

static_assert(!std::is_constructible_v<Cmn_String, void*>, "a pointer is no bool");
static_assert(!std::is_convertible_v<int, Cmn_String>, "a number is no text by accident");
static_assert(std::is_nothrow_move_constructible_v<Cmn_String> &&
              std::is_nothrow_move_assignable_v<Cmn_String>);

// ---- The block

TEST(StringTest, EmptyTextOwnsNothing) {
    const Cmn_String text;
    EXPECT_EQ(text.GetLength(), 0);
    EXPECT_EQ(text.GetMaxLength(), 0);
    EXPECT_EQ(text.GetRefCount(), 0);
    EXPECT_STREQ(text.c_str(), "");
    EXPECT_EQ(text.First(), '\0');
    EXPECT_EQ(text.Last(), '\0');
    Cmn_String braces("x");
    braces = {};
    for (const Cmn_String& empty :
         {kEmptyString, Cmn_String(""), Cmn_String("abc").SubString(3, 1), braces}) {
        EXPECT_EQ(empty.GetRefCount(), 0);
        EXPECT_TRUE(empty == text && empty.IsEmpty() && empty == "");
    }
}

TEST(StringTest, BlocksAreThirteenBytesLargerThanTheirCapacityInMultiplesOfEight) {
    const int cases[][2] = {{1, 3}, {3, 3}, {4, 11}, {11, 11}, {12, 19}, {1000, 1003}};
    for (const auto& [request, capacity] : cases) {
        EXPECT_EQ(Cmn_String().Reserve(request).GetMaxLength(), capacity);
        EXPECT_EQ(Cmn_String("", request).GetMaxLength(), capacity);
        Cmn_String array;
        EXPECT_NE(array.AsArray(request), nullptr);
        EXPECT_EQ(array.GetMaxLength(), capacity);
    }
    Cmn_String text("0123456789abc");
    EXPECT_EQ(text.GetMaxLength(), 19);
    const Cmn_String copy(text);
    EXPECT_EQ(text.Reserve(2, false).GetMaxLength(), 19) << "a new block is never smaller than the text";
    EXPECT_STREQ(text, "");
    EXPECT_STREQ(copy, "0123456789abc");
}

TEST(StringTest, CopiesShareUntilOneChanges) {
    Cmn_String a("text");
    Cmn_String b;
    b = a;
    EXPECT_EQ(a.GetRefCount(), 2);
    EXPECT_EQ(b.GetRefCount(), 2);
    EXPECT_EQ(a.c_str(), b.c_str());
    b = a;
    EXPECT_EQ(a.GetRefCount(), 2) << "assigning what is shared already";
    b.At(0) = 'T';
    EXPECT_EQ(a.GetRefCount(), 1);
    EXPECT_EQ(b.GetRefCount(), 1);
    EXPECT_STREQ(a, "text");
    EXPECT_STREQ(b, "Text");

    Cmn_String appended;
    appended += a;
    EXPECT_EQ(a.GetRefCount(), 2) << "+= onto an empty text";
    const Cmn_String moved(std::move(appended));
    EXPECT_EQ(a.GetRefCount(), 2);
    EXPECT_EQ(appended.GetRefCount(), 0);  // NOLINT: what a move leaves is promised
    EXPECT_EQ(a.Replaced("none", "x").GetRefCount(), 3);
    EXPECT_EQ(a.Replaced("", "x").GetRefCount(), 3);
    a.Clear();
    EXPECT_EQ(moved.GetRefCount(), 1);
}

TEST(StringTest, WriteThroughAtReachesCopiesTakenAfterwards) {
    Cmn_String text("abc");
    char& first = text.At(0);
    const Cmn_String copy(text);
    first = 'X';
    EXPECT_STREQ(copy, "Xbc");
}

TEST(StringTest, SizesBeyondTheLimitThrowBadAllocAndChangeNothing) {
    void (*const kCases[])(Cmn_String&) = {
        [](Cmn_String& s) { s.Reserve(2'147'483'628); },
        [](Cmn_String& s) { s.Reserve(kIntMax, false); },
        [](Cmn_String& s) { s.SetLength(kIntMax, '\0'); },
        [](Cmn_String& s) { s.Pad(kIntMax, ' '); },
        [](Cmn_String& s) { s.PadProportional(kIntMax, true); },
        [](Cmn_String& s) { s.PadProportional(1'100'000'000, true); },
        [](Cmn_String& s) { s.Insert(1, 'c', kIntMax - 5); },
        [](Cmn_String& s) { s.Set('c', 3, kIntMax); },
        [](Cmn_String& s) { s.At(kIntMax); },
        [](Cmn_String& s) { s.AsArray(kIntMax); },
        [](Cmn_String& s) { s = Cmn_String("", kIntMax); },
    };
    for (size_t i = 0; i < std::size(kCases); ++i) {
        Cmn_String text("abc");
        const Cmn_String copy(text);
        EXPECT_THROW(kCases[i](text), std::bad_alloc) << "case " << i;
        EXPECT_EQ(text.c_str(), copy.c_str()) << "case " << i;
        EXPECT_STREQ(text, "abc");
    }
}

// ---- Values and numbers

template <typename T>
void ExpectValue(T value, const char* expected) {
    const Cmn_String made(value);
    EXPECT_STREQ(made, expected);
    Cmn_String assigned("before"), appended("x"), stack("bottom");
    assigned = value;
    appended += value;
    EXPECT_STREQ(assigned, expected);
    EXPECT_EQ(appended, Cmn_String("x") + expected);
    if constexpr (!std::is_same_v<T, char>) {
        EXPECT_EQ(stack.Push(value), Cmn_String("bottom\r") + expected);
        T popped{};
        EXPECT_TRUE(stack.Pop(popped));
        EXPECT_EQ(popped, value);
        EXPECT_FALSE(stack.Pop(popped));
        EXPECT_EQ(popped, value);
        EXPECT_STREQ(stack, "bottom");
    }
}

TEST(StringTest, ValuesHaveOneTextByConstructorAssignmentAppendingAndPush) {
    ExpectValue('c', "c");
    ExpectValue(true, "1");
    ExpectValue(false, "0");
    ExpectValue<short>(-32768, "-32768");
    ExpectValue<unsigned short>(65535, "65535");
    ExpectValue(kIntMin, "-2147483648");
    ExpectValue(4294967295u, "4294967295");
    ExpectValue(std::numeric_limits<long long>::min(), "-9223372036854775808");
    ExpectValue(std::numeric_limits<unsigned long long>::max(), "18446744073709551615");
    ExpectValue(0, "0");
    ExpectValue(0.5f, "0.5");
    ExpectValue(-2.25, "-2.25");
    EXPECT_STREQ(Cmn_String(1.0 / 3), "0.333333333333");
    EXPECT_STREQ(Cmn_String(1e20), "1e+020");
}

TEST(StringTest, PushedNumbersArePoppedInReverseOrder) {
    Cmn_String stack;
    stack.Push(1).Push(2).Push("name", ',');
    EXPECT_STREQ(stack, "\r1\r2,name");
    Cmn_String name;
    EXPECT_TRUE(stack.Pop(name, ','));
    EXPECT_STREQ(name, "name");
    int value = 0;
    EXPECT_TRUE(stack.Pop(value));
    EXPECT_EQ(value, 2);
    EXPECT_TRUE(stack.Pop(value));
    EXPECT_EQ(value, 1);
    EXPECT_FALSE(stack.Pop(name, ','));
    EXPECT_STREQ(name, "name");
}

TEST(StringTest, TextsReadAsNumbers) {
    const struct {
        const char* text;
        bool asBool;
        int32_t asInt32;
        uint32_t asUInt32;
        double asFloat64;
    } kCases[] = {
        {"", false, 0, 0, 0},       {nullptr, false, 0, 0, 0},
        {"true", false, 0, 0, 0},   {"yes", false, 0, 0, 0},
        {"2", true, 2, 2, 2},       {"  -12x", true, -12, 4294967284u, -12},
        {"0x1F", false, 0, 31, 31}, {"0X1F", false, 0, 0, 31},
        {"+7.5", true, 7, 7, 7.5},  {"4294967295", true, -1, 4294967295u, 4294967295.0},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.text != nullptr ? test.text : "null");
        const Cmn_String text(test.text != nullptr ? test.text : "");
        EXPECT_EQ(Cmn_String::AsBool(test.text), test.asBool);
        EXPECT_EQ(Cmn_String::AsInt32(test.text), test.asInt32);
        EXPECT_EQ(text.AsInt16(), static_cast<int16_t>(test.asInt32));
        EXPECT_EQ(Cmn_String::AsUInt32(test.text), test.asUInt32);
        EXPECT_EQ(text.AsUInt16(), static_cast<uint16_t>(test.asUInt32));
        if (text.Find('x') != 0 && text.Findi("0x") != 0) {
            EXPECT_EQ(Cmn_String::AsFloat64(test.text), test.asFloat64);
            EXPECT_EQ(text.AsFloat32(), static_cast<float>(test.asFloat64));
        }
    }
    EXPECT_EQ(Cmn_String::AsInt64("-9223372036854775808"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(Cmn_String::AsUInt64("18446744073709551615"), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(Cmn_String::AsUInt64("0xfedcba9876543210"), 0xFEDCBA9876543210u);
}

// ---- Formatting

TEST(StringTest, FormattedTextsOfEveryLengthFitWhateverRoomThereWas) {
    for (const int length : {0, 1, 9, 10, 1023, 1024, 1025, 2047, 2048, 8191, 8192}) {
        const std::string expected(static_cast<size_t>(length), 'x');
        for (const int capacity : {0, 3, 11, 1003, 1027, 2051, 9003}) {
            Cmn_String text("", capacity);
            EXPECT_EQ(text.Printf("%s", expected.c_str()), expected.c_str())
                << length << " into " << capacity;
            Cmn_String appended("ab", capacity);
            const Cmn_String shared(appended);
            EXPECT_EQ(appended.AppendPrintf("%s", expected.c_str()), ("ab" + expected).c_str());
            EXPECT_EQ(appended.AppendPrintf("%s", expected.c_str()), ("ab" + (expected + expected)).c_str());
            EXPECT_EQ(appended.Printf("%s", expected.c_str()), expected.c_str());
            EXPECT_STREQ(shared, "ab");
        }
    }
    EXPECT_EQ(Cmn_String().Printf("%1025d", 1).GetMaxLength(), 2051) << "grows by doubling from 1024";
    EXPECT_EQ(Cmn_String().Printf("%5000d", 1).GetMaxLength(), 8195);
    EXPECT_EQ(Cmn_String().Printf("a%cb", 0).GetLength(), 3);
}

TEST(StringTest, FormattingEndsWhenACharacterCannotBeConverted) {
    for (const int capacity : {0, 100, 5000}) {
        Cmn_String text("abc", capacity);
        EXPECT_STREQ(text.AppendPrintf("%d%ls", 1, L"\x4e2d"), "abc");
        EXPECT_EQ(text.GetLength(), 3);
        EXPECT_STREQ(text.Printf("%d%ls", 1, L"\x4e2d"), "");
        EXPECT_LT(text.GetMaxLength(), 8192);
    }
}

TEST(StringTest, SafePrintfSaysWhatFits) {
    char buffer[] = "........";
    EXPECT_EQ(Cmn_String::SafePrintf(buffer, 5, "%s", "abcd"), 4);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(Cmn_String::SafePrintf(buffer, 5, "%s", "vwxyz"), 5);
    EXPECT_STREQ(buffer, "vwxyz...") << "no room for the NUL";
    EXPECT_LT(Cmn_String::SafePrintf(buffer, 5, "%s", "123456"), 0);
    EXPECT_STREQ(buffer, "12345...");
    EXPECT_LT(Cmn_String::SafePrintf(buffer, -1, "x"), 0);
}

// ---- Building and taking apart

TEST(StringTest, ChangesGiveTheTextsOfTheTable) {
    const struct {
        const char* before;
        const char* after;
        void (*change)(Cmn_String&);
    } kCases[] = {
        {"abcdef", "adef", [](Cmn_String& s) { s.Trim(1, 2); }},
        {"abcdef", "bcdef", [](Cmn_String& s) { s.Trim(-1, 2); }},
        {"abcdef", "a", [](Cmn_String& s) { s.Trim(1, kIntMax); }},
        {"abcdef", "abcdef", [](Cmn_String& s) { s.Trim(kIntMin, kIntMax); }},
        {"abcdef", "abcdef", [](Cmn_String& s) { s.TrimEnd(0x100000000); }},
        {"abcdef", "abcdef", [](Cmn_String& s) { s.TrimEnd(0xFFFFFFFF); }},
        {"abcdef", "abcd", [](Cmn_String& s) { s.TrimEnd(0x700000002); }},
        {"Channel Name", "ChnlNm", [](Cmn_String& s) { s.Shrink(6); }},
        {"Channel Name", "ChannelName", [](Cmn_String& s) { s.Shrink(); }},
        {"Channel Name", "", [](Cmn_String& s) { s.Shrink(-1); }},
        {"Bus 1.5-2.", "Bs1.5-2", [](Cmn_String& s) { s.Shrink(7); }},
        {"1122ab", "1122", [](Cmn_String& s) { s.Shrink(4); }},
        {"B\xFC"
         "s[7]+X",
         "Bs7X", [](Cmn_String& s) { s.Shrink(4); }},
        {"-5", "   -5", [](Cmn_String& s) { s.PadProportional(3, false); }},
        {"5", "    5", [](Cmn_String& s) { s.PadProportional(3, false); }},
        {"5",
         "\xA0\xA0"
         "5",
         [](Cmn_String& s) { s.PadProportional(2, true); }},
        {"-5", " -5", [](Cmn_String& s) { s.PadProportional(2, false); }},
        {"-50", "-50", [](Cmn_String& s) { s.PadProportional(2, false); }},
        {"7", "..7", [](Cmn_String& s) { s.Pad(3, '.'); }},
        {"", "a", [](Cmn_String& s) { s.Join("a", ", "); }},
        {"a", "a, b", [](Cmn_String& s) { s.Join("b", ", "); }},
        {"a", "a", [](Cmn_String& s) { s.Join("", ", "); }},
        {"abcd", "aXYd", [](Cmn_String& s) { s.ReplaceAt(1, "XY"); }},
        {"abcd", "abcXY", [](Cmn_String& s) { s.ReplaceAt(3, "XY"); }},
        {"abcd", "abcdX", [](Cmn_String& s) { s.ReplaceAt(99, 'X'); }},
        {"abcd", "abX", [](Cmn_String& s) { s.ReplaceEnd(2, 'X'); }},
        {"abcd", "X", [](Cmn_String& s) { s.ReplaceEnd(99, "X"); }},
        {"abcd", "abcdX", [](Cmn_String& s) { s.ReplaceEnd(-1, "X"); }},
        {"abcd", "a..d", [](Cmn_String& s) { s.Set('.', 1, 2); }},
        {"abcd", "abcd..", [](Cmn_String& s) { s.Set('.', 9, 2); }},
        {"abcd", "ab", [](Cmn_String& s) { s.Set("ab\0cd", 5); }},
        {"abcd", "", [](Cmn_String& s) { s.Set(kNull, 5); }},
        {"aaaa", "bbb", [](Cmn_String& s) { s.Replace("aa", "b").Append("x").Replace('x', "b"); }},
        {"text", "(text)", [](Cmn_String& s) { s.Quote('(', ')'); }},
        {"(text)", "text", [](Cmn_String& s) { s.Unquote('(', ')'); }},
        {"(text]", "(text]", [](Cmn_String& s) { s.Unquote('(', ')'); }},
        {"\"", "\"", [](Cmn_String& s) { s.Unquote('"'); }},
        {"''", "", [](Cmn_String& s) { s.Unquote('\''); }},
        {"\xC4"
         "bc1",
         "\xE4"
         "bc1",
         [](Cmn_String& s) { s.ToLower(); }},
        {"\xE4"
         "bc1",
         "\xC4"
         "BC1",
         [](Cmn_String& s) { s.ToUpper(); }},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(Cmn_String(test.before) + " -> " + test.after);
        Cmn_String alone(test.before);
        Cmn_String shared(test.before);
        const Cmn_String copy(shared);
        test.change(alone);
        test.change(shared);
        EXPECT_STREQ(alone, test.after);
        EXPECT_STREQ(shared, test.after);
        EXPECT_STREQ(copy, test.before);
    }
}

TEST(StringTest, SplitKeepsOrSkipsEmptyPieces) {
    EXPECT_THAT(Cmn_String("a,,b").Split(',', false), ElementsAre("a", "", "b"));
    EXPECT_THAT(Cmn_String("a,,b").Split(',', true), ElementsAre("a", "b"));
    EXPECT_THAT(Cmn_String("a,").Split(',', false), ElementsAre("a", ""));
    EXPECT_THAT(Cmn_String().Split(',', false), ElementsAre(""));
    EXPECT_THAT(Cmn_String().Split(',', true), ElementsAre());
    for (const bool ignored : {false, true})
        EXPECT_STREQ(Cmn_String::Join({"a", "", "b"}, ",", ignored), "a,b");
}

TEST(StringTest, NullPointersAreReportedWhereATextIsRequired) {
    const struct {
        int line;
        void (*use)();
    } kCases[] = {
        {141, [] { EXPECT_EQ(Cmn_String(kNull, 5).GetMaxLength(), 11); }},
        {141,
         [] {
             Cmn_String s("x");
             s = kNull;
             EXPECT_STREQ(s, "");
         }},
        {452, [] { EXPECT_STREQ(Cmn_String("x").Append(kNull, 3), "x"); }},
        {452, [] { EXPECT_STREQ(Cmn_String("x") + kNull, "x"); }},
        {1489, [] { EXPECT_TRUE(Cmn_String("x").BeginsWith(kNull, true)); }},
        {1489, [] { EXPECT_TRUE(Cmn_String("x").EndsWith(kNull, false)); }},
    };
    for (const auto& test : kCases) {
        test.use();
        const auto reports = TakeReports();
        const std::string place =
            "'inString != 0' failed in JRCmn\\Cmn_String.cpp(" + std::to_string(test.line) + ")";
        EXPECT_EQ(reports.size(), 1u);
        EXPECT_TRUE(AnyContains(reports, place)) << place;
    }
    const Cmn_String text("x");
    EXPECT_EQ(text.Find(kNull), 0);
    EXPECT_EQ(text.FindInSet(kNull), -1);
    EXPECT_GT(text.Compare(kNull, true), 0);
    EXPECT_TRUE(Cmn_String() == kNull);
    EXPECT_STREQ(Cmn_String("x").Insert(0, kNull).ReplaceEnd(1, kNull), "");
}

// ---- Searching and comparing

TEST(StringTest, SearchesClampTheirStart) {
    const Cmn_String text("abab");
    EXPECT_EQ(text.Find("ab", 1), 2);
    EXPECT_EQ(text.Find("ab", 3), -1);
    EXPECT_EQ(text.Find('a', kIntMin), 0);
    EXPECT_EQ(text.Find('a', kIntMax), -1);
    EXPECT_EQ(text.Find("", 4), 4);
    EXPECT_EQ(text.Find("", 5), -1);
    EXPECT_EQ(text.Find("ababa"), -1);
    EXPECT_EQ(text.Findi("BA"), 1);
    for (const int ignored : {0, -1, 99}) {
        EXPECT_EQ(text.RevFind('b', ignored), 3);
        EXPECT_EQ(text.RevFind("ab", ignored), 2);
        EXPECT_EQ(text.RevFindi("AB", ignored), 2);
    }
    EXPECT_EQ(text.RevFind("ababa"), -1);
    EXPECT_EQ(Cmn_String().RevFind(""), 0);
}

TEST(StringTest, ComparisonsFollowCaseLengthAndOrder) {
    const Cmn_String text("Abc");
    EXPECT_TRUE(text.Equal("aBC", false));
    EXPECT_FALSE(text.Equal("aBC", true));
    EXPECT_FALSE(text.Equal("Ab", false));
    EXPECT_EQ(text.Compare("ABC", false), 0);
    EXPECT_TRUE(text < "Abd" && text <= "Abc" && text > "Ab" && text != "abc" && "Abd" > text);
    EXPECT_TRUE(text.BeginsWith("AB", false) && !text.BeginsWith("AB", true) && text.BeginsWith("", true));
    EXPECT_TRUE(text.EndsWith("BC", false) && text.EndsWith("bc", true) && !text.EndsWith("xAbc", true));
    EXPECT_EQ(text.GetEqualLength("ABX", false), 2);
    EXPECT_EQ(text.GetEqualLength("ABX", true), 1);
    EXPECT_EQ(text.GetEqualLength("", true), 0);
    EXPECT_TRUE(Cmn_String(std::string_view("a\0b", 3)) == Cmn_String(std::string_view("a\0c", 3)))
        << "the run-time's comparison ends at a NUL";
    EXPECT_FALSE(Cmn_String(std::string_view("a\0b", 3)) == Cmn_String("a"));
}

TEST(StringTest, SearchesInATwoByteCodePageFollowItsCharacters) {
    ASSERT_EQ(::_setmbcp(932), 0);
    EXPECT_FALSE(GetTextPlatform().isSingleByte());
    const Cmn_String text("\x83\x5C\\x");  // a character whose second byte is a backslash, and a backslash
    EXPECT_EQ(text.Find("\x83\x5C"), 0);
    EXPECT_EQ(text.FindInSet("\x83\x5C"), -1) << "a set of characters, not of bytes";
    EXPECT_EQ(text.Find("\\x"), 2);
    EXPECT_EQ(text.RevFind("\\"), 2);
    ::_setmbcp(_MB_CP_ANSI);
    EXPECT_TRUE(GetTextPlatform().isSingleByte());
}

TEST(StringTest, StandardLibraryTakesTheText) {
    std::unordered_set<Cmn_String> set{Cmn_String("a"), Cmn_String("b"), Cmn_String("a")};
    EXPECT_EQ(set.size(), 2u);
    std::ostringstream stream;
    stream << Cmn_String(std::string_view("a\0b", 3));
    EXPECT_EQ(stream.str(), std::string("a\0b", 3));
    EXPECT_EQ(Cmn_String(stream.str()).View(), stream.str());
}

// ---- Encodings

TEST(StringTest, EncodingsConvertBothWays) {
    const struct {
        const char* text;
        const char* utf8;
    } kCases[] = {{"", ""}, {"abc", "abc"}, {"\x80\xE9\xFF", "\xE2\x82\xAC\xC3\xA9\xC3\xBF"}};
    for (const auto& test : kCases) {
        for (const bool is1252 : {false, true}) {
            EXPECT_STREQ(Cmn_String(test.text).ToUTF8(is1252), test.utf8);
            Cmn_String text("before");
            EXPECT_EQ(text.FromUTF8(test.utf8, -1, is1252), static_cast<int>(strlen(test.text)));
            EXPECT_STREQ(text, test.text);
        }
    }
    Cmn_String text("before");
    EXPECT_EQ(text.FromUTF8("a\xFF\xC3", 3), 3) << "invalid bytes are replaced";
    EXPECT_EQ(text.First(), 'a');
    EXPECT_EQ(text.FromUTF8("a\0b", 3), 3);
    EXPECT_EQ(text.View(), std::string_view("a\0b", 3));
    EXPECT_EQ(text.FromUTF8(nullptr, 3), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(text.FromUTF16(L"\x20AC\x4e2d", -1, true), 2);
    EXPECT_STREQ(text, "\x80?");
    EXPECT_EQ(text.FromUTF16(nullptr, -1), 0);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(StringTest, ToUTF16WritesOnlyWhatFitsAndNoTerminator) {
    wchar_t buffer[] = L"......";
    EXPECT_FALSE(Cmn_String().ToUTF16(buffer, 6));
    EXPECT_FALSE(Cmn_String("ab").ToUTF16(buffer, 0));
    EXPECT_STREQ(buffer, L"......");
    EXPECT_TRUE(Cmn_String("a\x80").ToUTF16(buffer, 2, true));
    EXPECT_STREQ(buffer, L"a\x20AC....");
    EXPECT_FALSE(Cmn_String("abc").ToUTF16(buffer, 2));
}

TEST(StringTest, FailedConversionsAreTracedAndLeaveNothing) {
    auto& platform = GetTextPlatform();
    const auto real = platform;
    platform.narrow = [](NorvikLibInternal::CodePage, const wchar_t*, int, char*, int) {
        return NorvikLibInternal::Conversion{0, false};
    };
    EXPECT_STREQ(Cmn_String("x").ToUTF8(), "");
    EXPECT_TRUE(AnyContains(TakeTraces(), "Error converting wide chars to UTF8.\n"));
    static int sCalls = 0;
    platform.widen = [](NorvikLibInternal::CodePage, bool, std::string_view, wchar_t*, int) {
        ++sCalls;
        return NorvikLibInternal::Conversion{0, true};
    };
    EXPECT_STREQ(Cmn_String("x").ToUTF8(), "");
    EXPECT_TRUE(AnyContains(TakeTraces(), "Error converting Cmn_BasicString to wide characters\n"));
    Cmn_String text("before");
    sCalls = 0;
    EXPECT_EQ(text.FromUTF8("x", 1), 0);
    EXPECT_EQ(sCalls, 4) << "the first size and three doublings";
    EXPECT_STREQ(text, "");
    platform = real;
}

// ---- Files

TEST(StringTest, FilesAreReadWholeOrNotAtAll) {
    const TempFolder folder;
    const std::string path = folder.Path("text");
    const Cmn_String written("some text\r\nof two lines");
    EXPECT_TRUE(written.WriteFile(path.c_str()));
    Cmn_String text;
    EXPECT_TRUE(text.ReadFile(path.c_str(), 23));
    EXPECT_EQ(text, written);

    const auto expectRefused = [&text](const std::string& name, unsigned maxSize) {
        text = "before";
        EXPECT_FALSE(text.ReadFile(name.c_str(), maxSize)) << name;
        EXPECT_EQ(text.GetRefCount(), 0);
    };
    expectRefused(path, 22);
    expectRefused(path + ".missing", 100);
    expectRefused(folder.Path(), 100);
    const HANDLE reader =
        ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                      OPEN_EXISTING, 0, nullptr);
    EXPECT_TRUE(text.ReadFile(path.c_str(), 100)) << "others may have it open";
    ::CloseHandle(reader);
    const HANDLE owner = ::CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    expectRefused(path, 100);
    EXPECT_FALSE(written.WriteFile(path.c_str()));
    ::CloseHandle(owner);

    EXPECT_TRUE(Cmn_String(std::string_view("ab\0cd", 5)).WriteFile(path.c_str()));
    EXPECT_TRUE(text.ReadFile(path.c_str(), 5));
    EXPECT_EQ(text.View(), "ab") << "a text from a file ends at its first NUL";
    EXPECT_TRUE(Cmn_String().WriteFile(path.c_str()));
    EXPECT_TRUE(text.ReadFile(path.c_str(), 0));
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_FALSE(written.WriteFile(folder.Path().c_str()));
}

TEST(StringTest, FilesBeyondTheLargestTextAreRefused) {
    const TempFolder folder;
    const std::string path = folder.Path("sparse");
    const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, CREATE_ALWAYS, 0, nullptr);
    LARGE_INTEGER size;
    size.QuadPart = 3'000'000'000;
    ASSERT_TRUE(::SetFilePointerEx(file, size, nullptr, FILE_BEGIN) && ::SetEndOfFile(file));
    ::CloseHandle(file);
    Cmn_String text("before");
    EXPECT_FALSE(text.ReadFile(path.c_str(), 4'294'967'295u));
    EXPECT_TRUE(text.IsEmpty());
}

}  // namespace
