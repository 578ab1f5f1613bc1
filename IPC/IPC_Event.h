#pragma once

// IPC_Event: a platform event, which one thread sets and others wait for, also in other processes when it has a name.
//
//   IPC_Event done(IPC_Event::eManualReset);
//   ... another thread: done.Set();
//   if (!done.Wait(1'000)) Cmn_Trace("Not done within a second.\n");
//
// Threads:   any
// Ownership: owns its handle. A copy has a handle of its own to the same event: setting one sets both.
// Errors:    an event that cannot be created is reported; its handle is null and all functions return false
// Units:     milliseconds; 0xFFFFFFFF waits without a limit

#include "JRCmn/Cmn_Export.h"

class NORVIK_API IPC_Event {
public:
    enum EReset {
        eManualReset,  // stays set until Reset
        eAutoReset,    // one wait that succeeds resets it
    };

    // Not set.
    explicit IPC_Event(EReset reset = eManualReset);
    // The event of this name in the user's session. One that is there already stays as it is: set or not, and with its own
    // way of resetting. It is gone when the last process has let go of it.
    explicit IPC_Event(const char* name, EReset reset = eManualReset);
    IPC_Event(const IPC_Event& other);
    IPC_Event& operator=(const IPC_Event& other);
    ~IPC_Event();

    bool Set() const;
    bool Reset() const;
    // Lets go those who wait now and leaves the event not set. A pulse that finds nobody waiting is lost.
    bool Pulse() const;
    // False after the time.
    bool Wait(unsigned int timeoutMs) const;

    void* GetHandle() const { return mHandle; }

private:
    void* mHandle;
};
