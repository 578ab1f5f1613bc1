#pragma once

// Event managers and handlers for tests. What must work on both managers is a LoopTest:
//
//   using Doors = LoopTest;
//   TEST_P(Doors, Open) {
//       AnyManager manager(GetParam());
//       ...
//       EXPECT_TRUE(RunUntil(manager, [&] { return door.IsOpen(); }));
//   }
//   ON_BOTH_LOOPS(Doors);
//
// Threads: as the classes of the library.  Ownership: none but members.  Errors: none.  Units: milliseconds.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/IF_EventHandler.h"
#include "Shared/JR_AsioEventManager.h"

// Longer than anything takes that works.
constexpr unsigned kLoopLimit = 20'000;

// The default event manager for a scope.
struct DefaultManager : Cmn_EventManager {
    DefaultManager() { gIF_EventManager = this; }
};

enum class LoopKind { kWait, kAsio };

// The same with either manager. An event that is set is ready for the asio one only after a moment.
class AnyManager {
public:
    explicit AnyManager(LoopKind kind) {
        if (kind == LoopKind::kAsio) mAsio.emplace();
        if (kind == LoopKind::kWait) mWait.emplace();
        gIF_EventManager = &Get();
    }
    IF_EventManager& Get() { return mAsio ? static_cast<IF_EventManager&>(*mAsio) : *mWait; }
    IF_EventManager* operator->() { return &Get(); }
    bool ProcessOneEvent(unsigned timeoutMs) {
        return mAsio ? mAsio->ProcessOneEvent(timeoutMs) : mWait->ProcessOneEvent(timeoutMs);
    }

private:
    std::optional<Cmn_EventManager> mWait;
    std::optional<JR_AsioEventManager> mAsio;
};

class LoopTest : public testing::TestWithParam<LoopKind> {
protected:
    static bool IsAsio() { return GetParam() == LoopKind::kAsio; }
};

#define ON_BOTH_LOOPS(suite)                                             \
    INSTANTIATE_TEST_SUITE_P(                                            \
        Loops, suite, testing::Values(LoopKind::kWait, LoopKind::kAsio), \
        [](const auto& test) { return test.param == LoopKind::kAsio ? "Asio" : "Wait"; })

// A handler on an event of its own, which is reset by each call.
class TestHandler : public IF_EventHandler {
public:
    explicit TestHandler(std::function<void()> respond = [] {}) : mRespond(std::move(respond)) {}

    void* GetEventToWaitOn() override { return event.GetHandle(); }
    void RespondToEvent() override {
        event.Reset();
        ++calls;
        const auto respond = mRespond;  // which may delete the handler
        respond();
    }
    Cmn_String GetLastEventDescription() override { return description; }

    IPC_Event event;
    int calls = 0;
    Cmn_String description;

private:
    const std::function<void()> mRespond;
};

// Runs what is ready, and what that makes ready.
inline void RunLoop(Cmn_EventManager& manager) {
    while (manager.ProcessOneEvent(0)) {
    }
}

// For what is expected; false after the limit.
template <typename Manager, typename Condition>
bool RunUntil(Manager& manager, Condition condition) {
    while (!condition()) {
        if (!manager.ProcessOneEvent(kLoopLimit)) return false;
    }
    return true;
}

// For what is not expected to happen: until nothing does for a while.
inline void RunLoop(AnyManager& manager) {
    while (manager.ProcessOneEvent(20)) {
    }
}

// The position in the table of virtual functions. This compiler's pointer to a virtual member function holds its
// offset there, plus one. A destructor takes two places.
template <typename Pointer>
int SlotOf(Pointer function) {
    intptr_t offset;
    std::memcpy(&offset, &function, sizeof offset);
    return static_cast<int>((offset - 1) / static_cast<intptr_t>(sizeof(void*))) - 1;
}
