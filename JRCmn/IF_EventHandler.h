#pragma once

// IF_EventHandler: something to wait for and what to do when it happens. An event manager (IF_EventManager.h) waits on
// the handles of all its handlers at once and calls the one whose handle is signalled.
//
//   class DoorWatch : public IF_EventHandler {
//       void* GetEventToWaitOn() override { return mDoorOpened.GetHandle(); }
//       void RespondToEvent() override { mDoorOpened.Reset(); ShowDoor(); }
//       Cmn_String GetLastEventDescription() override { return "DoorWatch/opened"; }
//       IPC_Event mDoorOpened;
//   };
//
// For a handle and a function without a class there are IPC_EventHandler and Cmn_SimpleEventHandler.
//
// Threads:   a handler belongs to its manager's thread: it is registered, called and unregistered there
// Ownership: the manager points to the handler and closes nothing. A handler unregisters itself before it is destroyed;
//            both are allowed inside its own RespondToEvent.
// Errors:    what RespondToEvent throws leaves the call that was processing events; the manager's state stays right.
//            On a manager's own thread it ends the program.
// Units:     none

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

// The order of the virtual functions is fixed: programs built against an earlier header call by position.
class NORVIK_API IF_EventHandler {
public:
    virtual ~IF_EventHandler();

    // An event, process, waitable timer or whatever else the platform's wait for several objects takes. Asked once, when the
    // handler is registered: until it is unregistered the handle stays open and the same.
    virtual void* GetEventToWaitOn() = 0;

    // The handle is signalled. To be called once for it, end the signalled state here: a manual-reset event that stays
    // set leads to the next call at once, before all handlers that were registered later.
    virtual void RespondToEvent() = 0;

    // What the last call did, for the line in the log about a handler that blocks its loop; when empty, that line has the
    // name from the registration.
    virtual Cmn_String GetLastEventDescription();
};
