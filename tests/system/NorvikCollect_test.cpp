// The support bundle as a user makes it, where something is in the way. What is in a good one, as readers of others see it,
// is support_bundle.py.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "JRCmn/Internal/Cmn_Handle.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

using testing::HasSubstr;

namespace {

constexpr unsigned kLimit = 60'000;

}  // namespace

TEST(NorvikCollect, AFileThatNobodyMayReadIsNamedAndTheRestIsCollected) {
    const TempFolder root;
    std::filesystem::create_directory(root.Path("Logs"));
    const std::string log = root.Path("Logs\\Run #7 App - 01.log"), bundle = root.Path("bundle.zip");
    const NorvikLibInternal::KernelHandle locked(
        ::CreateFileA(log.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    ChildProcess child("norvik.exe", {"collect", bundle}, root.Path());
    EXPECT_EQ(child.Wait(kLimit), 0);
    EXPECT_THAT(child.Output(), HasSubstr("Run #7 App - 01.log cannot be read: "));
    EXPECT_THAT(child.Output(), HasSubstr("(error 32)"));
    EXPECT_EQ(ReadWholeFile(bundle).substr(0, 4), "PK\3\4");
}

TEST(NorvikCollect, AFailureLeavesTheOldFileAndNoPart) {
    const TempFolder root;
    const std::string bundle = root.Path("bundle.zip");
    std::filesystem::create_directory(bundle);  // cannot be replaced
    ChildProcess taken("norvik.exe", {"collect", bundle}, root.Path()),
        missing("norvik.exe", {"collect", root.Path("no\\bundle.zip")}, root.Path());
    EXPECT_EQ(taken.Wait(kLimit), 1);
    EXPECT_THAT(taken.Output(), HasSubstr("cannot write " + bundle));
    EXPECT_EQ(missing.Wait(kLimit), 1);
    EXPECT_FALSE(std::filesystem::exists(bundle + ".part"));
}

TEST(MachineSmallDisk, ABundleThatDoesNotFitSaysSoAndLeavesNothing) {
    const char* const disk = std::getenv("NORVIK_TEST_SMALL_DISK");
    if (!disk) GTEST_SKIP() << "no small disk: NORVIK_TEST_SMALL_DISK is not set";
    const TempFolder root;
    std::string noise;
    for (unsigned i = 0, seed = 1; i < 3'000'000; ++i)
        noise += static_cast<char>((seed = seed * 1'664'525 + 1'013'904'223) >> 24);
    std::filesystem::create_directory(root.Path("Logs"));
    WriteWholeFile(root.Path("Logs\\Run #1 Noise - 01.log"), noise);
    const std::string bundle = std::string(disk) + "\\bundle.zip";
    ChildProcess child("norvik.exe", {"collect", bundle}, root.Path());
    EXPECT_EQ(child.Wait(kLimit), 1);
    EXPECT_THAT(child.Output(), HasSubstr("the disk is full"));
    EXPECT_FALSE(std::filesystem::exists(bundle));
    EXPECT_FALSE(std::filesystem::exists(bundle + ".part"));
}
