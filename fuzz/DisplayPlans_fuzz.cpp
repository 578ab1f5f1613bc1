// The screens' plan carried out on a picture of a desktop, and the choice of paths against what a choice has to keep.

#include <algorithm>
#include <climits>
#include <utility>

#include "Shared/Internal/JR_DisplayPlan.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

namespace {

DisplayPlace DrawPlace(FuzzInput& input) {
    static constexpr int kEdges[] = {0, -1920, 1280, -1080, 800, 1080, 1920, 1, INT32_MIN, INT32_MAX};
    return {input.OneOf(kEdges), input.OneOf(kEdges), input.OneOf(kEdges), input.OneOf(kEdges),
            static_cast<EDisplayOrientation>(input.Between(0, 3))};
}

// As the platform does it: the primary display lies at the origin, and takes all others with it.
void Carry(const DisplayStep& step, ArrangementFacts& facts) {
    DisplayPlace& place =
        step.display == eDisplayFunction_TKV ? facts.screen.value() : facts.external.value();
    switch (step.setting) {
        case EDisplaySetting::Position:
            place.left = step.place.left;
            place.top = step.place.top;
            break;
        case EDisplaySetting::Resolution:
            place.width = step.place.width;
            place.height = step.place.height;
            break;
        case EDisplaySetting::Orientation:
            place.orientation = step.place.orientation;
            break;
        case EDisplaySetting::Primary:
            SAME(place.left == 0 && place.top == 0, true);
            break;
    }
}

void TryPlan(FuzzInput& input) {
    ArrangementFacts facts;
    facts.hasScreen = input.Below(2);
    facts.isTopologyRight = input.Below(2);
    facts.position = static_cast<JR_DisplayManager::EExternalDisplayPos>(input.Between(0, 3));
    facts.screen = input.Below(4) ? DrawPlace(input) : kScreenPlace;
    facts.external = input.Below(4) ? DrawPlace(input) : GetExternalPlace(facts.position);
    const ArrangementPlan plan = PlanArrangement(facts);
    SAME(plan.topologyFlags.empty(), facts.isTopologyRight || !plan.IsNeeded());
    SAME(plan.IsNeeded() || plan.steps.empty(), true);
    for (const DisplayStep& step : plan.steps)
        Carry(step, facts);
    // Whatever it was before, the desktop is right now. How the built-in screen is turned does not count by itself.
    const DisplayPlace screen = facts.screen.value();
    SAME(!facts.hasScreen ||
             (screen.left == 0 && screen.top == 0 && screen.width == 1280 && screen.height == 800),
         true);
    const DisplayPlace only = {0, 0, 1920, 1080};
    SAME(facts.external == (facts.hasScreen ? GetExternalPlace(facts.position) : only), true);
    facts.isTopologyRight = true;
    SAME(PlanArrangement(facts).IsNeeded(), false);
}

void TryPaths(FuzzInput& input) {
    std::vector<PathOffer> offers(input.Below(9));
    for (PathOffer& offer : offers) {
        offer = {input.Below(2), input.Below(3),      input.Below(3),
                 false,          input.Below(3) != 0, input.Below(2) != 0};
        offer.isInternal = offer.target == 0;
    }
    const auto Fits = [&](std::size_t screen, std::size_t external) {
        const PathOffer &a = offers[screen], &b = offers[external];
        return a.isInternal && a.isAvailable && !b.isInternal && b.isAvailable &&
               std::pair(a.adapter, a.source) != std::pair(b.adapter, b.source);
    };
    bool hasPair = false, hasExternal = false;
    int mostActive = 0;
    for (std::size_t i = 0; i < offers.size(); ++i) {
        hasExternal |= !offers[i].isInternal && offers[i].isAvailable;
        for (std::size_t j = 0; j < offers.size(); ++j) {
            hasPair |= Fits(i, j);
            if (Fits(i, j)) mostActive = std::max(mostActive, offers[i].isActive + offers[j].isActive);
        }
    }
    const PathChoice choice = ChoosePaths(offers);
    if (choice.failedCheck) {
        // Only too many or too few of something may stand in the way of a pair that fits.
        SAME(hasPair && choice.failedCheck == std::string_view("!\"No sources for both screens\""), false);
        return;
    }
    const PathOffer& screen = offers.at(choice.screen);
    SAME(screen.isInternal && screen.isAvailable, true);
    SAME(choice.external.has_value(), hasExternal);
    SAME(hasPair, hasExternal);
    if (!choice.external) return;
    SAME(Fits(choice.screen, *choice.external), true);
    SAME(screen.isActive + offers.at(*choice.external).isActive, mostActive);
}

}  // namespace

FUZZ_TARGET(DisplayPlans) {
    while (!input.IsEmpty()) {
        TryPlan(input);
        TryPaths(input);
    }
}
