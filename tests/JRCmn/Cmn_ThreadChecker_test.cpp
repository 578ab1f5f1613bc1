#include "JRCmn/Cmn_ThreadChecker.h"

#include <gmock/gmock.h>

#include <list>

#include "tests/support/TraceCapture.h"

using testing::ElementsAre, testing::HasSubstr, testing::IsSupersetOf;

// They stay after their end, so that the platform gives their IDs to no other thread.
static std::list<Cmn_Thread> gOthers;

static unsigned RunOnAnotherThread(const std::function<void()>& use) {
    Cmn_Thread& thread = gOthers.emplace_back("Other", eNormal, 0);
    thread.Launch([&] { return use(), 0L; });
    EXPECT_TRUE(thread.WaitForEnd(60'000));
    return thread.GetID();
}

TEST(Cmn_ThreadChecker, BelongsToTheFirstThreadUntilThisGivesItUp) {
    Cmn_ThreadChecker checker;
    const auto use = [&] { checker.InitIfNeededAndCheck(), checker.Check(); };
    checker.Check();
    checker.Init();
    use();
    const std::string other = std::to_string(RunOnAnotherThread([&] { use(), checker.Init(); }));
    use();  // the other thread has changed nothing
    checker.Init();
    RunOnAnotherThread(use);  // which may have it now
    EXPECT_THAT(TakeReports(),
                ElementsAre(HasSubstr("'!\"Thread checker not initialized\"' failed"), HasSubstr("(40)"),
                            HasSubstr("(56)"), HasSubstr("(56)"), HasSubstr("(40)")));
    const std::string self = std::to_string(Cmn_Thread::GetCurrentThreadID());
    const std::string race = "RACE CONDITION: ThreadChecker ", called = "failure: called from thread ",
                      inited = " while ThreadChecker was already inited from thread ";
    EXPECT_THAT(TakeTraces(),
                IsSupersetOf({race + "init " + called + self + inited + "0.\n",
                              race + "init " + called + other + inited + self + ".\n",
                              race + called + other + " while the only allowed thread is " + self + ".\n"}));
}

TEST(Cmn_SingleThreadingChecker, EachNewThreadRaisesTheAlertOnceWithAllThatWereThere) {
    Cmn_SingleThreadingChecker checker;
    const auto check = [&] { checker.Check("The %s desk"), checker.Check("The %s desk"); };
    check();
    for (std::set<unsigned> ids = {Cmn_Thread::GetCurrentThreadID()}; ids.size() < 3; check()) {
        ids.insert(RunOnAnotherThread(check));
        Cmn_String alert = "Multithreading alert: The %s desk is used by ";
        for (const unsigned id : ids)
            alert.AppendPrintf("%08X ", id);
        EXPECT_THAT(TakeReports(),
                    ElementsAre(HasSubstr((alert + " in JRCmn\\Cmn_Thread.cpp(451)").c_str())));
    }
    checker.Reset();
    RunOnAnotherThread(check);
}
