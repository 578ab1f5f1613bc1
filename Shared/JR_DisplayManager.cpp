#include "Shared/JR_DisplayManager.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Preferences.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Cmn_Trace.h"
#include "Shared/Internal/JR_DisplayArrangement.h"
#include "Shared/Internal/JR_DisplayPlan.h"
#include "Shared/JR_CongatecIC170SBCController.h"
#include "Shared/JR_DisplayInfo.h"
#include "Shared/JR_FeatureToggles.h"
#include "Shared/JR_ShellApp.h"

using namespace NorvikLibInternal;

namespace {

constexpr char cScreenIsPresent[] = "TKV Display Is Present";
constexpr char cPosition[] = "External Display Position";
constexpr char cNewPosition[] = "New External Display Position";

constexpr char cNoScreenMarker[] = "C:\\K7R16C.txt";
constexpr char cScreenMarker[] = "C:\\ForceTKVPresent.txt";

constexpr Feature::EFeature cPositionAboveToggle{92};

// Nothing when the setting is missing, or of another type.
template <typename T>
std::optional<T> ReadSetting(const char* name) {
    T value = {};
    return Cmn_Preferences::Get(name, value) ? std::optional<T>(value) : std::nullopt;
}

std::optional<int> ReadDisplayNumberOf(EDisplayFunction function) {
    return ReadSetting<int>(Cmn_String().Printf("DisplayNumber%d", static_cast<int>(function)));
}

class Machine : public ScreenSource {
public:
    bool IsStandAlone() override { return JR_ShellApp::IsStandAlone(); }
    ESystemType GetSystemType() override { return JR_ShellApp::GetSystemType(); }
    std::optional<int> ReadForcedSystemType() override { return ReadSetting<int>("Force System Type"); }
    EMotherboard GetBoard() override { return JR_ShellApp::GetMotherboard(nullptr); }
    bool HasLVDS() override { return JR_CongatecIC170SBCController().HasLVDS(); }
    // On a thread of its own: the caller's COM may be single-threaded, which cannot ask.
    bool IsFixedResolutionDisplayConnected(int width, int height) override {
        Cmn_Thread asker("Monitor Modes", eNormal, 0);
        const auto ask = [=]() -> long {
            return JR_DisplayInfo().IsFixedResolutionDisplayConnected(width, height);
        };
        return CMN_VERIFY(asker.Launch(ask) == 0) && asker.ThreadEnd() != 0;
    }
    std::optional<bool> ReadStored() override { return ReadSetting<bool>(cScreenIsPresent); }
};

class Rules : public DisplayRuleSource {
public:
    std::optional<int> ReadDisplayNumber(EDisplayFunction function) override {
        return ReadDisplayNumberOf(function);
    }
    EMotherboard GetBoard() override { return JR_ShellApp::GetMotherboard(nullptr); }
    bool IsScreenAvailable() override { return JR_DisplayManager::IsTKVScreenAvailable(); }
};

EDisplayFunction Report(const DisplayVerdict& verdict) {
    if (verdict.failedCheck != nullptr) VerifyFailed(verdict.failedCheck, CMN_SOURCE_FILE, __LINE__);
    return verdict.function;
}

std::shared_ptr<Cmn_Display> Find(const Cmn_DisplayManager::Displays& displays, EDisplayFunction function) {
    for (const auto& display : displays) {
        if (JR_DisplayManager::GetDisplayFunction(*display) == function) return display;
    }
    return nullptr;
}

}  // namespace

// ---- The built-in screen.

void JR_DisplayManager::InitRegistryInfo() {
    Machine machine;
    const ScreenVerdict verdict = DecideScreen(machine);
    if (verdict.forcedTrace != nullptr) Cmn_Trace("%s", verdict.forcedTrace);
    if (verdict.isUnknownBoard) CMN_VERIFY_AT(89, !"Unknown motherboard");
    if (verdict.isNoMoreDetected) CMN_VERIFY_AT(121, !"TKV display is no more detected (KPL-29108).");
    CMN_VERIFY(Cmn_Preferences::Set(cScreenIsPresent, verdict.isFitted));
    if (verdict.resultTrace != nullptr) Cmn_Trace("%s", verdict.resultTrace);
}

bool JR_DisplayManager::IsTKVScreenAvailable() {
    if (Cmn_FS::IsFile(cNoScreenMarker)) return false;
    if (Cmn_FS::IsFile(cScreenMarker)) return true;
    const auto isPresent = ReadSetting<bool>(cScreenIsPresent);
    if (!isPresent)
        VerifyFailed("Cmn_Preferences::Get(PREFERENCE_TKV_DISPLAY_PRESENT, isTKVDisplayConnected)",
                     CMN_SOURCE_FILE, __LINE__);
    return isPresent.value_or(false);
}

// ---- Which display is which.

EDisplayFunction JR_DisplayManager::GetDisplayFunction(const Cmn_Display& display) {
    if (!JR_ShellApp::IsWindowsEmbedded()) return eDisplayFunction_Unknown;
    Rules rules;
    return Report(ClassifyDisplay(rules, display.GetDeviceName().View(), display.GetDeviceID().View(),
                                  display.GetOutputIndex()));
}

EDisplayFunction JR_DisplayManager::GetDisplayFunction(int displayNumber, int outputIndex) {
    if (!JR_ShellApp::IsWindowsEmbedded()) return eDisplayFunction_Unknown;
    Rules rules;
    return Report(ClassifyOutput(rules, displayNumber, outputIndex));
}

int JR_DisplayManager::GetOverridenDisplayNumber(EDisplayFunction function, int defaultNumber) {
    return ReadDisplayNumberOf(function).value_or(defaultNumber);
}

std::shared_ptr<Cmn_Display> JR_DisplayManager::FindDisplayByFunction(EDisplayFunction function) {
    return Find(GetDisplays(), function);
}

std::shared_ptr<const Cmn_Display> JR_DisplayManager::FindDisplayByFunction(EDisplayFunction function) const {
    return Find(GetDisplays(), function);
}

// ---- The arrangement.

// A legacy console and an engine have no screens that this could arrange: the shell does not ask there.
bool JR_DisplayManager::ArrangeDisplayConfig(bool& outRestartRequired, bool& outChanged) {
    outRestartRequired = false;
    outChanged = false;
    switch (JR_ShellApp::GetSystemType()) {
        case eSystem_Standalone:
            return true;
        case eSystem_LegacyConsole:
            return CMN_VERIFY_AT(356, false);
        case eSystem_Console:
            return CMN_VERIFY(ArrangeScreens(*this, IsTKVScreenAvailable(), outRestartRequired, outChanged));
        case eSystem_Engine:
            return CMN_VERIFY_AT(367, false);
        default:
            return CMN_VERIFY_AT(371, false);
    }
}

bool JR_DisplayManager::ArrangeK7RDisplayConfigWithTKVUsingCCD() {
    const bool isDone = ArrangeByPaths(GetExternalDisplayPos());
    Refresh();
    return isDone;
}

bool JR_DisplayManager::CheckDisplayTopology(uint32_t wantedTopology) {
    return IsTopology(wantedTopology).value_or(false);
}

bool JR_DisplayManager::StoreCurrentDisplayConfigToDatabase() {
    return StoreActiveConfig();
}

// ---- The external monitor's place.

bool JR_DisplayManager::SetExternalDisplayPos(EExternalDisplayPos position) {
    const EExternalDisplayPos valid = ValidateExternalDisplayPos(position);
    if (!CMN_VERIFY(Cmn_Preferences::Set(cNewPosition, static_cast<int>(valid)))) return false;
    Cmn_Trace("Storing new display position %s. Changes will be applied on the next ShellApp startup.\n",
              GetExternalDisplayPositionAsString(valid));
    return true;
}

JR_DisplayManager::EExternalDisplayPos JR_DisplayManager::GetExternalDisplayPos() {
    const int stored = ReadSetting<int>(cPosition).value_or(eExternalDisplayPos_Left);
    return ValidateExternalDisplayPos(static_cast<EExternalDisplayPos>(stored));
}

bool JR_DisplayManager::UseNewDisplayPosChanges() {
    const auto waiting = ReadSetting<int>(cNewPosition);
    if (!waiting) return true;
    if (!CMN_VERIFY(Cmn_Preferences::Set(cPosition, *waiting))) return false;
    Cmn_Trace("Using new display position %s.\n",
              GetExternalDisplayPositionAsString(static_cast<EExternalDisplayPos>(*waiting)));
    return CMN_VERIFY(Cmn_Preferences::Remove(cNewPosition));
}

const char* JR_DisplayManager::GetExternalDisplayPositionAsString(EExternalDisplayPos position) {
    const bool isPosition = position >= eExternalDisplayPos_Left && position <= eExternalDisplayPos_Above;
    if (!isPosition) VerifyFailed("false", CMN_SOURCE_FILE, __LINE__);
    return GetPositionName(position);
}

JR_DisplayManager::EExternalDisplayPos JR_DisplayManager::ValidateExternalDisplayPos(
    EExternalDisplayPos position) {
    const bool isAboveAndOff =
        position == eExternalDisplayPos_Above && !JR_FeatureToggle(cPositionAboveToggle);
    return isAboveAndOff ? eExternalDisplayPos_Left : position;
}
