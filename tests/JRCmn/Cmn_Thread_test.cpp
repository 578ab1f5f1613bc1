#include "JRCmn/Cmn_Thread.h"

#include <gmock/gmock.h>

#include <atomic>

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_ThreadCalls.h"
#include "JRCmn/Internal/Cmn_ThreadStack.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "tests/support/TraceCapture.h"

using namespace NorvikLibInternal;
using namespace testing;

namespace {

void* const kCaller = reinterpret_cast<void*>(-1);

ThreadCalls& gCalls = GetThreadCalls();

auto Failed(const std::string& expression, int line) {
    return HasSubstr("'" + expression + "' failed in JRCmn\\Cmn_Thread.cpp(" + std::to_string(line) + ").\n");
}

// The value that the next handle of this process has: another one when a handle was left open.
HANDLE FreshHandle() {
    return KernelHandle(::CreateEventA(nullptr, FALSE, FALSE, nullptr)).Get();
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

TEST(Cmn_Thread, LevelsReachThePlatformByTheTable) {
    static std::vector<int> reached, levels;  // native ones as 1000 and more
    gCalls.setPriority = [](HANDLE, int priority) { return reached.push_back(priority), TRUE; };
    gCalls.setThread = [](HANDLE, LONG kind, void* level, ULONG) -> LONG {
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

TEST(Cmn_Thread, PrivilegeIsAskedForUntilItIsGranted) {
    static int asked = 0;
    gCalls.setThread = [](auto...) { return static_cast<LONG>(asked == 1 ? 0xC0000002 : 0); };
    gCalls.adjustPrivileges = [](auto...) -> BOOL {
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

TEST(Cmn_Thread, ARefusedBoostOutsideWineAndAMissingInterfaceAreReported) {
    gCalls.setPriorityBoost = [](HANDLE, BOOL disable) -> BOOL { return !disable; };
    gCalls.queryThread = [](auto...) { return LONG(0xC0000008); };
    gCalls.openProcessToken = [](auto...) { return FALSE; };
    EXPECT_EQ(Cmn_Thread::GetThreadPriority(kCaller), -1);
    EXPECT_FALSE(Cmn_Thread::SetThreadPriority(16, kCaller));
    EXPECT_THAT(TakeTraces(), ElementsAre(StartsWith("Cmn_Thread::GetThreadPriority failed: ")));
    gCalls.openProcessToken = &::OpenProcessToken;
    gCalls.statusToError = nullptr;
    for (const bool isWine : {true, false}) {
        OverrideWineProbe(isWine);
        EXPECT_TRUE(Cmn_Thread::SetThreadPriority(8, kCaller));
    }
    OverrideWineProbe(std::nullopt);
    EXPECT_FALSE(Cmn_Thread::SetThreadPriority(16, kCaller));
    EXPECT_EQ(Cmn_Thread::GetThreadPriority(kCaller), -1);
    EXPECT_THAT(TakeReports(), ElementsAre(Failed("JR_ShellApp::IsWine()", 247), Failed("NativeAPIOK()", 193),
                                           Failed("NativeAPIOK()", 278)));
}

TEST(Cmn_Thread, AFailedLaunchLeavesNoThreadHandleOrBody) {
    static HANDLE suspended;
    gCalls.createThread = [](auto...) { return ::SetLastError(5), HANDLE(); };
    gCalls.resumeThread = [](HANDLE handle) -> DWORD {
        suspended = ::OpenThread(SYNCHRONIZE, FALSE, ::GetThreadId(handle));
        return ::SetLastError(6), -1;
    };
    Cmn_Thread thread("Never", eNormal, 0);
    const auto calls = std::make_shared<int>(0);
    EXPECT_EQ(thread.Launch([=] { return ++*calls; }), 5);
    gCalls.createThread = &::CreateThread;
    const HANDLE fresh = FreshHandle();
    EXPECT_EQ(thread.Launch([=] { return ++*calls; }), 6);
    EXPECT_EQ(::WaitForSingleObject(suspended, 10'000), WAIT_OBJECT_0);
    ::CloseHandle(suspended);
    EXPECT_TRUE(FreshHandle() == fresh && !thread.GetHandle());
    EXPECT_THAT(TakeReports(), ElementsAre(Failed("mThreadHandle != 0", 100),
                                           Failed("::ResumeThread(mThreadHandle) != -1", 102)));
    gCalls.resumeThread = &::ResumeThread;
    EXPECT_EQ(thread.Launch([] { return 4L; }), 0);
    EXPECT_EQ(thread.ThreadEnd(), 4);
    EXPECT_TRUE(*calls == 0 && calls.use_count() == 1);
}

TEST(Cmn_Thread, HasItsStackAndPriorityBeforeItRuns) {
    static std::vector<std::string> steps;
    gCalls.createThread = [](auto security, SIZE_T size, auto start, auto run, DWORD flags, auto id) {
        steps.push_back("create " + std::to_string(size) + " " + std::to_string(flags));
        return ::CreateThread(security, size, start, run, flags, id);
    };
    gCalls.setPriority = [](HANDLE, int priority) {
        return steps.push_back("priority " + std::to_string(priority)), TRUE;
    };
    gCalls.resumeThread = [](HANDLE handle) { return steps.push_back("resume"), ::ResumeThread(handle); };
    long answer = 3;
    Cmn_Thread thread("Steps", eHigh, 0x40000);
    thread.Launch([](void* number) { return *static_cast<long*>(number); }, &answer);
    EXPECT_EQ(thread.ThreadEnd(), 3);
    EXPECT_THAT(steps, ElementsAre("create 262144 4", "priority 2", "resume"));
    gCalls.setPriority = [](HANDLE, int) -> BOOL { throw 1; };  // as a failure hook may
    EXPECT_THROW(thread.Launch([] { return 4L; }), int);
    EXPECT_FALSE(thread.IsLaunched() || thread.GetHandle());
}

TEST(Cmn_Thread, GoesThroughItsStatesAgainAndAgain) {
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

TEST(Cmn_Thread, EndedByItsOwnBodyItIsFreeForAnotherOne) {
    static Desk desk;
    static auto* const thread = new Cmn_Thread("Own", eNormal, 0);
    thread->Launch([] {
        EXPECT_FALSE(thread->WaitForEnd(INFINITE));
        EXPECT_EQ(thread->ThreadEnd(), 0);
        return desk.Work(nullptr);
    });
    const KernelHandle first(::OpenThread(SYNCHRONIZE, FALSE, thread->GetID()));
    ::WaitForSingleObject(desk.entered.Get(), INFINITE);
    thread->Launch([&] {
        ::SignalObjectAndWait(desk.goOn.Get(), first.Get(), INFINITE, FALSE);
        EXPECT_FALSE(thread->IsGone()) << "the end of the first body counts for the second";
        delete thread;
        return long{::SetEvent(desk.entered.Get())};
    });
    ::WaitForSingleObject(desk.entered.Get(), INFINITE);
    const auto own = HasSubstr("A thread has ended or destroyed its own Cmn_Thread");
    EXPECT_THAT(TakeReports(), ElementsAre(HasSubstr("wait without limit for its own end"), own, own));
}

TEST(Cmn_Thread, StackNamesWhereAThreadIsAndIsMissedWhenItHasEnded) {
    Desk desk;
    Cmn_TThread<Desk> thread("Desk", eNormal, 0);
    thread.Launch(&desk, &Desk::Work, nullptr);
    ::WaitForSingleObject(desk.entered.Get(), INFINITE);
    char id[16];
    const std::string heading = std::string("Stack trace of the thread ") + _ultoa(thread.GetID(), id, 16),
                      missing = heading + " cannot be obtained.\n";
    ::SetLastError(1234);
    Cmn_Thread::PrintStackTrace(DWORD{thread.GetID()});
    EXPECT_EQ(::GetLastError(), 1234u);
    EXPECT_THAT(TakeTraces(), AllOf(Contains(heading + ":\n"),
                                    Contains(ContainsRegex("Work \\(JRCmn.Cmn_Thread_test.cpp:"))));
    gCalls.getContext = [](auto...) { return FALSE; };
    Cmn_Thread::PrintStackTrace(thread.GetHandle());
    EXPECT_THAT(TakeTraces(), ElementsAre(missing));
    ::SignalObjectAndWait(desk.goOn.Get(), thread.GetHandle(), INFINITE, FALSE);
    Cmn_Thread::PrintStackTrace(thread.GetHandle());
    EXPECT_THAT(TakeReports(), ElementsAre(Failed("::SuspendThread(inThreadHandle) != (DWORD)-1", 345)));
    Cmn_Thread::PrintStackTrace(kCaller);
    EXPECT_THAT(TakeTraces(), IsSupersetOf({HasSubstr(missing), HasSubstr("StackNamesWhereAThreadIs")}));
}

TEST(Cmn_Thread, ThreadsThatAllocateTraceAndCaptureEachOtherAllGoOn) {
    constexpr int kCaptures = 1'500;
    std::atomic<int> begun{0}, done{0};
    const auto Meet = [](std::atomic<int>& arrived) {
        for (++arrived; arrived < 2;)
            ::SwitchToThread();
    };
    Cmn_Thread threads[2] = {{"A", eNormal, 0}, {"B", eNormal, 0}};
    for (Cmn_Thread& thread : threads)
        thread.Launch([&, &other = threads[&thread == threads]] {
            int captured = 0;
            Meet(begun);
            for (StackFrames frames; captured < kCaptures && CaptureThread(other.GetHandle(), frames);
                 ++captured)
                Cmn_Trace("%s\n", std::string(captured, 'x').c_str());
            Meet(done);  // who has ended cannot be captured
            return captured;
        });
    for (Cmn_Thread& thread : threads)
        EXPECT_EQ(thread.ThreadEnd(), kCaptures);
}
