// The tool's drawings, and how it arranges what a machine has: one display, which takes no other resolution here.

#include <gmock/gmock.h>

#include "JRCmn/Cmn_DisplayManager.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MachineSettings.h"

namespace {

using testing::AllOf, testing::HasSubstr, testing::StartsWith;

std::string Displays(const TempFolder& folder, std::vector<std::string> words) {
    words.insert(words.begin(), "displays");
    ChildProcess child("norvik.exe", words, folder.Path());
    const int code = child.Wait(30'000);
    return std::to_string(code) + " " + child.Output();
}

TEST(NorvikDisplays, DrawsExamplesToScale) {
    const TempFolder folder;
    const std::string picture = folder.Path("new & picture.svg");
    EXPECT_THAT(Displays(folder, {"--example", "new", "--svg", picture}),
                AllOf(StartsWith("0 Example, not this machine: new "),
                      HasSubstr("External GUI  1920x1200 at (0, 0), primary -> 1920x1080 at (-1920, 0)\n")));
    EXPECT_THAT(ReadWholeFile(picture),
                AllOf(HasSubstr(">After norvik displays arrange<"), HasSubstr(">External GUI<"),
                      HasSubstr(">at (-1920, 0)<"), testing::EndsWith("</svg>\n")));
    EXPECT_THAT(
        Displays(folder, {"--example", "right"}),
        AllOf(HasSubstr("+-----------------------------+--------------------------------------------+\n"),
              HasSubstr("|            1 TKV            |"), HasSubstr("Everything is in its place.")));
    EXPECT_THAT(
        Displays(folder, {"--example", "unplugged"}),
        HasSubstr("Nothing would move, but not everything is in its place:\n  External GUI  not seen\n"));
    EXPECT_THAT(Displays(folder, {"arrange", "--example", "left"}), StartsWith("2 "));
    EXPECT_THAT(Displays(folder, {"--example", "left", "--svg", folder.Path("no\\such.svg")}),
                StartsWith("1 "));
}

TEST(MachineNorvikDisplays, ArrangesTheMachinesOwn) {
    // Under Wine, who asks first starts the desktop's process, which would hold a child's output open.
    const Cmn_DisplayManager desktop;
    MachineSettings machine;
    machine.SetText(kWindowsKey, "EditionID", "Embedded");
    machine.SetText(kFirmwareKey, "BaseBoardProduct", "IC17X");
    machine.SetNumber(kSettings, "Force System Type", 2);
    machine.SetNumber(kSettings, "TKV Display Is Present", 0);
    machine.SetNumber(kSettings, "DisplayNumber1", 1);
    const TempFolder folder;
    const std::string shown = Displays(folder, {});
    EXPECT_THAT(shown, AllOf(StartsWith("0 "), HasSubstr("(a console without built-in screen)"),
                             HasSubstr("1 External GUI"), HasSubstr(" -> 1920x1080 at (0, 0)")));
    machine.Remove(kSettings, "TKV Display Is Present");  // as before the shell's first start
    EXPECT_THAT(Displays(folder, {"arrange"}),
                AllOf(StartsWith("1 "), HasSubstr("(a console with built-in screen (TKV))"),
                      HasSubstr("Nothing was changed; --yes arranges without a question.")));
    EXPECT_THAT(Displays(folder, {"arrange", "--yes"}),
                AllOf(StartsWith("1 "), HasSubstr("the displays could not be arranged")));
}

}  // namespace
