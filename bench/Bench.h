#pragma once

// A subject of the benchmarks: our way and a peer's way to do the same work, measured in turns in one process, so that
// the result is a ratio. Files register theirs at start-up:
//
//   const Subject kCopy("copy and destroy, 200 characters", Run::kFree,
//                       "std::string", 0.1,                     // ours may take at most 0.1 of the peer's time
//                       [](benchmark::State& state) { for (auto _ : state) { ... } },
//                       [](benchmark::State& state) { for (auto _ : state) { ... } });
//
// Threads:   a function runs on `threads` threads at once
// Ownership: functions are kept for the life of the program
// Errors:    a name that is registered twice ends the program
// Units:     the limit is ours / peer's; 0 means: no limit, shown for information

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

enum class Run {
    kFree,    // bound by the processor: wherever the scheduler puts it
    kPinned,  // bound by kernel calls: program and Wine's server on one core
};

class Subject {
public:
    using Function = std::function<void(benchmark::State&)>;

    Subject(const std::string& name, Run run, const std::string& peer, double limit, Function ours,
            Function peers, int threads = 1);
};
