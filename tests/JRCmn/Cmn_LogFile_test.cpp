#include "JRCmn/Cmn_LogFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <regex>
#include <thread>
#include <vector>

#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"

namespace {

const std::string kMarker = "\r\n***** REWINDING! *****\r\n";
const std::string kBanner =
    "\r\n\r\n************************\r\n*  LOG FILE TRUNCATED  *\r\n************************\r\n\r\n";

TEST(Cmn_LogFile, LineFeedsBecomeLineEndsAndTheBufferIsRestored) {
    const TempFolder folder;
    const struct {
        const char* text;
        const char* stored;
    } cases[] = {
        {"a\nb", "a\r\nb"}, {"a\n", "a\r\n"},       {"\n", "\r\n"},        {"\n\n\n", "\r\n\r\n\r\n"},
        {"", ""},           {"a\r\nb", "a\r\r\nb"}, {"no end", "no end"},
    };
    for (const auto& c : cases) {
        for (const bool inPlace : {true, false}) {
            Cmn_LogFile file(folder.Path("lines.log"), 1000, 400);
            std::string buffer = c.text;
            if (inPlace) file.WriteWithoutTimeStamp(buffer.data());
            else file.WriteWithoutTimeStamp(static_cast<const char*>(c.text));
            EXPECT_EQ(buffer, c.text);
            EXPECT_EQ(ReadWholeFile(folder.Path("lines.log")), c.stored);
        }
    }
}

// A page that cannot be accessed stands right behind the text: one byte too far faults.
TEST(Cmn_LogFile, NothingIsTouchedBehindTheTerminator) {
    const TempFolder folder;
    Cmn_LogFile file(folder.Path("guard.log"), 100'000, 400);
    const size_t page = 4096;
    char* const pages = static_cast<char*>(::VirtualAlloc(nullptr, 2 * page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    DWORD old;
    ASSERT_TRUE(::VirtualProtect(pages + page, page, PAGE_NOACCESS, &old));
    for (const char* text : {"x\n", "\n", "line one\nline two", "\n\n"}) {
        char* const buffer = pages + page - std::strlen(text) - 1;
        std::memcpy(buffer, text, std::strlen(text) + 1);
        file.WriteWithoutTimeStamp(buffer);
        file.WriteWithoutTimeStamp(static_cast<const char*>(buffer));
        file.Write(buffer);
        EXPECT_STREQ(buffer, text);
    }
    ::VirtualFree(pages, 0, MEM_RELEASE);
}

TEST(Cmn_LogFile, ConstantTextOfAnyLengthArrivesWhole) {
    const TempFolder folder;
    for (const size_t length : {8189u, 8190u, 8191u, 8192u, 20'000u}) {
        Cmn_LogFile file(folder.Path("long.log"), 100'000, 400);
        const std::string text(length, 'x');
        file.WriteWithoutTimeStamp((text + "\nend\n").c_str());
        EXPECT_EQ(ReadWholeFile(folder.Path("long.log")), text + "\r\nend\r\n") << length;
    }
}

TEST(Cmn_LogFile, AFileThatPassedItsMaximumRewindsAtTheNextWrite) {
    const struct {
        uint64_t maximum, rewind, offset;
    } cases[] = {{1000, 400, 600}, {1000, 999, 1}, {1000, 1000, 0}, {1000, 5000, 0}, {1000, 0, 1000}};
    const TempFolder folder;
    for (const auto& c : cases) {
        Cmn_LogFile file(folder.Path("a.log"), UINT64_MAX, 0);
        const std::string full(1000, 'a');
        file.WriteWithoutTimeStamp(full.c_str());
        file.ChangeMaxSize(c.maximum, c.rewind);
        file.WriteWithoutTimeStamp("b");  // 1,000 is not yet beyond the maximum
        EXPECT_EQ(ReadWholeFile(folder.Path("a.log")), full + "b");
        file.WriteWithoutTimeStamp("newest\n");
        std::string expected = full + "b" + kMarker;
        const std::string newest = kBanner + "newest\r\n";
        expected.replace(c.offset, newest.size(), newest);
        EXPECT_EQ(ReadWholeFile(folder.Path("a.log")), expected) << c.rewind;
    }
}

TEST(Cmn_LogFile, StampsAreSecondsAndMilliseconds) {
    const FakeClock clock(1'763'139'631'007);
    char buffer[32];
    EXPECT_EQ(Cmn_LogFile::AddTimeStamp(buffer, 25), 15);
    EXPECT_STREQ(buffer, "1763139631.007 ");
    buffer[0] = '!';
    EXPECT_EQ(Cmn_LogFile::AddTimeStamp(buffer, 24), 0);
    EXPECT_EQ(buffer[0], '!');

    const TempFolder folder;
    Cmn_LogFile file(folder.Path("stamps.log"), 100'000, 400);
    EXPECT_FALSE(file.EnableTimeStamps(true));
    file.Write("short\n");
    const std::string limit(8192 - 15 - 1, 'x');  // stamp and text together just fit
    file.Write(limit.c_str());
    file.Write((limit + "y").c_str());
    EXPECT_TRUE(file.EnableTimeStamps(false));
    file.Write("bare\n");
    EXPECT_EQ(ReadWholeFile(folder.Path("stamps.log")), "1763139631.007 short\r\n1763139631.007 " + limit +
                                                             "1763139631.007 " + limit + "y" + "bare\r\n");
}

TEST(Cmn_LogFile, AFileThatCannotBeOpenedSwallowsAllWrites) {
    const TempFolder folder;
    WriteWholeFile(folder.Path("plain"), "x");
    const HANDLE locked = ::CreateFileA(folder.Path("locked.log").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0,
                                        nullptr);
    for (const std::string& path : {folder.Path("missing\\a.log"), folder.Path("plain\\a.log"), folder.Path(),
                                    folder.Path("locked.log"), std::string()}) {
        Cmn_LogFile file(path, 10, 5);
        EXPECT_FALSE(file.IsOpen()) << path;
        for (int i = 0; i < 5; ++i) file.Write("something\n");
        file.Flush();
        EXPECT_EQ(file.GetFilePath(), path);
    }
    ::CloseHandle(locked);
    EXPECT_FALSE(Cmn_LogFile().IsOpen());
}

// Others read, tail and hold the file open for writing while it rewinds; moving takes the file along.
TEST(Cmn_LogFile, OthersMayHaveTheFileOpenWhileItRewinds) {
    const TempFolder folder;
    Cmn_LogFile file(folder.Path("shared.log"), 1000, 400), moved;
    const HANDLE other = ::CreateFileA(folder.Path("shared.log").c_str(), GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                       nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    for (int i = 0; i < 100; ++i) file.WriteWithoutTimeStamp("a line of some length\n");
    ::CloseHandle(other);
    moved = std::move(file);
    EXPECT_FALSE(file.IsOpen());  // NOLINT: moving swaps
    moved.WriteWithoutTimeStamp("after the move\n");
    const std::string text = ReadWholeFile(folder.Path("shared.log"));
    EXPECT_NE(text.find(kBanner), text.npos);
    EXPECT_NE(text.find("after the move\r\n"), text.npos);
}

TEST(Cmn_LogFile, LinesOfManyThreadsStayWholeOverManyRewinds) {
    constexpr int kThreads = 8, kLines = 10'000;
    constexpr uint64_t kMaximum = 100'000;
    const TempFolder folder;
    Cmn_LogFile file(folder.Path("many.log"), kMaximum, kMaximum / 2);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&file, t] {
            for (int i = 0; i < kLines; ++i) {
                std::string line = "thread " + std::to_string(t) + " line " + std::to_string(i) + " end\n";
                file.WriteWithoutTimeStamp(line.data());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    const std::string text = ReadWholeFile(folder.Path("many.log"));
    constexpr size_t kLongestLine = 32;
    EXPECT_LE(text.size(), kMaximum + kLongestLine + kMarker.size() + kBanner.size());
    // Everything from the head to the banner and from the banner to the writing position is whole lines; one line is cut
    // by the banner and one by the writing position.
    const std::regex whole("thread [0-7] line [0-9]+ end");
    int broken = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find("\r\n", at), text.size());
        const std::string line = text.substr(at, end - at);
        if (!line.empty() && line.find('*') == line.npos && !std::regex_match(line, whole)) ++broken;
        at = end + 2;
    }
    EXPECT_LE(broken, 2);
}

// Runs on a file system of one megabyte that the test script makes; without one there is nothing to fill.
TEST(MachineSmallDisk, ALogGoesOnAtTheFirstLineAfterADiskHasRoomAgain) {
    const char* const disk = std::getenv("NORVIK_TEST_SMALL_DISK");
    if (!disk) GTEST_SKIP() << "no small disk: NORVIK_TEST_SMALL_DISK is not set";
    const std::string folder(disk);
    const std::string filler = folder + "\\filler";
    Cmn_LogFile file(folder + "\\full.log", 10'000'000, 1000);
    file.WriteWithoutTimeStamp("before\n");
    WriteWholeFile(filler, std::string(2'000'000, 'f'));  // all that is left
    const std::string line(5000, 'x');
    for (int i = 0; i < 20; ++i) file.WriteWithoutTimeStamp((line + "\n").c_str());
    const std::string whileFull = ReadWholeFile(folder + "\\full.log");
    EXPECT_LT(whileFull.size(), 20 * line.size());
    ASSERT_TRUE(::DeleteFileA(filler.c_str()));
    file.WriteWithoutTimeStamp("after\n");
    const std::string text = ReadWholeFile(folder + "\\full.log");
    EXPECT_TRUE(text.starts_with("before\r\n"));
    // The line that the full disk cut is overwritten from its start.
    EXPECT_NE(text.find("\r\nafter\r\n"), std::string::npos);
    ::DeleteFileA((folder + "\\full.log").c_str());
}

}  // namespace
