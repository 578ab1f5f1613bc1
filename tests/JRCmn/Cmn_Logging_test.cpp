#include "JRCmn/Cmn_Logging.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre, testing::HasSubstr;

std::string Folder() {
    return Cmn_Logging::GetLogFolderPath().c_str();
}
std::string Options() {
    return Cmn_Logging::GetOptionsFilePath().c_str();
}
void WriteOptions(const std::string& lines) {
    WriteWholeFile(Options(), "[Log Files Settings]\r\n" + lines);
}

// Every test is a process of its own, which reads the settings once.
class Settings : public testing::TestWithParam<int> {};

TEST_P(Settings, AreReadWithinTheirLimits) {
    const struct {
        std::string run, maxSizeKB, subRuns;
        uint64_t expectedRun, expectedMaxSizeKB, expectedSubRuns;
    } cases[] = {
        {"12", "50", "1", 12, 100, 1},
        {"0x10", "0x800", "10", 16, 2048, 2},
        {"", "", "", 1, 1024, 2},
        {"-1", "-1", "-1", UINT64_MAX, UINT64_MAX, 2},
        {" 7 ", "many", "\"2\"\r\n\x01\x02\xff\xfe garbage = = =\r\n]]][[[", 7, 100, 2},
        {"99999999999999999999999", "101", "0", UINT64_MAX, 101, 0},
    };
    const auto& c = cases[GetParam()];
    WriteOptions("Current_Run_Number=" + c.run + "\r\nMax_Log_File_Size_KB=" + c.maxSizeKB +
                 "\r\nMax_Sub_Run_Count=" + c.subRuns);
    const Cmn_Logging& logging = Cmn_Logging::GetInstance();
    EXPECT_EQ(logging.GetCurrentRunNumber(), c.expectedRun);
    EXPECT_EQ(logging.GetMaxFileSizeInKB(), c.expectedMaxSizeKB);
    EXPECT_EQ(logging.GetRewindSizeInKB(), c.expectedMaxSizeKB / 2);
    EXPECT_EQ(logging.GetMaxSubRunCount(), c.expectedSubRuns);
    // Whatever was read, a log can be written and stays of a size that fits the disk.
    Cmn_LogFile file = logging.CreateLogFile("Any");
    file.WriteWithoutTimeStamp("line\n");
    EXPECT_EQ(ReadWholeFile(file.GetFilePath()), "line\r\n");
}

INSTANTIATE_TEST_SUITE_P(Cmn_Logging, Settings, testing::Range(0, 6));

TEST(Cmn_Logging, TheFirstRunWritesTheSettingsAndIsNumberOne) {
    Cmn_Logging::GetInstance().StartNewRun(30, 2048);
    EXPECT_EQ(Cmn_Logging::GetInstance().GetCurrentRunNumber(), 1u);
    EXPECT_TRUE(Options().ends_with("\\Logs\\Log Settings.ini"));
    EXPECT_EQ(ReadWholeFile(Options()),
              "[Log Files Settings]\r\nCurrent_Run_Number=1\r\nMaximum_Run_Number=30\r\n"
              "Max_Log_File_Size_KB=2048\r\nMax_Sub_Run_Count=20\r\n");
}

TEST(Cmn_Logging, RunsCountUpToTheMaximumAndStartAgainAtOne) {
    const std::pair<const char*, uint64_t> cases[] = {
        {"Current_Run_Number=2\r\nMaximum_Run_Number=3", 3},
        {"Current_Run_Number=3\r\nMaximum_Run_Number=3", 1},
        {"Current_Run_Number=17\r\nMaximum_Run_Number=3", 3},
        {"Current_Run_Number=5\r\nMaximum_Run_Number=0", 1},
        {"Maximum_Run_Number=3", 1},
        {"Current_Run_Number=9", 10},
        {"Current_Run_Number=10", 1},  // the default maximum is 10
    };
    for (const auto& [settings, next] : cases) {
        WriteOptions(settings);
        Cmn_Logging::GetInstance().StartNewRun(10, 1024);
        EXPECT_EQ(Cmn_Logging::GetInstance().GetCurrentRunNumber(), next) << settings;
    }
}

TEST(Cmn_Logging, ANewRunDeletesOnlyTheFilesOfItsOwnNumberThatNobodyHolds) {
    WriteOptions("Current_Run_Number=0\r\nMaximum_Run_Number=20");
    const std::map<std::string, bool> staysByName = {
        {"Run #1 App - 01.log", false},    {"Run #1 App - 02.log", false}, {"Run #1 .log", false},
        {"Run #1 x.log.log", false},       {"Run #1 held.log", true},      {"Run #12 App - 01.log", true},
        {"Run #1 App - 01.log.bak", true}, {"Run #1.log", true},           {"Run #2 App.log", true},
        {"xRun #1 App.log", true},         {"Run #1 App - 01xlog", true}};
    for (const auto& [name, stays] : staysByName)
        WriteWholeFile(Folder() + name, "x");
    const std::ifstream held(Folder() + "Run #1 held.log");
    Cmn_Logging::GetInstance().StartNewRun(20, 1024);
    for (const auto& [name, stays] : staysByName)
        EXPECT_EQ(std::filesystem::exists(Folder() + name), stays) << name;
}

TEST(Cmn_Logging, NewFilesTakeTheFirstFreeNumberThenTheOldestThatNobodyWrites) {
    const Cmn_Logging& logging = Cmn_Logging::GetInstance();
    const std::string run = Folder() + "Run #1 ", one = run + "App - 01.log", two = run + "App - 02.log";
    {
        const Cmn_LogFile first = logging.CreateLogFile("App"), second = logging.CreateLogFile("App"),
                          third = logging.CreateLogFile("App");  // must not spoil what the others write
        EXPECT_TRUE(first.GetFilePath() == one && second.GetFilePath() == two && third.IsOpen());
        EXPECT_EQ(third.GetFilePath(), run + "App - 03.log");
    }
    std::filesystem::last_write_time(two, std::filesystem::last_write_time(one) - std::chrono::hours(1));
    EXPECT_EQ(logging.GetNewLogFilePath("App"), two.c_str());
    const Cmn_LogFile held(two, 1000, 500);
    EXPECT_EQ(logging.GetNewLogFilePath("App"), one.c_str());
    EXPECT_EQ(logging.GetNewLogFilePath("B", ".txt"), (run + "B - 01.txt").c_str());
    // A predicate decides about free names; none that it refuses is returned.
    int asked = 0;
    const auto isSecond = [&](auto&) { return ++asked == 2; };
    EXPECT_EQ(logging.FindNewLogFile("B", ".log", isSecond), (run + "B - 02.log").c_str());
    EXPECT_TRUE(logging.FindNewLogFile("B", ".log", [](auto&) { return false; }).IsEmpty());
}

TEST(Cmn_Logging, NamesThatLeadOutOfTheFolderOpenNothing) {
    const std::string tooLong(300, 'x');
    for (const char* name :
         {"", "..\\outside", "a/b", "C:evil", "a*", "q?", "<x>", "a|b", "\"", "tab\t", tooLong.c_str()})
        EXPECT_FALSE(Cmn_Logging::GetInstance().CreateLogFile(name).IsOpen()) << name;
    EXPECT_TRUE(Cmn_Logging::GetInstance().CreateLogFile("100 %s %n").IsOpen());
    EXPECT_TRUE(AnyContains(TakeTraces(), "\"..\\outside\" cannot be the name of a log file.\n"));
}

TEST(Cmn_Logging, AFolderThatCannotBeMadeLeavesTheProgramRunning) {
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", _pgmptr);  // a file
    Cmn_Logging::GetInstance().StartNewRun(10, 1024);
    EXPECT_EQ(Cmn_Logging::GetInstance().GetCurrentRunNumber(), 1u);
    Cmn_Trace("to the other outputs\n");
    EXPECT_THAT(TakeTraces(),
                ElementsAre(HasSubstr("The log settings cannot be written"), "to the other outputs\n"));
}

TEST(Cmn_Logging, VerboseSubsystemsAreAskedForOnce) {
    // The subsystem is part of the format: its own conversions are carried out.
    WriteWholeFile(Options(), "[Subsystem Logging]\r\nNet=on\r\nDisk=off\r\nFan=ON\r\n%d=on\r\n");
    void (*const unchecked)(const char*, const char*, ...) = &Cmn_VerboseTrace;  // the compiler would refuse
    unchecked("%d", "and %d\n", 1, 2);
    for (int i = 0; i < 2; ++i) {
        Cmn_VerboseTrace("Net", "packet %d\n", 5);
        for (const char* const off : {"Disk", "Shell", "Fan"})
            Cmn_VerboseTrace(off, "never\n");
        WriteWholeFile(Options(), "[Subsystem Logging]\r\nNet=off\r\nDisk=on\r\n");
    }
    EXPECT_THAT(TakeTraces(),
                ElementsAre("1: and 2\n", "Net: packet 5\n", "Subsystem Shell logging is available.\n",
                            HasSubstr("'enabledStr == cOffValue' check failed in JRCmn\\Cmn_Logging.cpp("),
                            "Net: packet 5\n"));
}

}  // namespace
