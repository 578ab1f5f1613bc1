// The toggles of a program, switched by another.

#include <gmock/gmock.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::AllOf, testing::HasSubstr, testing::Not;

// Exit code and output.
std::string Toggles(const TempFolder& folder, std::vector<std::string> words) {
    words.insert(words.begin(), "toggles");
    return RunProgram("norvik.exe", words, folder.Path());
}

TEST(NorvikToggles, SetSwitchesWhatLaterProgramsSee) {
    const TempFolder folder;
    EXPECT_THAT(Toggles(folder, {}), AllOf(HasSubstr("CueTimeline"), Not(HasSubstr("*"))));
    EXPECT_THAT(Toggles(folder, {"set", "CueTimeline", "1"}), HasSubstr("0 CueTimeline is 1 "));
    EXPECT_THAT(Toggles(folder, {"set", "FanSpeedControl", "0"}), HasSubstr("0 FanSpeedControl is 0 "));
    EXPECT_THAT(Toggles(folder, {"set", "cuetimeline", "1"}), HasSubstr("no feature 'cuetimeline'"));
    EXPECT_THAT(Toggles(folder, {"set", "CueTimeline", "true"}), testing::StartsWith("2 "));
    EXPECT_EQ(ReadWholeFile(folder.Path("AutoSave\\ft.dat")), "CueTimeline:1\nFanSpeedControl:0\n");
    EXPECT_THAT(Toggles(folder, {}),
                HasSubstr("\n*  150  FanSpeedControl                 0        1  Quiet"));
    EXPECT_THAT(Toggles(folder, {"--public"}), AllOf(HasSubstr("\n*   48  Cue"), Not(HasSubstr("FanSpeed"))));
}

}  // namespace
