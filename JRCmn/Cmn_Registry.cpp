#include "JRCmn/Cmn_Registry.h"

#include "JRCmn/Internal/Cmn_RegistryCalls.h"

namespace {

constexpr DWORD kLongestValue = 1 << 20;  // bytes; nothing that the library reads comes near it

HKEY Key(void* key) {
    return static_cast<HKEY>(key);
}

}  // namespace

namespace NorvikLibInternal {

RegistryCalls& GetRegistryCalls() {
    static RegistryCalls calls;
    return calls;
}

}  // namespace NorvikLibInternal

using NorvikLibInternal::GetRegistryCalls;

const char* const Cmn_Registry::kLibraryKey = "Software\\NorvikLib";
const char* const Cmn_Registry::kSettingsKey = "Software\\NorvikLib\\Settings";

bool Cmn_Registry::Open(void* root, const char* path, ERegistryAccess access) {
    Close();
    HKEY key = nullptr;
    const LONG result =
        access == eRegistryAccess_Create
            ? GetRegistryCalls().createKey(Key(root), path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                           nullptr)
            : GetRegistryCalls().openKey(
                  Key(root), path, 0, access == eRegistryAccess_ReadOnly ? KEY_READ : KEY_ALL_ACCESS, &key);
    if (result != ERROR_SUCCESS) return false;
    mKey = key;
    return true;
}

void Cmn_Registry::Close() {
    if (mKey == nullptr) return;
    GetRegistryCalls().closeKey(Key(mKey));
    mKey = nullptr;
}

bool Cmn_Registry::Read(const char* name, Cmn_String& outValue) const {
    if (mKey == nullptr) return false;
    DWORD type = 0, size = 0;
    if (GetRegistryCalls().queryValue(Key(mKey), name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
        return false;
    if ((type != REG_SZ && type != REG_EXPAND_SZ) || size > kLongestValue) return false;

    Cmn_String value;
    value.Reserve(static_cast<int>(size), false);
    char* buffer = value.AsArray(static_cast<int>(size));
    // Asked again with a buffer, the value may have changed in between: a longer one fails, a shorter one is fine.
    if (GetRegistryCalls().queryValue(Key(mKey), name, nullptr, &type, reinterpret_cast<BYTE*>(buffer),
                                      &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ)) {
        return false;
    }
    buffer[size] = 0;
    value.UpdateLength();
    outValue = value;
    return true;
}

bool Cmn_Registry::Read(const char* name, uint32_t& outValue) const {
    if (mKey == nullptr) return false;
    DWORD type = 0, value = 0, size = sizeof value;
    if (GetRegistryCalls().queryValue(Key(mKey), name, nullptr, &type, reinterpret_cast<BYTE*>(&value),
                                      &size) != ERROR_SUCCESS ||
        type != REG_DWORD || size != sizeof value) {
        return false;
    }
    outValue = value;
    return true;
}

bool Cmn_Registry::Write(const char* name, const Cmn_String& value) {
    if (mKey == nullptr) return false;
    return GetRegistryCalls().setValue(Key(mKey), name, 0, REG_SZ,
                                       reinterpret_cast<const BYTE*>(value.c_str()),
                                       static_cast<DWORD>(value.GetLength()) + 1) == ERROR_SUCCESS;
}

bool Cmn_Registry::Write(const char* name, uint32_t value) {
    if (mKey == nullptr) return false;
    return GetRegistryCalls().setValue(Key(mKey), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                                       sizeof value) == ERROR_SUCCESS;
}

bool Cmn_Registry::Remove(const char* name) {
    return mKey != nullptr && GetRegistryCalls().deleteValue(Key(mKey), name) == ERROR_SUCCESS;
}
