#pragma once

// Cmn_ScheduleLater: hands jobs to the thread of the event manager, from any thread: the library's way into the loop.
//
//   Cmn_ScheduleLater mLater;                                    // made on the loop's thread
//   ... any thread:  mLater.ScheduleLater([this, level] { ShowLevel(level); }, "Show level");
//
// Jobs run soon, in the order in which each thread handed them in; a burst wakes the loop once. A job that processes events
// itself lets newer jobs overtake those behind it in its batch.
//
// Threads:   ScheduleLater from any; everything else on the event manager's thread. Make the object when the manager
//            exists: otherwise the first ScheduleLater registers it, and must then come from the manager's thread.
// Ownership: owns the jobs until they have run. A job may delete the object; the destructor drops those that wait.
//            The object belongs to the manager that it is registered with, and ends before it: later jobs run nowhere.
// Errors:    a job is dropped, with a report, when it is empty or there is no event manager yet. When a job throws,
//            those behind it still run, before newer ones.
// Units:     none

#include <functional>
#include <memory>

#include "JRCmn/Cmn_Export.h"

// The order of the virtual functions is fixed: programs built against an earlier header call by position.
class NORVIK_API Cmn_ScheduleLater_IF {
public:
    virtual ~Cmn_ScheduleLater_IF();

    // `name` stands in the log when the batch of jobs blocks the loop; it is copied.
    virtual void ScheduleLater(std::function<void()> job, const char* name) = 0;
    // Drops the jobs that wait. Those of a batch that is running still run.
    virtual void DiscardPendingJobs() = 0;
};

// The implementation that the factory makes: on the event manager, unless another one is installed.
class NORVIK_API Cmn_ScheduleLater : public Cmn_ScheduleLater_IF {
public:
    Cmn_ScheduleLater();
    ~Cmn_ScheduleLater() override;

    void ScheduleLater(std::function<void()> job, const char* name) override;
    void DiscardPendingJobs() override;

private:
    const std::unique_ptr<Cmn_ScheduleLater_IF> mImpl;
};

namespace Cmn_ScheduleLaterFactory {

NORVIK_API std::unique_ptr<Cmn_ScheduleLater_IF> Create();

// Lets `make` provide the implementation: at the start of the program. Once one was made by it, a change is reported and
// refused.
NORVIK_API void OverrideImplementation(std::function<std::unique_ptr<Cmn_ScheduleLater_IF>()> make);

}  // namespace Cmn_ScheduleLaterFactory
