#pragma once

// IPC_Timer: a periodic platform timer that pulses an event of its own, which the default event manager waits on. For
// the few clocks of a program: a process has 16 platform timers in all, while Cmn_PeriodicTimer takes none of its own.
//
//   IPC_Timer blink(500, "Blink", &Blink, &lamp);     // runs from here to its destruction
//
// A pulse that comes while the loop is busy is lost: it wakes only who waits at that moment.
//
// Threads:   made, called and destroyed on the event manager's thread
// Ownership: owns its event and platform timer; points to callback argument and target. A copy shares the event, knows the
//            platform timer, but is not registered; the first of them that goes ends the platform timer.
// Errors:    a timer that cannot be started is reported and never calls. Without an event manager the form with a target never
//            calls, without a word.
// Units:     milliseconds

#include <memory>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/IF_EventHandler.h"

class NORVIK_API IPC_Timer : public IPC_Event, public IF_EventHandler {
public:
    // Calls the function; `name` stands in the log when it blocks the loop.
    IPC_Timer(unsigned int periodMs, const Cmn_String& name, void (*callback)(void*), void* argument);
    // Calls the handler's RespondToEvent; the handler itself need not be registered.
    IPC_Timer(unsigned int periodMs, IF_EventHandler* target);
    IPC_Timer(const IPC_Timer& other) = default;
    // Ends what this timer was doing.
    IPC_Timer& operator=(const IPC_Timer& other);
    ~IPC_Timer() override;

    void* GetEventToWaitOn() override { return GetHandle(); }
    void RespondToEvent() override;
    Cmn_String GetLastEventDescription() override;

private:
    class PlatformTimer;

    void Install(unsigned int periodMs);
    void Uninstall();

    std::shared_ptr<PlatformTimer> mPlatformTimer;
    IF_EventHandler* mTarget = nullptr;
    void (*mCallback)(void*) = nullptr;
    Cmn_String mName;
    void* mArgument = nullptr;
};
