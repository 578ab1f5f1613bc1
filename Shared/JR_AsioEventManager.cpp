#include "Shared/JR_AsioEventManager.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/windows/object_handle.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <list>
#include <optional>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_TimerServiceWin32.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/IF_EventHandler.h"
#include "JRCmn/Internal/Cmn_LoopWatchdog.h"

using namespace NorvikLibInternal;
using boost::asio::io_service;
using boost::system::error_code;

namespace {

// A handler may take this long before it counts as blocking the loop.
constexpr uint64_t kBlockingMilliseconds = 2'000;
// A handle that cannot be waited for is tried again this much later: at once, it would take the whole processor.
constexpr std::chrono::milliseconds kRetryAfter{100};
// Step in which ProcessOneEvent looks for something ready.
constexpr unsigned kPollMilliseconds = 5;

using WorkGuard = boost::asio::executor_work_guard<io_service::executor_type>;

}  // namespace

class JR_AsioEventManager::Private {
public:
    class WaitRecord;
    class LoopScope;

    Private(JR_AsioEventManager& manager, io_service* service)
        : mOwnService(service ? nullptr : std::make_unique<io_service>()),
          mService(service ? *service : *mOwnService),
          mTimerService(manager) {
        if (mOwnService) KeepInWork();
    }
    ~Private();
    Private(const Private&) = delete;
    Private& operator=(const Private&) = delete;

    void CheckLoopThread() const;
    void KeepInWork();
    template <typename Operation>
    std::optional<size_t> Process(int line, Operation operation);
    long RunLoopThread(void*);

    std::list<std::shared_ptr<WaitRecord>> mHandlers;
    std::unique_ptr<io_service> mOwnService;
    io_service& mService;
    // An io_service that has nothing to do stops itself, and then does nothing until it is reset. This holds off the own
    // one until Shutdown, but not in Run, which ends that way; the program's one only while the event thread runs it.
    std::optional<WorkGuard> mWork;
    std::atomic<bool> mInEventLoop{false};
    std::atomic<bool> mShutdown{false};

    Cmn_TThread<Private> mLoopThread{"Asio Event Manager", eNormal, 0};
    std::function<void()> mOnThreadStart;
    std::atomic<bool> mThreadStarted{false};

    LoopWatchdog mWatchdog;
    Cmn_TimerServiceWin32 mTimerService;
};

// While one of the functions runs the loop.
class JR_AsioEventManager::Private::LoopScope {
public:
    enum EAfterwards { eReset, eKeep };

    LoopScope(Private& manager, EAfterwards afterwards)
        : mManager(manager),
          mAfterwards(afterwards),
          mWasInLoop(manager.mInEventLoop.exchange(true)),
          mIsInner(mWasInLoop || manager.mService.get_executor().running_in_this_thread()) {}
    ~LoopScope() {
        mManager.mInEventLoop = mWasInLoop;
        // So that the io_service can be run again. A handler that processes events itself leaves a Stop to the loop
        // that has called it, also when that is another manager's, or the program's own, on the same io_service.
        if (mAfterwards == eReset && !mIsInner) mManager.mService.restart();
    }
    LoopScope(const LoopScope&) = delete;
    LoopScope& operator=(const LoopScope&) = delete;

private:
    Private& mManager;
    const EAfterwards mAfterwards;
    const bool mWasInLoop, mIsInner;
};

// A registered handler. A wait that is under way holds a reference, so the record may outlive the manager.
class JR_AsioEventManager::Private::WaitRecord : public std::enable_shared_from_this<WaitRecord> {
public:
    WaitRecord(Private& owner, IF_EventHandler* handler, void* handle, const char* name)
        : mHandler(handler), mHandle(handle), mName(name ? name : ""), mWait(owner.mService), mOwner(owner) {
        // NOLINTNEXTLINE(modernize-use-nullptr): the text is fixed
        if (!CMN_VERIFY_AT(135, mHandle != NULL)) return;
        // A handle that cannot be duplicated leaves nothing to wait for, and each wait fails.
        HANDLE duplicate = nullptr;
        const HANDLE self = ::GetCurrentProcess();
        if (::DuplicateHandle(self, mHandle, self, &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
            mWait.assign(duplicate);
        }
    }

    IF_EventHandler* GetHandler() const { return mHandler; }
    void* GetHandle() const { return mHandle; }

    void Arm() {
        if (!mHandle) return;
        mWait.async_wait([self = shared_from_this()](const error_code& error) { self->Respond(error); });
    }

    void Unregister();

private:
    void Respond(const error_code& error);
    void CallHandler();
    void ArmAfterFailure(const error_code& error);

    IF_EventHandler* const mHandler;
    void* const mHandle;
    const Cmn_String mName;
    boost::asio::windows::object_handle mWait;
    std::unique_ptr<boost::asio::steady_timer> mRetry;  // after a wait that failed
    std::atomic<bool> mUnregistered{false};
    Private& mOwner;  // gone, maybe, when the handler is unregistered
};

// The wait is given up here and not when the last reference goes: one that is under way holds a reference itself, would go
// on until the handle is signalled, and would take the signal of an auto-reset event from who registers it next.
void JR_AsioEventManager::Private::WaitRecord::Unregister() {
    mUnregistered = true;
    mRetry.reset();
    if (!mWait.is_open()) return;
    error_code error;
    mWait.cancel(error);
    if (error) {
        Cmn_Trace("Failed to cancel async wait: %s\n", error.message().c_str());
        CMN_VERIFY_AT(150, false);
    }
    mWait.close(error);
}

void JR_AsioEventManager::Private::WaitRecord::Respond(const error_code& error) {
    // A signal may have been on its way when the wait was given up.
    if (mUnregistered) return;
    if (error) return ArmAfterFailure(error);
    try {
        CallHandler();
    } catch (...) {
        if (!mUnregistered) Arm();
        throw;
    }
    if (!mUnregistered) Arm();
}

void JR_AsioEventManager::Private::WaitRecord::ArmAfterFailure(const error_code& error) {
    Cmn_Trace("Failed to wait for an event: %s\n", error.message().c_str());
    CMN_VERIFY_AT(192, false);
    // Not by the timer service, which is a handler itself and may be the one that failed.
    mRetry = std::make_unique<boost::asio::steady_timer>(mOwner.mService, kRetryAfter);
    mRetry->async_wait([weak = weak_from_this()](const error_code&) {
        const auto self = weak.lock();
        if (self && !self->mUnregistered) self->Arm();
    });
}

void JR_AsioEventManager::Private::WaitRecord::CallHandler() {
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    {
        const LoopWatchdog::CallScope call(mOwner.mWatchdog, mName);
        mHandler->RespondToEvent();
    }
    const uint64_t elapsed = Cmn_Time::GetInMilliseconds() - start;
    Cmn_String description =
        mUnregistered ? mName + " (just unregistered)" : mHandler->GetLastEventDescription();
    if (elapsed <= kBlockingMilliseconds) return;
    if (description.IsEmpty()) description = mName;
    Cmn_Trace("Event handler %s has blocked event loop for %I64u milliseconds.\n", description.c_str(),
              elapsed);
}

// ---- The loop -----------------------------------------------------------------------------------------------------

JR_AsioEventManager::Private::~Private() {
    mLoopThread.ThreadEnd();
    mWork.reset();
    // First what may hold sockets or call the manager, then the io_service with what was posted, which may still ask the
    // manager for something.
    mWatchdog.Join();
    mOnThreadStart = nullptr;
    mTimerService.DiscardAll();
    mOwnService.reset();
}

// The list has no lock, so a change while the loop thread runs must come from that thread.
void JR_AsioEventManager::Private::CheckLoopThread() const {
    CMN_CHECK(!mLoopThread.IsRunning() || mLoopThread.GetID() == Cmn_Thread::GetCurrentThreadID());
}

void JR_AsioEventManager::Private::KeepInWork() {
    if (!mWork) mWork.emplace(mService.get_executor());
}

// Runs a piece of the loop, and yields how many completions that were. An error yields nothing and goes no further.
template <typename Operation>
std::optional<size_t> JR_AsioEventManager::Private::Process(int line, Operation operation) {
    try {
        error_code error;
        const size_t count = operation(mService, error);
        if (error) throw boost::system::system_error(error);
        return count;
    } catch (const boost::system::system_error& error) {
        Cmn_Trace("Caught error in the event loop: %s\n", error.what());
        CMN_VERIFY_AT(line, !"Caught error in the event loop");
        return std::nullopt;
    }
}

long JR_AsioEventManager::Private::RunLoopThread(void*) {
    const LoopScope scope(*this, LoopScope::eReset);
    if (mOnThreadStart) mOnThreadStart();
    // An error of one handler or socket does not silence all others.
    while (!mService.stopped()) {
        const auto ran =
            Process(552, [](io_service& service, error_code& error) { return service.run(error); });
        if (!ran) ::Sleep(1);  // the io_service itself may be what fails, each time
    }
    if (!mOwnService) mWork.reset();
    return 0;
}

JR_AsioEventManager::JR_AsioEventManager(io_service* service)
    : mPrivate(std::make_unique<Private>(*this, service)) {}

JR_AsioEventManager::~JR_AsioEventManager() {
    // What the event thread still runs uses all of this, and unregisters by the global pointer.
    if (mPrivate->mLoopThread.IsRunning()) JR_AsioEventManager::Stop();
    mPrivate->mLoopThread.ThreadEnd();
    gIF_EventManager.ClearIf(this);
    JR_AsioEventManager::Shutdown();
}

JR_AsioEventManager& JR_AsioEventManager::GetGlobalInstance() {
    CMN_ASSERT_AT(577, gIF_EventManager);
    auto* const mgr = dynamic_cast<JR_AsioEventManager*>(gIF_EventManager.Get());
    CMN_ASSERT_AT(580, mgr);
    return *mgr;
}

bool JR_AsioEventManager::RegisterHandler(IF_EventHandler* inEventHandler, const char* name) {
    if (mPrivate->mShutdown) return false;
    mPrivate->CheckLoopThread();
    if (!CMN_VERIFY_AT(415, inEventHandler)) return false;
    void* const handle = inEventHandler->GetEventToWaitOn();
    const auto pred = [handle](const auto& record) { return record->GetHandle() == handle; };
    if (!CMN_VERIFY_AT(420, std::find_if(mPrivate->mHandlers.begin(), mPrivate->mHandlers.end(), pred) ==
                                mPrivate->mHandlers.end())) {
        return false;
    }
    const auto record = std::make_shared<Private::WaitRecord>(*mPrivate, inEventHandler, handle, name);
    mPrivate->mHandlers.push_back(record);
    record->Arm();
    return true;
}

bool JR_AsioEventManager::UnregisterHandler(IF_EventHandler* inEventHandler) {
    if (mPrivate->mShutdown) return false;
    mPrivate->CheckLoopThread();
    if (!CMN_VERIFY_AT(436, inEventHandler)) return false;
    auto& handlers = mPrivate->mHandlers;
    auto found = std::find_if(handlers.begin(), handlers.end(),
                              [=](const auto& record) { return record->GetHandler() == inEventHandler; });
    // A stranger takes away who is registered with its handle. A handler that is registered itself is not asked: its
    // owner may have destroyed it before the manager, whose Shutdown comes this way.
    if (found == handlers.end()) {
        found = std::find_if(handlers.begin(), handlers.end(),
                             [handle = inEventHandler->GetEventToWaitOn()](const auto& record) {
                                 return record->GetHandle() == handle;
                             });
    }
    if (found == handlers.end()) return true;
    const auto record = *found;
    handlers.erase(found);
    record->Unregister();
    return true;
}

void JR_AsioEventManager::Shutdown() {
    if (mPrivate->mShutdown) return;
    Cmn_Trace("Shutting down event loop...\n");
    const auto& handlers = mPrivate->mHandlers;
    IF_EventManager& self = *this;
    while (!handlers.empty()) {
        self.UnregisterHandler(handlers.front()->GetHandler());
    }
    mPrivate->mShutdown = true;
    Cmn_Trace("Event loop is shut down.\n");
    mPrivate->mWork.reset();
    mPrivate->mWatchdog.End();
}

void JR_AsioEventManager::Stop() {
    if (!mPrivate->mService.stopped()) mPrivate->mService.stop();
}

bool JR_AsioEventManager::ProcessPendingMessagesAndEvents(unsigned int timeoutMs) {
    const Private::LoopScope scope(*mPrivate, Private::LoopScope::eReset);
    const WorkGuard work(
        mPrivate->mService.get_executor());  // for what comes later, when there is nothing yet
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    do {
        mPrivate->Process(663, [](io_service& service, error_code& error) { return service.poll(error); });
        ::Sleep(1);
    } while (Cmn_Time::GetInMilliseconds() - start < timeoutMs);
    return true;
}

bool JR_AsioEventManager::ProcessPendingMessagesAndEvents() {
    const Private::LoopScope scope(*mPrivate, Private::LoopScope::eReset);
    mPrivate->Process(632, [](io_service& service, error_code& error) { return service.poll(error); });
    return true;
}

bool JR_AsioEventManager::ProcessOneEvent(unsigned int timeoutMs) {
    if (!CMN_VERIFY_AT(452, !mPrivate->mShutdown)) return false;
    const Private::LoopScope scope(*mPrivate, Private::LoopScope::eKeep);
    const auto ran = mPrivate->Process(495, [timeoutMs](io_service& service, error_code& error) -> size_t {
        if (timeoutMs == INFINITE) return service.run_one(error);
        for (uint64_t elapsed = 0; elapsed <= timeoutMs; elapsed += kPollMilliseconds) {
            if (service.poll_one(error) || error) return !error;
            if (elapsed < timeoutMs) {
                ::Sleep(static_cast<DWORD>(std::min<uint64_t>(kPollMilliseconds, timeoutMs - elapsed)));
            }
        }
        return 0;
    });
    return ran.value_or(0) != 0;
}

bool JR_AsioEventManager::StartEventThread(Cmn_ThreadPriority priority, std::function<void()> onThreadStart) {
    if (mPrivate->mShutdown || mPrivate->mThreadStarted.exchange(true)) return false;
    mPrivate->mOnThreadStart = std::move(onThreadStart);
    mPrivate->mLoopThread.SetPriority(priority);
    mPrivate->KeepInWork();
    if (mPrivate->mLoopThread.Launch(mPrivate.get(), &Private::RunLoopThread, nullptr) == 0) return true;
    mPrivate->mThreadStarted = false;
    if (!mPrivate->mOwnService) mPrivate->mWork.reset();
    return false;
}

void JR_AsioEventManager::StopEventThread() {
    Stop();
}

bool JR_AsioEventManager::WaitForEventThread(unsigned int timeoutMs) {
    return mPrivate->mLoopThread.WaitForEnd(timeoutMs);
}

Cmn_TimerService_IF& JR_AsioEventManager::GetTimerService() {
    return mPrivate->mTimerService;
}

void JR_AsioEventManager::Post(std::function<void()> fn) {
    boost::asio::post(mPrivate->mService, std::move(fn));
}

void JR_AsioEventManager::Run() {
    const Private::LoopScope scope(*mPrivate, Private::LoopScope::eReset);
    // It ends when there is nothing to wait for.
    struct WithoutGuard {
        explicit WithoutGuard(Private& manager) : owner(manager), had(manager.mWork) { owner.mWork.reset(); }
        ~WithoutGuard() {
            if (had && !owner.mShutdown) owner.KeepInWork();
        }
        Private& owner;
        const bool had;
    } const withoutGuard(*mPrivate);
    mPrivate->Process(552, [](io_service& service, error_code& error) { return service.run(error); });
}

unsigned int JR_AsioEventManager::GetCurrentEventLoopThreadId() const {
    return mPrivate->mWatchdog.GetLoopThreadID();
}

io_service& JR_AsioEventManager::GetService() {
    return mPrivate->mService;
}

void JR_AsioEventManager::EnableWatchdogThread(unsigned int inTimeoutSeconds,
                                               std::function<bool(bool, void*)> callback) {
    if (mPrivate->mWatchdog.IsEnabled()) return;
    if (!CMN_VERIFY_AT(607, inTimeoutSeconds > 0)) return;
    mPrivate->mWatchdog.Enable(inTimeoutSeconds, std::move(callback));
}
