// The tour's step around feature toggles.

#include "JRCmn/Cmn_FS.h"
#include "Shared/JR_FeatureToggles.h"
#include "Shared/JR_Features.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {

bool ShowToggles() {
    const JR_FeatureToggle toggle(Feature::CueTimeline);
    // Not ft.dat itself: the tour must not change what other programs do.
    const std::string path = JR_FeatureToggleManager::GetNonDefaultToggleFileName() + ".demo";
    JR_FeatureToggleManager::Init(false, "");
    PrintFormat("  %s: %s\n", toggle.GetName().c_str(), toggle.GetDescription().c_str());
    const bool wasOff = Say(!toggle, "a feature that is being introduced is off by default");

    JR_FeatureToggleManager* manager = JR_FeatureToggleManager::GetInstance();
    std::vector<unsigned char> bytes = manager->Serialize();
    bytes[Feature::CueTimeline / 8] |= 1u << Feature::CueTimeline % 8;
    bool changed = false;
    const bool switched = manager->Deserialize(bytes, &changed) && changed && toggle;
    const bool taken = Say(switched, "21 bytes from another process switch it on");
    const bool saved = Say(manager->SaveNonDefaultFeaturesToFile(path), "what differs is saved as text");
    JR_FeatureToggleManager::Destroy();

    JR_FeatureToggleManager::Init(true, path);
    const bool isBack = Say(toggle, "and read back by the manager of the next start");
    JR_FeatureToggleManager::GetInstance()->DumpNonDefaultFeatures();
    JR_FeatureToggleManager::Destroy();
    Cmn_FS::RemoveFile(path.c_str());
    return Say(CountInLog("CueTimeline: 1.\r\n") == 1, "the log says what is not as delivered") && wasOff &&
           taken && saved && isBack;
}

}  // namespace NorvikTool
