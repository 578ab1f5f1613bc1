#include "JRCmn/Cmn_AutoTestTrace.h"

#include <utility>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Trace.h"

namespace {

// Never destroyed: a thread that fails while the process ends still asks for the sender.
struct Slot {
    IPC_Benaphore lock;
    std::shared_ptr<Cmn_AutoTestTrace::StrategyTraceSender_IF> sender;
};

Slot& GetSlot() {
    static Slot& slot = *new Slot;
    return slot;
}

}  // namespace

namespace Cmn_AutoTestTrace {

StrategyTraceSender_IF::~StrategyTraceSender_IF() = default;

void SetGlobalStrategy(std::shared_ptr<StrategyTraceSender_IF> sender) {
    Slot& slot = GetSlot();
    IPC_BenaphoreLocker locker(slot.lock);
    // The old sender goes at the end of the call, outside the lock: its destructor may trace.
    std::swap(slot.sender, sender);
}

void ResetGlobalStrategy() {
    SetGlobalStrategy(nullptr);
}

std::shared_ptr<StrategyTraceSender_IF> GetCurrentStrategy() {
    if (!Cmn_InAutomationTestMode()) return nullptr;
    Slot& slot = GetSlot();
    IPC_BenaphoreLocker locker(slot.lock);
    return slot.sender;
}

}  // namespace Cmn_AutoTestTrace
