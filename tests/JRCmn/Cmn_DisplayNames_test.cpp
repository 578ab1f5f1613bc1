#include "JRCmn/Internal/Cmn_DisplayNames.h"

#include <gtest/gtest.h>

using namespace NorvikLibInternal;

TEST(Cmn_DisplayNames, AreThoseOfTheLogs) {
    std::string topologies, technologies;
    for (const uint32_t id : {1U, 2U, 4U, 8U, 0U, 3U, 0xFFFFFFFFU})
        topologies += GetDisplayTopologyName(id) + "|";
    EXPECT_EQ(topologies, "Internal|Clone|Extend|External|<unknown 0>|<unknown 3>|<unknown -1>|");
    for (int32_t technology = -2; technology <= 16; ++technology)
        technologies += GetOutputTechnologyName(technology) + std::string("|");
    EXPECT_EQ(
        technologies,
        "Unknown|Other|Unknown|S-video|Composite video|Component video|Unknown|HDMI|LDVS|Unknown|Japanese D|"
        "Unknown|DisplayPort|Embedded DisplayPort|Unknown|Embedded UDI|SDTV dongle|Miracast|Unknown|");
    EXPECT_STREQ(GetOutputTechnologyName(INT32_MIN), "Internal");
}
