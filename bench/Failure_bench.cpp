// A place that fails in a tight loop, long after its reports have become rare.

#include <windows.h>

#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "bench/Bench.h"

namespace {

constexpr int kPlaces = 100;  // that have failed in this process

void FailEverywhere() {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    for (int line = 1; line <= kPlaces; ++line)
        Cmn_Assert::FailedCheck("x > 0", "bench.cpp", line);
}

struct Record {
    uint64_t lastSeen = 0;
    unsigned count = 0;
};

using Key = std::tuple<const char*, int, const char*>;

std::map<Key, Record>& Map() {
    static std::map<Key, Record>& map = *[] {
        auto* made = new std::map<Key, Record>;
        for (int line = 1; line <= kPlaces; ++line)
            (*made)[{"bench.cpp", line, "x > 0"}] = {};
        return made;
    }();
    return map;
}

const Subject kSuppressed(
    "suppressed failing place", Run::kFree, "std::map look-up under std::mutex", 2.0,
    [](benchmark::State& state) {
        static const bool prepared = (FailEverywhere(), true);
        (void)prepared;
        for (int i = 0; i < 100; ++i)
            Cmn_Assert::FailedVerify("x > 0", "bench.cpp", 1000);
        for (auto _ : state)
            Cmn_Assert::FailedVerify("x > 0", "bench.cpp", 1000);
    },
    [](benchmark::State& state) {
        static std::mutex lock;
        for (auto _ : state) {
            const std::lock_guard guard(lock);
            Record& record = Map()[{"bench.cpp", 50, "x > 0"}];
            ++record.count;
            benchmark::DoNotOptimize(record);
        }
    });

}  // namespace
