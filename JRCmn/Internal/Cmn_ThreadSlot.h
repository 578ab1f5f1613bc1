#pragma once

// A number that each thread has its own of, 0 at first. The compiler's thread_local allocates on a thread's first use
// with this run-time; a platform slot never does.
//
// Threads:   any
// Ownership: a slot is a process-wide static and is never given back
// Errors:    when the platform has no slot left, every thread reads 0. Reading clears the thread's last error.
// Units:     none

#include <cstdint>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

class ThreadSlot {
public:
    ThreadSlot() : mIndex(::TlsAlloc()) {}

    uintptr_t Get() const { return reinterpret_cast<uintptr_t>(::TlsGetValue(mIndex)); }

    void Set(uintptr_t value) const { ::TlsSetValue(mIndex, reinterpret_cast<void*>(value)); }

private:
    const DWORD mIndex;
};

}  // namespace NorvikLibInternal
