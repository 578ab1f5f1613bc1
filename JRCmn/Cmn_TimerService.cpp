#include "JRCmn/Cmn_TimerService.h"

#include <atomic>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/IF_EventManager.h"

namespace {

// Never destroyed: what runs at exit may still abort its timers.
constinit std::atomic<Cmn_TimerService_IF*> sOverride{nullptr};
constinit std::atomic<bool> sTimersInUse{false};

Cmn_TimerService_IF* FindService() {
    if (Cmn_TimerService_IF* const service = sOverride) return service;
    IF_EventManager* const manager = gIF_EventManager;
    return manager ? &manager->GetTimerService() : nullptr;
}

}  // namespace

Cmn_TimerService_IF::~Cmn_TimerService_IF() = default;

int Cmn_TimerService::RegisterOneShotEvent(unsigned long long delayMs, std::function<void()> callable,
                                           const Cmn_String& description) {
    Cmn_TimerService_IF* const service = FindService();
    if (!CMN_VERIFY_AT(48, service)) return Cmn_TimerService_IF::kInvalidID;
    sTimersInUse = true;
    return service->RegisterOneShotEvent(delayMs, std::move(callable), description);
}

bool Cmn_TimerService::AbortEvent(const int& id) {
    Cmn_TimerService_IF* const service = FindService();
    if (!service) return false;
    sTimersInUse = true;
    return service->AbortEvent(id);
}

void Cmn_TimerService::OverrideTimerService(std::unique_ptr<Cmn_TimerService_IF>&& service) {
    if (!CMN_VERIFY_AT(67, !sTimersInUse)) return;
    delete sOverride.exchange(service.release());
}
