#pragma once

// Cmn_TimerService: calls a function once, after a time, on the thread of the default event manager. Cmn_Timer and
// Cmn_PeriodicTimer are the comfortable way to use it.
//
//   const int id = Cmn_TimerService::RegisterOneShotEvent(500, [this] { Retry(); }, "Retry");
//   Cmn_TimerService::AbortEvent(id);
//
// Threads:   the event manager's thread
// Ownership: the service owns the function until it has run or is aborted
// Errors:    ID 0 or false, reported where it says so
// Units:     milliseconds; IDs rise from 1 and are used again only after 2,147,483,647

#include <functional>
#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

// What provides timers. The order of the virtual functions is fixed: programs built against an earlier header call by
// position.
class NORVIK_API Cmn_TimerService_IF {
public:
    static constexpr int kInvalidID = 0;

    virtual ~Cmn_TimerService_IF();

    // `description` stands in the log when the function blocks the loop.
    virtual int RegisterOneShotEvent(unsigned long long delayMs, std::function<void()> callable,
                                     const Cmn_String& description) = 0;
    // False when it has run already, or is running. Inside a function this also reaches those that are due in the same pass.
    virtual bool AbortEvent(const int& id) = 0;
};

namespace Cmn_TimerService {

// With the default event manager's timers, or those of the override. Reported when there is neither.
NORVIK_API int RegisterOneShotEvent(unsigned long long delayMs, std::function<void()> callable,
                                    const Cmn_String& description);
NORVIK_API bool AbortEvent(const int& id);

// Puts another service in the place of the event manager's, for the whole process: at the start of the program, before a
// timer is used. Later it is reported and refused, and the service stays the caller's.
NORVIK_API void OverrideTimerService(std::unique_ptr<Cmn_TimerService_IF>&& service);

}  // namespace Cmn_TimerService
