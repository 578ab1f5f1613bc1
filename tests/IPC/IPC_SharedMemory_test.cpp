#include "IPC/IPC_SharedMemory.h"

#include <algorithm>

#include "IPC/IPC_SeqLock.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ReportedChecks.h"

namespace {

using NorvikLibInternal::KernelHandle;

// Created and open to others.
struct TestBlock : IPC_SharedMemory {
    TestBlock(const std::string& name, unsigned size) : IPC_SharedMemory(name.c_str()) {
        EXPECT_TRUE(Create(size) && Lock(false) && !Lock(false));
    }
    std::string Text() { return {static_cast<char*>(GetUserDataPtr()), GetUserDataSize()}; }
};

TEST(IPC_SharedMemory, CopiesWhatLiesWithinTheBlock) {
    TestBlock block(UniqueName("copies"), 8);
    // {offset, size, count, user data afterwards}
    const std::tuple<unsigned, unsigned, unsigned, const char*> cases[] = {
        {4, 2, 2, "ab......"},    {4, 0, 0, "........"},     {5, 7, 7, ".abcdefg"},  {4, 9, 8, "abcdefgh"},
        {11, 5, 1, ".......a"},   {12, 1, 0, "........"},    {13, 1, 0, "........"}, {~0u, 1, 0, "........"},
        {10, ~0u, 2, "......ab"}, {~0u, ~0u, 0, "........"}, {3, 3, 3, "bc......"},  {0, 20, 12, "efghijkl"},
    };
    for (const auto& [offset, size, count, after] : cases) {
        const std::string text = "abcdefghijklmnopqrstuvwxyz";
        char back[20] = "";
        unsigned written = 77, read = 77;
        block.Write("........", 8, nullptr, 4);
        EXPECT_EQ(block.Write(text.data(), size, &written, offset), offset < 12) << offset;
        EXPECT_TRUE(block.Text() == after && block.Read(back, size, &read, offset) == (offset < 12))
            << offset;
        EXPECT_TRUE(written == count && read == count && back == text.substr(0, count))
            << offset << " " << size;
    }
}

TEST(IPC_SharedMemory, RefusesAndReportsWhatItCannotDo) {
    const auto refuses = [](const std::string& name, unsigned size, size_t reports) {
        IPC_SharedMemory memory(name.c_str());
        return !memory.Create(size) && !memory.Open(false) && !memory.TryOpen(0, false) &&
               TakeReports().size() == reports;
    };
    EXPECT_TRUE(refuses("", 1, 3) && refuses(std::string(252, 'n'), 1, 3));
    for (const unsigned size : {0xFFFFFFFC, 0xFFFFFFFD, 0xFFFFFFFE, 0xFFFFFFFF})
        EXPECT_TRUE(refuses(UniqueName("wraps"), size, 1)) << size;
    IPC_SharedMemory block(UniqueName("refuses").c_str());
    unsigned count = 77;
    EXPECT_FALSE(block.Write("", 1, &count, 0) || count || block.Read(&count, 1, nullptr, 0));
    EXPECT_THAT(Checks(),
                testing::MatchesRegex("\\d+ mFileMappingHandle != 0.\\d+ mFileMappingHandle != 0."));
    EXPECT_TRUE(!block.GetUserDataPtr() && block.GetUserDataSize() == 0 && block.Create(0));
    EXPECT_FALSE(block.Create(1) || block.Open(false) || block.TryOpen(0, false));
    EXPECT_EQ(Checks(),
              "55 mFileMappingHandle == 0|104 mFileMappingHandle == 0|139 mFileMappingHandle == 0|");
}

// An event, a file that was opened for reading, reserved pages, a mapping of one page: everything is released again.
TEST(IPC_SharedMemory, RefusesWhatIsNoBlockOrTooSmall) {
    const std::string name = UniqueName("squatted");
    const std::string open = " (mFileMappingHandle = ::OpenFileMapping(access, FALSE, mName)) != 0|";
    const std::string view = " (mDataPtr = ::MapViewOfFile(mFileMappingHandle, access, 0, 0, 0)) != 0|";
    const std::string newView =
        " (mDataPtr = ::MapViewOfFile (mFileMappingHandle, FILE_MAP_ALL_ACCESS, 0, 0, 0)) != 0|";
    const std::string texts[] = {" mFileMappingHandle != 0|118" + open + "158" + open,
                                 newView + "119" + view + "159" + view, " totalSize <= MappedSize(mDataPtr)|",
                                 " totalSize <= MappedSize(mDataPtr)|"};
    const KernelHandle file(
        ::CreateFileA(_pgmptr, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    const DWORD protections[] = {0, PAGE_READONLY, PAGE_READWRITE | SEC_RESERVE, PAGE_READWRITE};
    IPC_SharedMemory block(name.c_str());
    IPC_NamedMutex mutex((name + " - Mutex").c_str());
    for (int kind = 0; kind < 4; ++kind) {
        const HANDLE backing = kind == 1 ? file.Get() : INVALID_HANDLE_VALUE;
        const KernelHandle squatter(
            kind == 0 ? ::CreateEventA(nullptr, FALSE, FALSE, name.c_str())
                      : ::CreateFileMappingA(backing, nullptr, protections[kind], 0, 100, name.c_str()));
        EXPECT_FALSE(block.Create(1 << 20) || mutex.Open());
        ASSERT_TRUE(mutex.Create() && mutex.Unlock());
        EXPECT_FALSE(block.Open(false) || block.TryOpen(0, false));
        EXPECT_TRUE((::GetLastError() == ERROR_INVALID_HANDLE) == (kind == 0) && !mutex.Unlock())
            << "a lock was left";
        const std::string checks = Checks();
        EXPECT_TRUE(checks.find(texts[kind]) == checks.find(' ') && std::ranges::count(checks, '|') == 3)
            << checks;
        mutex.Close();
    }
}

TEST(IPC_SharedMemory, SharesOneBlockAndWritesToNoneOpenedForReading) {
    const std::string name = UniqueName("shares");
    TestBlock block(name, 4);
    for (const bool isWine : {true, false}) {
        NorvikLibInternal::OverrideWineProbe(isWine);
        block.Write("data", 4, nullptr, 4);
        IPC_SharedMemory reader(name.c_str()), second(name.c_str());
        ASSERT_TRUE(reader.Open(true) && second.TryOpen(0, false));
        EXPECT_FALSE(reader.Write("XXXX", 4, nullptr, 4));
        EXPECT_THAT(Checks(), testing::HasSubstr(" !mIsReadOnly|"));
        MEMORY_BASIC_INFORMATION information = {};
        ::VirtualQuery(reader.GetUserDataPtr(), &information, sizeof information);
        EXPECT_EQ(information.Protect == PAGE_READONLY, !isWine);
        second.Delete();
        ASSERT_TRUE(second.Create(50));
        EXPECT_TRUE(AnyContains(TakeTraces(), "'" + name + "' found, will re-use existing copy!\n"));
        std::thread([&] { EXPECT_FALSE(IPC_SharedMemory(name.c_str()).TryOpen(1, true)); }).join();
        reader.Delete();
        EXPECT_TRUE(second.Lock(false) && reader.Open(false) && reader.GetUserDataSize() == 50);
        EXPECT_TRUE(block.Text() == "data" && reader.Write("XXXX", 4, nullptr, 4) && block.Text() == "XXXX");
    }
}

TEST(IPC_SharedMemory, DoesNotBelieveAHeaderThatAnotherProcessDamaged) {
    const std::string name = UniqueName("damaged");
    TestBlock block(name, 100);
    for (const unsigned total : {0u, 1u, 2u, 3u, 4u, 4096u, 4097u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        block.Write("\x68\0\0", 4, nullptr, 0);  // or the vandal would not get in
        ChildProcess vandal("SharedMemoryChild.exe", {"header", name, std::to_string(total)});
        ASSERT_EQ(vandal.Wait(20'000), 0);
        IPC_SharedMemory late(name.c_str());
        const bool isBelieved = total >= 4 && total <= 4096;
        EXPECT_EQ(late.Open(false), isBelieved) << total;
        EXPECT_EQ(late.GetUserDataSize(), isBelieved ? total - 4 : 0);
        EXPECT_TRUE(TakeReports().size() == !isBelieved && !block.Lock(false)) << "a lock was left";
    }
    EXPECT_EQ(block.GetUserDataSize(), 100u) << "read again";
}

// A copy is torn when not all its letters are the same. Writers die at any point of a write, one in its middle.
TEST(IPC_SharedMemory, NoTornCopyIsAcceptedFromWritersThatAreKilledAndTheNextOneMakesItWhole) {
    const std::string name = UniqueName("torn"), whole(200, 'a');
    const KernelHandle ready(::CreateEventA(nullptr, FALSE, FALSE, UniqueName("ready").c_str()));
    TestBlock memory(name, 204);
    auto& lock = *static_cast<IPC_SeqLock*>(memory.GetUserDataPtr());
    std::string copy(whole);
    long long reads = 0, changes = 0, woken = 0;
    auto readWhole = [&, last = IPC_SeqLockCounter()]() mutable {
        const IPC_SeqLockCounter reading = lock.Read(copy.data(), &lock + 1, copy.size(), 1);
        changes += reading != last;
        last = reading;
        return ++reads && reading.IsValid() && std::ranges::count(copy, copy[0]) == std::ssize(copy);
    };
    for (const char* what : {"flood", "flood", "flood", "half", "heir"}) {
        ChildProcess writer("SharedMemoryChild.exe", {what, name, UniqueName("ready")});
        ASSERT_EQ(::WaitForSingleObject(ready.Get(), 20'000), WAIT_OBJECT_0);
        for (const long long enough = changes + 2'000; *what == 'f' && changes < enough;)
            ASSERT_TRUE(readWhole()) << copy;
        IPC_SharedMemory late(name.c_str());
        if (what == std::string("heir")) memory.Delete();
        EXPECT_FALSE(late.TryOpen(20, false) || memory.Lock(false));
        writer.Kill();
        if (!memory.GetUserDataPtr()) break;
        // A reader of a dead writer sleeps, and functions that are queued to it wake it.
        const auto wake = [](ULONG_PTR count) { ++*reinterpret_cast<long long*>(count); };
        if (*what == 'h') ::QueueUserAPC(wake, ::GetCurrentThread(), reinterpret_cast<ULONG_PTR>(&woken));
        EXPECT_TRUE(lock.ReadBegin().IsValid() ? *what == 'f' && readWhole() : !readWhole());
        EXPECT_EQ(woken, *what == 'h');
        TakeTraces();
        const IPC_SharedMemoryLocker locker(memory);
        EXPECT_EQ(TakeTraces().at(0), "Mutex was abandoned!\n");
        lock.Write(&lock + 1, whole.data(), whole.size());
        EXPECT_TRUE(readWhole() && copy == whole);
    }
    EXPECT_FALSE(memory.Open(false)) << "the mutex was left open";
    std::printf("%lld copies, none torn, of %lld writes\n", reads, changes);
}

}  // namespace
