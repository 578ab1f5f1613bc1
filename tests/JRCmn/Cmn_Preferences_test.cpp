#include "JRCmn/Cmn_Preferences.h"

#include <gtest/gtest.h>

#include "JRCmn/Cmn_Registry.h"
#include "tests/support/MachineSettings.h"

namespace {

constexpr char kName[] = "Test Preference";

TEST(MachinePreferences, OutliveTheirWriter) {
    MachineSettings machine;
    machine.SetNumber(kSettings, kName, 5);  // put back as it was
    bool isOn = false;
    int number = 0;
    EXPECT_TRUE(Cmn_Preferences::Get(kName, isOn) && isOn);
    for (const int value : {0, 2, INT_MIN, -1}) {
        EXPECT_TRUE(Cmn_Preferences::Set(kName, value) && Cmn_Preferences::Get(kName, number));
        EXPECT_EQ(number, value);
    }
    EXPECT_TRUE(Cmn_Preferences::Set(kName, true) && Cmn_Preferences::Get(kName, number) && number == 1);
    EXPECT_TRUE(Cmn_Preferences::Remove(kName) && !Cmn_Preferences::Remove(kName));
    machine.SetText(kSettings, kName, "1");
    EXPECT_FALSE(Cmn_Preferences::Get(kName, isOn) || Cmn_Preferences::Get(kName, number));
    EXPECT_TRUE(isOn && number == 1);
}

}  // namespace
