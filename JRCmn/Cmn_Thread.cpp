#include "JRCmn/Cmn_Thread.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_CrashMonitor.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_ThreadCalls.h"

using namespace NorvikLibInternal;

namespace NorvikLibInternal {

// What a running thread says of itself.
struct ThreadOutcome {
    std::atomic<long> result{0};
    std::atomic<bool> gone{false};
    // A thread whose object has let it go finds another number here, and says nothing.
    std::atomic<unsigned> run{0};
};

ThreadCalls& GetThreadCalls() {
    static ThreadCalls calls;
    return calls;
}

}  // namespace NorvikLibInternal

namespace {

// All that a running thread knows: it never looks at its Cmn_Thread, which may be gone.
struct ThreadRun {
    std::shared_ptr<const std::function<long()>> body;
    std::shared_ptr<ThreadOutcome> outcome;
    unsigned number;
};

long Go(std::unique_ptr<ThreadRun> run) {
    const long result = (*run->body)();
    const std::shared_ptr<ThreadOutcome> outcome = run->outcome;
    const unsigned number = run->number;
    // Who sees the gone flag may take away what the body refers to: it is let go before.
    run.reset();
    if (outcome->run == number) {
        outcome->result = result;
        outcome->gone = true;
    }
    return result;
}

DWORD WINAPI ThreadActivity(void* run) {
    Cmn_CrashMonitor::PrepareThread();
    return static_cast<DWORD>(Go(std::unique_ptr<ThreadRun>(static_cast<ThreadRun*>(run))));
}

}  // namespace

Cmn_Thread::Cmn_Thread(const Cmn_String& name, Cmn_ThreadPriority priority, int stackSize)
    : mOutcome(std::make_shared<ThreadOutcome>()),
      mBody(std::make_shared<const std::function<long()>>()),
      mPriority(priority),
      mStackSize(stackSize),
      mName(name) {}

Cmn_Thread::~Cmn_Thread() {
    Cmn_Thread::ThreadEnd();
}

int Cmn_Thread::Launch(const std::function<long()>& body) {
    // A thread that runs keeps the body it was launched with.
    mBody = std::make_shared<const std::function<long()>>(body);
    return Run();
}

int Cmn_Thread::Launch(long (*function)(void*), void* argument) {
    return Launch([=] { return function(argument); });
}

int Cmn_Thread::Run() {
    if (mLaunched) return -1;
    auto run = std::make_unique<ThreadRun>(ThreadRun{mBody, mOutcome, mOutcome->run});
    mOutcome->gone = false;
    mLaunched = true;
    DWORD id = 0;
    KernelHandle thread(GetThreadCalls().createThread(nullptr, static_cast<SIZE_T>(mStackSize),
                                                      &ThreadActivity, run.get(), CREATE_SUSPENDED, &id));
    if (!thread) {
        const DWORD error = ::GetLastError();
        mLaunched = false;
        VerifyFailed("mThreadHandle != 0", kThreadSource, 100);
        return static_cast<int>(error);
    }
    mThreadID = id;
    mThreadHandle = thread.Get();
    const auto takeBack = [&] {
        // Else it would stay suspended for ever. It has not run an instruction of the body, so it holds nothing that
        // somebody may wait for.
        if (!::TerminateThread(thread.Get(), 0)) static_cast<void>(run.release());
        mThreadHandle = nullptr;
        mLaunched = false;
    };
    try {
        SetThreadPriority(mPriority.load(), thread.Get());
    } catch (...) {  // a failure hook may throw
        takeBack();
        throw;
    }
    if (GetThreadCalls().resumeThread(thread.Get()) == kFailedCall) {
        const DWORD error = ::GetLastError();
        takeBack();
        ::SetLastError(error);
        VerifyFailed("::ResumeThread(mThreadHandle) != -1", kThreadSource, 102);
        return static_cast<int>(error);
    }
    // From here on the body may have destroyed this object.
    static_cast<void>(run.release());
    static_cast<void>(thread.Release());
    return 0;
}

bool Cmn_Thread::IsGone() const {
    return mOutcome->gone;
}

long Cmn_Thread::Result() const {
    return mOutcome->result;
}

bool Cmn_Thread::IsOwnThread() const {
    return IsRunning() && mThreadID == ::GetCurrentThreadId();
}

bool Cmn_Thread::WaitForEnd(unsigned int timeoutMs) {
    if (!IsRunning()) return true;
    void* const handle = mThreadHandle;
    if (!handle) return false;
    if (timeoutMs == INFINITE && IsOwnThread()) {
        return CMN_FAILURE_AT(501,
                              "A thread has been told to wait without limit for its own end, and does not");
    }
    return ::WaitForSingleObject(handle, timeoutMs) != WAIT_TIMEOUT;
}

long Cmn_Thread::ThreadEnd() {
    if (!mLaunched) return Result();
    const bool isOwn = IsOwnThread();
    if (isOwn) {
        ++mOutcome->run;
    } else if (IsRunning()) {
        ::WaitForSingleObject(mThreadHandle, INFINITE);
    }
    KernelHandle(mThreadHandle.exchange(nullptr)).Reset();
    mLaunched = false;
    const long result = Result();
    if (isOwn)
        CMN_FAILURE_AT(502, "A thread has ended or destroyed its own Cmn_Thread, and goes on without it");
    return result;
}

bool Cmn_Thread::SetPriority(Cmn_ThreadPriority priority) {
    mPriority = priority;
    void* const handle =
        mThreadHandle;  // none yet while it is being launched, which then takes the new level
    return IsRunning() && handle ? SetThreadPriority(priority, handle) : true;
}

void Cmn_Thread::SetName(const Cmn_String& name) {
    if (mName != name) mName = name;
}

void Cmn_Thread::SetName(unsigned int, const char*) {}

void Cmn_Thread::Snooze(unsigned int ms) {
    ::Sleep(ms);
}

unsigned int Cmn_Thread::GetCurrentThreadID() {
    return ::GetCurrentThreadId();
}

void Cmn_SingleThreadingChecker::Check(const char* what) {
    Cmn_String alert;
    {
        IPC_BenaphoreLocker locker(mLock);
        if (!mThreadIDs) mThreadIDs = std::make_unique<std::set<uint32_t>>();
        if (!mThreadIDs->insert(Cmn_Thread::GetCurrentThreadID()).second || mThreadIDs->size() < 2) return;
        alert.Printf("Multithreading alert: %s is used by ", what);
        for (const uint32_t id : *mThreadIDs)
            alert.AppendPrintf("%08X ", id);
    }
    // The report calls the application for its context, which may well use what is checked here.
    FailureReported(alert, kThreadSource, 451);
}

void Cmn_SingleThreadingChecker::Reset() {
    IPC_BenaphoreLocker locker(mLock);
    if (mThreadIDs) mThreadIDs->clear();
}
