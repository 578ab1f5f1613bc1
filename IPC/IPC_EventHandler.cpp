#include "IPC/IPC_EventHandler.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/IF_EventManager.h"

IPC_EventHandler::IPC_EventHandler(void* event, const Cmn_String& name, std::function<void()> callback)
    : mEvent(event), mCallback(std::make_shared<std::function<void()>>(std::move(callback))) {
    IF_EventManager* const manager = gIF_EventManager;
    if (!manager) {
        NorvikLibInternal::VerifyFailed("gIF_EventManager", CMN_SOURCE_FILE, 27);
        return;
    }
    manager->RegisterHandler(this, name.c_str());
}

IPC_EventHandler::~IPC_EventHandler() {
    if (IF_EventManager* const manager = gIF_EventManager) manager->UnregisterHandler(this);
}

void IPC_EventHandler::RespondToEvent() {
    // The function may delete this object, but not itself while it runs.
    const auto callback = mCallback;
    (*callback)();
}
