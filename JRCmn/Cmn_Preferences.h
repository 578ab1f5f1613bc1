#pragma once

// Cmn_Preferences: named numbers and yes/no values that outlive the program, in the settings of the console
// (Cmn_Registry::kSettingsKey).
//
//   int position = 0;
//   if (!Cmn_Preferences::Get("External Display Position", position)) position = 0;
//   Cmn_Preferences::Set("External Display Position", position);
//
// Threads:   any; each call stands for itself
// Ownership: none
// Errors:    Get returns false and leaves its out-parameter alone when there is no value, or one of another type; Set and
//            Remove return false when the registry refuses or, for Remove, has no such value. Nothing is traced, since a
//            missing value is normal; only a null name is reported.
// Units:     32-bit values; a bool is stored as 0 or 1 and any other number reads as true, too

#include "JRCmn/Cmn_Export.h"

class NORVIK_API Cmn_Preferences {
public:
    Cmn_Preferences() = delete;

    static bool Get(const char* name, bool& outValue);
    static bool Get(const char* name, int& outValue);
    static bool Set(const char* name, bool value);
    static bool Set(const char* name, int value);
    static bool Set(const char* name, const void* text) = delete;  // a pointer would count as true
    static bool Remove(const char* name);
};
