#include "JRCmn/Internal/Cmn_AdapterRule.h"

#include <gtest/gtest.h>

using namespace NorvikLibInternal;

constexpr uint32_t kNone = 0xFFFFFFFF, kSelfAssigned = 0x0201FEA9, kLocal = 0x0100007F;

const std::vector<Adapter> kAdapters = {
    {"{AA-1}", "Loopback", 1, true, true, {kLocal}},
    {"{BB-2}", "Down", 2, false, false, {0x0100000A}},
    {"{CC-3}", "No address", 3, true, false, {}},
    {"{DD-4}", "Ethernet 2", 4, true, false, {kSelfAssigned, 0x0200000A, 0x0300000A}},
    {"{EE-5}", "{DD-4}", 5, true, false, {kSelfAssigned}},
};

TEST(AdapterRule, TakesTheAdapterOfTheSettingOrTheFirstThatLeadsOut) {
    const std::pair<const char*, AdapterChoice> cases[] = {
        {"", {0x0200000A, 4}},       {"any", {0, 0}},
        {"Loopback", {kLocal, 1}},   {"ethernet 2", {0x0200000A, 4}},
        {"{dd-4}", {0x0200000A, 4}}, {"EE-5", {kSelfAssigned, 5}},
        {"{AA-1}", {kLocal, 1}},     {"Down", {kNone, 2}},
        {"No address", {kNone, 3}},  {"Unplugged", {kNone, 0}},
        {"Ethernet", {kNone, 0}},    {"AA-1}", {kNone, 0}},
    };
    for (const auto& [setting, expected] : cases)
        EXPECT_EQ(ChooseAdapter(kAdapters, setting), expected) << setting;
    EXPECT_EQ(ChooseAdapter({}, ""), AdapterChoice());
    EXPECT_EQ(ChooseAdapter({}, "loopback"), (AdapterChoice{kLocal, 0}));
    EXPECT_EQ(ChooseAdapter({{}}, "{}"), AdapterChoice());
}
