#include <gmock/gmock.h>

#include "JRCmn/Cmn_EndpointInfo.h"
#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/Cmn_MACAddr.h"

TEST(Cmn_IPv4Address, TakesTextAsThePlatformsHaveAlwaysDone) {
    const std::pair<const char*, const char*> accepted[] = {
        {"127.0.0.1", "127.0.0.1"}, {"1.2.3", "1.2.0.3"},           {"1.2", "1.0.0.2"},
        {"1", "0.0.0.1"},           {"010.0.0.1", "8.0.0.1"},       {"0x7f.1", "127.0.0.1"},
        {"1.2.3.4 x", "1.2.3.4"},   {"1.2.3.4\n", "1.2.3.4"},       {"0X7F.1", "127.0.0.1"},
        {" ", "0.0.0.0"},           {"1.16777215", "1.255.255.255"}};
    for (const auto& [text, canonical] : accepted)
        EXPECT_STREQ(Cmn_IPv4Address(text).ToString(), canonical) << '"' << text << '"';
    const std::string tenKilobytes(10'240, '1');
    for (const char* const text :
         {"", " 1.2.3.4", "1..2", "0x100000001", "1.2.3.4\xa0", tenKilobytes.c_str()})
        EXPECT_FALSE(Cmn_IPv4Address(text).IsValid()) << '"' << text << '"';
}

TEST(Cmn_IPv4Address, IsOrderedByItsWordAndNotByItsText) {
    const Cmn_IPv4Address ten("10.0.0.2"), eleven("11.0.0.1");
    EXPECT_TRUE(eleven < ten && !(ten < eleven));
    EXPECT_FALSE(Cmn_IPv4Address::GetBroadcastAddr().IsValid() || Cmn_IPv4Address().IsValid());
    EXPECT_TRUE(Cmn_IPv4Address::GetAddrAny().IsValid());
    EXPECT_TRUE(Cmn_EndpointInfo(eleven, 9) < Cmn_EndpointInfo(ten, 1));
    EXPECT_TRUE(Cmn_EndpointInfo(ten, 1) < Cmn_EndpointInfo(ten, 9));
    EXPECT_FALSE(Cmn_EndpointInfo(ten, 0).IsValid() || Cmn_EndpointInfo({}, 80).IsValid());
    EXPECT_STREQ(Cmn_EndpointInfo({}, 65535).GetAsString(), "255.255.255.255:65535");
}

static Cmn_MACAddr FromText(std::string_view text) {
    return Cmn_MACAddr::GetFromString(Cmn_String(text));
}

TEST(Cmn_MACAddr, TakesPairsOfDigitsWithAnythingBetween) {
    EXPECT_EQ(FromText("00-1B-2F-AA-BB-CC"), FromText("00:1b:2f:aa:bb:cc"));
    for (const char* const text : {"", "001B2FAABBCC", "00:1b:2f:aa:bb:c", "00:1b:2f:aa:bb:ccc"})
        EXPECT_FALSE(FromText(text).IsValid()) << text;
}

TEST(Cmn_MACAddr, MapsToNumbersAndGUIDs) {
    const Cmn_MACAddr address = Cmn_MACAddr::GetFromUInt64(0xEE11'CCBB'AA99'8877);
    EXPECT_STREQ(address.GetAsString(false), "77:88:99:aa:bb:cc");
    EXPECT_STREQ(address.GetAsString(true), "77-88-99-aa-bb-cc");
    EXPECT_EQ(address.GetAsUInt64(), 0xCCBB'AA99'8877u);
    for (const unsigned char middle : {0x00, 0xFF}) {
        unsigned char guid[8];
        address.PadToAVBGUID(guid, middle == 0);
        EXPECT_THAT(guid, testing::ElementsAre(0x77, 0x88, 0x99, middle, middle & 0xFE, 0xAA, 0xBB, 0xCC));
        EXPECT_EQ(Cmn_MACAddr::GetFromAVBGUID(guid), address);
    }
    EXPECT_TRUE(address.IsMulticast() && address.IsLocallyAdministered());
    EXPECT_FALSE(FromText("fc:00:00:00:00:00").IsMulticast());
    EXPECT_FALSE(FromText("fd:00:00:00:00:00").IsLocallyAdministered());
    EXPECT_EQ(FromText("aa:bb:cc:dd:ff:ff") + 1, FromText("aa:bb:cc:dd:00:00"));
    EXPECT_EQ(FromText("aa:bb:cc:dd:01:f0") + 255, FromText("aa:bb:cc:dd:02:ef"));
    EXPECT_LT(FromText("ff:ff:ff:00:00:01"), FromText("00:00:00:00:00:02"));
}

TEST(Cmn_MACAddr, KnowsVendorsByTheirNumbers) {
    EXPECT_EQ(FromText("00:1b:2f:aa:bb:cc").GetVendor(), eNetworkDeviceVendor_2);
    EXPECT_EQ(FromText("00:50:C2:9C:9A:01").GetVendor(), eNetworkDeviceVendor_1);
    EXPECT_EQ(FromText("00:50:C2:9C:8A:01").GetVendor(), eNetworkDeviceVendor_Unknown);
    int count[7] = {};
    for (unsigned oui = 0; oui < 1 << 24; ++oui)
        ++count[Cmn_MACAddr::GetFromUInt64(oui).GetVendor()];
    EXPECT_THAT(count, testing::ElementsAre((1 << 24) - 79, 1, 74, 1, 1, 1, 1));
}
