#include "JRCmn/Cmn_ThreadChecker.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"

void Cmn_ThreadChecker::Init() {
    InitWithThread(Cmn_Thread::GetCurrentThreadID());
}

void Cmn_ThreadChecker::InitWithThread(unsigned int threadID) {
    uint32_t stored = threadID;
    // From the thread's ID to none: see the header.
    if (mThreadID.compare_exchange_strong(stored, Cmn_Thread::GetInvalidThreadID())) return;
    Cmn_Trace(
        "RACE CONDITION: ThreadChecker init failure: called from thread %u while ThreadChecker was already "
        "inited from thread %u.\n",
        threadID, stored);
    CMN_VERIFY_AT(40, false);
}

void Cmn_ThreadChecker::InitIfNeededAndCheck() {
    uint32_t none = Cmn_Thread::GetInvalidThreadID();
    if (!mThreadID.compare_exchange_strong(none, Cmn_Thread::GetCurrentThreadID())) Check();
}

void Cmn_ThreadChecker::Check() const {
    const uint32_t current = Cmn_Thread::GetCurrentThreadID(), stored = mThreadID;
    if (stored == current) return;
    if (stored == Cmn_Thread::GetInvalidThreadID()) {
        CMN_VERIFY_AT(51, !"Thread checker not initialized");
        return;
    }
    Cmn_Trace(
        "RACE CONDITION: ThreadChecker failure: called from thread %u while the only allowed thread is "
        "%u.\n",
        current, stored);
    CMN_VERIFY_AT(56, false);
}
