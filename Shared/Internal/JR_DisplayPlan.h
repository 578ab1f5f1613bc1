#pragma once

// The policy of the console's screens: from what was found to what is to be done. Nothing here asks or changes anything.
//
//   const ArrangementPlan plan = PlanArrangement(facts);
//   for (const DisplayStep& step : plan.steps) Carry(step);
//
// Threads:   any
// Ownership: texts are literals, or owned by the plan
// Errors:    a check that failed is a text in the verdict, for the caller to report
// Units:     pixels; topologies and flags have the platform's numbers

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "JRCmn/Cmn_Display.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "Shared/JR_DisplayManager.h"
#include "Shared/JR_SystemKinds.h"

namespace NorvikLibInternal {

// ---- Whether the built-in screen is fitted.
class ScreenSource {
public:
    virtual ~ScreenSource() = default;
    virtual bool IsStandAlone() = 0;
    virtual ESystemType GetSystemType() = 0;
    virtual std::optional<int> ReadForcedSystemType() = 0;
    virtual EMotherboard GetBoard() = 0;
    virtual bool HasLVDS() = 0;
    virtual bool IsFixedResolutionDisplayConnected(int width, int height) = 0;
    virtual std::optional<bool> ReadStored() = 0;
};

struct ScreenVerdict {
    bool isFitted = false;
    const char* forcedTrace = nullptr;  // or null
    bool isUnknownBoard = false;        // of a console
    bool isNoMoreDetected = false;      // but it was, once, and so counts as fitted
    const char* resultTrace = nullptr;  // or null
};

NORVIK_API ScreenVerdict DecideScreen(ScreenSource& source);

// ---- Which display is which.
class DisplayRuleSource {
public:
    virtual ~DisplayRuleSource() = default;
    // The display number that a setting gives to the function.
    virtual std::optional<int> ReadDisplayNumber(EDisplayFunction function) = 0;
    virtual EMotherboard GetBoard() = 0;
    virtual bool IsScreenAvailable() = 0;
};

struct DisplayVerdict {
    EDisplayFunction function = eDisplayFunction_Unknown;
    const char* failedCheck = nullptr;  // or null
};

NORVIK_API DisplayVerdict ClassifyDisplay(DisplayRuleSource& source, std::string_view deviceName,
                                          std::string_view deviceID, int outputIndex);
NORVIK_API DisplayVerdict ClassifyOutput(DisplayRuleSource& source, int displayNumber, int outputIndex);

// ---- Where the screens belong.
struct DisplayPlace {
    int left = 0, top = 0, width = 0, height = 0;
    EDisplayOrientation orientation = eDisplayOrientation_None;

    friend bool operator==(const DisplayPlace&, const DisplayPlace&) = default;
};

inline constexpr DisplayPlace kScreenPlace = {0, 0, 1280, 800};
inline constexpr DisplayPlace kOnlyExternalPlace = {0, 0, 1920, 1080};  // without the built-in screen

// Of the external monitor beside the built-in screen; a number that is no position counts as left.
NORVIK_API DisplayPlace GetExternalPlace(JR_DisplayManager::EExternalDisplayPos position);

// "WTF" for a number that is no position, as the log has called it from the beginning.
NORVIK_API const char* GetPositionName(JR_DisplayManager::EExternalDisplayPos position);

// ---- The arrangement by setters.
struct ArrangementFacts {
    bool hasScreen = false;
    bool isTopologyRight = false;             // it is GetWantedTopology(hasScreen)
    std::optional<DisplayPlace> screen = {};  // null: not seen
    std::optional<DisplayPlace> external = {};
    JR_DisplayManager::EExternalDisplayPos position = JR_DisplayManager::eExternalDisplayPos_Left;
};

enum class EDisplaySetting { Position, Resolution, Orientation, Primary };

struct DisplayStep {
    EDisplayFunction display;
    EDisplaySetting setting;
    DisplayPlace place;  // has the setting's values
    const char* call;    // what the traces call it
};

struct ArrangementPlan {
    std::vector<Cmn_String> announcements;  // empty: everything is right, and nothing to be done
    std::vector<uint32_t> topologyFlags;    // until one of them is accepted; empty: the topology is right
    bool hopesForMonitor = false;           // the topology is forced although no external monitor was seen
    // In this order, each on the display that has the function then. One without an external monitor is left out; one
    // without the built-in screen is a failure.
    std::vector<DisplayStep> steps;

    bool IsNeeded() const { return !announcements.empty(); }
};

NORVIK_API uint32_t GetWantedTopology(bool hasScreen);
NORVIK_API ArrangementPlan PlanArrangement(const ArrangementFacts& facts);

// ---- The arrangement by explicit paths.
// What counts of a path that the platform offers, source to target.
struct PathOffer {
    uint64_t adapter = 0;
    uint32_t source = 0, target = 0;
    bool isInternal = false;   // the target is a built-in panel
    bool isAvailable = false;  // a monitor is connected
    bool isActive = false;
};

// Indexes of paths.
struct PathChoice {
    std::size_t screen = 0;
    std::optional<std::size_t> external = {};
    const char* failedCheck = nullptr;  // or null; with a text there is no choice
};

bool IsInternalOutput(int32_t technology);
NORVIK_API PathChoice ChoosePaths(const std::vector<PathOffer>& offers);

}  // namespace NorvikLibInternal
