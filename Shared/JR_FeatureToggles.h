#pragma once

// Feature toggles: features of the console software that are still being introduced are in every build and switched on and
// off by name. JR_FeatureToggleManager owns the values of a process; JR_FeatureToggle asks for one of them.
//
//   JR_FeatureToggleManager::Init(true, "");                   // at the start: the defaults, and what ft.dat says
//
//   const JR_FeatureToggle toggle(Feature::CueTimeline);       // names: Shared/JR_Features.h
//   if (toggle) ShowTimeline();
//
//   JR_FeatureToggleManager::Destroy();                        // at exit
//
// Threads:   toggles are asked on any thread. Values are changed (Init, Deserialize, LoadNonDefaultFeaturesFromFile) by one
//            thread at a time, usually at the start; who asks meanwhile gets each single toggle's old or new value.
// Ownership: the manager lives from Init to Destroy; a toggle that is asked outside of that is off
// Errors:    a missing manager and a number beyond the last feature are reported and read as false or an empty text. A line
//            of a file that is not understood is traced and skipped.
// Units:     paths are narrow text in the ANSI code page; docs/formats/feature-toggles.md has the file and the bytes

#include <atomic>
#include <string>
#include <vector>

#include "JRCmn/Cmn_BitMask.h"
#include "JRCmn/Cmn_Export.h"

namespace Feature {

enum EFeature : int;
inline constexpr EFeature Count{162};

}  // namespace Feature

class NORVIK_API JR_FeatureToggleManager {
public:
    // All values at their defaults and, with `loadNonDefault`, then those from the file at `path`, or from ft.dat in its
    // usual place when the path is empty. A file that is not there is normal.
    static void Init(bool loadNonDefault, const std::string& path);
    static void Destroy();
    static JR_FeatureToggleManager* GetInstance();  // null, and reported, when there is none

    JR_FeatureToggleManager(const JR_FeatureToggleManager&) = delete;
    JR_FeatureToggleManager& operator=(const JR_FeatureToggleManager&) = delete;

    bool GetValue(Feature::EFeature inFeature) const;
    std::string GetName(Feature::EFeature inFeature) const;
    std::string GetDescription(Feature::EFeature inFeature) const;
    bool GetDefaultValue(Feature::EFeature inFeature) const;
    bool IsPublic(Feature::EFeature inFeature) const;  // meant to be shown to users

    // All values in 21 bytes, as another process takes them with Deserialize.
    std::vector<unsigned char> Serialize() const;

    // False, without any change, when it is not 21 bytes. `changed`, if given, tells whether any byte is another one than
    // before.
    bool Deserialize(const std::vector<unsigned char>& bytes, bool* changed);

    // The path of ft.dat. Creates its folder.
    static std::string GetNonDefaultToggleFileName();

    // Writes those features that differ from their defaults. False, traced, when the file could not be written; the old
    // one is then still there. A program that is killed here leaves the old file or the new one, never a part.
    bool SaveNonDefaultFeaturesToFile(const std::string& path) const;

    // Takes over the values in the file; features that it does not name keep theirs. False when it cannot be read; that is
    // traced unless there is no such file.
    bool LoadNonDefaultFeaturesFromFile(const std::string& path);

    void DumpNonDefaultFeatures() const;  // into the log

private:
    friend class JR_FeatureToggle;

    JR_FeatureToggleManager() = default;

    static bool WriteDumpOnFailure();
    void SetDefaults();
    void TakeLine(const std::string& line);
    bool IsNonDefault(int feature) const;

    static std::atomic<JR_FeatureToggleManager*> sInstance;
    Cmn_BitMask<Feature::Count> mValues;
};

class NORVIK_API JR_FeatureToggle {
public:
    explicit JR_FeatureToggle(Feature::EFeature inFeature) : mFeature(inFeature) {}

    operator bool() const { return GetValue(); }
    bool operator!() const { return !GetValue(); }

    // Inline, because toggles are asked in loops over channels and bands.
    bool GetValue() const {
        const auto* const mgr = JR_FeatureToggleManager::sInstance.load(std::memory_order_acquire);
        const auto index = static_cast<unsigned int>(mFeature);
        if (mgr && index < static_cast<unsigned int>(Feature::Count)) return mgr->mValues.IsSet(index);
        return ReportValue();
    }
    std::string GetName() const;
    std::string GetDescription() const;
    bool GetDefaultValue() const;
    bool IsPublic() const;

private:
    bool ReportValue() const;  // false

    Feature::EFeature mFeature;
};
