#include "JRCmn/Internal/Cmn_DnsSdDaemon.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <atomic>

#include "IPC/IPC_Benaphore.h"
#include "IPC/IPC_Event.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"

namespace NorvikLibInternal {
namespace {

class Daemon {
public:
    // Never destroyed: a question may be under way when the process ends.
    static Daemon& Get() {
        static Daemon& daemon = *new Daemon;
        return daemon;
    }

    bool IsThere() {
        if (!FindDnsSdFunction("DNSServiceGetProperty")) return true;
        if (mState == kThere && ::GetTickCount64() - mAnswerTime < kDnsSdAnswerAge) return true;
        State state = mState;
        const bool wasGone = state == kGone;
        if (BeginsQuestion()) {
            if (!Ask()) {
                mIsAsking = false;
                return true;
            }
        } else if (wasGone) {
            return false;  // who asked first has waited
        }
        const bool isAnswered = mAnswered.Wait(wasGone ? kDnsSdNextWait : kDnsSdFirstWait);
        if (!isAnswered) mState.compare_exchange_strong(state, kGone);  // or the answer has come just now
        return isAnswered && mState == kThere;
    }

    void NoteGone() { mState = kGone; }

    void Forget() {
        while (mIsAsking)
            mAnswered.Wait(kDnsSdNextWait);
        mState = kUnknown;
    }

private:
    enum State { kUnknown, kThere, kGone };

    // False while another one is under way, whose answer can be waited for, not the one before.
    bool BeginsQuestion() {
        const IPC_BenaphoreLocker lock(mLock);
        if (mIsAsking.exchange(true)) return false;
        mAnswered.Reset();
        return true;
    }

    bool Ask() {
        HMODULE self = nullptr;
        ::GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<const char*>(&Daemon::Run), &self);
        TP_CALLBACK_ENVIRON environment;
        ::InitializeThreadpoolEnvironment(&environment);
        ::SetThreadpoolCallbackRunsLong(&environment);
        ::SetThreadpoolCallbackLibrary(&environment, self);
        return ::TrySubmitThreadpoolCallback(&Daemon::Run, this, &environment);
    }

    static void CALLBACK Run(PTP_CALLBACK_INSTANCE, void* context) {
        Daemon& self = *static_cast<Daemon*>(context);
        uint32_t version = 0;
        uint32_t size = sizeof version;
        const auto error = DNSServiceGetProperty(kDNSServiceProperty_DaemonVersion, &version, &size);
        self.mAnswerTime = ::GetTickCount64();
        // A library that does not know the question may still have its daemon.
        self.mState = error == kDNSServiceErr_ServiceNotRunning ? kGone : kThere;
        self.mAnswered.Set();
        self.mIsAsking = false;
    }

    IPC_Benaphore mLock;
    std::atomic<State> mState{kUnknown};
    std::atomic<ULONGLONG> mAnswerTime{0};
    std::atomic<bool> mIsAsking{false};
    IPC_Event mAnswered;
};

}  // namespace

bool IsDnsSdDaemonThere() {
    return Daemon::Get().IsThere();
}

void NoteDnsSdDaemonGone() {
    Daemon::Get().NoteGone();
}

void ForgetDnsSdDaemon() {
    Daemon::Get().Forget();
}

}  // namespace NorvikLibInternal
