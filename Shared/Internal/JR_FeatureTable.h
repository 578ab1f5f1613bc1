#pragma once

// What is known of each feature: name, description, default and audience (the list in Shared/JR_Features.h). Texts lie
// scrambled in the library, so that who looks through its bytes does not learn what is being introduced. Pure.
//
// Threads:   any
// Ownership: none
// Errors:    none: callers have checked the number
// Units:     features count from 0 to Feature::Count - 1

#include <string>
#include <string_view>

namespace NorvikLibInternal {

std::string FeatureName(int feature);
std::string FeatureDescription(int feature);
bool IsFeatureOnByDefault(int feature);
bool IsFeaturePublic(int feature);

// The number of the feature of exactly that name, or -1.
int FindFeature(std::string_view name);

}  // namespace NorvikLibInternal
