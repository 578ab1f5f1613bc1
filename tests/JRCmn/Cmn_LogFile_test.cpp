#include "JRCmn/Cmn_LogFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>
#include <vector>

#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"

const std::string kMarker = "\r\n***** REWINDING! *****\r\n";
const std::string kBanner =
    "\r\n\r\n************************\r\n*  LOG FILE TRUNCATED  *\r\n************************\r\n\r\n";

// The text stands right before a page that cannot be accessed: one byte too far faults.
TEST(Cmn_LogFile, LineFeedsBecomeLineEndsInPlaceAndTheBufferIsRestored) {
    const TempFolder folder;
    const std::string path = folder.Path("lines.log");
    constexpr size_t kPage = 4096;
    auto* const page = static_cast<char*>(::VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE, PAGE_READWRITE));
    ASSERT_TRUE(::VirtualAlloc(page, kPage, MEM_COMMIT, PAGE_READWRITE));
    for (const std::string text : {"a\nb", "\n\na line of more\nthan one step\n", "a\r\nb", ""}) {
        char* const buffer = std::strcpy(page + kPage - text.size() - 1, text.c_str());
        Cmn_LogFile file(path, 1000, 400);
        file.WriteWithoutTimeStamp(buffer);
        EXPECT_EQ(buffer, text);
        file.WriteWithoutTimeStamp(static_cast<const char*>(buffer));
        EXPECT_EQ(ReadWholeFile(path), std::regex_replace(text + text, std::regex("\n"), "\r\n"));
    }
    ::VirtualFree(page, 0, MEM_RELEASE);
}

TEST(Cmn_LogFile, AFileThatPassedItsMaximumRewindsAtTheNextWrite) {
    const std::pair<uint64_t, size_t> offsetsByRewind[] = {{999, 1}, {1000, 0}, {5000, 0}, {0, 1000}};
    const TempFolder folder;
    const std::string path = folder.Path("a.log"), full(1000, 'a'), newest = kBanner + "newest\r\n";
    for (const auto& [rewind, offset] : offsetsByRewind) {
        Cmn_LogFile file(path, UINT64_MAX, 0);
        file.WriteWithoutTimeStamp(full.c_str());
        file.ChangeMaxSize(1000, rewind);
        file.WriteWithoutTimeStamp("b");  // 1,000 is not yet beyond the maximum
        EXPECT_EQ(ReadWholeFile(path), full + "b");
        file.WriteWithoutTimeStamp("newest\n");
        std::string expected = full + "b" + kMarker;
        EXPECT_EQ(ReadWholeFile(path), expected.replace(offset, newest.size(), newest)) << rewind;
    }
}

TEST(Cmn_LogFile, StampsAreSecondsAndMillisecondsWhateverTheLengthOfTheText) {
    const FakeClock clock(1'763'139'631'007);
    char buffer[32] = "!";
    EXPECT_EQ(Cmn_LogFile::AddTimeStamp(buffer, 24), 0);
    EXPECT_STREQ(buffer, "!");
    EXPECT_EQ(Cmn_LogFile::AddTimeStamp(buffer, 25), 15);
    const TempFolder folder;
    Cmn_LogFile file(folder.Path("stamps.log"), 1'000'000, 400);
    EXPECT_FALSE(file.EnableTimeStamps(true));
    std::string expected;
    // Up to 8,172 stamp and text go out in one piece, up to 8,190 a line does.
    for (const size_t length : {5u, 8'172u, 8'173u, 8'190u, 8'191u, 20'000u}) {
        const std::string text(length, 'x');
        file.Write((text + "\nend").c_str());
        expected += "1763139631.007 " + text + "\r\nend";
    }
    EXPECT_TRUE(file.EnableTimeStamps(false));
    file.Write("bare\n");
    EXPECT_EQ(ReadWholeFile(folder.Path("stamps.log")), expected + "bare\r\n");
}

TEST(Cmn_LogFile, AFileThatCannotBeOpenedSwallowsAllWrites) {
    const TempFolder folder;
    WriteWholeFile(folder.Path("plain"), "x");
    for (const std::string& path : {folder.Path("missing\\a.log"), folder.Path("plain\\a.log"), folder.Path(),
                                    std::string(_pgmptr), std::string()}) {
        Cmn_LogFile file(path, 10, 5);
        file.Write("something\n");
        file.Flush();
        EXPECT_FALSE(file.IsOpen()) << path;
        EXPECT_EQ(file.GetFilePath(), path);
    }
}

// Others hold the file open for writing, and threads write, while it rewinds and while it is moved.
TEST(Cmn_LogFile, WritesOfManyThreadsStayWholeOverManyRewinds) {
    constexpr uint64_t kMaximum = 100'000;
    const TempFolder folder;
    const std::string path = folder.Path("many.log");
    Cmn_LogFile file(path, kMaximum, kMaximum / 2);
    const std::fstream other(path);
    ASSERT_TRUE(other.is_open());
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&file, t] {
                for (int i = 0; i < 5'000; ++i) {
                    const std::string name = std::to_string(t) + "-" + std::to_string(i);
                    file.WriteWithoutTimeStamp((name + " begin\n" + name + " end\n").data());
                }
            });
        }
        Cmn_LogFile moved(std::move(file));  // what is written at this moment is lost, nothing is torn
        file = std::move(moved);
    }
    const std::string text = ReadWholeFile(path);
    EXPECT_NE(text.find(kBanner), text.npos);
    EXPECT_LE(text.size(), kMaximum + 32 + kMarker.size() + kBanner.size());
    // All is whole but what the banner cuts, what the writing position does, and the rest of a marker.
    const std::regex whole("([0-9]-[0-9]+) begin\r\n\\1 end\r\n");
    EXPECT_LE(std::regex_replace(text, whole, "").size(), kBanner.size() + kMarker.size() + 3 * 32);
}

// Runs on a file system of one megabyte that the test script makes; without one there is nothing to fill.
TEST(MachineSmallDisk, ALogGoesOnAtTheFirstLineAfterADiskHasRoomAgain) {
    const char* const disk = std::getenv("NORVIK_TEST_SMALL_DISK");
    if (!disk) GTEST_SKIP() << "no small disk: NORVIK_TEST_SMALL_DISK is not set";
    const std::string path = std::string(disk) + "\\full.log", filler = std::string(disk) + "\\filler";
    Cmn_LogFile file(path, 10'000'000, 1000);
    file.WriteWithoutTimeStamp("before\n");
    WriteWholeFile(filler, std::string(2'000'000, 'f'));  // all that is left
    for (int i = 0; i < 20; ++i)
        file.WriteWithoutTimeStamp((std::string(5000, 'x') + "\n").c_str());
    EXPECT_LT(ReadWholeFile(path).size(), 20 * 5000u);
    std::filesystem::remove(filler);
    file.WriteWithoutTimeStamp("after\n");
    // The line that the full disk cut is overwritten from its start.
    EXPECT_NE(ReadWholeFile(path).find("\r\nafter\r\n"), std::string::npos);
    file = Cmn_LogFile();
    std::filesystem::remove(path);
}
