#include "JRCmn/Internal/Cmn_Clock.h"

#include <atomic>

#include "JRCmn/Internal/Cmn_FileTime.h"

namespace NorvikLibInternal {
namespace {

std::atomic<uint64_t (*)()> gOverride{nullptr};

// 0.1 ms at 2 GHz: a tenth of what the clock shows.
constexpr uint64_t kCyclesOfNoTime = 200'000;
std::atomic<uint64_t> gReadAtCycles{0};  // the processor's counter before the last reading
std::atomic<uint64_t> gLastReading{0};

uint64_t PerformanceCount() {
    LARGE_INTEGER count;
    ::QueryPerformanceCounter(&count);
    return static_cast<uint64_t>(count.QuadPart);
}

uint64_t WallMilliseconds() {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return ToMilliseconds(now);
}

// What the clocks said at the start. Both monotonic clocks are tied to the wall clock here and only here.
struct Origin {
    uint64_t wall = WallMilliseconds();
    uint64_t tick = ::GetTickCount64();
    uint64_t countsPerSecond = [] {
        LARGE_INTEGER frequency;
        ::QueryPerformanceFrequency(&frequency);
        return static_cast<uint64_t>(frequency.QuadPart);
    }();
    // In whole milliseconds of the counter, so that this clock goes on at the same moments as the platform's timers: one
    // that fires on the millisecond does not find this clock still a fraction behind.
    uint64_t counter = ToMilliseconds(PerformanceCount());

    // The count of a 10 MHz counter times 1000 fits 64 bits for 58 years.
    uint64_t ToMilliseconds(uint64_t count) const { return count * 1000 / countsPerSecond; }
};

const Origin& GetOrigin() {
    static const Origin origin;
    return origin;
}

}  // namespace

uint64_t ClockMilliseconds() {
    if (const auto fake = gOverride.load(std::memory_order_acquire)) return fake();
    // A burst of lines asks many times in one millisecond. While the processor's own counter says that next to no time has
    // passed since the last reading, that reading is the answer. A counter that jumps, or that differs between
    // processors, only leads to another reading.
    const uint64_t cycles = ReadTimeStampCounter();
    if (cycles - gReadAtCycles.load(std::memory_order_acquire) < kCyclesOfNoTime) {
        return gLastReading.load(std::memory_order_relaxed);
    }
    const Origin& origin = GetOrigin();
    const uint64_t now = origin.wall + origin.ToMilliseconds(PerformanceCount()) - origin.counter;
    // Threads that read at the same time may get here in any order: the last reading never goes back.
    uint64_t last = gLastReading.load(std::memory_order_relaxed);
    while (last < now && !gLastReading.compare_exchange_weak(last, now, std::memory_order_relaxed)) {
    }
    gReadAtCycles.store(cycles, std::memory_order_release);
    return now;
}

uint64_t ClockMillisecondsCoarse() {
    if (const auto fake = gOverride.load(std::memory_order_acquire)) return fake();
    const Origin& origin = GetOrigin();
    return origin.wall + (::GetTickCount64() - origin.tick);
}

void OverrideClock(uint64_t (*now)()) {
    gOverride.store(now, std::memory_order_release);
}

}  // namespace NorvikLibInternal
