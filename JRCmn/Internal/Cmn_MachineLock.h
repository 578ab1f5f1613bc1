#pragma once

// Holds off the other programs of the machine, in every session and of every user, for a scope.
//
//   const MachineLock lock("NorvikLib Log Folder", 2'000);
//   if (!lock.IsHeld()) ...
//
// Threads:   the thread that made it ends it; one that holds it already gets it again
// Ownership: the mutex, until its end
// Errors:    IsHeld is false when it was not to be had in time
// Units:     milliseconds

#include <string>

#include "JRCmn/Internal/Cmn_Handle.h"

namespace NorvikLibInternal {

class MachineLock {
public:
    MachineLock(const char* name, DWORD timeoutMs) : mMutex(Create(name)) {
        const DWORD result = mMutex ? ::WaitForSingleObject(mMutex.Get(), timeoutMs) : WAIT_FAILED;
        mIsHeld = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    }
    ~MachineLock() {
        if (mIsHeld) ::ReleaseMutex(mMutex.Get());
    }
    MachineLock(const MachineLock&) = delete;
    MachineLock& operator=(const MachineLock&) = delete;

    bool IsHeld() const { return mIsHeld; }

private:
    static HANDLE Create(const char* name) {
        constexpr DWORD kUse = SYNCHRONIZE | MUTEX_MODIFY_STATE;
        // Programs of other users open what the first one made. Written by hand: the DLL of the functions that would do it
        // costs every program a millisecond.
        SECURITY_DESCRIPTOR everybody = {};
        everybody.Revision = SECURITY_DESCRIPTOR_REVISION;
        everybody.Control = SE_DACL_PRESENT;  // and no list: all access
        SECURITY_ATTRIBUTES attributes = {sizeof attributes, &everybody, FALSE};
        const HANDLE shared =
            ::CreateMutexExA(&attributes, (std::string("Global\\") + name).c_str(), 0, kUse);
        return shared ? shared : ::CreateMutexExA(&attributes, name, 0, kUse);
    }

    const KernelHandle mMutex;
    bool mIsHeld = false;
};

}  // namespace NorvikLibInternal
