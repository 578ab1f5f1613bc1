#include "JRCmn/IF_EventManager.h"

#include "JRCmn/IF_EventHandler.h"

constinit Cmn_AtomicPointer<IF_EventManager> gIF_EventManager;

IF_EventManager::~IF_EventManager() = default;

IF_EventHandler::~IF_EventHandler() = default;

Cmn_String IF_EventHandler::GetLastEventDescription() {
    return {};
}
