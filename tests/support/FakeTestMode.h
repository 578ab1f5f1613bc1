#pragma once

// A registry that holds only the test level. The library asks for it once in a process.
//
// Threads: before others start.  Ownership: none.  Errors: a look-up of anything else fails the test.  Units: the level.

#include <gtest/gtest.h>

#include "JRCmn/Internal/Cmn_RegistryCalls.h"

inline void FakeTestMode(DWORD level) {
    static DWORD sLevel;
    sLevel = level;
    NorvikLibInternal::GetRegistryCalls().openKey = [](HKEY root, LPCSTR path, auto, auto, PHKEY key) {
        EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
        EXPECT_STREQ(path, "Software\\NorvikLib");
        return ::RegOpenKeyExA(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, key);
    };
    NorvikLibInternal::GetRegistryCalls().queryValue = [](HKEY, LPCSTR name, LPDWORD, LPDWORD type,
                                                          LPBYTE data, LPDWORD) -> LSTATUS {
        EXPECT_STREQ(name, "Test Mode");
        *type = REG_DWORD;
        *reinterpret_cast<DWORD*>(data) = sLevel;
        return ERROR_SUCCESS;
    };
}
