// The asio event manager against bare Boost.Asio: from an event to its handler, and posted functions.

#include <boost/asio.hpp>

#include <atomic>
#include <thread>

#include "IPC/IPC_Event.h"
#include "JRCmn/IF_EventHandler.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "Shared/JR_AsioEventManager.h"
#include "bench/Bench.h"

namespace {

// ---- Event to handler and back ---------------------------------------------------------------------------------

class Reply : public IF_EventHandler {
public:
    void* GetEventToWaitOn() override { return event.GetHandle(); }
    void RespondToEvent() override { answer.Set(); }

    const IPC_Event event{IPC_Event::eAutoReset};
    const IPC_Event answer{IPC_Event::eAutoReset};
};

void RoundTrips(benchmark::State& state, const IPC_Event& question, const IPC_Event& answer) {
    for (auto _ : state) {
        question.Set();
        answer.Wait(INFINITE);
    }
}

Subject::Function ThroughManager(bool isWatched) {
    return [isWatched](benchmark::State& state) {
        JR_AsioEventManager manager;
        Reply reply;
        if (isWatched) manager.EnableWatchdogThread(10, nullptr);
        manager.RegisterHandler(&reply, "reply");
        manager.StartEventThread(eNormal, nullptr);
        RoundTrips(state, reply.event, reply.answer);
        manager.StopEventThread();
        manager.WaitForEventThread(INFINITE);
    };
}

void ThroughObjectHandle(benchmark::State& state) {
    boost::asio::io_context context;
    const auto work = boost::asio::make_work_guard(context);
    HANDLE const event = ::CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const IPC_Event answer(IPC_Event::eAutoReset);
    boost::asio::windows::object_handle wait(context, event);
    std::function<void()> arm = [&] {
        wait.async_wait([&](const boost::system::error_code& error) {
            if (error) return;
            answer.Set();
            arm();
        });
    };
    arm();
    std::thread loop([&] { context.run(); });
    for (auto _ : state) {
        ::SetEvent(event);
        answer.Wait(INFINITE);
    }
    context.stop();
    loop.join();
}

const Subject kEvent("event to asio handler and back", Run::kPinned, "bare object_handle", 1.1,
                     ThroughManager(false), &ThroughObjectHandle);
const Subject kWatched("event to asio handler and back, watched", Run::kPinned, "bare object_handle", 0,
                       ThroughManager(true), &ThroughObjectHandle);

// ---- Posted functions ------------------------------------------------------------------------------------------

void PostAndWait(benchmark::State& state) {
    JR_AsioEventManager manager;
    const IPC_Event answer(IPC_Event::eAutoReset);
    manager.StartEventThread(eNormal, nullptr);
    for (auto _ : state) {
        manager.Post([&] { answer.Set(); });
        answer.Wait(INFINITE);
    }
    manager.StopEventThread();
    manager.WaitForEventThread(INFINITE);
}

void BarePostAndWait(benchmark::State& state) {
    boost::asio::io_context context;
    const auto work = boost::asio::make_work_guard(context);
    const IPC_Event answer(IPC_Event::eAutoReset);
    std::thread loop([&] { context.run(); });
    for (auto _ : state) {
        boost::asio::post(context, [&] { answer.Set(); });
        answer.Wait(INFINITE);
    }
    context.stop();
    loop.join();
}

const Subject kPost("function posted to the loop, and back", Run::kPinned, "asio::post", 1.1, &PostAndWait,
                    &BarePostAndWait);

constexpr int kBurst = 5'000;

void BurstOfPosts(benchmark::State& state) {
    JR_AsioEventManager manager;
    while (state.KeepRunningBatch(kBurst)) {
        int ran = 0;
        for (int i = 0; i < kBurst; ++i)
            manager.Post([&ran] { ++ran; });
        manager.ProcessPendingMessagesAndEvents();
        if (ran != kBurst) state.SkipWithError("a function is missing");
    }
}

void BurstOfBarePosts(benchmark::State& state) {
    boost::asio::io_context context;
    const auto work = boost::asio::make_work_guard(context);
    while (state.KeepRunningBatch(kBurst)) {
        int ran = 0;
        for (int i = 0; i < kBurst; ++i)
            boost::asio::post(context, [&ran] { ++ran; });
        context.poll();
        if (ran != kBurst) state.SkipWithError("a function is missing");
    }
}

const Subject kBurstPost("function posted to the loop, in a burst of 5,000", Run::kPinned, "asio::post", 1.1,
                         &BurstOfPosts, &BurstOfBarePosts);

}  // namespace
