#include "tools/norvik/Mask.h"

#include <gtest/gtest.h>

using NorvikTool::Masker;

TEST(Mask, AddressesAndHostsAreReplacedAndWhatOnlyLooksLikeOneIsKept) {
    const struct {
        const char *text, *masked;
    } cases[] = {
        {"10.0.0.9:8000 (10.0.0.9), 192.168.001.5-010.0.0.9.", "ip-1:8000 (ip-1), ip-2-ip-1."},
        {"x_10.0.0.9_y peer=10.0.0.9\r\n10.0.0.9", "x_ip-1_y peer=ip-1\r\nip-1"},
        {"fe80::1%12 [FE80:0:0:0::1]:80 fe80:0:0:0:0:0:0:1/64", "ip-1%12 [ip-1]:80 ip-1/64"},
        {"2001:db8:: Address:fd00::12: gone ::ffff:10.1.1.1", "ip-1 Address:ip-2: gone ip-3"},
        {"10.0.0.9 ::ffff:10.0.0.9 [::FFFF:a00:9]:80 to:::ffff:0a00:0009; 0:0:0:0:0:ffff:a00:9",
         "ip-1 ip-1 [ip-1]:80 to:ip-1; ip-1"},
        {"2001:db8::10.0.0.9:80 2001:db8::a00:9 64:ff9b::a00:9 64:FF9B::10.0.0.9. fe80::1.53",
         "ip-1:80 ip-1 ip-2 ip-2. ip-3.53"},
        // Between typographic quotes, in UTF-8 and in a code page.
        {"\342\200\23410.0.0.9\342\200\235 \223fe80::1\224 \25300:1a:2b:33:44:55\273",
         "\342\200\234ip-1\342\200\235 \223ip-2\224 \253mac-1\273"},
        // As the tool's verbs show bytes that cannot be printed.
        {R"(\x5C\x5C10.20.30.40\x5Cx \x5C\x5CDESK-7\x5Cshare \x5Chall.local\x00hall\x00fe80::1\x7F10.0.0.9)",
         R"(\x5C\x5Cip-1\x5Cx \x5C\x5Chost-1\x5Cshare \x5Chost-2\x00host-2\x00ip-2\x7Fip-3)"},
        {R"(\\x32-rack.local\x64 \\X5C.local\x5Chall \\x10-rack x10-rack.local)",
         R"(\\host-2\x64 \\host-3\x5Chall \\host-4 host-4)"},
        {"00-1A-2b-33-44-55 00:1a:2b:33:44:55 001A2B334455 001A2B334456", "mac-1 mac-1 mac-1 001A2B334456"},
        {"DESK-7 \\\\desk-7\\C desk-7.local. desk-7.example.org",
         "host-1 \\\\host-1\\C host-1. host-1.example.org"},
        {"Engine.Local, engine, engines, my-engine", "host-2, host-2, engines, my-engine"},
        {"Started DNS lookup for rack.example.org...; rack.example.org",
         "Started DNS lookup for host-2...; host-2"},
        {"(host hall.example.org.) at hall.example.org:80", "(host host-2.) at host-2:80"},
        // Kept.
        {"127.0.0.1 0.0.0.0 255.255.255.0 224.0.0.251 ::1 ::", nullptr},
        {"version 8.0.1.4, Version: 1.2.3.4 FileVersion=\"10.1.2.3\" v1.2.3.4 1.2.3.4.5 1.2.3 10.0.19041.1",
         nullptr},
        {"1763143831.123 18:10:31 12:34:56:78 12::30 2026-11-21 18.59.29 32-1 26-11-21-18-59-29", nullptr},
        {"std::dec a::b1 Cmn::Add 0x1400015b1 1:2:3:4:5:6:7:8:9 {00112233-4455-6677-8899-AABBCCDDEEFF}",
         nullptr},
        {"::dec ::dec:5 ::ffff:5 ::ffff:127.0.0.1 a:b::c 12:30::5 12:30:45.123 h10.0.0.9 10.0.0.9h", nullptr},
        {"Engine 1._desk._tcp.local. local localhost 7 .local", nullptr},
        {"\xFF\0<&> 10.0.0.", nullptr},
    };
    for (const auto& [text, masked] : cases) {
        Masker masker;
        masker.AddHost("Desk-7");
        masker.AddHost("localhost");
        masker.Learn(text);
        EXPECT_EQ(masker.Mask(text), masked ? masked : text);
    }
}

TEST(Mask, OneNameIsOneWordInAllTextsAndMaskingTwiceChangesNothing) {
    Masker masker;
    const std::string first = "engine at 10.0.0.9",
                      second = "Resolved E to be from Engine.local., port 9; 10.0.0.8";
    masker.Learn(first);
    masker.Learn(second);
    const std::string masked = masker.Mask(second);
    EXPECT_EQ(masker.Mask(first), "host-1 at ip-1");
    EXPECT_EQ(masked, "Resolved E to be from host-1., port 9; ip-2");
    EXPECT_EQ(masker.Mask(masked), masked);
}
