#pragma once

// Values of the machine's registry and files in the root of drive C, put back as they were. Only suites named
// Machine... may use them.
//
//   MachineSettings machine;
//   machine.SetText(kFirmwareKey, "BaseBoardProduct", "IC17X");
//
// Threads: one.  Ownership: none.  Errors: what cannot be set fails the test.  Units: none.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "JRCmn/Internal/Cmn_Handle.h"
#include "tests/support/TempFolder.h"

constexpr char kFirmwareKey[] = "HARDWARE\\DESCRIPTION\\System\\BIOS";
constexpr char kWindowsKey[] = "Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kMakerKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\OEMInformation";
constexpr char kSettings[] = "Software\\NorvikLib\\Settings";

struct RegistryHandleTraits {
    using Type = HKEY;
    static bool IsEmpty(HKEY key) { return key == nullptr; }
    static HKEY Empty() { return nullptr; }
    static void Close(HKEY key) { ::RegCloseKey(key); }
};
using RegistryHandle = NorvikLibInternal::Handle<RegistryHandleTraits>;

class MachineSettings {
public:
    ~MachineSettings() {
        for (; !mUndo.empty(); mUndo.pop_back())
            mUndo.back()();
    }

    void Set(const std::string& path, const std::string& name, DWORD type, const std::string& bytes) {
        const auto key = Open(path, name);
        EXPECT_EQ(Write(key, name, type, bytes), 0) << name;
    }
    void SetText(const std::string& path, const std::string& name, const std::string& text) {
        Set(path, name, REG_SZ, text + '\0');
    }
    void SetNumber(const std::string& path, const std::string& name, DWORD number) {
        Set(path, name, REG_DWORD, {reinterpret_cast<char*>(&number), sizeof number});
    }
    void Remove(const std::string& path, const std::string& name) {
        ::RegDeleteValueA(Open(path, name).Get(), name.c_str());
    }
    void MakeFile(const std::string& path) {
        WriteWholeFile(path, "");
        mUndo.push_back([path] { ::DeleteFileA(path.c_str()); });
    }
    void MakeFolder(const std::string& path) {
        EXPECT_TRUE(::CreateDirectoryA(path.c_str(), nullptr));
        mUndo.push_back([path] { ::RemoveDirectoryA(path.c_str()); });
    }

private:
    using Key = RegistryHandle;

    // The platform would add a terminator that it finds behind the bytes.
    static LSTATUS Write(const Key& key, const std::string& name, DWORD type, const std::string& bytes) {
        const std::string guarded = bytes + 'X';
        return ::RegSetValueExA(key.Get(), name.c_str(), 0, type,
                                reinterpret_cast<const BYTE*>(guarded.data()),
                                static_cast<DWORD>(bytes.size()));
    }

    // A key that was not there goes again; a value becomes what it was.
    Key Open(const std::string& path, const std::string& name) {
        HKEY opened = nullptr;
        DWORD disposition = 0, type = 0, size = 0;
        EXPECT_EQ(::RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    &opened, &disposition),
                  0)
            << path;
        const bool isThere = ::RegQueryValueExA(opened, name.c_str(), nullptr, &type, nullptr, &size) == 0;
        std::string bytes(size, '\0');
        if (isThere)
            ::RegQueryValueExA(opened, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(bytes.data()),
                               &size);
        mUndo.push_back([=] {
            HKEY key = nullptr;
            ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key);
            const Key owned(key);
            if (isThere) {
                Write(owned, name, type, bytes);
            } else {
                ::RegDeleteValueA(key, name.c_str());
            }
            if (disposition == REG_CREATED_NEW_KEY) ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str());
        });
        return Key(opened);
    }

    std::vector<std::function<void()>> mUndo;
};
