#include "IPC/IPC_Mutex.h"

#include <cstring>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Handle.h"

using NorvikLibInternal::KernelHandle;

// NOLINTBEGIN(modernize-use-nullptr): the texts of the checks are fixed

namespace {

constexpr int cMaxNameLength = MAX_PATH - 1;

// Whether a wait gave the mutex to this thread.
bool IsAcquired(DWORD result) {
    if (result == WAIT_ABANDONED) Cmn_Trace("Mutex was abandoned!\n");
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

}  // namespace

IPC_BasicMutex::~IPC_BasicMutex() {
    KernelHandle{mMutex};
}

bool IPC_BasicMutex::Lock() {
    if (!CMN_VERIFY_AT(28, mMutex != NULL)) return false;
    const DWORD result = ::WaitForSingleObject(mMutex, INFINITE);
    return IsAcquired(result) || CMN_VERIFY_AT(37, result == WAIT_OBJECT_0);
}

bool IPC_BasicMutex::TimedLock(unsigned int timeoutMs) {
    if (!CMN_VERIFY_AT(46, mMutex != NULL)) return false;
    const DWORD result = ::WaitForSingleObject(mMutex, timeoutMs);
    if (IsAcquired(result)) return true;
    CMN_VERIFY_AT(58, result == WAIT_TIMEOUT);
    return false;
}

bool IPC_BasicMutex::Unlock() {
    return ::ReleaseMutex(mMutex) != FALSE;
}

IPC_UnnamedMutex::IPC_UnnamedMutex() {
    mMutex = ::CreateMutexA(nullptr, FALSE, nullptr);
    CMN_VERIFY_AT(157, mMutex != NULL);
}

IPC_NamedMutex::IPC_NamedMutex(const Cmn_String& name) : mName(name) {}

// The platform takes an empty name for none, and a name up to a NUL in it: both would be a mutex of another name.
bool IPC_NamedMutex::IsReadyToOpen() const {
    const int length = mName.GetLength();
    return CMN_VERIFY(mMutex == nullptr) && CMN_VERIFY(length > 0) && CMN_VERIFY(length <= cMaxNameLength) &&
           CMN_VERIFY(std::strlen(mName) == mName.View().size());
}

bool IPC_NamedMutex::Create() {
    if (!IsReadyToOpen()) return false;
    mMutex = ::CreateMutexA(nullptr, TRUE, mName);
    const DWORD error = ::GetLastError();
    if (!CMN_VERIFY_AT(105, mMutex != NULL)) return false;
    if (error != ERROR_ALREADY_EXISTS) return true;
    // The wish to own it from the start counts only for one that is new.
    Cmn_Trace("'%s' found, will re-use existing copy!\n", mName.c_str());
    if (CMN_VERIFY_AT(102, Lock())) return true;
    Close();
    return false;
}

bool IPC_NamedMutex::Open() {
    if (!IsReadyToOpen()) return false;
    mMutex = ::OpenMutexA(MUTEX_ALL_ACCESS, FALSE, mName);
    return mMutex != nullptr;
}

bool IPC_NamedMutex::TryOpen() {
    if (!IsReadyToOpen()) return false;
    mMutex = ::CreateMutexA(nullptr, FALSE, mName);
    const DWORD error = ::GetLastError();
    if (!CMN_VERIFY_AT(121, mMutex != NULL)) return false;
    if (error == ERROR_ALREADY_EXISTS) return true;
    Close();
    return false;
}

void IPC_NamedMutex::Close() {
    KernelHandle{std::exchange(mMutex, nullptr)};
}

IPC_MutexLocker::IPC_MutexLocker(IPC_BasicMutex& mutex, bool deferLock) : mMutex(mutex) {
    if (!deferLock) Lock();
}

IPC_MutexLocker::~IPC_MutexLocker() {
    if (mIsLocked) CMN_VERIFY_AT(190, mMutex.Unlock());
}

bool IPC_MutexLocker::Lock() {
    if (!mIsLocked) mIsLocked = mMutex.Lock();
    return mIsLocked;
}

bool IPC_MutexLocker::TimedLock(unsigned int timeoutMs) {
    if (!mIsLocked) mIsLocked = mMutex.TimedLock(timeoutMs);
    return mIsLocked;
}

// NOLINTEND(modernize-use-nullptr)
