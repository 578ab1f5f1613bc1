// What a model on std::string cannot see of the text class: blocks and sharing, numbers, formatting, code
// pages, files, and what it reports or throws.

#include "JRCmn/Cmn_String.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <climits>
#include <functional>
#include <new>
#include <sstream>

#include "JRCmn/Internal/Cmn_TextPlatform.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

// Last: its macros break the standard library's headers.
#include <mbctype.h>

using namespace NorvikLibInternal;
using testing::ElementsAre;

const char* const kNull = nullptr;

template <typename A, typename B>
constexpr bool kCanAdd = std::is_invocable_v<std::plus<>, A, B>;
static_assert(kCanAdd<Cmn_String, const char*> && !kCanAdd<Cmn_String, int> && !kCanAdd<char, Cmn_String>);
static_assert(!std::is_constructible_v<Cmn_String, void*> && !std::is_constructible_v<bool, Cmn_String> &&
              !std::is_convertible_v<int, Cmn_String> && std::is_nothrow_move_assignable_v<Cmn_String>);

TEST(StringTest, EmptyTextOwnsNothing) {
    Cmn_String empty = Cmn_String("x").SubString(1, 1);
    EXPECT_EQ(empty.First() | empty.Last() | empty.PopFirst() | empty.PopLast(), 0);
    EXPECT_TRUE(empty.GetRefCount() == 0 && (Cmn_String("x") = {}).GetRefCount() == 0);
}

TEST(StringTest, BlocksAreThirteenBytesLargerThanTheirCapacityInMultiplesOfEight) {
    for (const auto& [request, capacity] : {std::pair{1, 3}, {3, 3}, {4, 11}, {11, 11}, {1000, 1003}}) {
        Cmn_String array, reserved;
        memset(array.AsArray(request), 'x', static_cast<size_t>(capacity) + 1);
        EXPECT_TRUE(array.UpdateLength() == capacity && array.c_str()[capacity] == '\0') << request;
        EXPECT_EQ(Cmn_String("", request).GetMaxLength(), capacity);
        EXPECT_EQ(reserved.Reserve(request).GetMaxLength(), capacity);
    }
}

TEST(StringTest, CopiesShareUntilOneChanges) {
    Cmn_String a("text"), b, appended;
    b = a;
    b = a;
    EXPECT_TRUE(a.c_str() == b.c_str() && a.GetRefCount() == 2) << "also when assigned twice";
    char& first = b.At(0);
    const Cmn_String later(b);
    first = 'T';
    EXPECT_TRUE(a == "text" && later == "Text") << "a copy taken after At shares what is written then";
    appended += a;
    EXPECT_EQ(a.GetRefCount(), 2) << "+= onto an empty text shares";
    EXPECT_EQ(a.Replaced("none", "x").GetRefCount() + a.Replaced("", "x").GetRefCount(), 3 + 4);
}

TEST(StringTest, SourcesMayStandBehindTheLengthInTheSameBlock) {
    Cmn_String text;
    for (const char* const expected : {"secondname", "namesecond"}) {
        memcpy(text.AsArray(11), "name\0second", 12);
        text.UpdateLength();
        EXPECT_STREQ(text.Insert(expected[0] == 's' ? 0 : 4, text.c_str() + 5), expected);
    }
}

TEST(StringTest, SizesBeyondTheLimitThrowBadAllocAndChangeNothing) {
    Cmn_String text("abc");
    EXPECT_THROW(text.Reserve(2'147'483'628, false), std::bad_alloc);
    EXPECT_THROW(text.PadProportional(1'100'000'000, true), std::bad_alloc);
    EXPECT_THROW(text.Insert(1, 'c', INT_MAX - 5), std::bad_alloc);
    EXPECT_THROW(text.Set('c', 3, INT_MAX), std::bad_alloc);
    EXPECT_STREQ(text, "abc");
}

template <typename T>
static void ExpectValue(T value, const char* expected) {
    Cmn_String stack("before");
    T popped{};
    EXPECT_STREQ(Cmn_String(value), expected);
    EXPECT_STREQ(stack = value, expected);
    EXPECT_EQ((stack += value).Push(T{1}).Push(value), Cmn_String(expected) + expected + "\r1\r" + expected);
    EXPECT_TRUE(stack.Pop(popped) && popped == value) << expected;
    EXPECT_TRUE(stack.Pop(popped) && popped == T{1} && !stack.Pop(popped) && popped == T{1}) << expected;
}

TEST(StringTest, ValuesHaveOneTextByConstructorAssignmentAppendingAndPush) {
    ExpectValue(false, "0");
    ExpectValue<short>(-32768, "-32768");
    ExpectValue(INT_MIN, "-2147483648");
    ExpectValue(UINT_MAX, "4294967295");
    ExpectValue(LLONG_MIN, "-9223372036854775808");
    ExpectValue(ULLONG_MAX, "18446744073709551615");
    ExpectValue(0.5f, "0.5");
    ExpectValue(-2.25e20, "-2.25e+020");
    EXPECT_STREQ(Cmn_String(1.0 / 3) + Cmn_String('c'), "0.333333333333c");
}

TEST(StringTest, TextsReadAsNumbers) {
    const auto expectNumbers = [](const Cmn_String& text, int32_t asInt, uint32_t asUInt, double asFloat) {
        EXPECT_EQ(text.AsBool(), asInt != 0) << text;
        EXPECT_TRUE(text.AsInt32() == asInt && text.AsInt16() == static_cast<int16_t>(asInt)) << text;
        EXPECT_TRUE(text.AsUInt32() == asUInt && text.AsUInt16() == static_cast<uint16_t>(asUInt)) << text;
        EXPECT_TRUE(text.AsFloat64() == asFloat && text.AsFloat32() == static_cast<float>(asFloat)) << text;
    };
    for (const char* const none : {"", "true", "yes", "inf", "nan", "0X1F"})
        expectNumbers(none, 0, 0, 0);
    expectNumbers("0.5", 0, 0, 0.5);
    expectNumbers("0x1F", 0, 31, 0);
    expectNumbers("1d3", 1, 1, 1000);
    expectNumbers("  -12x", -12, 4294967284u, -12);
    expectNumbers("4294967295", -1, 4294967295u, 4294967295.0);
    EXPECT_EQ(Cmn_String::AsUInt64("0xfedcba9876543210"), 0xFEDCBA9876543210u);
    EXPECT_EQ(Cmn_String::AsFloat64(kNull) + Cmn_String::AsInt64(kNull) + Cmn_String::AsUInt32(kNull), 0);
}

TEST(StringTest, FormattedTextsOfEveryLengthFitWhateverRoomThereWas) {
    for (const int length : {0, 1, 9, 10, 1023, 1024, 1025, 2047, 2048, 8191, 8192}) {
        const std::string expected(static_cast<size_t>(length), 'x'), twice = "ab" + expected + expected;
        for (const int capacity : {0, 3, 11, 1003, 1027, 2051, 9003}) {
            Cmn_String text("", capacity), appended("ab", capacity);
            const char* const block = text.c_str();
            EXPECT_EQ(text.Printf("%s", expected.c_str()), expected.c_str());
            EXPECT_EQ(text.c_str() == block, length <= capacity) << length << " into " << capacity;
            const Cmn_String shared(appended);
            appended.AppendPrintf("%s", expected.c_str()).AppendPrintf("%s", expected.c_str());
            EXPECT_TRUE(shared == "ab" && appended == twice.c_str()) << length << " into " << capacity;
        }
    }
}

TEST(StringTest, FormatsThatFailLeavePrintfEmptyAndAppendPrintfUnchanged) {
    for (const char* const format : {"%d%ls", kNull}) {
        for (const int capacity : {0, 100, 5000}) {
            Cmn_String text("abc", capacity);
            EXPECT_STREQ(text.AppendPrintf(format, 1, L"\x4e2d"), "abc");
            EXPECT_STREQ(text.Printf(format, 1, L"\x4e2d"), "");
            EXPECT_LT(text.GetMaxLength(), 8192);
        }
    }
    char buffer[] = "........";
    EXPECT_EQ(Cmn_String::SafePrintf(buffer, -1, "%s", "uvwxyz"), -1);
    EXPECT_LT(Cmn_String::SafePrintf(buffer, 5, "%s", "123456"), 0);
    EXPECT_EQ(Cmn_String::SafePrintf(buffer, 6, "%s", "uvwxyz"), 6) << "no room for the NUL";
    EXPECT_EQ(Cmn_String::SafePrintf(buffer, 6, "%s", "abc"), 3);
    EXPECT_EQ(std::string_view(buffer, 9), std::string_view("abc\0yz..", 9));
}

TEST(StringTest, ShrinkLeavesOutTheLeastReadableFirst) {
    const Cmn_String table(
        "Channel Name>ChnlNm>a b c>a bc>1122ab>1122>aeiouywx>wx>Bus 1.5-2.>Bs1.5-2>Z-5>5>1234>12>"
        "B\xFCs[7]+X>Bs7X>,;:#_(){}[]/|\\'\"+>+>Zb-5+>Z-5>A b>A b");
    const auto cases = table.Split('>', false);
    for (size_t i = 0; i < cases.size(); i += 2)
        EXPECT_EQ(Cmn_String(cases[i]).Shrink(cases[i + 1].GetLength()), cases[i + 1]);
    EXPECT_STREQ(Cmn_String("Abc").Shrink(-1), "");
    EXPECT_STREQ(Cmn_String("Channel Name").Shrink(), "ChannelName");
}

TEST(StringTest, ChangesGiveTheseTexts) {
    EXPECT_STREQ(Cmn_String("-5").PadProportional(3, false), "   -5");
    EXPECT_STREQ(Cmn_String("5").PadProportional(3, false), "    5");
    EXPECT_STREQ(Cmn_String("-50").PadProportional(2, false), "-50");
    EXPECT_STREQ(Cmn_String("X").PadProportional(2, true), "\xA0\xA0X");
    EXPECT_STREQ(Cmn_String("axxa").Replace('x', "b").ReplaceEnd(1, 'c').Quote('"'), "\"abbc\"");
    EXPECT_STREQ(Cmn_String("'text'").Unquote('\'').GetQuoted('<', '>').Unquote('<', ']'), "<text>");
    EXPECT_STREQ(Cmn_String("'").GetUnquoted('\'').Unquote('[', '\''), "'");
    EXPECT_STREQ(Cmn_String("\xC4X1").ToLower(), "\xE4x1");
    EXPECT_STREQ(Cmn_String("\xE4x1").ToUpper(), "\xC4X1");
    EXPECT_STREQ(Cmn_String::Join({"", "a", "", "b"}, ", ", false), "a, b");
    EXPECT_THAT(Cmn_String("a,,b,").Split(',', true), ElementsAre("a", "b"));
}

TEST(StringTest, NullPointersAreReportedWhereATextIsRequired) {
    Cmn_String text("x"), assigned("x");
    EXPECT_EQ(Cmn_String(kNull, 5).GetMaxLength(), 11);
    EXPECT_STREQ(assigned = kNull, "");
    EXPECT_STREQ(text.Append(kNull, 3) + kNull, "x");
    EXPECT_TRUE(text.BeginsWith(kNull, true) && text.EndsWith(kNull, false));
    std::string lines;
    for (const std::string& report : TakeReports())
        lines += report.substr(report.find("'inString != 0' failed in JRCmn\\Cmn_String.cpp(") + 46, 6) + " ";
    EXPECT_EQ(lines, "(141). (141). (452). (452). (1489) (1489) ");
    EXPECT_TRUE(text.Find(kNull) == 0 && text.FindInSet(kNull) == -1);
    EXPECT_TRUE(text != kNull && text.Insert(0, kNull).ReplaceEnd(1, kNull) == kNull);
}

TEST(StringTest, ComparisonsFollowOrderCaseAndLength) {
    const auto expectOrder = [](const auto& a, const auto& b, int order) {
        EXPECT_TRUE((a < b) == (order < 0) && (a <= b) == (order <= 0) && std::less<>()(a, b) == (order < 0));
        EXPECT_TRUE((a > b) == (order > 0) && (a >= b) == (order >= 0));
        EXPECT_TRUE((a == b) == (order == 0) && (a != b) == (order != 0));
    };
    for (const auto& [b, order] : {std::pair{"", 1}, {"Ab", 1}, {"Abc", 0}, {"abc", -1}}) {
        expectOrder(Cmn_String("Abc"), Cmn_String(b), order);
        expectOrder(Cmn_String("Abc"), b, order);
        expectOrder(b, Cmn_String("Abc"), -order);
    }
    const Cmn_String text("Abc");
    EXPECT_TRUE(text.Equal("aBC", false) && !text.Equal("aBC", true) && !text.Equal("Ab", false));
    EXPECT_TRUE(text.BeginsWith("AB", false) && !text.BeginsWith("AB", true) && text.BeginsWith("", true));
    EXPECT_TRUE(text.EndsWith("BC", false) && !text.EndsWith("BC", true) && !text.EndsWith("xAbc", true));
    EXPECT_TRUE(text.GetEqualLength("ABX", false) == 2 && text.GetEqualLength("ABX", true) == 1);
}

TEST(StringTest, SearchesInATwoByteCodePageFollowItsCharacters) {
    ASSERT_EQ(::_setmbcp(932), 0);
    const Cmn_String text("\x83\x5C\\x");  // a character whose second byte is a backslash, and a backslash
    EXPECT_FALSE(GetTextPlatform().isSingleByte());
    EXPECT_EQ(text.FindInSet("\x83\x5C"), -1) << "a set of characters, not of bytes";
    EXPECT_TRUE(text.Find("\\x") == 2 && text.RevFind("\\") == 2);
    ::_setmbcp(_MB_CP_ANSI);
    EXPECT_TRUE(GetTextPlatform().isSingleByte());
}

TEST(StringTest, EncodingsConvertBothWays) {
    Cmn_String text("a\x80\xE9\xFF");
    wchar_t wide[] = L"......";
    EXPECT_STREQ(text.ToUTF8(true), "a\xE2\x82\xAC\xC3\xA9\xC3\xBF");
    EXPECT_EQ(text.FromUTF8("\xE2\x82\xAC\xC3\xBF", -1, true), 2);
    EXPECT_STREQ(text, "\x80\xFF");
    EXPECT_TRUE(text.ToUTF16(wide, 2, true));
    EXPECT_STREQ(wide, L"\x20AC\xFF....") << "no terminator";
    EXPECT_FALSE(text.ToUTF16(wide, 1) || text.ToUTF16(wide, 0) || Cmn_String().ToUTF16(wide, 6));
    EXPECT_EQ(text.FromUTF16(L"\x20AC\x4e2d", -1, true), 2);
    EXPECT_STREQ(text, "\x80?");
    EXPECT_EQ(text.FromUTF8("a\0\xC3", 3), 3) << "invalid bytes are replaced";
    EXPECT_EQ((std::ostringstream() << text).str(), std::string("a\0?", 3));
    EXPECT_TRUE(text.FromUTF8(nullptr, 3) == 0 && text.IsEmpty() && text.FromUTF16(nullptr, -1) == 0);
}

TEST(StringTest, ConversionsNameTheirCodePagesAndFailAfterThreeDoublings) {
    static std::ostringstream sCalls;
    static int sWide, sNarrow;  // what the conversions answer
    GetTextPlatform().widen = [](CodePage page, bool precomposed, auto, wchar_t*, int size) {
        sCalls << (precomposed ? " p" : " ") << static_cast<int>(page) << ":" << size;
        return Conversion{sWide, sWide == 0};
    };
    GetTextPlatform().narrow = [](CodePage page, const wchar_t*, int, char* out, int size) {
        sCalls << " to " << static_cast<int>(page) << ":" << size;
        if (size != 0) *out = 'x';
        return Conversion{sNarrow, false};
    };
    const std::tuple<bool, int, int, const char*> cases[] = {
        {false, 1, 1, " 0:0 0:1 to 65001:0 to 65001:1 p0:1 65001:2 to 0:2"},
        {true, 1, 1, " 1252:0 1252:1 to 65001:0 to 65001:1 p1252:1 65001:2 to 1252:2"},
        {false, 1, 0, " 0:0 0:1 to 65001:0 p0:1 65001:2 to 0:2"},
        {false, 0, 0, " 0:0 p0:1 65001:2 65001:4 65001:8 65001:16"}};
    for (const auto& [is1252, wideCount, narrowCount, calls] : cases) {
        sWide = wideCount;
        sNarrow = narrowCount;
        Cmn_String text("x");
        wchar_t wide[2] = L"";
        EXPECT_STREQ(text.ToUTF8(is1252), narrowCount != 0 ? "x" : "");
        EXPECT_EQ(text.ToUTF16(wide, 1, is1252), wideCount != 0);
        EXPECT_EQ(text.FromUTF8("x", 1, is1252), narrowCount);
        EXPECT_EQ(std::exchange(sCalls, {}).str(), calls);
    }
    EXPECT_THAT(TakeTraces(), ElementsAre("Error converting wide chars to UTF8.\n",
                                          "Error converting Cmn_BasicString to wide characters\n"));
}

TEST(StringTest, FilesAreReadWholeOrNotAtAll) {
    const TempFolder folder;
    const std::string path = folder.Path("text");
    const auto expectRead = [](const std::string& name, unsigned maxSize, const char* expected) {
        Cmn_String text("before");
        EXPECT_EQ(text.ReadFile(name.c_str(), maxSize), expected != nullptr) << name;
        EXPECT_EQ(text.View(), expected != nullptr ? expected : "") << name;
    };
    const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, CREATE_NEW, 0, nullptr);
    expectRead(path, 0, "");
    expectRead(path + ".missing", 100, kNull);
    EXPECT_FALSE(kEmptyString.WriteFile(folder.Path().c_str()));
    EXPECT_TRUE(Cmn_String(std::string_view("two\r\nlines\0cd", 13)).WriteFile(path.c_str()));
    expectRead(path, 13, "two\r\nlines");
    expectRead(path, 12, kNull);
    LARGE_INTEGER size{.QuadPart = 3'000'000'000};
    ASSERT_TRUE(::SetFilePointerEx(file, size, nullptr, FILE_BEGIN) && ::SetEndOfFile(file));
    expectRead(path, UINT_MAX, kNull);
    ::CloseHandle(file);
}
