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

// The text stands right before a page that cannot be accessed: one byte too far faults.
TEST(Cmn_LogFile, LineFeedsBecomeLineEndsInPlaceAndTheBufferIsRestored) {
    const TempFolder folder;
    constexpr size_t kPage = 4096;
    char* const pages =
        static_cast<char*>(::VirtualAlloc(nullptr, 2 * kPage, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    DWORD old;
    ASSERT_TRUE(::VirtualProtect(pages + kPage, kPage, PAGE_NOACCESS, &old));
    const char* const cases[][2] = {
        {"a\nb", "a\r\nb"},     {"a\n", "a\r\n"}, {"\n\n\n", "\r\n\r\n\r\n"},
        {"a\r\nb", "a\r\r\nb"}, {"", ""},         {"a line of more\nthan one step", nullptr}};
    for (const auto& [text, stored] : cases) {
        char* const buffer = pages + kPage - std::strlen(text) - 1;
        std::memcpy(buffer, text, std::strlen(text) + 1);
        for (const bool inPlace : {true, false}) {
            Cmn_LogFile file(folder.Path("lines.log"), 1000, 400);
            if (inPlace)
                file.WriteWithoutTimeStamp(buffer);
            else
                file.WriteWithoutTimeStamp(static_cast<const char*>(buffer));
            EXPECT_STREQ(buffer, text);
            EXPECT_EQ(ReadWholeFile(folder.Path("lines.log")),
                      stored ? stored : "a line of more\r\nthan one step");
        }
    }
    ::VirtualFree(pages, 0, MEM_RELEASE);
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

TEST(Cmn_LogFile, StampsAreSecondsAndMillisecondsWhateverTheLengthOfTheText) {
    const FakeClock clock(1'763'139'631'007);
    char buffer[32] = "!";
    EXPECT_EQ(Cmn_LogFile::AddTimeStamp(buffer, 24), 0);
    EXPECT_EQ(buffer[0], '!');
    EXPECT_EQ(Cmn_LogFile::AddTimeStamp(buffer, 25), 15);
    const TempFolder folder;
    Cmn_LogFile file(folder.Path("stamps.log"), 1'000'000, 400);
    EXPECT_FALSE(file.EnableTimeStamps(true));
    std::string expected;
    for (const size_t length :
         {5u, 8'175u, 8'176u, 8'177u, 8'190u, 8'191u, 8'192u, 20'000u}) {  // 8,176 just fits
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
    const HANDLE locked = ::CreateFileA(folder.Path("locked.log").c_str(), GENERIC_WRITE, 0, nullptr,
                                        CREATE_ALWAYS, 0, nullptr);
    for (const std::string& path : {folder.Path("missing\\a.log"), folder.Path("plain\\a.log"), folder.Path(),
                                    folder.Path("locked.log"), std::string()}) {
        Cmn_LogFile file(path, 10, 5);
        for (int i = 0; i < 5; ++i)
            file.Write("something\n");
        file.Flush();
        EXPECT_FALSE(file.IsOpen()) << path;
        EXPECT_EQ(file.GetFilePath(), path);
    }
    ::CloseHandle(locked);
}

// Others hold the file open for writing, and threads write, while it rewinds and while it is moved.
TEST(Cmn_LogFile, LinesOfManyThreadsStayWholeOverManyRewinds) {
    constexpr uint64_t kMaximum = 100'000;
    const TempFolder folder;
    Cmn_LogFile file(folder.Path("many.log"), kMaximum, kMaximum / 2);
    const HANDLE other =
        ::CreateFileA(folder.Path("many.log").c_str(), GENERIC_READ | GENERIC_WRITE,
                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&file, t] {
            for (int i = 0; i < 10'000; ++i) {
                std::string line = "thread " + std::to_string(t) + " line " + std::to_string(i) + " end\n";
                file.WriteWithoutTimeStamp(line.data());
            }
        });
    }
    Cmn_LogFile moved(std::move(file));  // lines of this moment are lost, none is torn
    file = std::move(moved);
    for (std::thread& thread : threads)
        thread.join();
    ::CloseHandle(other);

    const std::string text = ReadWholeFile(folder.Path("many.log"));
    EXPECT_NE(text.find(kBanner), text.npos);
    EXPECT_LE(text.size(), kMaximum + 32 + kMarker.size() + kBanner.size());
    // All lines are whole but one that the banner cuts and one that the writing position does.
    const std::regex whole("thread [0-7] line [0-9]+ end|[* A-Z!]*");
    int broken = 0;
    for (size_t at = 0, end; at < text.size(); at = end + 2) {
        end = std::min(text.find("\r\n", at), text.size());
        broken += !std::regex_match(text.substr(at, end - at), whole);
    }
    EXPECT_LE(broken, 2);
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
    ASSERT_TRUE(::DeleteFileA(filler.c_str()));
    file.WriteWithoutTimeStamp("after\n");
    // The line that the full disk cut is overwritten from its start.
    EXPECT_NE(ReadWholeFile(path).find("\r\nafter\r\n"), std::string::npos);
    file = Cmn_LogFile();
    ::DeleteFileA(path.c_str());
}

}  // namespace
