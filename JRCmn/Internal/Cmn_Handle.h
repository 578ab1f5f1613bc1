#pragma once

// NorvikLibInternal::Handle<Traits>: the one owner of platform handles.
//
//   KernelHandle file(::CreateFileA(...));
//   if (!file) return false;          // null and INVALID_HANDLE_VALUE are both "nothing"
//
// Threads:   as the handle it owns; the owner itself belongs to one thread at a time
// Ownership: closes what it holds, once, in the destructor, in Reset and in move assignment
// Errors:    closing keeps the thread's last error, so that an early return does not hide it
// Units:     none

#include <utility>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

// Traits: `using Type`, `static bool IsEmpty(Type)`, `static Type Empty()`, `static void Close(Type)`.
template <typename Traits>
class Handle {
public:
    using Type = typename Traits::Type;

    Handle() = default;
    explicit Handle(Type handle) : mHandle(handle) {}
    Handle(Handle&& other) noexcept : mHandle(other.Release()) {}
    Handle& operator=(Handle&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ~Handle() { Reset(); }

    explicit operator bool() const { return !Traits::IsEmpty(mHandle); }
    Type Get() const { return mHandle; }
    Type Release() { return std::exchange(mHandle, Traits::Empty()); }

    void Reset(Type handle = Traits::Empty()) {
        const Type old = std::exchange(mHandle, handle);
        if (Traits::IsEmpty(old)) return;
        const DWORD lastError = ::GetLastError();
        Traits::Close(old);
        ::SetLastError(lastError);
    }

private:
    Type mHandle = Traits::Empty();
};

struct KernelHandleTraits {
    using Type = HANDLE;
    static bool IsEmpty(HANDLE handle) { return handle == nullptr || handle == INVALID_HANDLE_VALUE; }
    static HANDLE Empty() { return nullptr; }
    static void Close(HANDLE handle) { ::CloseHandle(handle); }
};
using KernelHandle = Handle<KernelHandleTraits>;

struct FindHandleTraits : KernelHandleTraits {
    static void Close(HANDLE handle) { ::FindClose(handle); }
};
using FindHandle = Handle<FindHandleTraits>;

}  // namespace NorvikLibInternal
