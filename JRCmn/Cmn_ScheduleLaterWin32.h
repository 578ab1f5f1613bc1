#pragma once

// Cmn_ScheduleLaterWin32: what Cmn_ScheduleLater is made of: a queue of jobs with an event that an event manager waits
// on. Programs use Cmn_ScheduleLater; see there. A strategy of a program's own may be made of it:
//
//   const std::shared_ptr<Cmn_ScheduleLater_IF> queue = std::make_shared<Cmn_ScheduleLaterWin32>();   // on the loop's thread
//   queue->ScheduleLater([] { Cmn_Trace("soon\n"); }, "Say soon");                                    // on any
//
// Threads:   ScheduleLater from any, everything else on the event manager's thread
// Ownership: owns the jobs
// Errors:    as Cmn_ScheduleLater
// Units:     none

#include <atomic>
#include <memory>

#include "IPC/IPC_Benaphore.h"
#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_ScheduleLater.h"
#include "JRCmn/IF_EventHandler.h"

class IF_EventManager;
namespace NorvikLibInternal {
class JobBatch;
class JobQueue;
}  // namespace NorvikLibInternal

class NORVIK_API Cmn_ScheduleLaterWin32 : public Cmn_ScheduleLater_IF, private IF_EventHandler {
public:
    // Registers with the default event manager, if there is one.
    Cmn_ScheduleLaterWin32();
    ~Cmn_ScheduleLaterWin32() override;
    Cmn_ScheduleLaterWin32(const Cmn_ScheduleLaterWin32&) = delete;
    Cmn_ScheduleLaterWin32& operator=(const Cmn_ScheduleLaterWin32&) = delete;

    void ScheduleLater(std::function<void()> inJob, const char* name) override;
    void DiscardPendingJobs() override;

private:
    void* GetEventToWaitOn() override { return mWakeEvent.GetHandle(); }
    void RespondToEvent() override;
    Cmn_String GetLastEventDescription() override;

    void ProcessAllPendingJobs();
    void Describe(const NorvikLibInternal::JobBatch& jobs);
    void RegisterWith(IF_EventManager& manager);

    const std::unique_ptr<NorvikLibInternal::JobQueue> mQueue;
    IPC_Event mWakeEvent;
    Cmn_String mLastDescription;
    std::atomic<bool> mRegistered{false};
    IPC_Benaphore mLock;  // held by those who put jobs in, never by the one who takes them out
    // The manager's thread only:
    const std::unique_ptr<NorvikLibInternal::JobBatch> mLeftOver;  // of a batch in which a job threw
    bool* mDestroyed = nullptr;                                    // of the batch that is running
};
