#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"

#include <gmock/gmock.h>

#include <regex>
#include <tuple>

#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/DnsSdDaemon.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace Cmn_BonjourTXTRecordCodec;
using Pairs = std::vector<std::pair<std::string, std::string>>;

class TXTRecordCodec : public testing::Test {
protected:
    TXTRecordCodec() {
        const std::string path = DnsSdDaemon::Folder() + "\\dnssd.dll";
        NorvikLibInternal::OverrideDnsSdLibrary(::LoadLibraryA(path.c_str()));
    }
    ~TXTRecordCodec() override { NorvikLibInternal::OverrideDnsSdLibrary(nullptr); }
};

std::string V(size_t size) {
    return std::string(size, 'v');
}

std::string Item(const std::string& text) {
    return static_cast<char>(text.size()) + text;
}

TxtRecord Record(const Pairs& pairs) {
    TxtRecord record;
    for (const auto& [key, value] : pairs)
        record.SetKey(key, value);
    return record;
}

// "89 valueSize...;" for each.
std::string Checks() {
    static const std::regex report(".*'(.*)' failed in JRCmn.Cmn_BonjourTXTRecordCodec.cpp\\((.*)\\).*\n");
    std::string checks;
    for (const std::string& each : TakeReports())
        checks += std::regex_replace(each, report, "$2 $1;");
    return checks;
}

const std::string kTooLong = "89 valueSize + 1 + key.size() <= 0xFF;";
const std::string kRefused = "96 ret == kDNSServiceErr_NoError;";
const std::string kCut = "42 strLeft <= strEnd;";
const std::string kNoEquals = "47 pos != std::string::npos;";
const std::string kTwice = "56 !record.FindKey(key, dummy);";

TEST_F(TXTRecordCodec, WhatDoesNotFitIsReportedAndLeftOut) {
    const std::tuple<Pairs, std::string, std::string> cases[] = {
        {{{"a", "1"}, {"b", ""}}, Item("a=1") + Item("b="), ""},
        {{{"k", V(252)}}, Item("k=" + V(252)), ""},
        // Within the format's limit, and refused by the published clients.
        {{{"k", V(253)}, {"z", "1"}}, Item("z=1"), kRefused},
        {{{"k", V(254)}, {"z", "1"}}, Item("z=1"), kTooLong},
        {{{"", "x"}, {"k=", "1"}, {"z", "="}}, Item("z=="), kRefused + kRefused},
    };
    for (const auto& [pairs, bytes, checks] : cases) {
        EXPECT_EQ(Encode(Record(pairs)), bytes);
        EXPECT_EQ(Checks(), checks) << bytes;
    }
    TxtRecord large;
    for (int i = 100; i < 358; ++i)
        large.SetKey(std::to_string(i), V(250));
    EXPECT_EQ(Encode(large).size(), 65535U);
    EXPECT_EQ(Checks(), kRefused);
    NorvikLibInternal::OverrideDnsSdLibrary(nullptr);
    EXPECT_EQ(Encode(Record({{"a", "1"}})), "");
    EXPECT_EQ(Checks(), kRefused);
}

TEST_F(TXTRecordCodec, WhatIsNoItemIsReportedAndSkipped) {
    const std::string binary("\0=\xFF", 3);
    const std::tuple<std::string, Pairs, std::string> cases[] = {
        {Item("a=1") + Item("a=2"), {{"a", "1"}}, kTwice},
        {Item("flag") + Item("b="), {{"b", ""}}, kNoEquals},
        {Item("") + Item("=v"), {{"", "v"}}, kNoEquals},
        {Item("a=1") + "\x05" + "b=2", {{"a", "1"}}, kCut},
        {Item("a=" + binary), {{"a", binary}}, ""},
    };
    for (const auto& [bytes, pairs, checks] : cases) {
        const auto size = static_cast<unsigned short>(bytes.size());
        EXPECT_EQ(Decode(bytes.data(), size), Record(pairs)) << bytes;
        EXPECT_EQ(Checks(), checks) << bytes;
    }
    EXPECT_EQ(Decode(nullptr, 5), TxtRecord());
}

}  // namespace
