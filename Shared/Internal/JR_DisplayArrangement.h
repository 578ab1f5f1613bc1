#pragma once

// The carrying out of JR_DisplayPlan: what it is told about the displays that are there, and what it does to them.
//
//   const auto facts = ExamineArrangement(displays, hasScreen);
//   if (facts && PlanArrangement(*facts).IsNeeded()) ArrangeScreens(displays, hasScreen, restart, changed);
//
// Threads:   one at a time
// Ownership: none
// Errors:    traced, and false or nothing
// Units:     pixels

#include <optional>

#include "JRCmn/Cmn_Export.h"
#include "Shared/Internal/JR_DisplayPlan.h"
#include "Shared/JR_DisplayManager.h"

namespace NorvikLibInternal {

// Traces what it finds of the topology. Nothing when the platform does not tell.
std::optional<bool> IsTopology(uint32_t wantedTopology);

NORVIK_API DisplayPlace GetPlace(const Cmn_Display& display);

// Of the displays as they were enumerated last. Nothing when the platform does not tell the topology.
NORVIK_API std::optional<ArrangementFacts> ExamineArrangement(const JR_DisplayManager& displays,
                                                              bool hasScreen);

// The whole arrangement of a console.
bool ArrangeScreens(JR_DisplayManager& displays, bool hasScreen, bool& ioRestartRequired, bool& outChanged);

// The one by explicit paths. Where its conditions do not hold, the first of them is reported.
bool ArrangeByPaths(JR_DisplayManager::EExternalDisplayPos position);

// The active configuration, into the platform's database.
bool StoreActiveConfig();

}  // namespace NorvikLibInternal
