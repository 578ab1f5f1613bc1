// A feature toggle as the condition of a branch against the least that a switch can be.

#include <atomic>

#include "Shared/JR_FeatureToggles.h"
#include "Shared/JR_Features.h"
#include "bench/Bench.h"

namespace {

std::atomic<bool> gSwitch{false};

const Subject kCondition(
    "feature toggle as a condition", Run::kFree, "std::atomic<bool>, relaxed", 3,
    [](benchmark::State& state) {
        JR_FeatureToggleManager::Init(false, "");
        const JR_FeatureToggle toggle(Feature::CueTimeline);
        int count = 0;
        for (auto _ : state) {
            if (toggle) ++count;
            benchmark::DoNotOptimize(count);
        }
        JR_FeatureToggleManager::Destroy();
    },
    [](benchmark::State& state) {
        int count = 0;
        for (auto _ : state) {
            if (gSwitch.load(std::memory_order_relaxed)) ++count;
            benchmark::DoNotOptimize(count);
        }
    });

}  // namespace
