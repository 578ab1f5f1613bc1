#include "JRCmn/Cmn_ScheduleLater.h"

#include "JRCmn/Cmn_Assert.h"

Cmn_ScheduleLater_IF::~Cmn_ScheduleLater_IF() = default;

Cmn_ScheduleLater::Cmn_ScheduleLater() : mImpl(Cmn_ScheduleLaterFactory::Create()) {
    CMN_VERIFY_AT(26, mImpl);
}

Cmn_ScheduleLater::~Cmn_ScheduleLater() = default;

void Cmn_ScheduleLater::ScheduleLater(std::function<void()> job, const char* name) {
    if (mImpl) mImpl->ScheduleLater(std::move(job), name);
}

void Cmn_ScheduleLater::DiscardPendingJobs() {
    if (mImpl) mImpl->DiscardPendingJobs();
}
