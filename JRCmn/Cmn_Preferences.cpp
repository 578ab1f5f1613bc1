#include "JRCmn/Cmn_Preferences.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace {

bool OpenSettings(const char* name, ERegistryAccess access, Cmn_Registry& outSettings) {
    return CMN_VERIFY(name != nullptr) &&
           outSettings.Open(HKEY_LOCAL_MACHINE, Cmn_Registry::kSettingsKey, access);
}

bool Read(const char* name, uint32_t& outValue) {
    Cmn_Registry settings;
    return OpenSettings(name, eRegistryAccess_ReadOnly, settings) && settings.Read(name, outValue);
}

bool Write(const char* name, uint32_t value) {
    Cmn_Registry settings;
    return OpenSettings(name, eRegistryAccess_Create, settings) && settings.Write(name, value);
}

}  // namespace

bool Cmn_Preferences::Get(const char* name, bool& outValue) {
    uint32_t value = 0;
    if (!Read(name, value)) return false;
    outValue = value != 0;
    return true;
}

bool Cmn_Preferences::Get(const char* name, int& outValue) {
    uint32_t value = 0;
    if (!Read(name, value)) return false;
    outValue = static_cast<int>(value);
    return true;
}

bool Cmn_Preferences::Set(const char* name, bool value) {
    return Write(name, value ? 1 : 0);
}

bool Cmn_Preferences::Set(const char* name, int value) {
    return Write(name, static_cast<uint32_t>(value));
}

bool Cmn_Preferences::Remove(const char* name) {
    Cmn_Registry settings;
    return OpenSettings(name, eRegistryAccess_AllOperations, settings) && settings.Remove(name);
}
