#pragma once

// Cmn_SimpleEventHandler: calls a small callable, kept by value, whenever a handle is signalled.
//
//   Cmn_SimpleEventHandler changed(event.GetHandle(), [this] { OnAddressChange(); }, "Address change");
//
// Threads:   made and destroyed on the thread of the default event manager, which makes the calls there
// Ownership: the handle stays the caller's; it must be open until this object is gone. The callable is part of this
//            object and must not delete it (IPC_EventHandler's may).
// Errors:    without a default manager (gIF_EventManager) it is reported and the callable is never called
// Units:     none

#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/IF_EventHandler.h"
#include "JRCmn/IF_EventManager.h"

template <typename F>
class Cmn_SimpleEventHandler : public IF_EventHandler {
public:
    Cmn_SimpleEventHandler(void* event, F callable, const Cmn_String& name)
        : mEvent(event), mCallable(std::move(callable)) {
        IF_EventManager* const manager = gIF_EventManager;
        if (!manager) {
            NorvikLibInternal::VerifyFailed("gIF_EventManager", CMN_SOURCE_FILE, 32);
            return;
        }
        manager->RegisterHandler(this, name.c_str());
    }
    ~Cmn_SimpleEventHandler() override {
        if (IF_EventManager* const manager = gIF_EventManager) manager->UnregisterHandler(this);
    }
    Cmn_SimpleEventHandler(const Cmn_SimpleEventHandler&) = delete;
    Cmn_SimpleEventHandler& operator=(const Cmn_SimpleEventHandler&) = delete;

    void* GetEventToWaitOn() override { return mEvent; }
    void RespondToEvent() override { mCallable(); }

private:
    void* const mEvent;
    F mCallable;
};
