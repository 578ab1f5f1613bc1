#include "IPC/IPC_Mutex.h"

#include <mutex>
#include <thread>

#include "tests/support/ReportedChecks.h"

namespace {

// What another thread gets without waiting.
bool IsFree(IPC_BasicMutex& mutex) {
    bool isFree = false;
    std::thread([&] { isFree = mutex.TimedLock(0) && mutex.Unlock(); }).join();
    return isFree;
}

TEST(IPC_Mutex, BelongsToTheThreadThatLockedItAsOftenAsItDid) {
    IPC_UnnamedMutex mutex;
    EXPECT_TRUE(!mutex.Unlock() && mutex.Lock() && mutex.TimedLock(0xFFFFFFFF) && mutex.Unlock() &&
                !IsFree(mutex));
    EXPECT_TRUE(mutex.Unlock() && IsFree(mutex));
    EXPECT_FALSE((std::lock_guard<IPC_BasicMutex>(mutex), IsFree(mutex)));
    {
        IPC_MutexLocker deferred(mutex, true);
        EXPECT_TRUE(IsFree(mutex) && deferred.TimedLock(0) && deferred.Lock() && !IsFree(mutex));
    }
    EXPECT_TRUE(IsFree(mutex));
    TakeTraces();
    std::thread([&] { mutex.Lock(); }).join();
    EXPECT_TRUE((IPC_MutexLocker(mutex), mutex.Unlock()));
    EXPECT_EQ(Checks(), "190 mMutex.Unlock()|");
    EXPECT_EQ(TakeTraces().at(0), "Mutex was abandoned!\n");
}

TEST(IPC_NamedMutex, CreatesOrTakesWhatIsThereAndTryOpenLeavesNothingBehind) {
    const std::string name = UniqueName("mutex");
    IPC_NamedMutex first(name.c_str()), second(name.c_str());
    EXPECT_FALSE(second.Open() || second.TryOpen() || second.Open() || second.GetHandle());
    ASSERT_TRUE(first.Create() && second.TryOpen());
    EXPECT_FALSE(IsFree(second) || second.Create() || second.Open() || second.TryOpen());
    EXPECT_EQ(TakeReports().size(), 3u);
    second.Close();
    EXPECT_TRUE(second.Create() &&
                AnyContains(TakeTraces(), "'" + name + "' found, will re-use existing copy!\n"));
    EXPECT_TRUE(first.Unlock() && !IsFree(first) && second.Unlock() && IsFree(first));
    ::CloseHandle(first.GetHandle());
    EXPECT_FALSE(first.Lock() || first.TimedLock(0));
    first.Close();
    EXPECT_FALSE(first.Lock() || first.TimedLock(0) || IPC_MutexLocker(first).IsLocked() || first.Unlock());
    EXPECT_EQ(Checks(),
              "37 result == WAIT_OBJECT_0|58 result == WAIT_TIMEOUT|28 mMutex != NULL|46 mMutex != NULL|"
              "28 mMutex != NULL|");
}

TEST(IPC_NamedMutex, RefusesNamesThatItCannotHave) {
    const std::string names[] = {"", std::string("cut\0off", 7), std::string(260, 'n')};
    for (const std::string& name : names) {
        IPC_NamedMutex refused{Cmn_String(std::string_view(name))};
        EXPECT_FALSE(refused.Create() || refused.Open() || refused.TryOpen());
        EXPECT_EQ(TakeReports().size(), 3u) << name;
    }
    EXPECT_TRUE(IPC_NamedMutex(names[2].c_str() + 1).Create());
    const NorvikLibInternal::KernelHandle event(
        ::CreateEventA(nullptr, TRUE, FALSE, UniqueName("event").c_str()));
    IPC_NamedMutex taken(UniqueName("event").c_str());
    EXPECT_FALSE(taken.Create() || taken.TryOpen() || ::GetLastError() != ERROR_INVALID_HANDLE ||
                 taken.Open());
    EXPECT_EQ(Checks(), "105 mMutex != NULL|121 mMutex != NULL|");
}

}  // namespace
