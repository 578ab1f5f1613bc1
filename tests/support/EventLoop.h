#pragma once

// Event managers and handlers for tests.
//
// Threads: as the classes of the library.  Ownership: none but members.  Errors, units: none.

#include <functional>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/IF_EventHandler.h"

// The default event manager for a scope.
struct DefaultManager : Cmn_EventManager {
    DefaultManager() { gIF_EventManager = this; }
};

// A handler on an event of its own, which is reset by each call.
class TestHandler : public IF_EventHandler {
public:
    explicit TestHandler(std::function<void()> respond = [] {}) : mRespond(std::move(respond)) {}

    void* GetEventToWaitOn() override { return event.GetHandle(); }
    void RespondToEvent() override {
        event.Reset();
        ++calls;
        mRespond();
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
