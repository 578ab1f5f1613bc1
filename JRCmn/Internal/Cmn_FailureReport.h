#pragma once

// What failure reports of every kind share.
//
// Threads: any.  Ownership, errors: none.  Units: none.

#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_FailureRate.h"

namespace NorvikLibInternal {

// The line before a report that says how often the place has failed, if this report has one.
void TraceOccurrences(const RateDecision& decision);

// Now, as reports show it: "Nov 14 2026 @ 18:10:31".
Cmn_String GetReportTime();

// The slot of feature toggle 29, which makes failures write a crash dump instead of asking. Without one: no.
using FailureDumpToggle = bool (*)();
NORVIK_API void SetFailureDumpToggle(FailureDumpToggle toggle);

}  // namespace NorvikLibInternal
