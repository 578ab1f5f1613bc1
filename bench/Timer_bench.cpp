// Timers: registering and aborting beside many that wait, and how late the loop calls.

#include "JRCmn/Cmn_TimerService.h"

#include <map>
#include <string>
#include <unordered_map>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Internal/Cmn_TimerCalls.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "bench/Bench.h"

namespace {

// ---- Register and abort ---------------------------------------------------------------------------------------------

// What one writes without a second thought: ordered by due time, found by ID.
class ByMap {
public:
    int Register(unsigned long long delay, std::function<void()> callable, const std::string& description) {
        const int id = ++mLastID;
        mPlaces[id] = mEvents.emplace(Cmn_Time::GetInMilliseconds() + delay,
                                      Event{id, std::move(callable), description});
        return id;
    }
    void Abort(int id) {
        const auto place = mPlaces.find(id);
        mEvents.erase(place->second);
        mPlaces.erase(place);
    }

private:
    struct Event {
        int id;
        std::function<void()> callable;
        std::string description;
    };
    std::multimap<uint64_t, Event> mEvents;
    std::unordered_map<int, std::multimap<uint64_t, Event>::iterator> mPlaces;
    int mLastID = 0;
};

class ByService {
public:
    int Register(unsigned long long delay, std::function<void()> callable, const Cmn_String& description) {
        return mManager.GetTimerService().RegisterOneShotEvent(delay, std::move(callable), description);
    }
    void Abort(int id) { mManager.GetTimerService().AbortEvent(id); }

private:
    Cmn_EventManager mManager;
};

template <typename Timers, typename Text>
Subject::Function RegisterAndAbort(int pending) {
    return [pending](benchmark::State& state) {
        Timers timers;
        const Text description = "Poll fans";
        int called = 0;
        uint32_t random = 1;
        const auto delay = [&] {
            return 3'600'000 + (random = random * 1'664'525 + 1'013'904'223) % 1'000'000;
        };
        timers.Register(
            3'600'000, [&called] { ++called; }, description);  // the earliest stays
        for (int i = 1; i < pending; ++i)
            timers.Register(
                delay(), [&called] { ++called; }, description);
        for (auto _ : state)
            timers.Abort(timers.Register(
                delay(), [&called] { ++called; }, description));
    };
}

constexpr auto& Ours = RegisterAndAbort<ByService, Cmn_String>;
constexpr auto& Peers = RegisterAndAbort<ByMap, std::string>;

const Subject kTen("timer, register and abort, 10 pending", Run::kFree, "multimap and hash index", 0.5,
                   Ours(10), Peers(10));
const Subject kThousand("timer, register and abort, 1,000 pending", Run::kFree, "multimap and hash index",
                        0.5, Ours(1'000), Peers(1'000));
const Subject kMany("timer, register and abort, 100,000 pending", Run::kFree, "multimap and hash index", 0.5,
                    Ours(100'000), Peers(100'000));
const Subject kFlat("timer, register and abort, 100,000 pending (flat)", Run::kFree, "ours with 10 pending",
                    3.0, Ours(100'000), Ours(10));

// ---- Lateness -------------------------------------------------------------------------------------------------------

// Both clocks count whole milliseconds, so what a delay really takes depends on when in a millisecond it begins: each begins
// with one.
void AwaitMillisecond(benchmark::State& state) {
    state.PauseTiming();
    const uint64_t now = Cmn_Time::GetInMilliseconds();
    while (Cmn_Time::GetInMilliseconds() == now) {
    }
    state.ResumeTiming();
}

Subject::Function LoopTimer(unsigned delay) {
    return [delay](benchmark::State& state) {
        Cmn_EventManager manager;
        for (auto _ : state) {
            AwaitMillisecond(state);
            bool called = false;
            manager.GetTimerService().RegisterOneShotEvent(
                delay, [&] { called = true; }, "late");
            while (!called)
                manager.ProcessOneEvent(INFINITE);
        }
    };
}

Subject::Function BareTimer(unsigned delay) {
    return [delay](benchmark::State& state) {
        const IPC_Event event;
        const HANDLE handle = event.GetHandle();
        for (auto _ : state) {
            AwaitMillisecond(state);
            event.Reset();
            NorvikLibInternal::GetTimerCalls().start(delay, 0, handle, NorvikLibInternal::kOneShotSetsEvent);
            ::WaitForMultipleObjects(1, &handle, FALSE, INFINITE);
        }
    };
}

// The limits are 0.2 ms more than the platform's own time.
const Subject kLate1("timer of 1 ms until it is called", Run::kPinned, "timeSetEvent", 1.18, LoopTimer(1),
                     BareTimer(1));
const Subject kLate5("timer of 5 ms until it is called", Run::kPinned, "timeSetEvent", 1.039, LoopTimer(5),
                     BareTimer(5));
const Subject kLate50("timer of 50 ms until it is called", Run::kPinned, "timeSetEvent", 1.004, LoopTimer(50),
                      BareTimer(50));

}  // namespace
