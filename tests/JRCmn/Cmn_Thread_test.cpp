#include "JRCmn/Cmn_Thread.h"

#include <gmock/gmock.h>

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_ThreadCalls.h"
#include "JRCmn/Internal/Cmn_ThreadStack.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "tests/support/TraceCapture.h"

using namespace NorvikLibInternal;
using testing::Contains, testing::ContainsRegex, testing::ElementsAre, testing::HasSubstr,
    testing::StartsWith;

namespace {

void* const kCaller = reinterpret_cast<void*>(-1);

class Cmn_ThreadTest : public testing::Test {
protected:
    ~Cmn_ThreadTest() override { mCalls = {}; }
    ThreadCalls& mCalls = GetThreadCalls();
};

auto Failed(const std::string& expression, int line) {
    return HasSubstr("'" + expression + "' failed in JRCmn\\Cmn_Thread.cpp(" + std::to_string(line) + ").\n");
}

HANDLE Duplicate(HANDLE handle) {
    HANDLE copy = nullptr, self = ::GetCurrentProcess();
    ::DuplicateHandle(self, handle, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return copy;
}

// The value that the next handle of this process has: another one when a handle was left open.
HANDLE FreshHandle() {
    return KernelHandle(Duplicate(::GetCurrentProcess())).Get();
}

struct Desk {
    const KernelHandle entered{::CreateEventA(nullptr, FALSE, FALSE, nullptr)};
    const KernelHandle goOn{::CreateEventA(nullptr, FALSE, FALSE, nullptr)};

    long Work(void* answer) {
        ::SignalObjectAndWait(entered.Get(), goOn.Get(), INFINITE, FALSE);
        return static_cast<long>(reinterpret_cast<intptr_t>(answer));
    }
};

}  // namespace

TEST_F(Cmn_ThreadTest, LevelsReachThePlatformByTheTable) {
    static std::vector<int> reached, levels;  // native ones as 1000 and more
    mCalls.setPriority = [](HANDLE, int priority) { return reached.push_back(priority), TRUE; };
    mCalls.setThread = [](HANDLE, LONG kind, void* level, ULONG) -> LONG {
        return reached.push_back(500 * kind + *static_cast<LONG*>(level)), 0;
    };
    for (const int level : {INT_MIN, 3, 4, 6, 7, 8, 9, 10, 12, 13, 15, 16})
        EXPECT_TRUE(Cmn_Thread::SetThreadPriority(level, kCaller));
    EXPECT_THAT(reached, ElementsAre(-15, -15, -2, -2, -1, 0, 1, 2, 2, 15, 15, 15, 1016));
    for (int priority = -1; priority <= 8; ++priority)
        levels.push_back(Cmn_ThreadPriority(static_cast<EPriority>(priority)));
    EXPECT_THAT(levels, ElementsAre(8, 2, 4, 6, 8, 10, 15, 24, 31, 8));
    EXPECT_THAT(TakeReports(), ElementsAre(Failed("false", 82), Failed("false", 82)));
}

TEST_F(Cmn_ThreadTest, PrivilegeIsAskedForUntilItIsGranted) {
    static int asked = 0;
    mCalls.setThread = [](auto...) { return static_cast<LONG>(asked == 1 ? 0xC0000002 : 0); };
    mCalls.adjustPrivileges = [](auto...) -> BOOL {
        ::SetLastError(++asked == 2 ? ERROR_NOT_ALL_ASSIGNED : ERROR_SUCCESS);
        return asked != 1;
    };
    for (int call = 1; call <= 4; ++call)
        EXPECT_EQ(Cmn_Thread::SetThreadPriority(16, kCaller), call != 1);
    EXPECT_EQ(asked, 3);
    const auto refused = StartsWith("The adjust thread priority privilege couldn't be obtained...\n");
    EXPECT_THAT(TakeTraces(), ElementsAre(refused, StartsWith("NtSetInformationThread failed: "),
                                          "Set thread priority failed!\n", refused));
}

TEST_F(Cmn_ThreadTest, ARefusedBoostOutsideWineAndAMissingInterfaceAreReported) {
    mCalls.setPriorityBoost = [](HANDLE, BOOL disable) -> BOOL { return !disable; };
    mCalls.statusToError = nullptr;
    for (const bool isWine : {true, false}) {
        OverrideWineProbe(isWine);
        EXPECT_TRUE(Cmn_Thread::SetThreadPriority(8, kCaller));
        EXPECT_FALSE(Cmn_Thread::SetThreadPriority(16, kCaller));
    }
    EXPECT_EQ(Cmn_Thread::GetThreadPriority(kCaller), -1);
    const auto missing = Failed("NativeAPIOK()", 193);
    EXPECT_THAT(TakeReports(), ElementsAre(missing, Failed("JR_ShellApp::IsWine()", 247), missing,
                                           Failed("NativeAPIOK()", 278)));
}

TEST_F(Cmn_ThreadTest, AFailedLaunchLeavesNoThreadHandleOrBody) {
    static HANDLE suspended;
    mCalls.createThread = [](auto...) { return ::SetLastError(5), HANDLE(); };
    Cmn_Thread thread("Never", eNormal, 0);
    const auto calls = std::make_shared<int>(0);
    EXPECT_EQ(thread.Launch([=] { return ++*calls; }), 5);
    mCalls = {};
    mCalls.resumeThread = [](HANDLE handle) -> DWORD {
        suspended = Duplicate(handle);
        return ::SetLastError(6), -1;
    };
    const HANDLE fresh = FreshHandle();
    EXPECT_EQ(thread.Launch([=] { return ++*calls; }), 6);
    EXPECT_EQ(::WaitForSingleObject(suspended, 10'000), WAIT_OBJECT_0);
    ::CloseHandle(suspended);
    EXPECT_EQ(FreshHandle(), fresh);
    EXPECT_THAT(TakeReports(), ElementsAre(Failed("mThreadHandle != 0", 100),
                                           Failed("::ResumeThread(mThreadHandle) != -1", 102)));
    mCalls = {};
    EXPECT_EQ(thread.Launch([] { return 4L; }), 0);
    EXPECT_EQ(thread.ThreadEnd(), 4);
    EXPECT_TRUE(*calls == 0 && calls.use_count() == 1);
}

TEST_F(Cmn_ThreadTest, GoesThroughItsStatesAgainAndAgain) {
    bool finished = false;
    {
        Desk desk;
        Cmn_TThread<Desk> thread("Desk", eNormal, 0);
        EXPECT_TRUE(thread.WaitForEnd(INFINITE));
        const HANDLE fresh = FreshHandle();
        for (long answer = 1; answer <= 200; ++answer) {
            ASSERT_EQ(thread.Launch(&desk, &Desk::Work, reinterpret_cast<void*>(intptr_t{answer})), 0);
            EXPECT_EQ(thread.Launch([] { return 99L; }), -1);
            EXPECT_TRUE(!thread.WaitForEnd(1) && thread.IsRunning() && thread.Result() == answer - 1);
            EXPECT_EQ(Cmn_Thread::GetThreadPriority(thread.GetHandle()), (answer - 1) % 3);
            EXPECT_TRUE(thread.SetPriority(8 + answer % 3));  // also for the next launch
            ::SignalObjectAndWait(desk.goOn.Get(), thread.GetHandle(), INFINITE, FALSE);
            EXPECT_TRUE(thread.WaitForEnd(0) && thread.IsGone() && thread.IsLaunched());
            DWORD code = 0;
            EXPECT_TRUE(::GetExitCodeThread(thread.GetHandle(), &code) && code == DWORD(answer));
            EXPECT_EQ(thread.ThreadEnd(), answer);
            EXPECT_FALSE(thread.IsLaunched() || thread.GetHandle() || FreshHandle() != fresh);
        }
        thread.Launch([&] { return Cmn_Thread::Snooze(50), finished = true; });
    }
    EXPECT_TRUE(finished) << "destroyed while its body ran";
}

TEST_F(Cmn_ThreadTest, EndedByItsOwnBodyItIsFreeForAnotherOne) {
    static Desk desk;
    static HANDLE first;
    static auto* const thread = new Cmn_Thread("Own", eNormal, 0);
    thread->Launch([] {
        first = Duplicate(thread->GetHandle());
        EXPECT_FALSE(thread->WaitForEnd(INFINITE));
        return thread->ThreadEnd() + desk.Work(nullptr);
    });
    ::WaitForSingleObject(desk.entered.Get(), INFINITE);
    thread->Launch([] {
        ::SignalObjectAndWait(desk.goOn.Get(), first, INFINITE, FALSE);
        EXPECT_FALSE(thread->IsGone()) << "the end of the first body counts for the second";
        delete thread;
        return long{::SetEvent(desk.entered.Get())};
    });
    ::WaitForSingleObject(desk.entered.Get(), INFINITE);
    const auto own = HasSubstr("A thread has ended or destroyed its own Cmn_Thread");
    EXPECT_THAT(TakeReports(), ElementsAre(HasSubstr("wait without limit for its own end"), own, own));
}

TEST_F(Cmn_ThreadTest, StackNamesWhereAThreadIsAndIsMissedWhenItHasEnded) {
    Desk desk;
    Cmn_TThread<Desk> thread("Desk", eNormal, 0);
    thread.Launch(&desk, &Desk::Work, nullptr);
    ::WaitForSingleObject(desk.entered.Get(), INFINITE);
    char id[16];
    const std::string heading = std::string("Stack trace of the thread ") + _ultoa(thread.GetID(), id, 16);
    ::SetLastError(1234);
    Cmn_Thread::PrintStackTrace(DWORD{thread.GetID()});
    EXPECT_EQ(::GetLastError(), 1234u);
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_EQ(lines[0], heading + ":\n");
    EXPECT_THAT(lines, Contains(ContainsRegex("Work \\(JRCmn.Cmn_Thread_test.cpp:")));
    mCalls.getContext = [](auto...) { return FALSE; };
    Cmn_Thread::PrintStackTrace(thread.GetHandle());
    EXPECT_THAT(TakeTraces(), ElementsAre(heading + " cannot be obtained.\n"));
    ::SignalObjectAndWait(desk.goOn.Get(), thread.GetHandle(), INFINITE, FALSE);
    Cmn_Thread::PrintStackTrace(thread.GetHandle());
    EXPECT_THAT(TakeReports(), ElementsAre(Failed("::SuspendThread(inThreadHandle) != (DWORD)-1", 345)));
    EXPECT_EQ(TakeTraces().back(), heading + " cannot be obtained.\n");
    Cmn_Thread::PrintStackTrace(kCaller);
    EXPECT_TRUE(AnyContains(TakeTraces(), "StackNamesWhereAThreadIs"));
}

TEST_F(Cmn_ThreadTest, ThreadsThatAllocateTraceAndCaptureEachOtherAllGoOn) {
    constexpr int kCaptures = 1'500;
    std::atomic<int> starting{2}, ending{2};
    const auto meet = [](std::atomic<int>& missing) {
        for (--missing; missing;)
            ::Sleep(0);
    };
    Cmn_Thread threads[2] = {{"A", eNormal, 0}, {"B", eNormal, 0}};
    for (Cmn_Thread& thread : threads)
        thread.Launch([&, &other = threads[&thread == threads]] {
            int captured = 0;
            meet(starting);
            for (StackFrames frames; captured < kCaptures && CaptureThread(other.GetHandle(), frames);
                 ++captured)
                Cmn_Trace("%s\n", std::string(captured, 'x').c_str());
            meet(ending);  // who has ended cannot be captured
            return captured;
        });
    EXPECT_EQ(threads[0].ThreadEnd(), kCaptures);
    EXPECT_EQ(threads[1].ThreadEnd(), kCaptures);
}
