#include "IPC/IPC_SharedMemory.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "IPC/IPC_SeqLock.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"

using NorvikLibInternal::KernelHandle;
using NorvikLibInternal::LastErrorKeeper;

// NOLINTBEGIN(modernize-use-nullptr): the texts of the checks are fixed

namespace {

constexpr uint32_t cHeaderSize = sizeof(uint32_t);
constexpr unsigned int cMaxUserSize = std::numeric_limits<uint32_t>::max() - cHeaderSize;

// What can be touched behind the view's base: whole pages. Memory that another program has only reserved cannot.
size_t MappedSize(const void* view) {
    MEMORY_BASIC_INFORMATION information = {};
    ::VirtualQuery(view, &information, sizeof information);
    return information.State == MEM_COMMIT ? information.RegionSize : 0;
}

unsigned char* At(void* view, unsigned int offset) {
    return static_cast<unsigned char*>(view) + offset;
}

}  // namespace

IPC_SharedMemory::IPC_SharedMemory(const Cmn_String& name) : mMutex(name + " - Mutex"), mName(name) {}

IPC_SharedMemory::~IPC_SharedMemory() {
    Delete();
}

// Nothing stays of what did not come to its end, also when the report of it throws.
struct IPC_SharedMemory::UnlessDone {
    explicit UnlessDone(IPC_SharedMemory& block) : mBlock(block) {}
    ~UnlessDone() {
        if (!mIsDone || mUnlocks) mBlock.mMutex.Unlock();
        if (!mIsDone) mBlock.Delete();
    }
    UnlessDone(const UnlessDone&) = delete;
    UnlessDone& operator=(const UnlessDone&) = delete;

    IPC_SharedMemory& mBlock;
    bool mIsDone = false;
    bool mUnlocks = false;  // in any case
};

// The mutex, whose name is longer, sees to the rest.
bool IPC_SharedMemory::IsNameUsable() const {
    return CMN_VERIFY(!mName.IsEmpty());
}

bool IPC_SharedMemory::Create(unsigned int userSize) {
    if (!CMN_VERIFY_AT(55, mFileMappingHandle == 0)) return false;
    if (!IsNameUsable() || !CMN_VERIFY(userSize <= cMaxUserSize) || !mMutex.Create()) return false;
    UnlessDone unless(*this);
    unless.mIsDone = MapNew(userSize + cHeaderSize);
    return unless.mIsDone;
}

bool IPC_SharedMemory::MapNew(uint32_t totalSize) {
    mFileMappingHandle =
        ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, totalSize, mName);
    const DWORD error = ::GetLastError();
    if (!CMN_VERIFY(mFileMappingHandle != 0)) return false;
    const bool isOld = error == ERROR_ALREADY_EXISTS;
    if (isOld) Cmn_Trace("'%s' found, will re-use existing copy!\n", mName.c_str());
    // The blank before the parenthesis is part of the report's text, and the plain form would print the platform's macros
    // expanded.
    // clang-format off
    if (!CMN_VERIFY_AT(__LINE__, (mDataPtr = ::MapViewOfFile (mFileMappingHandle, FILE_MAP_ALL_ACCESS, 0, 0, 0)) != 0)) {
        return false;
    }
    // clang-format on
    // An old mapping keeps its size, whatever this one asked for: a header that says more would send readers beyond it.
    if (!CMN_VERIFY(totalSize <= MappedSize(mDataPtr))) return false;
    IPC_SeqLock::Copy(mDataPtr, &totalSize, cHeaderSize);
    mTotalSize = totalSize;
    return true;
}

bool IPC_SharedMemory::Open(bool readOnly) {
    if (!CMN_VERIFY_AT(104, mFileMappingHandle == 0)) return false;
    if (!IsNameUsable() || !mMutex.TryOpen()) return false;
    if (mMutex.Lock()) return MapExisting(readOnly, 118, 119);
    mMutex.Close();
    return false;
}

bool IPC_SharedMemory::TryOpen(unsigned int timeoutMs, bool readOnly) {
    if (!CMN_VERIFY_AT(139, mFileMappingHandle == 0)) return false;
    if (!IsNameUsable() || !mMutex.Open()) return false;
    if (mMutex.TimedLock(timeoutMs)) return MapExisting(readOnly, 158, 159);
    mMutex.Close();
    return false;
}

// With the mutex held, which it releases.
bool IPC_SharedMemory::MapExisting(bool readOnly, int openLine, int mapLine) {
    const DWORD access = readOnly && !NorvikLibInternal::IsWine() ? FILE_MAP_READ : FILE_MAP_ALL_ACCESS;
    UnlessDone unless(*this);
    unless.mUnlocks = true;
    mIsReadOnly = readOnly;
    unless.mIsDone =
        CMN_VERIFY_AT(openLine, (mFileMappingHandle = ::OpenFileMapping(access, FALSE, mName)) != 0) &&
        CMN_VERIFY_AT(mapLine, (mDataPtr = ::MapViewOfFile(mFileMappingHandle, access, 0, 0, 0)) != 0) &&
        TakeSizeFromHeader();
    return unless.mIsDone;
}

// The header is read here and never again, so that what others write there later cannot lead beyond the mapping.
bool IPC_SharedMemory::TakeSizeFromHeader() {
    const size_t mappedSize = MappedSize(mDataPtr);
    if (!CMN_VERIFY(mappedSize >= cHeaderSize)) return false;
    uint32_t totalSize = 0;
    IPC_SeqLock::Copy(&totalSize, mDataPtr, cHeaderSize);
    if (!CMN_VERIFY(totalSize >= cHeaderSize) || !CMN_VERIFY(totalSize <= mappedSize)) return false;
    mTotalSize = totalSize;
    return true;
}

void IPC_SharedMemory::Delete() {
    const LastErrorKeeper keeper;
    if (mDataPtr) ::UnmapViewOfFile(std::exchange(mDataPtr, nullptr));
    const KernelHandle mapping(std::exchange(mFileMappingHandle, nullptr));
    mMutex.Close();
    mTotalSize = 0;
    mIsReadOnly = false;
}

bool IPC_SharedMemory::Lock(bool lock) {
    return lock ? mMutex.Lock() : mMutex.Unlock();
}

uint32_t IPC_SharedMemory::CountAt(unsigned int offset, unsigned int size) const {
    return offset < mTotalSize ? std::min<uint32_t>(size, mTotalSize - offset) : 0;
}

// Both copy like a sequence lock's readers and writers, so that they also serve between its calls.
bool IPC_SharedMemory::Write(const void* data, unsigned int size, unsigned int* written,
                             unsigned int offset) {
    const bool isAllowed = CMN_VERIFY(mFileMappingHandle != 0) && CMN_VERIFY(!mIsReadOnly);
    const uint32_t count = isAllowed ? CountAt(offset, size) : 0;
    if (count != 0) IPC_SeqLock::Copy(At(mDataPtr, offset), data, count);
    if (written) *written = count;
    return isAllowed && offset < mTotalSize;
}

bool IPC_SharedMemory::Read(void* data, unsigned int size, unsigned int* read, unsigned int offset) {
    const uint32_t count = CMN_VERIFY(mFileMappingHandle != 0) ? CountAt(offset, size) : 0;
    if (count != 0) IPC_SeqLock::Copy(data, At(mDataPtr, offset), count);
    if (read) *read = count;
    return offset < mTotalSize;
}

void* IPC_SharedMemory::GetUserDataPtr() const {
    return mDataPtr ? At(mDataPtr, cHeaderSize) : nullptr;
}

unsigned int IPC_SharedMemory::GetUserDataSize() const {
    return mTotalSize == 0 ? 0 : mTotalSize - cHeaderSize;
}

IPC_SharedMemoryLocker::IPC_SharedMemoryLocker(IPC_SharedMemory& memory)
    : mMemory(memory), mIsLocked(memory.Lock(true)) {}

IPC_SharedMemoryLocker::~IPC_SharedMemoryLocker() {
    if (mIsLocked) CMN_VERIFY(mMemory.Lock(false));
}

// NOLINTEND(modernize-use-nullptr)
