#include "JRCmn/Cmn_EventManager.h"

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <random>

#include "IPC/IPC_EventHandler.h"
#include "JRCmn/Cmn_ScheduleLater.h"
#include "JRCmn/Cmn_SimpleEventHandler.h"
#include "JRCmn/Cmn_TimerService.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/EventLoop.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TraceCapture.h"

using testing::ElementsAre, testing::HasSubstr;
using Lines = std::vector<std::string>;

const std::string kFile = "' failed in JRCmn\\Cmn_EventManager.cpp(";

TEST(VirtualTables, KeepTheOrderThatEarlierProgramsCallBy) {
    EXPECT_EQ(SlotOf(&IF_EventManager::RegisterHandler), 1);
    EXPECT_EQ(SlotOf(&IF_EventManager::UnregisterHandler), 2);
    EXPECT_EQ(SlotOf(&IF_EventManager::EnableWatchdogThread), 3);
    EXPECT_EQ(SlotOf(&IF_EventManager::Shutdown), 4);
    EXPECT_EQ(SlotOf(&IF_EventManager::Stop), 5);
    EXPECT_EQ(SlotOf<bool (IF_EventManager::*)(unsigned)>(&IF_EventManager::ProcessPendingMessagesAndEvents),
              6);
    EXPECT_EQ(SlotOf<bool (IF_EventManager::*)()>(&IF_EventManager::ProcessPendingMessagesAndEvents), 7);
    EXPECT_EQ(SlotOf(&IF_EventManager::StartEventThread), 8);
    EXPECT_EQ(SlotOf(&IF_EventManager::StopEventThread), 9);
    EXPECT_EQ(SlotOf(&IF_EventManager::WaitForEventThread), 10);
    EXPECT_EQ(SlotOf(&IF_EventManager::GetTimerService), 11);
    EXPECT_EQ(SlotOf(&JR_AsioEventManager::ProcessOneEvent), 12);
    EXPECT_EQ(SlotOf(&IF_EventHandler::GetEventToWaitOn), 1);
    EXPECT_EQ(SlotOf(&IF_EventHandler::RespondToEvent), 2);
    EXPECT_EQ(SlotOf(&IF_EventHandler::GetLastEventDescription), 3);
    EXPECT_EQ(SlotOf(&Cmn_TimerService_IF::RegisterOneShotEvent), 1);
    EXPECT_EQ(SlotOf(&Cmn_TimerService_IF::AbortEvent), 2);
    EXPECT_EQ(SlotOf(&Cmn_ScheduleLater_IF::ScheduleLater), 1);
    EXPECT_EQ(SlotOf(&Cmn_ScheduleLater_IF::DiscardPendingJobs), 2);
}

TEST(EventManager, RefusesTheSixtyFourthHandlerAndThoseItCannotWaitFor) {
    Cmn_EventManager manager;
    TestHandler handlers[64];
    struct : TestHandler {
        void* GetEventToWaitOn() override { return nullptr; }
    } withoutHandle;
    EXPECT_FALSE(manager.RegisterHandler(nullptr, "none"));
    EXPECT_TRUE(ReportedOnce("'inEventHandler && mHandlersCount < MAXIMUM_WAIT_OBJECTS - 1" + kFile + "63)"));
    EXPECT_FALSE(manager.RegisterHandler(&withoutHandle, "no handle"));
    const std::string expression = "'(mEvents[mHandlersCount] = inEventHandler->GetEventToWaitOn()) != 0";
    EXPECT_TRUE(ReportedOnce(expression + kFile + "65)"));
    for (int i = 0; i < 63; ++i)
        ASSERT_TRUE(manager.RegisterHandler(&handlers[i], nullptr)) << i;
    EXPECT_FALSE(manager.RegisterHandler(&handlers[63], "one too many"));
    EXPECT_TRUE(ReportedOnce("MAXIMUM_WAIT_OBJECTS - 1"));
    for (const TestHandler& handler : handlers)
        handler.event.Set();
    RunLoop(manager);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(handlers[i].calls, i < 63) << i;
    EXPECT_TRUE(manager.UnregisterHandler(&handlers[0]));
    EXPECT_FALSE(manager.UnregisterHandler(&handlers[0]));
    EXPECT_TRUE(manager.RegisterHandler(&handlers[63], "now there is room"));
}

TEST(EventManager, CallsTheEarliestRegisteredFirstAndLetsAStormStarveTheOthers) {
    Cmn_EventManager manager;
    std::string order;
    TestHandler a([&] { order += 'a'; }), b([&] { order += 'b'; });
    TestHandler storm([&] {
        order += 's';
        if (storm.calls < 100) storm.event.Set();
    });
    for (TestHandler* handler : {&b, &storm, &a}) {
        manager.RegisterHandler(handler, "");
        handler->event.Set();
    }
    RunLoop(manager);
    EXPECT_EQ(order, "b" + std::string(100, 's') + "a");
}

TEST(EventManager, DefaultManagerIsMadeOnceAndForgottenWithItself) {
    ASSERT_TRUE(IF_EventManager::CreateDefaultEventManager());
    IF_EventManager* const first = gIF_EventManager;
    EXPECT_FALSE(IF_EventManager::CreateDefaultEventManager());
    EXPECT_TRUE(ReportedOnce("'gIF_EventManager == 0" + kFile + "30)"));
    EXPECT_EQ(gIF_EventManager, first);
    { Cmn_EventManager other; }
    EXPECT_EQ(gIF_EventManager, first);
    first->EnableWatchdogThread(5, [](bool, void*) { return true; });
    EXPECT_TRUE(ReportedOnce("'!\"Not implemented\"" + kFile + "55)"));
    delete gIF_EventManager;
    EXPECT_EQ(gIF_EventManager, nullptr);
}

TEST(EventManager, ShutDownItDoesNothingAnyMore) {
    Cmn_EventManager manager;
    TestHandler first, second;
    manager.RegisterHandler(&first, "");
    manager.RegisterHandler(&second, "");
    manager.Shutdown();
    first.event.Set();
    EXPECT_FALSE(manager.RegisterHandler(&first, ""));
    EXPECT_FALSE(manager.UnregisterHandler(&second));
    EXPECT_FALSE(manager.ProcessOneEvent(0));
    EXPECT_TRUE(manager.ProcessPendingMessagesAndEvents(2));
    EXPECT_EQ(manager.WaitForMessageOrEvent(1, QS_ALLINPUT), kNoEvent);
    EXPECT_EQ(first.calls, 0);
}

using SlowHandlers = LoopTest;
ON_BOTH_LOOPS(SlowHandlers);

TEST_P(SlowHandlers, AreNamed) {
    FakeClock clock;
    AnyManager manager(GetParam());
    std::unique_ptr<TestHandler> handler;
    bool ran = false;
    enum { eStay, eUnregister, eDelete, eAllow } what = eStay;
    const struct {
        const char* description;
        unsigned milliseconds;
        decltype(what) does;
        const char* named;  // nullptr for no line
    } cases[] = {
        {"", 2000, eStay, nullptr},
        {"", 2001, eStay, "Fans"},
        {"Fans/read", 70'000, eStay, "Fans/read"},
        {"", 2001, eAllow, nullptr},
        {"untouched", 2001, eUnregister, "Fans (just unregistered)"},
        {"untouched", 2001, eDelete, "Fans (just unregistered)"},
    };
    for (const auto& c : cases) {
        what = c.does;
        if (what == eAllow && IsAsio()) continue;
        handler = std::make_unique<TestHandler>([&] {
            clock.Advance(c.milliseconds);
            ran = true;
            if (what == eAllow) static_cast<Cmn_EventManager&>(manager.Get()).AllowCurrentHandlerToBlock();
            if (what == eUnregister || what == eDelete) manager->UnregisterHandler(handler.get());
            if (what == eDelete) handler.reset();
        });
        handler->description = c.description;
        manager->RegisterHandler(handler.get(), "Fans");
        handler->event.Set();
        TakeTraces();
        EXPECT_TRUE(RunUntil(manager, [&] { return std::exchange(ran, false); }));
        Lines expected;
        if (c.named)
            expected.push_back(std::string("Event handler ") + c.named + " has blocked event loop for " +
                               std::to_string(c.milliseconds) + " milliseconds.\n");
        EXPECT_EQ(TakeTraces(), expected) << c.does;
        if (handler) manager->UnregisterHandler(handler.get());
    }
}

TEST(EventManager, AHandlerRegisteredTwiceLosesTheLaterRegistrationFirst) {
    FakeClock clock;
    Cmn_EventManager manager;
    TestHandler handler([&] { clock.Advance(3'000); });
    manager.RegisterHandler(&handler, "first");
    manager.RegisterHandler(&handler, "second");
    manager.UnregisterHandler(&handler);
    handler.event.Set();
    RunLoop(manager);
    EXPECT_THAT(TakeTraces(), ElementsAre(HasSubstr("Event handler first has")));
    manager.UnregisterHandler(&handler);
    EXPECT_FALSE(manager.UnregisterHandler(&handler));
}

// Handlers that come, go and process events at random. Every one checks that it is called only while it is registered,
// and none that is registered is forgotten.
TEST(EventManager, HandlersMayRegisterUnregisterDeleteAndPumpAsTheyLike) {
    Cmn_EventManager manager;
    std::map<int, std::unique_ptr<TestHandler>> alive;
    std::mt19937 random(4711);
    int number = 0, depth = 0, deepest = 0, deleted = 0;
    const auto Choose = [&](unsigned below) { return static_cast<int>(random() % below); };
    const auto Remove = [&](int last, int count) {
        for (int id = last; id > last - count; --id) {
            const auto found = alive.find(id);
            if (found == alive.end()) continue;
            EXPECT_TRUE(manager.UnregisterHandler(found->second.get()));
            alive.erase(found);
            ++deleted;
        }
    };
    std::function<void()> add = [&] {
        if (alive.size() >= 40) return;
        const int id = ++number;
        alive[id] = std::make_unique<TestHandler>([&, id] {
            ASSERT_TRUE(alive.count(id)) << "called after it was unregistered";
            const int choice = Choose(6);
            if (choice == 0) return add();
            if (choice == 1) return Remove(id + Choose(20) - 10, 1);
            if (choice == 2) return Remove(id, 1);
            if (choice == 3) return Remove(id, 40);
            deepest = std::max(deepest, ++depth);
            if (depth < 20) manager.ProcessOneEvent(0);
            --depth;
        });
        EXPECT_TRUE(manager.RegisterHandler(alive[id].get(), "handler"));
        alive[id]->event.Set();
    };
    for (int round = 0; round < 300; ++round) {
        for (int i = 0; i < 8; ++i)
            add();
        for (auto& [id, handler] : alive)
            if (Choose(3) == 0) handler->event.Set();
        RunLoop(manager);
        for (auto& [id, handler] : alive)
            ASSERT_FALSE(handler->event.Wait(0)) << "a handler was left signalled";
    }
    EXPECT_GE(deepest, 3);
    EXPECT_GT(deleted, 100);
}

TEST(EventManager, AThrowingHandlerLeavesTheLoopAsItWas) {
    FakeClock clock;
    DefaultManager manager;
    const std::function<void()> ways[] = {
        [&] { manager.ProcessOneEvent(0); },
        [&] { manager.ProcessPendingMessagesAndEvents(2); },
        [&] { manager.ProcessPendingMessagesAndEvents(); },
        [&] { manager.WaitForMessageOrEvent(1, QS_ALLINPUT); },
    };
    bool throws = true;
    TestHandler handler([&] {
        clock.Advance(2'001);
        if (!throws) return;
        manager.UnregisterHandler(&handler);
        throw std::runtime_error("broken");
    });
    for (const auto& process : ways) {
        throws = true;
        manager.RegisterHandler(&handler, "Broken");
        handler.event.Set();
        EXPECT_THROW(process(), std::runtime_error);
        throws = false;
        manager.RegisterHandler(&handler, "Broken");
        handler.event.Set();
        TakeTraces();
        process();
        // Neither in a call nor just unregistered.
        EXPECT_THAT(TakeTraces(), ElementsAre(HasSubstr("Event handler Broken has blocked")));
        manager.UnregisterHandler(&handler);
    }
    IPC_EventHandler empty(handler.event.GetHandle(), "Empty", nullptr);
    handler.event.Set();
    EXPECT_THROW(manager.ProcessOneEvent(0), std::bad_function_call);
}

TEST(EventManager, AnAbandonedMutexComesToItsHandlerWithOneOwnership) {
    DefaultManager manager;
    const HANDLE mutex = ::CreateMutexA(nullptr, FALSE, nullptr);
    const auto lock = [&] { return static_cast<long>(::WaitForSingleObject(mutex, 0)); };
    int calls = 0;
    IPC_EventHandler abandoned(mutex, "abandoned", [&] {
        ++calls;
        ::ReleaseMutex(mutex);
        manager.UnregisterHandler(&abandoned);
    });
    const std::function<void()> ways[] = {
        [&] { EXPECT_EQ(manager.WaitForMessageOrEvent(1'000, QS_ALLINPUT), kHandlerEvent); },
        [&] {
            EXPECT_FALSE(manager.ProcessOneEvent(1'000));  // ignores it, and finds it signalled the next time
            EXPECT_TRUE(manager.ProcessOneEvent(1'000));
        },
        [&] { manager.ProcessPendingMessagesAndEvents(1'000); },
    };
    for (const auto& process : ways) {
        manager.UnregisterHandler(&abandoned);
        manager.RegisterHandler(&abandoned, "abandoned");
        Cmn_Thread("Owner", eNormal, 0).Launch(lock);
        process();
        Cmn_Thread other("Other", eNormal, 0);
        other.Launch([&] { return lock() == WAIT_OBJECT_0 && ::ReleaseMutex(mutex) ? 1L : 0L; });
        EXPECT_EQ(other.ThreadEnd(), 1) << "the mutex is still owned";
    }
    EXPECT_EQ(calls, 3);
    ::CloseHandle(mutex);
}

TEST(EventManager, AClosedHandleIsReportedUntilItsHandlerGoes) {
    Cmn_EventManager manager;
    auto closed = std::make_unique<TestHandler>();
    TestHandler other;
    manager.RegisterHandler(&other, "other");
    manager.RegisterHandler(closed.get(), "closed");
    manager.WaitForMessageOrEvent(0, QS_ALLINPUT);  // loads what would take the free handle for itself
    closed->event.~IPC_Event();
    EXPECT_EQ(manager.WaitForMessageOrEvent(kLoopLimit, QS_ALLINPUT), kNoEvent);
    EXPECT_TRUE(ReportedOnce("'false" + kFile + "124)"));
    EXPECT_FALSE(manager.ProcessOneEvent(kLoopLimit));
    new (&closed->event) IPC_Event;
    manager.UnregisterHandler(closed.get());
    other.event.Set();
    EXPECT_TRUE(manager.ProcessOneEvent(0));
}

TEST(EventManager, DestroyedWhileItsThreadRunsItIsWhollyThereUntilThatEnds) {
    auto manager = std::make_unique<DefaultManager>();
    IPC_Event running, served;
    std::string described;
    struct Gone : TestHandler {
        using TestHandler::TestHandler;
        ~Gone() override { gIF_EventManager->UnregisterHandler(this); }
        Cmn_String GetLastEventDescription() override { return *described += "touched", ""; }
        std::string* described = nullptr;
    };
    auto* handler = new std::unique_ptr<Gone>;
    handler->reset(new Gone([&, handler] {
        running.Set();
        served.Wait(50);  // while the destructor has begun
        delete handler;
        described += "deleted";
    }));
    (*handler)->described = &described;
    manager->RegisterHandler(handler->get(), "");
    manager->StartEventThread(eNormal, nullptr);
    (*handler)->event.Set();
    ASSERT_TRUE(running.Wait(kLoopLimit));
    manager->StopEventThread();
    manager.reset();
    EXPECT_EQ(described, "deleted");
    EXPECT_FALSE(gIF_EventManager);
}

TEST(EventManager, AnEventThreadWithNothingToWaitForLeavesTheProcessorToOthers) {
    Cmn_EventManager manager;
    ASSERT_TRUE(manager.StartEventThread(eNormal, nullptr));
    FILETIME created, exited, kernel, user;
    const auto Used = [&] {
        ::GetProcessTimes(::GetCurrentProcess(), &created, &exited, &kernel, &user);
        return (kernel.dwLowDateTime + user.dwLowDateTime) / 10'000;
    };
    const auto before = Used();
    EXPECT_FALSE(manager.WaitForEventThread(1'000));
    EXPECT_LT(Used() - before, 300u) << "milliseconds of processor time in a second";
    manager.StopEventThread();
    EXPECT_TRUE(manager.WaitForEventThread(kLoopLimit));
}

TEST(EventManager, ProcessesMessagesBesideEventsUntilTheQuitMessage) {
    Cmn_EventManager manager;
    static int sReceived = 0;
    WNDCLASSA windowClass = {};
    windowClass.lpszClassName = "NorvikTestWindow";
    windowClass.lpfnWndProc = [](HWND window, UINT message, WPARAM w, LPARAM l) -> LRESULT {
        sReceived += message == WM_APP;
        return ::DefWindowProcA(window, message, w, l);
    };
    ::RegisterClassA(&windowClass);
    const HWND window =
        ::CreateWindowA("NorvikTestWindow", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ASSERT_TRUE(window);
    TestHandler handler([&] { ::PostMessageA(window, WM_APP, 0, 0); });
    manager.RegisterHandler(&handler, "");
    handler.event.Set();
    EXPECT_TRUE(manager.ProcessPendingMessagesAndEvents(200));
    EXPECT_EQ(sReceived, 1);
    handler.event.Set();
    ::PostMessageA(window, WM_APP, 0, 0);
    EXPECT_TRUE(manager.ProcessPendingMessagesAndEvents());
    EXPECT_EQ(sReceived, 3);
    manager.Stop();
    EXPECT_FALSE(manager.ProcessPendingMessagesAndEvents());
    manager.Stop();
    EXPECT_FALSE(manager.ProcessPendingMessagesAndEvents(200));
    EXPECT_TRUE(manager.ProcessPendingMessagesAndEvents(2));
    ::DestroyWindow(window);
}

TEST(EventManager, ItsThreadRunsHandlersUntilTheFirstEventAfterTheStop) {
    Cmn_EventManager manager;
    IPC_Event served;
    unsigned startedOn = 0, calledOn = 0;
    TestHandler handler([&] { calledOn = Cmn_Thread::GetCurrentThreadID(), served.Set(); });
    manager.RegisterHandler(&handler, "");
    handler.event.Set();
    ASSERT_TRUE(manager.StartEventThread(eHigh, [&] { startedOn = Cmn_Thread::GetCurrentThreadID(); }));
    EXPECT_FALSE(manager.StartEventThread(eHigh, [] { FAIL(); }));
    ASSERT_TRUE(served.Wait(kLoopLimit));
    EXPECT_EQ(startedOn, calledOn);
    EXPECT_NE(calledOn, Cmn_Thread::GetCurrentThreadID());
    TestHandler foreign;
    EXPECT_TRUE(manager.RegisterHandler(&foreign, "from another thread"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "mThread.GetID() == Cmn_Thread::GetCurrentThreadID()' check "));
    manager.StopEventThread();
    handler.event.Set();
    EXPECT_TRUE(manager.WaitForEventThread(kLoopLimit));
    EXPECT_EQ(handler.calls, 1);
    EXPECT_FALSE(manager.StartEventThread(eHigh, nullptr));
}

using EventHandlers = LoopTest;

TEST_P(EventHandlers, CallTheirFunctionsAndMayDeleteThemselves) {
    IPC_Event event;
    int calls = 0;
    IPC_EventHandler(event.GetHandle(), "Nobody", [] {});
    EXPECT_TRUE(ReportedOnce("'gIF_EventManager' failed in IPC\\IPC_EventHandler.cpp(27)"));
    Cmn_SimpleEventHandler(
        event.GetHandle(), [] {}, "Nobody");
    EXPECT_TRUE(ReportedOnce("'gIF_EventManager' failed in JRCmn\\Cmn_SimpleEventHandler.h(32)"));
    AnyManager manager(GetParam());
    event.Set();
    {
        Cmn_SimpleEventHandler simple(
            event.GetHandle(), [&] { calls += 10; }, Cmn_String());
        EXPECT_TRUE(manager.ProcessOneEvent(kLoopLimit));
    }
    RunLoop(manager);
    EXPECT_EQ(calls, 10);
    auto* handler = new std::unique_ptr<IPC_EventHandler>;
    const std::string text(100, 'x');
    std::string seen;
    handler->reset(new IPC_EventHandler(event.GetHandle(), "Once", [&, handler, text, n = 0]() mutable {
        if (++n < 3) return;  // its state is kept between calls
        delete handler;
        seen = text;
    }));
    RunLoop(manager);  // the event stays set, and nobody touches the handler that is gone
    EXPECT_EQ(seen, text);
}
ON_BOTH_LOOPS(EventHandlers);
