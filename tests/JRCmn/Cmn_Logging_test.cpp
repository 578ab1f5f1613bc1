#include "JRCmn/Cmn_Logging.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string Folder() {
    return Cmn_Logging::GetLogFolderPath().c_str();
}
std::string Options() {
    return Cmn_Logging::GetOptionsFilePath().c_str();
}
void WriteOptions(const std::string& lines) {
    WriteWholeFile(Options(), "[Log Files Settings]\r\n" + lines);
}

TEST(Cmn_Logging, WithoutSettingsTheDefaultsHold) {
    const Cmn_Logging& logging = Cmn_Logging::GetInstance();
    EXPECT_EQ(logging.GetCurrentRunNumber(), 1u);
    EXPECT_EQ(logging.GetMaxFileSizeInKB(), 1024u);
    EXPECT_EQ(logging.GetRewindSizeInKB(), 512u);
    EXPECT_EQ(logging.GetMaxSubRunCount(), 2u);
    EXPECT_TRUE(Folder().ends_with("\\Logs\\"));
    EXPECT_EQ(Options(), Folder() + "Log Settings.ini");
    EXPECT_FALSE(Cmn_FS::IsFile(Options().c_str()));
}

struct SettingsCase {
    const char* lines;
    uint64_t run, maxSizeKB, subRuns;

    friend void PrintTo(const SettingsCase& c, std::ostream* out) {
        *out << c.maxSizeKB << " KB, run " << c.run;
    }
};

class Settings : public testing::TestWithParam<SettingsCase> {};

TEST_P(Settings, AreReadWithinTheirLimits) {
    WriteOptions(GetParam().lines);
    const Cmn_Logging& logging = Cmn_Logging::GetInstance();
    EXPECT_EQ(logging.GetCurrentRunNumber(), GetParam().run);
    EXPECT_EQ(logging.GetMaxFileSizeInKB(), GetParam().maxSizeKB);
    EXPECT_EQ(logging.GetRewindSizeInKB(), GetParam().maxSizeKB / 2);
    EXPECT_EQ(logging.GetMaxSubRunCount(), GetParam().subRuns);
    // Whatever was read, a log can be written and stays of a size that fits the disk.
    Cmn_LogFile file = Cmn_Logging::GetInstance().CreateLogFile("Any");
    file.WriteWithoutTimeStamp("line\n");
    EXPECT_EQ(ReadWholeFile(file.GetFilePath()), "line\r\n");
}

INSTANTIATE_TEST_SUITE_P(
    Cmn_Logging, Settings,
    testing::Values(
        SettingsCase{"Max_Log_File_Size_KB=50\r\nMax_Sub_Run_Count=1\r\nCurrent_Run_Number=12", 12, 100, 1},
        SettingsCase{"Max_Log_File_Size_KB=0x800\r\nMax_Sub_Run_Count=10\r\nCurrent_Run_Number=0x10", 16,
                     2048, 2},
        SettingsCase{"Max_Log_File_Size_KB=\r\nMax_Sub_Run_Count=\r\nCurrent_Run_Number=", 1, 1024, 2},
        SettingsCase{"Max_Log_File_Size_KB=-1\r\nMax_Sub_Run_Count=-1\r\nCurrent_Run_Number=-1", UINT64_MAX,
                     UINT64_MAX, 2},
        SettingsCase{"Max_Log_File_Size_KB=99999999999999999999999\r\nMax_Sub_Run_Count=0", 1, UINT64_MAX, 0},
        SettingsCase{"Max_Log_File_Size_KB=many\r\nMax_Sub_Run_Count=\"2\"\r\nCurrent_Run_Number= 7 ", 7, 100,
                     2},
        SettingsCase{"\x01\x02\xff\xfe garbage = = =\r\n]]][[[", 1, 1024, 2}));

TEST(Cmn_Logging, TheFirstRunWritesTheSettingsAndIsNumberOne) {
    Cmn_Logging::GetInstance().StartNewRun(30, 2048);
    EXPECT_EQ(Cmn_Logging::GetInstance().GetCurrentRunNumber(), 1u);
    EXPECT_EQ(ReadWholeFile(Options()),
              "[Log Files Settings]\r\nCurrent_Run_Number=1\r\nMaximum_Run_Number=30\r\n"
              "Max_Log_File_Size_KB=2048\r\nMax_Sub_Run_Count=20\r\n");
}

TEST(Cmn_Logging, RunsCountUpToTheMaximumAndStartAgainAtOne) {
    const struct {
        const char* settings;
        uint64_t next;
    } cases[] = {
        {"Current_Run_Number=2\r\nMaximum_Run_Number=3", 3},
        {"Current_Run_Number=3\r\nMaximum_Run_Number=3", 1},
        {"Current_Run_Number=17\r\nMaximum_Run_Number=3", 3},
        {"Current_Run_Number=5\r\nMaximum_Run_Number=0", 1},
        {"Current_Run_Number=5", 6},
        {"Maximum_Run_Number=3", 1},
        {"Current_Run_Number=9", 10},
        {"Current_Run_Number=10", 1},  // the default maximum is 10
    };
    for (const auto& c : cases) {
        WriteOptions(c.settings);
        Cmn_Logging::GetInstance().StartNewRun(10, 1024);
        EXPECT_EQ(Cmn_Logging::GetInstance().GetCurrentRunNumber(), c.next) << c.settings;
    }
}

TEST(Cmn_Logging, ANewRunDeletesOnlyTheFilesOfItsOwnNumber) {
    WriteOptions("Current_Run_Number=0\r\nMaximum_Run_Number=20");
    const std::vector<std::string> gone = {"Run #1 App - 01.log", "Run #1 App - 02.log", "Run #1 .log",
                                           "Run #1 x.log.log"};
    const std::vector<std::string> stay = {
        "Run #12 App - 01.log", "Run #1 App - 01.log.bak", "Run #1.log", "Run #2 App.log",
        "xRun #1 App.log",      "Run #1 App - 01xlog",     "notes.txt"};
    for (const auto& name : gone)
        WriteWholeFile(Folder() + name, "x");
    for (const auto& name : stay)
        WriteWholeFile(Folder() + name, "x");
    std::filesystem::create_directory(Folder() + "Run #1 folder.log");
    WriteWholeFile(Folder() + "Run #1 held.log", "x");
    const HANDLE held = ::CreateFileA((Folder() + "Run #1 held.log").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    Cmn_Logging::GetInstance().StartNewRun(20, 1024);
    ::CloseHandle(held);
    for (const auto& name : gone)
        EXPECT_FALSE(Cmn_FS::IsFile((Folder() + name).c_str())) << name;
    for (const auto& name : stay)
        EXPECT_TRUE(Cmn_FS::IsFile((Folder() + name).c_str())) << name;
    EXPECT_TRUE(Cmn_FS::IsFolder((Folder() + "Run #1 folder.log").c_str()));
    EXPECT_TRUE(Cmn_FS::IsFile((Folder() + "Run #1 held.log").c_str()));
}

TEST(Cmn_Logging, NewFilesTakeTheFirstFreeNumberThenTheOldest) {
    const Cmn_Logging& logging = Cmn_Logging::GetInstance();
    const std::string base = Folder() + "Run #1 App - ";
    std::string first, second;
    {
        const Cmn_LogFile one = logging.CreateLogFile("App"), two = logging.CreateLogFile("App");
        first = one.GetFilePath();
        second = two.GetFilePath();
        EXPECT_EQ(first, base + "01.log");
        EXPECT_EQ(second, base + "02.log");
        // Both are being written: a third writer must not spoil either.
        const Cmn_LogFile three = logging.CreateLogFile("App");
        EXPECT_EQ(three.GetFilePath(), base + "03.log");
        EXPECT_TRUE(three.IsOpen());
    }
    // The second is older now.
    const auto now = std::filesystem::last_write_time(first);
    std::filesystem::last_write_time(second, now - std::chrono::hours(1));
    EXPECT_EQ(std::string(logging.GetNewLogFilePath("App")), second);
    const Cmn_LogFile held(second, 1000, 500);
    EXPECT_EQ(std::string(logging.GetNewLogFilePath("App")), first);  // not one that a program writes
    EXPECT_EQ(std::string(logging.GetNewLogFilePath("Other", ".txt")), Folder() + "Run #1 Other - 01.txt");
    // A predicate decides about free names; none that it refuses is returned.
    int asked = 0;
    EXPECT_EQ(std::string(logging.FindNewLogFile("Other", ".log", [&](auto&) { return ++asked == 2; })),
              Folder() + "Run #1 Other - 02.log");
    EXPECT_TRUE(logging.FindNewLogFile("Other", ".log", [](auto&) { return false; }).IsEmpty());
}

TEST(Cmn_Logging, NamesThatLeadOutOfTheFolderOpenNothing) {
    for (const char* name : {"", "..\\outside", "a/b", "C:evil", "a*", "q?", "<x>", "a|b", "\"", "tab\t"}) {
        EXPECT_FALSE(Cmn_Logging::GetInstance().CreateLogFile(name).IsOpen()) << name;
    }
    EXPECT_FALSE(Cmn_Logging::GetInstance().CreateLogFile(std::string(300, 'x').c_str()).IsOpen());
    EXPECT_TRUE(Cmn_Logging::GetInstance().CreateLogFile("100 %s %n").IsOpen());
    EXPECT_TRUE(AnyContains(TakeTraces(), "\"..\\outside\" cannot be the name of a log file.\n"));
}

TEST(Cmn_Logging, AFolderThatCannotBeMadeLeavesTheProgramRunning) {
    const TempFolder folder;
    WriteWholeFile(folder.Path("file"), "x");
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", folder.Path("file").c_str());
    Cmn_Logging::GetInstance().StartNewRun(10, 1024);
    EXPECT_EQ(Cmn_Logging::GetInstance().GetCurrentRunNumber(), 1u);
    Cmn_Trace("to the other outputs\n");
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_TRUE(AnyContains(lines, "The log settings cannot be written"));
    EXPECT_EQ(lines.back(), "to the other outputs\n");
}

TEST(Cmn_Logging, VerboseSubsystemsAreAskedForOnce) {
    WriteWholeFile(Options(), "[Subsystem Logging]\r\nNet=on\r\nDisk=off\r\nFan=ON\r\n");
    Cmn_VerboseTrace("Net", "packet %d\n", 5);
    EXPECT_THAT(TakeTraces(), ElementsAre("Net: packet 5\n"));
    Cmn_VerboseTrace("Disk", "never\n");
    EXPECT_TRUE(TakeTraces().empty());
    for (int i = 0; i < 2; ++i)
        Cmn_VerboseTrace("Shell", "never\n");
    EXPECT_THAT(TakeTraces(), ElementsAre("Subsystem Shell logging is available.\n"));
    for (int i = 0; i < 2; ++i)
        Cmn_VerboseTrace("Fan", "never\n");
    EXPECT_THAT(TakeTraces(),
                ElementsAre(HasSubstr("'enabledStr == cOffValue' check failed in JRCmn\\Cmn_Logging.cpp(")));
    WriteWholeFile(Options(), "[Subsystem Logging]\r\nNet=off\r\nDisk=on\r\n");
    EXPECT_TRUE(Cmn_Logging::GetInstance().IsVerboseSubSystemLoggingEnabled("Net"));
    EXPECT_FALSE(Cmn_Logging::GetInstance().IsVerboseSubSystemLoggingEnabled("Disk"));
    // The subsystem is part of the format: its own conversions are carried out.
    WriteWholeFile(Options(), "[Subsystem Logging]\r\n%d=on\r\n");
    void (*const unchecked)(const char*, const char*, ...) =
        &Cmn_VerboseTrace;  // the compiler would refuse this
    unchecked("%d", "and %d\n", 1, 2);
    EXPECT_THAT(TakeTraces(), ElementsAre("1: and 2\n"));
}

}  // namespace
