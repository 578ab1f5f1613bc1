// The event loop: from an event to its handler against a bare wait, and bursts of deferred jobs against what one would
// write by hand.

#include "JRCmn/Cmn_EventManager.h"

#include <boost/asio.hpp>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_ScheduleLater.h"
#include "JRCmn/IF_EventHandler.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "bench/Bench.h"

namespace {

// ---- Event to handler and back ---------------------------------------------------------------------------------

class Reply : public IF_EventHandler {
public:
    void* GetEventToWaitOn() override { return event.GetHandle(); }
    void RespondToEvent() override { answer->Set(); }

    IPC_Event event{IPC_Event::eAutoReset};
    IPC_Event* answer = nullptr;
};

void RoundTrips(benchmark::State& state, const IPC_Event& question, const IPC_Event& answer) {
    for (auto _ : state) {
        question.Set();
        answer.Wait(INFINITE);
    }
}

Subject::Function ThroughManager(int handlers) {
    return [handlers](benchmark::State& state) {
        Cmn_EventManager manager;
        IPC_Event answer(IPC_Event::eAutoReset);
        std::vector<Reply> replies(static_cast<size_t>(handlers));
        for (Reply& reply : replies) {
            reply.answer = &answer;
            manager.RegisterHandler(&reply, "reply");
        }
        manager.StartEventThread(eNormal, nullptr);
        RoundTrips(state, replies.back().event, answer);
        manager.StopEventThread();
        replies.back().event.Set();
        manager.WaitForEventThread(INFINITE);
    };
}

Subject::Function ThroughBareWait(int handles) {
    return [handles](benchmark::State& state) {
        IPC_Event answer(IPC_Event::eAutoReset);
        std::vector<IPC_Event> own;
        std::vector<HANDLE> waitFor;
        for (int i = 0; i < handles; ++i)
            own.emplace_back(IPC_Event::eAutoReset);
        for (const IPC_Event& event : own)
            waitFor.push_back(event.GetHandle());
        std::atomic<bool> stop{false};
        std::thread loop([&] {
            while (!stop) {
                ::WaitForMultipleObjects(static_cast<DWORD>(handles), waitFor.data(), FALSE, INFINITE);
                answer.Set();
            }
        });
        RoundTrips(state, own.back(), answer);
        stop = true;
        own.back().Set();
        loop.join();
    };
}

const Subject kOne("event to handler and back, 1 handler", Run::kPinned, "WaitForMultipleObjects loop", 1.15,
                   ThroughManager(1), ThroughBareWait(1));
const Subject kSixteen("event to handler and back, 16 handlers", Run::kPinned, "WaitForMultipleObjects loop",
                       1.15, ThroughManager(16), ThroughBareWait(16));
const Subject kAll("event to handler and back, 63 handlers", Run::kPinned, "WaitForMultipleObjects loop",
                   1.15, ThroughManager(63), ThroughBareWait(63));

// ---- Bursts of jobs ------------------------------------------------------------------------------------------------

constexpr int kBurst = 20'000;

void BurstOfScheduleLater(benchmark::State& state) {
    Cmn_EventManager manager;
    gIF_EventManager = &manager;
    Cmn_ScheduleLater later;
    while (state.KeepRunningBatch(kBurst)) {
        int ran = 0;
        for (int i = 0; i < kBurst; ++i)
            later.ScheduleLater([&ran] { ++ran; }, "job");
        while (ran < kBurst)
            manager.ProcessOneEvent(INFINITE);
    }
}

void BurstOfPosts(benchmark::State& state) {
    boost::asio::io_context context;
    while (state.KeepRunningBatch(kBurst)) {
        int ran = 0;
        for (int i = 0; i < kBurst; ++i)
            boost::asio::post(context, [&ran] { ++ran; });
        context.run();
        context.restart();
        if (ran != kBurst) state.SkipWithError("a job is missing");
    }
}

// A queue under a lock, with an event: set for each job, or only when the queue was empty.
Subject::Function BurstByHand(bool setForEach) {
    return [setForEach](benchmark::State& state) {
        CRITICAL_SECTION lock;
        ::InitializeCriticalSection(&lock);
        const IPC_Event event;
        const HANDLE handle = event.GetHandle();
        std::vector<std::function<void()>> queue, batch;
        while (state.KeepRunningBatch(kBurst)) {
            int ran = 0;
            for (int i = 0; i < kBurst; ++i) {
                ::EnterCriticalSection(&lock);
                const bool wasEmpty = queue.empty();
                queue.emplace_back([&ran] { ++ran; });
                ::LeaveCriticalSection(&lock);
                if (wasEmpty || setForEach) event.Set();
            }
            ::WaitForMultipleObjects(1, &handle, FALSE, INFINITE);
            ::EnterCriticalSection(&lock);
            batch.swap(queue);
            ::LeaveCriticalSection(&lock);
            event.Reset();
            for (const auto& job : batch)
                job();
            batch.clear();
            if (ran != kBurst) state.SkipWithError("a job is missing");
        }
        ::DeleteCriticalSection(&lock);
    };
}

const Subject kAgainstSetEvent("deferred job, in a burst of 20,000", Run::kPinned, "SetEvent for each job",
                               0.02, &BurstOfScheduleLater, BurstByHand(true));
const Subject kAgainstAsio("deferred job, in a burst of 20,000 (asio)", Run::kPinned, "asio::post", 0.02,
                           &BurstOfScheduleLater, &BurstOfPosts);
const Subject kAgainstQueue("deferred job, in a burst of 20,000 (queue)", Run::kPinned,
                            "vector under a lock, one event", 4.0, &BurstOfScheduleLater, BurstByHand(false));

}  // namespace
