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
        {"2001:db8:: Address:fd00::12: gone ::ffff:10.1.1.1", "ip-1 Address:ip-2: gone ::ffff:ip-3"},
        {"00-1A-2b-33-44-55 00:1a:2b:33:44:55 001A2B334455 001A2B334456", "mac-1 mac-1 mac-1 001A2B334456"},
        {"DESK-7 \\\\desk-7\\C desk-7.local. desk-7.example.org",
         "host-1 \\\\host-1\\C host-1. host-1.example.org"},
        {"Engine.Local, engine, engines, my-engine", "host-2, host-2, engines, my-engine"},
        {"(host hall.example.org.) at hall.example.org:80", "(host host-2.) at host-2:80"},
        // Kept.
        {"127.0.0.1 0.0.0.0 255.255.255.0 224.0.0.251 ::1 ::", nullptr},
        {"version 8.0.1.4, Version: 1.2.3.4 FileVersion=\"10.1.2.3\" v1.2.3.4 1.2.3.4.5 1.2.3 10.0.19041.1",
         nullptr},
        {"1763143831.123 18:10:31 12:34:56:78 12::30 2026-11-21 18.59.29 32-1 26-11-21-18-59-29", nullptr},
        {"std::dec a::b1 Cmn::Add 0x1400015b1 1:2:3:4:5:6:7:8:9 {00112233-4455-6677-8899-AABBCCDDEEFF}",
         nullptr},
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
