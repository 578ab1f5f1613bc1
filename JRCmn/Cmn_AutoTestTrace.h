#pragma once

// Cmn_AutoTestTrace: in automation test mode every failure text also goes to a sender, which hands it to the automation.
//
//   Cmn_AutoTestTrace::SetGlobalStrategy(std::make_shared<MySender>());
//
// Threads:   any; a sender is called on the thread that failed, several at once
// Ownership: the sender is shared; a call in progress keeps it alive
// Errors:    what a sender throws is dropped: a report must not fail
// Units:     none

#include <memory>

#include "JRCmn/Cmn_Export.h"

namespace Cmn_AutoTestTrace {

// Hands a failure's text to the automation.
class NORVIK_API StrategyTraceSender_IF {
public:
    virtual void Send(const char* failureText) = 0;  // the first slot
    virtual ~StrategyTraceSender_IF();
};

NORVIK_API void SetGlobalStrategy(std::shared_ptr<StrategyTraceSender_IF> sender);
NORVIK_API void ResetGlobalStrategy();

// The installed sender in automation test mode, else null.
NORVIK_API std::shared_ptr<StrategyTraceSender_IF> GetCurrentStrategy();

}  // namespace Cmn_AutoTestTrace
