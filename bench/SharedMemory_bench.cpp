// The sequence lock's reader against a bare copy, and the mutex locker against the platform's calls.

#include <cstring>
#include <memory>
#include <thread>

#include "IPC/IPC_Mutex.h"
#include "IPC/IPC_SeqLock.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "bench/Bench.h"

namespace {

// As it lies in a block, behind the header of 4 bytes.
template <size_t size>
struct Guarded {
    alignas(64) uint32_t header = 0;
    IPC_SeqLock lock;
    unsigned char data[size] = {};
};

template <size_t size>
void Read(benchmark::State& state) {
    auto guarded = std::make_unique<Guarded<size>>();
    alignas(64) unsigned char copy[size];
    for (auto _ : state) {
        if (!guarded->lock.Read(copy, guarded->data, size).IsValid()) state.SkipWithError("no copy");
        benchmark::DoNotOptimize(&copy[0]);
        benchmark::ClobberMemory();
    }
}

// What a reader cannot do without.
template <size_t size>
void CopyAndTwoLoads(benchmark::State& state) {
    auto guarded = std::make_unique<Guarded<size>>();
    volatile uint32_t& counter = guarded->header;
    alignas(64) unsigned char copy[size];
    for (auto _ : state) {
        const uint32_t begin = counter;
        std::memcpy(copy, guarded->data, size);
        benchmark::DoNotOptimize(&copy[0]);
        benchmark::ClobberMemory();
        const uint32_t end = counter;
        benchmark::DoNotOptimize(begin);
        benchmark::DoNotOptimize(end);
    }
}

// One read beside a thread that writes, with some hundred nanoseconds in between: beside one without a break a reader sleeps
// most of the time, and the row may take minutes.
template <size_t size>
void ReadBesideWriter(benchmark::State& state) {
    auto guarded = std::make_unique<Guarded<size>>();
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        unsigned char data[size] = {};
        while (!stop) {
            ++data[0];
            guarded->lock.Write(guarded->data, data, size);
            for (int i = 0; i < 1000; ++i)
                benchmark::DoNotOptimize(i);
        }
    });
    unsigned char copy[size];
    for (auto _ : state) {
        if (!guarded->lock.Read(copy, guarded->data, size).IsValid()) state.SkipWithError("no copy");
        benchmark::DoNotOptimize(&copy[0]);
    }
    stop = true;
    writer.join();
}

const Subject kSmall("sequence lock, read of 64 B", Run::kFree, "memcpy and two loads", 1.2, &Read<64>,
                     &CopyAndTwoLoads<64>);
const Subject kLarge("sequence lock, read of 4 KB", Run::kFree, "memcpy and two loads", 1.2, &Read<4096>,
                     &CopyAndTwoLoads<4096>);
const Subject kSmallBeside("sequence lock, read of 64 B beside a busy writer", Run::kFree, "without a writer",
                           0, &ReadBesideWriter<64>, &Read<64>);
const Subject kLargeBeside("sequence lock, read of 4 KB beside a busy writer", Run::kFree, "without a writer",
                           0, &ReadBesideWriter<4096>, &Read<4096>);

constexpr char kMutexName[] = "NorvikBench Mutex";

const Subject kMutex(
    "named mutex, uncontended locker", Run::kPinned, "WaitForSingleObject, ReleaseMutex", 1.05,
    [](benchmark::State& state) {
        IPC_NamedMutex mutex(kMutexName);
        mutex.Create();
        mutex.Unlock();
        for (auto _ : state)
            const IPC_MutexLocker locker(mutex);
    },
    [](benchmark::State& state) {
        const HANDLE mutex = ::CreateMutexA(nullptr, FALSE, kMutexName);
        for (auto _ : state) {
            ::WaitForSingleObject(mutex, INFINITE);
            ::ReleaseMutex(mutex);
        }
        ::CloseHandle(mutex);
    });

}  // namespace
