#pragma once

// The seam of the threads: the platform calls that Cmn_Thread makes. A test replaces a single entry of the table and puts
// it back. The last three are those of the native interface; null when the platform lacks them.
//
// Threads:   replaced before the threads start that use it
// Ownership: none
// Errors, units: as the platform calls

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

// Cmn_Thread's checks stand in several sources, and are all reported from this one.
inline constexpr char kThreadSource[] = "JRCmn\\Cmn_Thread.cpp";

inline constexpr DWORD kFailedCall = static_cast<DWORD>(-1);  // of SuspendThread and ResumeThread

template <typename Function>
Function FindNative(const char* name) {
    const HMODULE library = ::GetModuleHandleA("ntdll.dll");
    return library ? FindFunction<Function>(library, name) : nullptr;
}

using QueryThread = LONG(NTAPI*)(HANDLE thread, LONG kind, void* data, ULONG size, ULONG* sizeRead);
using SetThread = LONG(NTAPI*)(HANDLE thread, LONG kind, void* data, ULONG size);
using StatusToError = ULONG(NTAPI*)(LONG status);

// Bound on demand: only real-time threads ask for the privilege.
inline DynamicFunction<decltype(&::OpenProcessToken)> gOpenProcessToken("advapi32.dll", "OpenProcessToken");
inline DynamicFunction<decltype(&::LookupPrivilegeValueA)> gLookupPrivilegeValue("advapi32.dll",
                                                                                 "LookupPrivilegeValueA");
inline DynamicFunction<decltype(&::AdjustTokenPrivileges)> gAdjustTokenPrivileges("advapi32.dll",
                                                                                  "AdjustTokenPrivileges");

struct ThreadCalls {
    decltype(&::CreateThread) createThread = &::CreateThread;
    decltype(&::ResumeThread) resumeThread = &::ResumeThread;
    decltype(&::SuspendThread) suspendThread = &::SuspendThread;
    decltype(&::GetThreadContext) getContext = &::GetThreadContext;
    decltype(&::SetThreadPriority) setPriority = &::SetThreadPriority;
    decltype(&::SetThreadPriorityBoost) setPriorityBoost = &::SetThreadPriorityBoost;
    decltype(&::OpenProcessToken) openProcessToken = [](auto... arguments) {
        return gOpenProcessToken(arguments...);
    };
    decltype(&::AdjustTokenPrivileges) adjustPrivileges = [](auto... arguments) {
        return gAdjustTokenPrivileges(arguments...);
    };
    QueryThread queryThread = FindNative<QueryThread>("NtQueryInformationThread");
    SetThread setThread = FindNative<SetThread>("NtSetInformationThread");
    StatusToError statusToError = FindNative<StatusToError>("RtlNtStatusToDosError");
};

// Bound once, when first asked for.
NORVIK_API ThreadCalls& GetThreadCalls();

// A handle as Cmn_Thread's static functions take it, where -1 means the calling thread. To the platform, -1 is the process.
inline HANDLE ToThreadHandle(void* thread) {
    return thread == INVALID_HANDLE_VALUE ? ::GetCurrentThread() : thread;
}

}  // namespace NorvikLibInternal
