// Saves all toggles on and all toggles off in turns until it is killed, and sets the named event after each:
// ToggleChild PATH EVENT

#include "JRCmn/Internal/Cmn_Handle.h"
#include "Shared/JR_FeatureToggles.h"

int main(int count, char** arguments) {
    if (count < 3) return 1;
    const NorvikLibInternal::KernelHandle saved(::OpenEventA(EVENT_MODIFY_STATE, FALSE, arguments[2]));
    JR_FeatureToggleManager::Init(false, "");
    JR_FeatureToggleManager* const manager = JR_FeatureToggleManager::GetInstance();
    for (unsigned char value = 0;; value = static_cast<unsigned char>(~value)) {
        manager->Deserialize(std::vector<unsigned char>(21, value), nullptr);
        if (!manager->SaveNonDefaultFeaturesToFile(arguments[1])) return 2;
        ::SetEvent(saved.Get());
    }
}
