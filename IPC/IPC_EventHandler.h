#pragma once

// IPC_EventHandler: calls a function whenever a handle is signalled.
//
//   IPC_EventHandler unplugged(event.GetHandle(), "Unplugged", [this] { mEvent.Reset(); ShowUnplugged(); });
//
// Threads:   made and destroyed on the thread of the default event manager, which calls the function there
// Ownership: the handle stays the caller's; it must be open until this object is gone. The function may delete it.
// Errors:    without a default manager (gIF_EventManager) it is reported and the function is never called. An empty
//            function throws std::bad_function_call when the handle is signalled.
// Units:     none

#include <functional>
#include <memory>

#include "JRCmn/IF_EventHandler.h"

class NORVIK_API IPC_EventHandler : public IF_EventHandler {
public:
    IPC_EventHandler(void* event, const Cmn_String& name, std::function<void()> callback);
    ~IPC_EventHandler() override;
    IPC_EventHandler(const IPC_EventHandler&) = delete;
    IPC_EventHandler& operator=(const IPC_EventHandler&) = delete;

    void* GetEventToWaitOn() override { return mEvent; }
    void RespondToEvent() override;

private:
    void* const mEvent;
    const std::shared_ptr<std::function<void()>> mCallback;
};
