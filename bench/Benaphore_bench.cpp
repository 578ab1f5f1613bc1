// The lock: uncontended against what it is made of, contended against the platform's own.

#include "IPC/IPC_Benaphore.h"

#include <windows.h>

#include <mutex>

#include "bench/Bench.h"

namespace {

// About a hundred nanoseconds that the compiler cannot leave out.
void Work() {
    for (int i = 0; i < 25; ++i)
        benchmark::DoNotOptimize(i);
    for (int i = 0; i < 60; ++i)
        benchmark::ClobberMemory();
    volatile int sink = 0;
    for (int i = 0; i < 40; ++i)
        sink = sink + i;
}

IPC_Benaphore& Shared() {
    static IPC_Benaphore lock;
    return lock;
}

CRITICAL_SECTION& SharedSection() {
    static CRITICAL_SECTION& section = *[] {
        auto* made = new CRITICAL_SECTION;
        ::InitializeCriticalSection(made);
        return made;
    }();
    return section;
}

void Uncontended(benchmark::State& state) {
    IPC_Benaphore lock;
    for (auto _ : state) {
        lock.Lock();
        benchmark::ClobberMemory();
        lock.Unlock();
    }
}

const Subject kAgainstAtomics("benaphore, uncontended pair", Run::kFree, "a bare atomic pair", 1.3,
                              &Uncontended, [](benchmark::State& state) {
                                  std::atomic<int> word{0};
                                  for (auto _ : state) {
                                      benchmark::DoNotOptimize(word.fetch_add(1));
                                      benchmark::ClobberMemory();
                                      benchmark::DoNotOptimize(word.fetch_sub(1));
                                  }
                              });

const Subject kAgainstMutex("benaphore, uncontended pair (mutex)", Run::kFree, "std::mutex", 1.0,
                            &Uncontended, [](benchmark::State& state) {
                                std::mutex lock;
                                for (auto _ : state) {
                                    lock.lock();
                                    benchmark::ClobberMemory();
                                    lock.unlock();
                                }
                            });

void Contended(benchmark::State& state) {
    for (auto _ : state) {
        Shared().Lock();
        Work();
        Shared().Unlock();
        Work();
    }
}

void ContendedSection(benchmark::State& state) {
    for (auto _ : state) {
        ::EnterCriticalSection(&SharedSection());
        Work();
        ::LeaveCriticalSection(&SharedSection());
        Work();
    }
}

const Subject kTwo("benaphore, 2 threads contending", Run::kFree, "CRITICAL_SECTION", 1.0, &Contended,
                   &ContendedSection, 2);
const Subject kFour("benaphore, 4 threads contending", Run::kFree, "CRITICAL_SECTION", 1.0, &Contended,
                    &ContendedSection, 4);

}  // namespace
