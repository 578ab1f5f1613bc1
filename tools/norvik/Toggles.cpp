// norvik toggles: what is switched on, and switching it for the programs that start from now on.

#include <stdexcept>
#include <string>
#include <vector>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_FS.h"
#include "Shared/Internal/JR_FeatureFileTurn.h"
#include "Shared/JR_FeatureToggles.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

// The manager of this process, with what ft.dat says. A file that is there and cannot be read must not be taken for one
// that says nothing, and be overwritten.
class Manager {
public:
    Manager() {
        JR_FeatureToggleManager::Init(false, "");
        try {
            Load(JR_FeatureToggleManager::GetNonDefaultToggleFileName());
        } catch (...) {
            JR_FeatureToggleManager::Destroy();
            throw;
        }
    }
    ~Manager() { JR_FeatureToggleManager::Destroy(); }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    JR_FeatureToggleManager* operator->() const { return JR_FeatureToggleManager::GetInstance(); }

private:
    static void Load(const std::string& path) {
        const bool exists = Cmn_FS::IsFile(path.c_str()) || Cmn_FS::IsFolder(path.c_str());
        if (exists && !JR_FeatureToggleManager::GetInstance()->LoadNonDefaultFeaturesFromFile(path))
            throw std::runtime_error("cannot read " + path);
    }
};

Feature::EFeature At(int number) {
    return static_cast<Feature::EFeature>(number);
}

int List(bool onlyPublic, bool onlyChanged) {
    const Manager manager;
    std::vector<std::vector<std::string>> rows = {{"", "No.", "Feature", "Value", "Default", "What it does"}};
    for (int i = 0; i < Feature::Count; ++i) {
        const JR_FeatureToggle toggle(At(i));
        if (onlyPublic && !toggle.IsPublic()) continue;
        const bool value = toggle, standard = toggle.GetDefaultValue();
        if (onlyChanged && value == standard) continue;
        rows.push_back({value == standard ? "" : "*", std::to_string(i), toggle.GetName(), value ? "1" : "0",
                        standard ? "1" : "0", toggle.GetDescription()});
    }
    PrintTable("lrlrrl", rows);
    return cSuccess;
}

int Set(const std::string& name, bool value) {
    const NorvikLibInternal::FeatureFileTurn turn;  // nobody switches another toggle meanwhile
    if (!turn.IsHeld()) throw std::runtime_error("another program switches toggles");
    const Manager manager;
    size_t number = 0;
    while (number < Feature::Count && manager->GetName(At(static_cast<int>(number))) != name)
        ++number;
    if (number == Feature::Count) throw UsageError("there is no feature '" + name + "'");
    std::vector<unsigned char> bytes = manager->Serialize();
    const auto bit = static_cast<unsigned char>(1u << number % 8);
    unsigned char& byte = bytes[number / 8];
    byte = static_cast<unsigned char>(value ? byte | bit : byte & ~bit);
    manager->Deserialize(bytes, nullptr);
    const std::string path = JR_FeatureToggleManager::GetNonDefaultToggleFileName();
    if (!manager->SaveNonDefaultFeaturesToFile(path)) throw std::runtime_error("cannot write " + path);
    Print(name + " is " + (value ? "1" : "0") + " for programs that start from now on (" + path + ")\n");
    return cSuccess;
}

int RunToggles(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const std::vector<std::string>& words = arguments.Positionals();
    if (words.empty()) return List(arguments.Has("--public"), arguments.Has("--changed"));
    if (words.size() != 3 || words[0] != "set" || (words[2] != "0" && words[2] != "1"))
        throw UsageError("expected: toggles, or toggles set NAME 0|1");
    return Set(words[1], words[2] == "1");
}

}  // namespace

extern const Verb cTogglesVerb;
const Verb cTogglesVerb{
    "toggles",
    "[set NAME 0|1]",
    "lists the feature toggles, or switches one for the programs that start later",
    "Without words: all features with their value and default; * marks those that differ.\n"
    "set writes the file that programs read when they start, ft.dat in the auto-save folder.\n"
    "It drops what that file says of features that are not known here.\n",
    {{"--public", nullptr, "list only what is meant for users"},
     {"--changed", nullptr, "list only what differs from its default"}},
    &RunToggles};

}  // namespace NorvikTool
