// What the stand-in of dnssd.dll does without its daemon, against the published rules: full names and TXT records.

#include <gmock/gmock.h>

#include "tests/support/DnsSdCalls.h"

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

// Rule: dots and backslashes get a backslash, blanks and control characters become \DDD, the rest of UTF-8 stays; no
// service name makes the name of the type.
TEST(DnsSdText, FullNamesAreEscaped) {
    const std::string longest(63, ' ');
    const std::string tooLong(64, 'x');
    const struct {
        const char* service;
        const char* type;
        const char* domain;
        const char* fullName;  // null: a bad parameter
    } cases[] = {
        {"Desk", "_desk._tcp", "local.", "Desk._desk._tcp.local."},
        {"1st. Floor\\2", "_desk._udp.", "local", "1st\\.\\032Floor\\\\2._desk._udp.local."},
        {"\x01\x7F\t\"%", "_desk._tcp", "local.", "\\001\\127\\009\"%._desk._tcp.local."},
        {"Gr\xC3\xBC\xC3\237e", "_desk._tcp", "a\\.b.com.", "Gr\xC3\xBC\xC3\237e._desk._tcp.a\\.b.com."},
        {nullptr, "_desk._tcp", "local.", "_desk._tcp.local."},
        {"Desk", "_desk", "local.", nullptr},
        {"Desk", nullptr, "local.", nullptr},
        {"Desk", "_desk._tcp", "", nullptr},
        {tooLong.c_str(), "_desk._tcp", "local.", nullptr},
    };
    const auto construct = DNS_SD(DNSServiceConstructFullName);
    for (const auto& each : cases) {
        char fullName[kDNSServiceMaxDomainName] = "";
        const DNSServiceErrorType error = construct(fullName, each.service, each.type, each.domain);
        EXPECT_EQ(error, each.fullName ? 0 : kDNSServiceErr_BadParam);
        EXPECT_STREQ(fullName, each.fullName ? each.fullName : "");
    }
    char fullName[kDNSServiceMaxDomainName];
    EXPECT_EQ(construct(fullName, longest.c_str(), "_desk._tcp", "local."), 0);
    EXPECT_EQ(std::string(fullName).size(), 63 * 4 + std::string("._desk._tcp.local.").size());
}

// Rules: keys are printable without '=' and compared without case; setting a key replaces it; null is no value, not an
// empty one; an item has 255 bytes, a record 65535; a buffer that is too small is left for one of the record's own.
TEST(DnsSdText, TxtRecordsAreBuiltAndReadByTheRules) {
    const auto set = DNS_SD(TXTRecordSetValue);
    char buffer[9];
    TXTRecordRef record;
    DNS_SD(TXTRecordCreate)(&record, sizeof buffer, buffer);
    const auto bytes = [&] {
        return std::string(static_cast<const char*>(DNS_SD(TXTRecordGetBytesPtr)(&record)),
                           DNS_SD(TXTRecordGetLength)(&record));
    };
    const std::string full(253, 'v');
    const std::string longKey(255, 'k');
    const struct {
        const char* key;
        const char* value;  // null: none
        DNSServiceErrorType error;
        std::string record;
    } cases[] = {
        {"a", "1", 0, "\003a=1"},
        {"b", nullptr, 0, "\003a=1\001b"},
        {"c", "", 0, "\003a=1\001b\002c="},
        {"A", "=x", 0, "\001b\002c=\004A==x"},
        {"", "1", kDNSServiceErr_Invalid, "\001b\002c=\004A==x"},
        {"k=", "1", kDNSServiceErr_Invalid, "\001b\002c=\004A==x"},
        {"\x1F", "1", kDNSServiceErr_Invalid, "\001b\002c=\004A==x"},
        {"\x7F", "1", kDNSServiceErr_Invalid, "\001b\002c=\004A==x"},
        {"kk", full.c_str(), kDNSServiceErr_Invalid, "\001b\002c=\004A==x"},
        {longKey.c_str(), nullptr, 0, "\001b\002c=\004A==x\xFF" + longKey},
        {longKey.c_str(), "", kDNSServiceErr_Invalid, "\001b\002c=\004A==x\xFF" + longKey},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto& each = cases[i];
        const uint8_t size = each.value ? static_cast<uint8_t>(std::string(each.value).size()) : 0;
        EXPECT_EQ(set(&record, each.key, size, each.value), each.error) << each.key;
        EXPECT_EQ(bytes(), each.record) << each.key;
        EXPECT_EQ(DNS_SD(TXTRecordGetBytesPtr)(&record) == buffer, i < 3) << each.key;
    }
    EXPECT_EQ(DNS_SD(TXTRecordRemoveValue)(&record, longKey.c_str()), 0);
    EXPECT_EQ(DNS_SD(TXTRecordRemoveValue)(&record, longKey.c_str()), kDNSServiceErr_NoSuchKey);

    const std::string whole = bytes() + std::string("\x00\011cut", 5);
    const auto size = static_cast<uint16_t>(whole.size());
    const auto find = [&](const char* key) -> std::string {
        uint8_t length = 99;
        const void* const value = DNS_SD(TXTRecordGetValuePtr)(size, whole.data(), key, &length);
        const std::string text = value ? std::string(static_cast<const char*>(value), length) : "null";
        return std::to_string(DNS_SD(TXTRecordContainsKey)(size, whole.data(), key)) + " " + text;
    };
    EXPECT_THAT((Lines{find("a"), find("B"), find("c"), find("d"), find("cut")}),
                ElementsAre("1 =x", "1 null", "1 ", "0 null", "0 null"));
    EXPECT_EQ(DNS_SD(TXTRecordGetCount)(size, whole.data()), 4);
    char key[2];
    uint8_t length = 0;
    const void* value = nullptr;
    const auto item = DNS_SD(TXTRecordGetItemAtIndex);
    EXPECT_EQ(item(size, whole.data(), 2, sizeof key, key, &length, &value), 0);
    EXPECT_STREQ(key, "A");
    EXPECT_EQ(std::string(static_cast<const char*>(value), length), "=x");
    EXPECT_EQ(item(size, whole.data(), 2, 1, key, &length, &value), kDNSServiceErr_NoMemory);
    EXPECT_EQ(item(size, whole.data(), 4, sizeof key, key, &length, &value), kDNSServiceErr_Invalid);
    DNS_SD(TXTRecordDeallocate)(&record);

    DNS_SD(TXTRecordCreate)(&record, 0, nullptr);
    for (int i = 0; i < 65535 / 256; ++i)
        ASSERT_EQ(set(&record, std::to_string(100 + i).c_str(), 251, full.c_str()), 0);
    EXPECT_EQ(set(&record, "last", 251, full.c_str()), kDNSServiceErr_Invalid);
    EXPECT_EQ(set(&record, "one", 251, full.c_str()), kDNSServiceErr_NoMemory);
    EXPECT_EQ(set(&record, "101", 251, full.c_str()), 0);
    EXPECT_EQ(bytes().size(), 65280U);
    DNS_SD(TXTRecordDeallocate)(&record);
    EXPECT_EQ(DNS_SD(TXTRecordGetBytesPtr)(&record), nullptr);
}

}  // namespace
