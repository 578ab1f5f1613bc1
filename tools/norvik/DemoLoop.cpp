// The tour's steps around the event loop: handlers, timers, deferred calls, threads.

#include <memory>
#include <vector>

#include "IPC/IPC_Event.h"
#include "IPC/IPC_EventHandler.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Cmn_ScheduleLater.h"
#include "JRCmn/Cmn_SimpleEventHandler.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Cmn_ThreadChecker.h"
#include "JRCmn/Cmn_Time.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

constexpr unsigned cLimit = 10'000;  // ms that a step waits for what must come

// What lives on the loop's thread is made, used and destroyed there: here by the function that the thread begins with and
// by the handler of the last event.
class Loop {
public:
    template <typename Program>
    explicit Loop(Program makeProgram) {
        gIF_EventManager = &mManager;
        mManager.StartEventThread(eHigh, [this, makeProgram] {
            mQuit = std::make_unique<IPC_EventHandler>(mQuitEvent.GetHandle(), "Quit", [this] {
                mProgram.reset();
                mManager.StopEventThread();
            });
            mProgram = makeProgram();
            mReady.Set();
        });
        mReady.Wait(cLimit);
    }
    ~Loop() { End(); }

    bool End() {
        mQuitEvent.Set();
        return mManager.WaitForEventThread(cLimit);
    }

private:
    IPC_Event mReady, mQuitEvent;
    Cmn_EventManager mManager;
    std::unique_ptr<IPC_EventHandler> mQuit;
    std::shared_ptr<void> mProgram;
};

struct Counts {
    int doors = 0, lamps = 0, ticks = 0, jobs = 0;
    bool inOrder = true;
    IPC_Event door, lamp, ticked, allJobs;
};

constexpr int cThreads = 3, cJobs = 2'000, cTicks = 5;

struct Program {
    explicit Program(Counts& counts)
        : door(counts.door.GetHandle(), "Door",
               [&counts] {
                   counts.door.Reset();
                   ++counts.doors;
               }),
          lamp(
              counts.lamp.GetHandle(),
              [&counts] {
                  counts.lamp.Reset();
                  counts.inOrder &= counts.doors == 1;
                  ++counts.lamps;
              },
              "Lamp"),
          ticks(
              [&counts] {
                  if (++counts.ticks == cTicks) counts.ticked.Set();
              },
              "Ticks") {
        ticks.Start(20);
    }

    IPC_EventHandler door;
    Cmn_SimpleEventHandler<std::function<void()>> lamp;
    Cmn_PeriodicTimer ticks;
    Cmn_ScheduleLater later;
};

}  // namespace

bool RunLoopThread() {
    Counts counts;
    // Both are set before the loop begins: the one that is registered first comes first.
    counts.lamp.Set();
    counts.door.Set();
    Program* program = nullptr;
    Loop loop([&] {
        auto made = std::make_shared<Program>(counts);
        program = made.get();
        return made;
    });
    std::vector<std::unique_ptr<Cmn_Thread>> threads;
    int next[cThreads] = {};
    for (int t = 0; t < cThreads; ++t) {
        threads.push_back(std::make_unique<Cmn_Thread>("Producer", eNormal, 0));
        threads.back()->Launch([&, t] {
            for (int i = 0; i < cJobs; ++i) {
                program->later.ScheduleLater(
                    [&, t, i] {
                        counts.inOrder &= next[t]++ == i;
                        if (++counts.jobs == cThreads * cJobs) counts.allJobs.Set();
                    },
                    "Count");
            }
            return 0L;
        });
    }
    const bool allRan = counts.allJobs.Wait(cLimit);
    const bool ticked = counts.ticked.Wait(cLimit);
    threads.clear();
    const bool ended = loop.End();
    const bool handled = Say(counts.doors == 1 && counts.lamps == 1 && counts.inOrder,
                             "two handlers of events ran once each, in the order of their registration");
    const bool periodic = Say(ticked, "a timer of 20 ms called five times on the same thread");
    const bool jobs =
        Say(allRan && counts.inOrder, "6,000 jobs from three threads ran there, each thread's in its order");
    return Say(ended, "the loop's thread ended when it was told to") && handled && periodic && jobs;
}

bool BlockLoop() {
    Cmn_EventManager manager;
    gIF_EventManager = &manager;
    const IPC_Event question;
    IPC_EventHandler slow(question.GetHandle(), "Slow board", [&question] {
        question.Reset();
        Cmn_Thread::Snooze(2'100);
    });
    question.Set();
    manager.ProcessPendingMessagesAndEvents(1'000);
    return Say(CountInLog("Event handler Slow board has blocked event loop for 2") == 1,
               "a handler that took 2.1 s is named in the log");
}

bool CheckThreads() {
    Cmn_ThreadChecker checker;
    checker.InitIfNeededAndCheck();
    Cmn_Thread stranger("Stranger", eNormal, 0);
    stranger.Launch([&checker] {
        checker.Check();
        return 0L;
    });
    stranger.ThreadEnd();
    const bool caught = Say(CountInLog("RACE CONDITION: ThreadChecker failure: called from thread") == 1,
                            "a call from the wrong thread is reported");

    const IPC_Event begun, release;
    Cmn_Thread waits("Waits", eLow, 0);
    waits.Launch([&] {
        begun.Set();
        release.Wait(cLimit);
        return 7L;
    });
    begun.Wait(cLimit);
    // It may still be on its way from the one event to the other.
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    do
        Cmn_Thread::PrintStackTrace(static_cast<unsigned long>(waits.GetID()));
    while (CountInLog("IPC_Event::Wait") == 0 && Cmn_Time::GetInMilliseconds() - start < cLimit);
    release.Set();
    const bool printed =
        Say(CountInLog("Stack trace of the thread") >= 1 && CountInLog("IPC_Event::Wait") >= 1,
            "the stack of a thread that waits shows where it waits");
    return Say(waits.ThreadEnd() == 7, "and it returns its result") && caught && printed;
}

}  // namespace NorvikTool
