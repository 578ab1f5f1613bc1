#pragma once

// Cmn_Registry: one open registry key, with string and 32-bit values.
//
//   Cmn_Registry settings;
//   unsigned int level = 0;
//   if (settings.Open(HKEY_LOCAL_MACHINE, Cmn_Registry::kLibraryKey, eRegistryAccess_ReadOnly))
//       settings.Read("Test Mode", level);
//
// Threads:   one object belongs to one thread at a time
// Ownership: owns the key it opened; closes it in Close() and in the destructor
// Errors:    operations return false and leave their out-parameter alone; nothing is traced, since a missing value is
//            normal. A value of another type, or longer than 1 MiB, counts as missing.
// Units:     narrow text in the ANSI code page

#include <cstdint>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

enum ERegistryAccess {
    eRegistryAccess_ReadOnly,       // the key must exist
    eRegistryAccess_AllOperations,  // the key must exist
    eRegistryAccess_Create,         // all operations; a missing key is created
};

class NORVIK_API Cmn_Registry {
public:
    // Below HKEY_LOCAL_MACHINE: the library's own key ("Test Mode"), and the settings of the console.
    static const char* const kLibraryKey;
    static const char* const kSettingsKey;

    Cmn_Registry() = default;
    ~Cmn_Registry() { Close(); }
    Cmn_Registry(const Cmn_Registry&) = delete;
    Cmn_Registry& operator=(const Cmn_Registry&) = delete;

    // `root` is one of the platform's predefined keys. An open key is closed first.
    bool Open(void* root, const char* path, ERegistryAccess access);
    void Close();
    bool IsOpen() const { return mKey != nullptr; }

    // A string value without its terminator (an unterminated one is read whole; an embedded NUL ends it).
    bool Read(const char* name, Cmn_String& outValue) const;
    bool Read(const char* name, uint32_t& outValue) const;

    // A value is made when it is not there, and takes the new type when it had another; removing one that is not there is false.
    bool Write(const char* name, const Cmn_String& value);
    bool Write(const char* name, uint32_t value);
    bool Remove(const char* name);

private:
    void* mKey = nullptr;
};
