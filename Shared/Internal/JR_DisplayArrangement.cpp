#include "Shared/Internal/JR_DisplayArrangement.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DisplayConfig.h"

namespace NorvikLibInternal {
namespace {

// What is supplied is applied and stored for these monitors, so that it outlives the session.
constexpr uint32_t cApplyAndStore = SDC_APPLY | SDC_USE_SUPPLIED_DISPLAY_CONFIG | SDC_SAVE_TO_DATABASE;

void TraceKnownConfigurations() {
    DisplayConfig config;
    Cmn_Trace("Tracing all we know about %s display configurations:\n", "Active");
    if (ReadDisplayConfig(EDisplayQuery::Active, config)) TraceDisplayConfig(config);
    Cmn_Trace("Tracing all we know about %s display configurations:\n", "DB current");
    if (ReadDisplayConfig(EDisplayQuery::DatabaseCurrent, config)) {
        TraceDisplayConfig(config);
        Cmn_Trace("Topology is %s.\n", GetDisplayTopologyName(config.topology).c_str());
    }
    Cmn_Trace("Tracing all we know about display configurations done.\n");
}

// ---- By setters.

bool ApplyTopology(const ArrangementPlan& plan) {
    if (plan.hopesForMonitor)
        Cmn_Trace("Forcing display topology changes with hope to detect Ext GUI monitor...\n");
    const char* again = "";
    for (const uint32_t flags : plan.topologyFlags) {
        const long error = SetDisplayTopology(flags);
        if (error == 0) return true;
        Cmn_Trace("SetDisplayConfig failed%s with %ld!\n", again, error);
        again = " again";
    }
    return false;
}

bool IsQuarterTurn(const Cmn_Display& display) {
    return display.GetOrientation() == eDisplayOrientation_90 ||
           display.GetOrientation() == eDisplayOrientation_270;
}

EDisplaySettingChangeResult Set(Cmn_Display& display, const DisplayStep& step) {
    switch (step.setting) {
        case EDisplaySetting::Position:
            return display.SetPosition(step.place.left, step.place.top);
        case EDisplaySetting::Resolution:
            // Of the picture as it is turned now: the step that turns it upright comes later and swaps the two.
            return IsQuarterTurn(display) ? display.SetResolution(step.place.height, step.place.width)
                                          : display.SetResolution(step.place.width, step.place.height);
        case EDisplaySetting::Orientation:
            return display.SetOrientation(step.place.orientation);
        case EDisplaySetting::Primary:
            break;
    }
    return display.BecomePrimaryDisplay();
}

bool CarryOutSteps(JR_DisplayManager& displays, const ArrangementPlan& plan, bool& ioRestartRequired) {
    const auto builtinDisplay = displays.FindDisplayByFunction(eDisplayFunction_TKV);
    const auto externalDisplay = displays.FindDisplayByFunction(eDisplayFunction_ExternalGUI);
    for (const DisplayStep& step : plan.steps) {
        const bool isBuiltin = step.display == eDisplayFunction_TKV;
        if (isBuiltin && !CMN_VERIFY(builtinDisplay != nullptr)) return false;
        if (!isBuiltin && externalDisplay == nullptr) continue;
        const EDisplaySettingChangeResult result = Set(isBuiltin ? *builtinDisplay : *externalDisplay, step);
        if (result == eDisplaySettingChange_RestartNeeded) {
            ioRestartRequired = true;
        } else if (result != eDisplaySettingChange_Done) {
            Cmn_Trace("Setting display setting for %s failed with error %d.\n", step.call,
                      static_cast<int>(result));
            return false;
        }
    }
    return true;
}

// A topology that cannot be had is no reason to leave the screens where they are. It counts as a failure in the end, but not
// when the built-in screen is alone: there is nothing to extend to then.
bool CarryOutPlan(JR_DisplayManager& displays, const ArrangementPlan& plan, bool hasScreen,
                  bool& ioRestartRequired) {
    bool isTopologySet = true;
    if (!plan.topologyFlags.empty()) {
        isTopologySet = ApplyTopology(plan);
        displays.Refresh();
        if (hasScreen) {
            isTopologySet =
                IsTopology(GetWantedTopology(hasScreen)).value_or(false) ||
                (plan.hopesForMonitor && !displays.FindDisplayByFunction(eDisplayFunction_ExternalGUI));
        }
    }
    return CarryOutSteps(displays, plan, ioRestartRequired) && isTopologySet;
}

// ---- By explicit paths.

PathOffer MakeOffer(const DISPLAYCONFIG_PATH_INFO& path) {
    const LUID& adapter = path.sourceInfo.adapterId;
    return {.adapter = static_cast<uint64_t>(static_cast<uint32_t>(adapter.HighPart)) << 32 | adapter.LowPart,
            .source = path.sourceInfo.id,
            .target = path.targetInfo.id,
            .isInternal = IsInternalOutput(static_cast<int32_t>(path.targetInfo.outputTechnology)),
            .isAvailable = path.targetInfo.targetAvailable != FALSE,
            .isActive = (path.flags & DISPLAYCONFIG_PATH_ACTIVE) != 0};
}

// The source's mode says where and how large; the platform chooses the target's, which is the monitor's timing.
void AddPath(DISPLAYCONFIG_PATH_INFO path, const DisplayPlace& place, DisplayConfig& outConfig) {
    DISPLAYCONFIG_MODE_INFO mode = {};
    mode.infoType = DISPLAYCONFIG_MODE_INFO_TYPE_SOURCE;
    mode.id = path.sourceInfo.id;
    mode.adapterId = path.sourceInfo.adapterId;
    mode.sourceMode = {static_cast<UINT32>(place.width),
                       static_cast<UINT32>(place.height),
                       DISPLAYCONFIG_PIXELFORMAT_32BPP,
                       {place.left, place.top}};
    path.flags = DISPLAYCONFIG_PATH_ACTIVE;
    path.sourceInfo.modeInfoIdx = static_cast<UINT32>(outConfig.modes.size());
    path.targetInfo.modeInfoIdx = DISPLAYCONFIG_PATH_MODE_IDX_INVALID;
    path.targetInfo.rotation = DISPLAYCONFIG_ROTATION_IDENTITY;
    path.targetInfo.scaling = DISPLAYCONFIG_SCALING_PREFERRED;
    path.targetInfo.refreshRate = {};
    path.targetInfo.scanLineOrdering = DISPLAYCONFIG_SCANLINE_ORDERING_UNSPECIFIED;
    outConfig.paths.push_back(path);
    outConfig.modes.push_back(mode);
}

// Nothing when the platform does not tell its paths, or with the first condition that does not hold.
std::optional<DisplayConfig> MakeConfig(JR_DisplayManager::EExternalDisplayPos position,
                                        const char*& outFailedCheck) {
    outFailedCheck = nullptr;
    DisplayConfig known;
    if (!ReadDisplayConfig(EDisplayQuery::All, known)) return std::nullopt;
    std::vector<PathOffer> offers;
    for (const DISPLAYCONFIG_PATH_INFO& path : known.paths)
        offers.push_back(MakeOffer(path));
    const PathChoice choice = ChoosePaths(offers);
    outFailedCheck = choice.failedCheck;
    if (choice.failedCheck != nullptr) return std::nullopt;
    DisplayConfig config;
    AddPath(known.paths[choice.screen], kScreenPlace, config);
    if (choice.external) AddPath(known.paths[*choice.external], GetExternalPlace(position), config);
    return config;
}

bool ReportExitCode(long error) {
    if (error == 0) return true;
    Cmn_Trace("SetDisplayConfig failed with exit code %d.\n", static_cast<int>(error));
    return CMN_VERIFY(!"SetDisplayConfig failed");
}

bool ApplyConfig(DisplayConfig& config) {
    Cmn_Trace(" Will apply the following display config:\n");
    TraceDisplayConfig(config);
    if (!ReportExitCode(ApplyDisplayConfig(config, cApplyAndStore | SDC_ALLOW_CHANGES))) return false;
    Cmn_Trace("Successfully applied the config.\n");
    return true;
}

}  // namespace

std::optional<bool> IsTopology(uint32_t wantedTopology) {
    DisplayConfig config;
    if (!ReadDisplayConfig(EDisplayQuery::DatabaseCurrent, config)) return std::nullopt;
    const std::string current = GetDisplayTopologyName(config.topology);
    if (config.topology == wantedTopology) {
        Cmn_Trace("Current topology is %s, as expected.\n", current.c_str());
        return true;
    }
    Cmn_Trace("Current topology is %s, while we need %s.\n", current.c_str(),
              GetDisplayTopologyName(wantedTopology).c_str());
    return false;
}

DisplayPlace GetPlace(const Cmn_Display& display) {
    return {display.GetLeft(), display.GetTop(), display.GetWidth(), display.GetHeight(),
            display.GetOrientation()};
}

std::optional<ArrangementFacts> ExamineArrangement(const JR_DisplayManager& displays, bool hasScreen) {
    const auto isTopologyRight = IsTopology(GetWantedTopology(hasScreen));
    if (!isTopologyRight) return std::nullopt;
    ArrangementFacts facts = {.hasScreen = hasScreen, .isTopologyRight = *isTopologyRight};
    if (hasScreen) {
        if (const auto screen = displays.FindDisplayByFunction(eDisplayFunction_TKV))
            facts.screen = GetPlace(*screen);
        facts.position = JR_DisplayManager::GetExternalDisplayPos();
    }
    if (const auto external = displays.FindDisplayByFunction(eDisplayFunction_ExternalGUI))
        facts.external = GetPlace(*external);
    return facts;
}

bool ArrangeScreens(JR_DisplayManager& displays, bool hasScreen, bool& ioRestartRequired, bool& outChanged) {
    displays.Refresh();
    TraceKnownConfigurations();
    const auto facts = ExamineArrangement(displays, hasScreen);
    if (!facts) return false;
    const ArrangementPlan plan = PlanArrangement(*facts);
    outChanged = plan.IsNeeded();
    if (!outChanged) return true;
    if (hasScreen)
        JR_DisplayManager::GetExternalDisplayPositionAsString(facts->position);  // reports a wrong one
    for (const Cmn_String& line : plan.announcements)
        Cmn_Trace("%s", line.c_str());

    // A monitor that is not recognised yet may be after the topology was forced, which only the setters' way does.
    const bool areBothSeen = hasScreen && facts->screen && facts->external;
    const char* failedCheck = nullptr;
    auto config = areBothSeen ? MakeConfig(facts->position, failedCheck) : std::nullopt;
    const bool isDone =
        config ? ApplyConfig(*config) : CarryOutPlan(displays, plan, hasScreen, ioRestartRequired);
    displays.Refresh();
    return isDone;
}

bool ArrangeByPaths(JR_DisplayManager::EExternalDisplayPos position) {
    const char* failedCheck = nullptr;
    auto config = MakeConfig(position, failedCheck);
    if (failedCheck != nullptr) VerifyFailed(failedCheck, CMN_SOURCE_FILE, __LINE__);
    return config && ApplyConfig(*config);
}

bool StoreActiveConfig() {
    Cmn_Trace("Going to store current display config into database...\n");
    DisplayConfig config;
    return ReadDisplayConfig(EDisplayQuery::Active, config) &&
           ReportExitCode(ApplyDisplayConfig(config, cApplyAndStore));
}

}  // namespace NorvikLibInternal
