#include "Shared/JR_FeatureToggles.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "Shared/JR_Features.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FakeTestMode.h"
#include "tests/support/ReportedChecks.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre, testing::Contains, testing::HasSubstr, testing::IsEmpty, testing::Each;
using Bytes = std::vector<unsigned char>;
using NorvikLibInternal::KernelHandle;

struct Row {
    Feature::EFeature feature;
    std::string name, description;
    bool value, isPublic;
};

std::vector<Row> Rows() {
    constexpr bool On = true, Off = false, Public = true, Internal = false;
#define ROW(number, name, value, audience, text) {Feature::EFeature{number}, #name, text, value, audience},
    return {NORVIK_FEATURES(ROW)};
}

struct Manager {
    explicit Manager(const std::string& path = {}) { JR_FeatureToggleManager::Init(!path.empty(), path); }
    ~Manager() { JR_FeatureToggleManager::Destroy(); }
    JR_FeatureToggleManager* operator->() const { return JR_FeatureToggleManager::GetInstance(); }
};

// As a file would have them.
std::string NonDefaults() {
    std::string lines;
    for (const Row& row : Rows()) {
        const JR_FeatureToggle toggle(row.feature);
        if (toggle != row.value) lines += row.name + (toggle ? ":1\n" : ":0\n");
    }
    return lines;
}

TEST(JR_FeatureToggles, EachFeatureIsWhatTheListSays) {
    const Manager manager;
    for (const Row& row : Rows()) {
        const JR_FeatureToggle toggle(row.feature);
        EXPECT_EQ(toggle.GetName() + toggle.GetDescription(), row.name + row.description);
        EXPECT_TRUE(toggle.GetDefaultValue() == row.value && toggle.IsPublic() == row.isPublic) << row.name;
        EXPECT_TRUE(toggle == row.value && !toggle != row.value &&
                    manager->GetValue(row.feature) == row.value);
    }
    // What other parts ask for by number.
    EXPECT_TRUE(Feature::CrashDumpOnFailure == 29 && Feature::ExternalDisplayAbove == 92);
}

TEST(JR_FeatureToggles, NoNameAndNoDescriptionIsReadableInTheLibrary) {
    char path[MAX_PATH];
    ::GetModuleFileNameA(::GetModuleHandleA("NorvikLib.dll"), path, sizeof path);
    const std::string bytes = ReadWholeFile(path);
    ASSERT_GT(bytes.size(), 100'000u);
    for (const Row& row : Rows())
        EXPECT_TRUE(bytes.find(row.name) == bytes.npos && bytes.find(row.description) == bytes.npos)
            << row.name;
}

TEST(JR_FeatureToggles, OutsideOfInitAndDestroyAToggleIsOffAndThatIsReported) {
    const JR_FeatureToggle toggle(Feature::MonitorOfMixes);  // on by default
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(toggle.GetName() + toggle.GetDescription(), "");
        EXPECT_TRUE(!toggle && !toggle.GetDefaultValue() && !toggle.IsPublic());
        EXPECT_THAT(TakeReports(), Each(HasSubstr("'mgr' failed in Shared\\JR_FeatureToggles.cpp(49).")));
        JR_FeatureToggleManager::GetInstance();
        EXPECT_TRUE(ReportedOnce("'sInstance' failed"));
        JR_FeatureToggleManager::Destroy();
        EXPECT_TRUE(ReportedOnce("'sInstance' failed"));
        const Manager manager;
        EXPECT_TRUE(toggle);
        JR_FeatureToggleManager::Init(false, "");
        EXPECT_TRUE(ReportedOnce("'!sInstance' failed"));
    }
}

TEST(JR_FeatureToggles, ANumberThatIsNoFeatureIsReportedAndOff) {
    const Manager manager;
    manager->Deserialize(Bytes(21, 0xFF), nullptr);
    for (const int number : {-1, 162, 167, 168, INT_MAX, INT_MIN}) {
        const Feature::EFeature feature{number};
        EXPECT_FALSE(manager->GetValue(feature) || manager->IsPublic(feature) || JR_FeatureToggle(feature));
        EXPECT_EQ(manager->GetName(feature) + manager->GetDescription(feature), "");
        const std::vector<std::string> reports = TakeReports();
        EXPECT_EQ(reports.size(), 5u);
        EXPECT_THAT(reports, Each(HasSubstr("'inFeature >= 0 && inFeature < Feature::Count' failed")));
    }
    Cmn_BitMask<162> mask;
    mask.SetBit(static_cast<unsigned>(-1), true);
    EXPECT_EQ(mask.GetByte(21), 0);
    EXPECT_EQ(TakeReports().size(), 2u);
}

TEST(JR_FeatureToggles, OnlyTwentyOneBytesAreTaken) {
    const Manager manager;
    Bytes bytes = manager->Serialize();
    ASSERT_EQ(bytes.size(), 21u);
    bool changed = true;
    for (size_t size = 0; size <= 1 << 20; size += size < 64 ? 1 : size) {
        if (size == 21) continue;
        changed = true;
        EXPECT_FALSE(manager->Deserialize(Bytes(size, 0xFF), &changed) || changed);
    }
    EXPECT_EQ(manager->Serialize(), bytes);
    bytes[1] ^= 1 << 7;  // feature 15
    bytes[20] ^= 0xFC;   // of no features, but kept
    EXPECT_TRUE(manager->Deserialize(bytes, &changed) && changed);
    EXPECT_EQ(NonDefaults(), "ObjectPanner:1\n");
    EXPECT_EQ(manager->Serialize(), bytes);
    EXPECT_TRUE(manager->Deserialize(bytes, &changed) && !changed);
}

TEST(JR_FeatureToggles, AFileIsTakenLineByLineAndSavedWithWhatDiffersFromTheDefaults) {
    const TempFolder folder;
    const std::string path = folder.Path("ft.dat");
    WriteWholeFile(path, "PhaseScope:1\r\nno colon\r\nphasescope:0\nMacroEditor:true\nTempoFromTap:0");
    const Manager manager(path);
    EXPECT_EQ(NonDefaults(), "PhaseScope:1\nMacroEditor:0\nTempoFromTap:0\n");
    EXPECT_TRUE(manager->SaveNonDefaultFeaturesToFile(path));
    EXPECT_EQ(ReadWholeFile(path), NonDefaults());
    manager->DumpNonDefaultFeatures();
    EXPECT_THAT(
        TakeTraces(),
        ElementsAre("Malformed feature spec line: no colon\n", "Unknown feature: phasescope:0\n",
                    "Feature value is not 0 or 1, 0 is read: MacroEditor:true\n", "Non-default features:\n",
                    "PhaseScope: 1.\n", "MacroEditor: 0.\n", "TempoFromTap: 0.\n"));
}

TEST(JR_FeatureToggles, AFolderForFtDatThatCannotBeMadeIsReported) {
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", _pgmptr);  // a file
    JR_FeatureToggleManager::GetNonDefaultToggleFileName();
    EXPECT_TRUE(ReportedOnce("'gJRFolderFinder.FindFolder(fileName, eJR_Folder_AutoSave)' failed"));
}

TEST(JR_FeatureToggles, AFileThatCannotBeWrittenOrReadIsTracedAndTheOldOneStays) {
    const TempFolder folder;
    const Manager manager;
    const std::string path = folder.Path("ft.dat");
    WriteWholeFile(path, "old");
    const KernelHandle reader(
        ::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    for (const std::string& place : {folder.Path(), folder.Path("no\\ft.dat"), path}) {
        TakeTraces();
        EXPECT_FALSE(manager->SaveNonDefaultFeaturesToFile(place));
        EXPECT_THAT(TakeTraces(), ElementsAre("Failed to open " + place + " file for write!\n"));
        EXPECT_FALSE(std::filesystem::exists(place + ".new"));
    }
    EXPECT_EQ(ReadWholeFile(path), "old");
    EXPECT_FALSE(manager->LoadNonDefaultFeaturesFromFile(folder.Path()));
    EXPECT_THAT(TakeTraces(), ElementsAre("Failed to read " + folder.Path() + "!\n"));
}

TEST(MachineSmallDisk, OnAFullDiskTheOldTogglesStay) {
    const char* const disk = std::getenv("NORVIK_TEST_SMALL_DISK");
    if (!disk) GTEST_SKIP() << "no small disk: NORVIK_TEST_SMALL_DISK is not set";
    const std::string path = std::string(disk) + "\\ft.dat", filler = std::string(disk) + "\\filler";
    const Manager manager;
    WriteWholeFile(path, "old");
    WriteWholeFile(filler, std::string(2'000'000, 'f'));  // all that is left
    manager->Deserialize(Bytes(21), nullptr);
    EXPECT_FALSE(manager->SaveNonDefaultFeaturesToFile(path));
    EXPECT_EQ(ReadWholeFile(path), "old");
    std::filesystem::remove(filler);
    EXPECT_TRUE(manager->SaveNonDefaultFeaturesToFile(path));
    std::filesystem::remove(path);
}

TEST(JR_FeatureToggles, AProgramKilledWhileItSavesLeavesAWholeFile) {
    const TempFolder folder;
    const std::string path = folder.Path("ft.dat"), name = UniqueName("saved");
    const KernelHandle saved(::CreateEventA(nullptr, FALSE, FALSE, name.c_str()));
    for (int round = 0; round < 20; ++round) {
        ChildProcess child("ToggleChild.exe", {path, name});
        for (int i = 0; i <= 2 + round % 5; ++i)
            ASSERT_EQ(::WaitForSingleObject(saved.Get(), 30'000), WAIT_OBJECT_0);
        child.Kill();
        const Manager manager(path);
        const Bytes bytes = manager->Serialize();  // all on or all off
        EXPECT_EQ(std::count(bytes.begin(), bytes.begin() + 20, bytes[3] == 0 ? 0 : 0xFF), 20);
        EXPECT_EQ(ReadWholeFile(path), NonDefaults());
    }
}

TEST(JR_FeatureToggles, ToggleTwentyNineMakesFailuresWriteADump) {
    FakeTestMode(2);
    const Manager manager;
    manager->Deserialize(Bytes(21, 0xFF), nullptr);
    // A dump of all memory takes long under Wine; without a log folder it is only tried.
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", _pgmptr);
    EXPECT_FALSE(Cmn_Assert::FailedVerify("x", "f.cpp", 12));
    EXPECT_THAT(TakeTraces(), Contains("Auto-generating a crash dump on failure...\n"));
}

}  // namespace
