#include "Shared/JR_FeatureToggles.h"

#include <fstream>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_FailureReport.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "Shared/Internal/JR_FeatureFile.h"
#include "Shared/Internal/JR_FeatureFileTurn.h"
#include "Shared/Internal/JR_FeatureTable.h"

using namespace NorvikLibInternal;

namespace {

constexpr unsigned int cFailureDumpToggle = 29;
constexpr int cByteCount = Cmn_BitMask<Feature::Count>::cArraySize;

bool IsInRange(Feature::EFeature inFeature) {
    return CMN_VERIFY(inFeature >= 0 && inFeature < Feature::Count);
}

// The manager for a toggle, reported when there is none.
const JR_FeatureToggleManager* Checked(const JR_FeatureToggleManager* mgr) {
    CMN_VERIFY_AT(49, mgr);
    return mgr;
}

const char* Digit(bool value) {
    return value ? "1" : "0";
}

// On the disk when it returns, so that a power cut after the file has taken its place cannot empty it.
bool WriteWhole(HANDLE file, const std::string& text) {
    DWORD written = 0;
    return ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size() && ::FlushFileBuffers(file);
}

}  // namespace

std::atomic<JR_FeatureToggleManager*> JR_FeatureToggleManager::sInstance{nullptr};

void JR_FeatureToggleManager::Init(bool loadNonDefault, const std::string& path) {
    if (!CMN_VERIFY(!sInstance)) return;
    // One object, never destroyed: a thread that fails while the process ends still asks for toggles.
    static JR_FeatureToggleManager& manager = *new JR_FeatureToggleManager;
    manager.SetDefaults();
    if (loadNonDefault)
        manager.LoadNonDefaultFeaturesFromFile(path.empty() ? GetNonDefaultToggleFileName() : path);
    sInstance = &manager;
    SetFailureDumpToggle(&WriteDumpOnFailure);
}

void JR_FeatureToggleManager::Destroy() {
    if (!CMN_VERIFY(sInstance)) return;
    SetFailureDumpToggle(nullptr);
    sInstance = nullptr;
}

JR_FeatureToggleManager* JR_FeatureToggleManager::GetInstance() {
    CMN_VERIFY(sInstance);
    return sInstance;
}

// Asked in the middle of a failure report, which must not fail again.
bool JR_FeatureToggleManager::WriteDumpOnFailure() {
    const JR_FeatureToggleManager* const manager = sInstance;
    return manager && manager->mValues.IsSet(cFailureDumpToggle);
}

void JR_FeatureToggleManager::SetDefaults() {
    for (int i = 0; i < cByteCount; ++i)
        mValues.SetByte(i, 0);
    for (int i = 0; i < Feature::Count; ++i)
        mValues.SetBit(static_cast<unsigned int>(i), IsFeatureOnByDefault(i));
}

bool JR_FeatureToggleManager::GetValue(Feature::EFeature inFeature) const {
    return IsInRange(inFeature) && mValues.GetBit(static_cast<unsigned int>(inFeature));
}

std::string JR_FeatureToggleManager::GetName(Feature::EFeature inFeature) const {
    return IsInRange(inFeature) ? FeatureName(inFeature) : std::string();
}

std::string JR_FeatureToggleManager::GetDescription(Feature::EFeature inFeature) const {
    return IsInRange(inFeature) ? FeatureDescription(inFeature) : std::string();
}

bool JR_FeatureToggleManager::GetDefaultValue(Feature::EFeature inFeature) const {
    return IsInRange(inFeature) && IsFeatureOnByDefault(inFeature);
}

bool JR_FeatureToggleManager::IsPublic(Feature::EFeature inFeature) const {
    return IsInRange(inFeature) && IsFeaturePublic(inFeature);
}

std::vector<unsigned char> JR_FeatureToggleManager::Serialize() const {
    std::vector<unsigned char> bytes(cByteCount);
    for (int i = 0; i < cByteCount; ++i)
        bytes[static_cast<size_t>(i)] = mValues.GetByte(i);
    return bytes;
}

bool JR_FeatureToggleManager::Deserialize(const std::vector<unsigned char>& bytes, bool* changed) {
    if (changed) *changed = false;
    if (bytes.size() != cByteCount) return false;
    for (int i = 0; i < cByteCount; ++i) {
        const unsigned char byte = bytes[static_cast<size_t>(i)];
        if (byte == mValues.GetByte(i)) continue;
        mValues.SetByte(i, byte);
        if (changed) *changed = true;
    }
    return true;
}

std::string JR_FeatureToggleManager::GetNonDefaultToggleFileName() {
    Cmn_String fileName;
    if (!Cmn_FolderFinder::FindFolder(fileName, eFolder_AutoSave)) {
        VerifyFailed("gJRFolderFinder.FindFolder(fileName, eJR_Folder_AutoSave)", CMN_SOURCE_FILE, __LINE__);
    }
    return (fileName + "ft.dat").c_str();
}

bool JR_FeatureToggleManager::IsNonDefault(int feature) const {
    return mValues.IsSet(static_cast<unsigned int>(feature)) != IsFeatureOnByDefault(feature);
}

bool JR_FeatureToggleManager::SaveNonDefaultFeaturesToFile(const std::string& path) const {
    std::string text;
    for (int i = 0; i < Feature::Count; ++i) {
        if (IsNonDefault(i)) text += FeatureName(i) + ":" + Digit(!IsFeatureOnByDefault(i)) + "\n";
    }
    const FeatureFileTurn turn;  // without it the exclusive opening has to do
    // Written beside its place first. The name is always the same, so that programs that were killed leave one such file
    // at most.
    const std::string temporary = path + ".new";
    KernelHandle file(::CreateFileA(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file || Cmn_FS::IsFolder(path.c_str())) {
        Cmn_Trace("Failed to open %s file for write!\n", path.c_str());
        if (file) file.Reset(), ::DeleteFileA(temporary.c_str());
        return false;
    }
    const bool isWritten = WriteWhole(file.Get(), text);
    file.Reset();  // keeps the last error
    if (isWritten &&
        ::MoveFileExA(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        return true;
    }
    const DWORD error = ::GetLastError();
    if (error == ERROR_ACCESS_DENIED ||
        error == ERROR_SHARING_VIOLATION) {  // of the place: read-only, or open elsewhere
        Cmn_Trace("Failed to open %s file for write!\n", path.c_str());
    } else {
        Cmn_Trace("Failed to write %s: %s\n", path.c_str(), DescribeSystemError(error).c_str());
    }
    ::DeleteFileA(temporary.c_str());
    return false;
}

bool JR_FeatureToggleManager::LoadNonDefaultFeaturesFromFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (file.is_open()) {
        ReadFeatureLines(file, [this](const std::string& line) { TakeLine(line); });
        if (!file.bad()) return true;
    }
    if (Cmn_FS::IsFile(path.c_str()) || Cmn_FS::IsFolder(path.c_str()))
        Cmn_Trace("Failed to read %s!\n", path.c_str());
    return false;
}

void JR_FeatureToggleManager::TakeLine(const std::string& line) {
    const auto parts = SplitFeatureLine(line);
    if (!parts) {
        Cmn_Trace("Malformed feature spec line: %s\n", line.c_str());
        return;
    }
    const int feature = FindFeature(parts->name);
    if (feature < 0) {
        Cmn_Trace("Unknown feature: %s\n", line.c_str());
        return;
    }
    bool isClear = false;
    const bool value = ReadFeatureValue(parts->value, isClear);
    if (!isClear) Cmn_Trace("Feature value is not 0 or 1, %s is read: %s\n", Digit(value), line.c_str());
    mValues.SetBit(static_cast<unsigned int>(feature), value);
}

void JR_FeatureToggleManager::DumpNonDefaultFeatures() const {
    Cmn_Trace("Non-default features:\n");
    for (int i = 0; i < Feature::Count; ++i) {
        if (IsNonDefault(i)) Cmn_Trace("%s: %s.\n", FeatureName(i).c_str(), Digit(!IsFeatureOnByDefault(i)));
    }
}

bool JR_FeatureToggle::ReportValue() const {
    const auto* const mgr = Checked(JR_FeatureToggleManager::sInstance);
    return mgr && mgr->GetValue(mFeature);
}

std::string JR_FeatureToggle::GetName() const {
    const auto* const mgr = Checked(JR_FeatureToggleManager::sInstance);
    return mgr ? mgr->GetName(mFeature) : std::string();
}

std::string JR_FeatureToggle::GetDescription() const {
    const auto* const mgr = Checked(JR_FeatureToggleManager::sInstance);
    return mgr ? mgr->GetDescription(mFeature) : std::string();
}

bool JR_FeatureToggle::GetDefaultValue() const {
    const auto* const mgr = Checked(JR_FeatureToggleManager::sInstance);
    return mgr && mgr->GetDefaultValue(mFeature);
}

bool JR_FeatureToggle::IsPublic() const {
    const auto* const mgr = Checked(JR_FeatureToggleManager::sInstance);
    return mgr && mgr->IsPublic(mFeature);
}
