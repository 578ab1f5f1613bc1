#include <atomic>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_ScheduleLater.h"
#include "JRCmn/Cmn_ScheduleLaterWin32.h"

namespace {

using Make = std::function<std::unique_ptr<Cmn_ScheduleLater_IF>()>;

constinit std::atomic<const Make*> sOverride{nullptr};
constinit std::atomic<bool> sInUse{false};

}  // namespace

std::unique_ptr<Cmn_ScheduleLater_IF> Cmn_ScheduleLaterFactory::Create() {
    if (const Make* const make = sOverride) {
        sInUse = true;
        return (*make)();
    }
    return std::make_unique<Cmn_ScheduleLaterWin32>();
}

void Cmn_ScheduleLaterFactory::OverrideImplementation(Make make) {
    if (!CMN_VERIFY_AT(47, !sInUse)) return;
    // An empty function takes the override away. Kept for the life of the process: objects that are made while it ends use
    // it, too.
    const Make* const old = sOverride.exchange(make ? new Make(std::move(make)) : nullptr);
    delete old;
}
