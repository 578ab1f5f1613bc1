#include <algorithm>
#include <atomic>
#include <iterator>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_ThreadCalls.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"

using namespace NorvikLibInternal;

namespace {

constexpr int kNormalLevel = 8;
constexpr int kFirstRealTimeLevel = 16;

// Kinds of the native interface.
constexpr LONG kBasicInformation = 0;
constexpr LONG kPriority = 2;

struct BasicInformation {
    LONG exitStatus;
    void* environmentBlock;
    void* processId;
    void* threadId;
    ULONG_PTR affinity;
    LONG priority;
    LONG basePriority;
};
static_assert(sizeof(BasicInformation) == 48);

std::atomic<bool> gHasPrivilege{false};

int LevelOf(EPriority priority) {
    constexpr int kLevels[] = {2, 4, 6, 8, 10, 15, 24, 31};
    if (priority >= 0 && priority < static_cast<int>(std::size(kLevels))) return kLevels[priority];
    VerifyFailed("false", kThreadSource, 82);
    return kNormalLevel;
}

// Between the ends of its scale the platform knows five levels only.
int RelativePriority(int level) {
    if (level >= 13) return THREAD_PRIORITY_TIME_CRITICAL;
    if (level < 4) return THREAD_PRIORITY_IDLE;
    return std::clamp(level - kNormalLevel, THREAD_PRIORITY_LOWEST, THREAD_PRIORITY_HIGHEST);
}

Cmn_String DescribeStatus(LONG status) {
    return DescribeSystemError(GetThreadCalls().statusToError(status));
}

bool EnablePrivilege(HANDLE token) {
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!gLookupPrivilegeValue(nullptr, "SeIncreaseBasePriorityPrivilege", &privileges.Privileges[0].Luid))
        return false;
    // It also succeeds when the account does not have the privilege, and says so in the last error.
    return GetThreadCalls().adjustPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr) &&
           ::GetLastError() == ERROR_SUCCESS;
}

// False when it cannot even be tried. A privilege that was refused is asked for again the next time.
bool AskForPrivilege() {
    if (gHasPrivilege) return true;
    HANDLE opened = nullptr;
    if (!GetThreadCalls().openProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                                           &opened))
        return false;
    const KernelHandle token(opened);
    if (EnablePrivilege(token.Get())) {
        gHasPrivilege = true;
    } else {
        Cmn_Trace("The adjust thread priority privilege couldn't be obtained...\n");
    }
    return true;
}

bool SetRelativePriority(int level, HANDLE thread) {
    if (!GetThreadCalls().setPriorityBoost(thread, TRUE) && !IsWine()) {
        VerifyFailed("JR_ShellApp::IsWine()", kThreadSource, 247);
    }
    return GetThreadCalls().setPriority(thread, RelativePriority(level));
}

bool SetNativePriority(LONG level, HANDLE thread) {
    // The best that there is without the privilege. Whether it succeeds is no matter: the next call decides.
    GetThreadCalls().setPriority(thread, THREAD_PRIORITY_TIME_CRITICAL);
    const LONG status = GetThreadCalls().setThread(thread, kPriority, &level, sizeof level);
    if (status == 0) return true;
    Cmn_Trace("NtSetInformationThread failed: %s\n", DescribeStatus(status).c_str());
    return false;
}

}  // namespace

Cmn_ThreadPriority::Cmn_ThreadPriority(EPriority priority) : mLevel(LevelOf(priority)) {}

bool Cmn_Thread::NativeAPIOK() {
    const ThreadCalls& calls = GetThreadCalls();
    return calls.queryThread && calls.setThread && calls.statusToError;
}

bool Cmn_Thread::SetThreadPriority(Cmn_ThreadPriority priority, void* thread) {
    const HANDLE handle = ToThreadHandle(thread);
    bool done = false;
    if (priority < kFirstRealTimeLevel) {
        done = SetRelativePriority(priority, handle);
    } else if (!AskForPrivilege()) {
        return false;
    } else if (!NativeAPIOK()) {
        VerifyFailed("NativeAPIOK()", kThreadSource, 193);
    } else {
        done = SetNativePriority(priority, handle);
    }
    if (!done) Cmn_Trace("Set thread priority failed!\n");
    return done;
}

int Cmn_Thread::GetThreadPriority(void* thread) {
    if (!NativeAPIOK()) {
        VerifyFailed("NativeAPIOK()", kThreadSource, 278);
        return -1;
    }
    BasicInformation information = {};
    const LONG status = GetThreadCalls().queryThread(ToThreadHandle(thread), kBasicInformation, &information,
                                                     sizeof information, nullptr);
    if (status == 0) return information.basePriority;
    Cmn_Trace("Cmn_Thread::GetThreadPriority failed: %s\n", DescribeStatus(status).c_str());
    return -1;
}
