#include "Shared/Internal/JR_DisplayPlan.h"

#include <charconv>
#include <set>
#include <utility>

#include "JRCmn/Internal/Cmn_DisplayNames.h"

namespace NorvikLibInternal {
namespace {

using Manager = JR_DisplayManager;

// The platform's flags of SetDisplayConfig; its topologies are flags, too.
constexpr uint32_t cApply = 0x80;
constexpr uint32_t cPathPersistIfRequired = 0x800;

constexpr std::string_view cDisplayDeviceStrStart = "\\\\.\\DISPLAY";

// 0 when there is no number, or one too large for a display.
int ParseDisplayNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && number > 0 ? number : 0;
}

// What a display of the board's own graphics has in front of its device ID; null for a board whose graphics the console
// does not use.
const char* GetOnBoardGraphics(EMotherboard board) {
    switch (board) {
        case eMB_EmersonMITXCore810:
            return "PCI\\VEN_8086&DEV_0116";
        case eMB_CongatecIC170:
            return "PCI\\VEN_8086&DEV_1916";
        case eMB_PortwellWade8132:
            return "PCI\\VEN_8086&DEV_3E92";
        default:
            return nullptr;
    }
}

bool DetectScreen(ScreenSource& source, ScreenVerdict& outVerdict) {
    if (source.IsStandAlone()) return true;
    if (source.GetSystemType() != eSystem_Console) return false;
    if (const auto forced = source.ReadForcedSystemType()) {
        outVerdict.forcedTrace = *forced == eSystem_Console
                                     ? "Forcing TKV to be present for forced K7R console.\n"
                                     : "Forcing TKV to be absent for forced non-console system.\n";
        return *forced == eSystem_Console;
    }
    switch (source.GetBoard()) {
        case eMB_CongatecIC170:
            return source.HasLVDS();
        case eMB_PortwellWade8132:
        case eMB_EmersonMITXCore810:
            return source.IsFixedResolutionDisplayConnected(kScreenPlace.width, kScreenPlace.height);
        default:
            outVerdict.isUnknownBoard = true;
            return false;
    }
}

// The function that a setting gives to the display; in the order of their numbers, when two settings name the same.
std::optional<EDisplayFunction> FindOverride(DisplayRuleSource& source, int displayNumber) {
    for (const auto function :
         {eDisplayFunction_Unknown, eDisplayFunction_ExternalGUI, eDisplayFunction_TKV}) {
        if (source.ReadDisplayNumber(function) == displayNumber) return function;
    }
    return std::nullopt;
}

DisplayVerdict ApplyOutputRule(DisplayRuleSource& source, int outputIndex) {
    const bool hasScreen = source.IsScreenAvailable();
    DisplayVerdict verdict;
    if (outputIndex == 0) {
        verdict.function = hasScreen ? eDisplayFunction_TKV : eDisplayFunction_ExternalGUI;
    } else if (hasScreen && outputIndex == 1) {
        verdict.function = eDisplayFunction_ExternalGUI;
    } else {
        return {eDisplayFunction_Unknown, "!\"Unexpected output of the on-board graphics\""};
    }
    // A function that a setting gives to another display is not this one's.
    if (source.ReadDisplayNumber(verdict.function)) verdict.function = eDisplayFunction_Unknown;
    return verdict;
}

// As the platform reports it: a screen that stands on its head has the right size, too, and is left as it is.
bool IsScreenRight(const std::optional<DisplayPlace>& screen) {
    if (!screen) return false;
    DisplayPlace upright = *screen;
    upright.orientation = eDisplayOrientation_None;
    return upright == kScreenPlace;
}

void AddSteps(EDisplayFunction display, const DisplayPlace& place, std::vector<DisplayStep>& outSteps) {
    using enum EDisplaySetting;
    if (display == eDisplayFunction_TKV) {
        outSteps.push_back({display, Position, place, "builtinDisplay->SetPosition"});
        outSteps.push_back({display, Resolution, place, "builtinDisplay->SetResolution"});
        outSteps.push_back({display, Orientation, place, "builtinDisplay->SetOrientation"});
        outSteps.push_back({display, Primary, place, "builtinDisplay->BecomePrimaryDisplay"});
    } else {
        outSteps.push_back({display, Position, place, "externalDisplay->SetPosition"});
        outSteps.push_back({display, Resolution, place, "externalDisplay->SetResolution"});
        outSteps.push_back({display, Orientation, place, "externalDisplay->SetOrientation"});
    }
}

void Announce(const ArrangementFacts& facts, bool isPlaceRight, std::vector<Cmn_String>& outTraces) {
    const char* const reason = facts.isTopologyRight ? "position"
                               : isPlaceRight        ? "topology"
                                                     : "topology and position";
    outTraces.push_back(
        Cmn_String().Printf("Going to change display configuration because of %s...\n", reason));
    if (facts.hasScreen) {
        outTraces.push_back(
            Cmn_String().Printf("Will set display configuration for external screen + TKV system, "
                                "external screen is on the %s...\n",
                                GetPositionName(facts.position)));
    } else {
        outTraces.push_back("Will set display configuration for external screen-only system...\n");
    }
}

// Two targets of one source show the same part of the desktop.
bool CanExtend(const PathOffer& screen, const PathOffer& external) {
    return !external.isInternal && external.isAvailable &&
           (screen.adapter != external.adapter || screen.source != external.source);
}

}  // namespace

ScreenVerdict DecideScreen(ScreenSource& source) {
    ScreenVerdict verdict;
    verdict.isFitted = DetectScreen(source, verdict);
    if (!verdict.isFitted && source.ReadStored().value_or(false)) {
        verdict.isNoMoreDetected = true;
        verdict.isFitted = true;
    }
    if (source.GetSystemType() == eSystem_Console) {
        verdict.resultTrace = verdict.isFitted ? "K7R control surface with TKV screen.\n"
                                               : "K7R control surface without TKV screen.\n";
    }
    return verdict;
}

DisplayVerdict ClassifyDisplay(DisplayRuleSource& source, std::string_view deviceName,
                               std::string_view deviceID, int outputIndex) {
    if (!deviceName.starts_with(cDisplayDeviceStrStart))
        return {eDisplayFunction_Unknown, "displayString.BeginsWith(cDisplayDeviceStrStart)"};
    const int displayNumber = ParseDisplayNumber(deviceName.substr(cDisplayDeviceStrStart.size()));
    if (displayNumber == 0) return {eDisplayFunction_Unknown, "displayNumber != 0"};
    if (const auto function = FindOverride(source, displayNumber)) return {*function, nullptr};
    const char* const onBoard = GetOnBoardGraphics(source.GetBoard());
    if (onBoard == nullptr || !deviceID.starts_with(onBoard)) return {};
    return ApplyOutputRule(source, outputIndex);
}

DisplayVerdict ClassifyOutput(DisplayRuleSource& source, int displayNumber, int outputIndex) {
    if (const auto function = FindOverride(source, displayNumber)) return {*function, nullptr};
    return ApplyOutputRule(source, outputIndex);
}

DisplayPlace GetExternalPlace(Manager::EExternalDisplayPos position) {
    switch (position) {
        case Manager::eExternalDisplayPos_Right:
            return {1280, 0, 1920, 1080};
        case Manager::eExternalDisplayPos_Above:
            return {0, -1080, 1920, 1080};
        default:
            return {-1920, 0, 1920, 1080};
    }
}

const char* GetPositionName(Manager::EExternalDisplayPos position) {
    switch (position) {
        case Manager::eExternalDisplayPos_Left:
            return "Left";
        case Manager::eExternalDisplayPos_Right:
            return "Right";
        case Manager::eExternalDisplayPos_Above:
            return "Above";
        default:
            return "WTF";
    }
}

uint32_t GetWantedTopology(bool hasScreen) {
    return hasScreen ? eDisplayTopology_Extend : eDisplayTopology_Internal;
}

ArrangementPlan PlanArrangement(const ArrangementFacts& facts) {
    const DisplayPlace place = facts.hasScreen ? GetExternalPlace(facts.position) : kOnlyExternalPlace;
    // A monitor that is not there does not stand at its place: it may show up when the topology is forced.
    const bool isExternalRight = facts.external == place;
    const bool isPlaceRight = isExternalRight && (!facts.hasScreen || IsScreenRight(facts.screen));
    ArrangementPlan plan;
    if (facts.isTopologyRight && isPlaceRight) return plan;
    Announce(facts, isPlaceRight, plan.announcements);
    if (!facts.isTopologyRight) {
        const uint32_t flags = GetWantedTopology(facts.hasScreen) | cApply;
        plan.topologyFlags = {flags};
        if (facts.hasScreen) plan.topologyFlags.push_back(flags | cPathPersistIfRequired);
        plan.hopesForMonitor = facts.hasScreen && !facts.external;
    }
    if (facts.hasScreen) AddSteps(eDisplayFunction_TKV, kScreenPlace, plan.steps);
    if (facts.hasScreen || !isExternalRight) AddSteps(eDisplayFunction_ExternalGUI, place, plan.steps);
    return plan;
}

bool IsInternalOutput(int32_t technology) {
    constexpr int32_t cLVDS = 6, cEmbeddedDisplayPort = 11, cEmbeddedUDI = 13, cInternal = INT32_MIN;
    return technology == cLVDS || technology == cEmbeddedDisplayPort || technology == cEmbeddedUDI ||
           technology == cInternal;
}

PathChoice ChoosePaths(const std::vector<PathOffer>& offers) {
    std::set<std::pair<uint64_t, uint32_t>> sources, internalTargets, externalTargets;
    for (const PathOffer& offer : offers) {
        sources.insert({offer.adapter, offer.source});
        if (offer.isAvailable)
            (offer.isInternal ? internalTargets : externalTargets).insert({offer.adapter, offer.target});
    }
    if (internalTargets.size() != 1) return {.failedCheck = "internalTargets.size() == 1"};
    if (externalTargets.size() > 1) return {.failedCheck = "externalTargets.size() <= 1"};
    if (sources.size() < 2) return {.failedCheck = "sources.size() >= 2"};

    // The first pair, but rather paths that are in use already: they are known to work.
    PathChoice best = {.failedCheck = "!\"No sources for both screens\""};
    int bestRank = -1;
    for (std::size_t i = 0; i < offers.size(); ++i) {
        if (!offers[i].isInternal || !offers[i].isAvailable) continue;
        if (externalTargets.empty() && offers[i].isActive > bestRank) {
            best = {.screen = i};
            bestRank = offers[i].isActive;
        }
        for (std::size_t j = 0; j < offers.size(); ++j) {
            const int rank = offers[i].isActive + offers[j].isActive;
            if (!CanExtend(offers[i], offers[j]) || rank <= bestRank) continue;
            best = {.screen = i, .external = j};
            bestRank = rank;
        }
    }
    return best;
}

}  // namespace NorvikLibInternal
