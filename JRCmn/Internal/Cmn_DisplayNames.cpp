#include "JRCmn/Internal/Cmn_DisplayNames.h"

namespace NorvikLibInternal {
namespace {

struct TechnologyName {
    int32_t technology;
    const char* name;
};

// "LDVS" is not a slip of ours: the logs have always had it, and people search them for it.
constexpr TechnologyName kTechnologyNames[] = {
    {-1, "Other"},           {1, "S-video"},      {2, "Composite video"},
    {3, "Component video"},  {5, "HDMI"},         {6, "LDVS"},
    {8, "Japanese D"},       {10, "DisplayPort"}, {11, "Embedded DisplayPort"},
    {13, "Embedded UDI"},    {14, "SDTV dongle"}, {15, "Miracast"},
    {INT32_MIN, "Internal"},
};

}  // namespace

std::string GetDisplayTopologyName(uint32_t topology) {
    switch (topology) {
        case eDisplayTopology_Internal:
            return "Internal";
        case eDisplayTopology_Clone:
            return "Clone";
        case eDisplayTopology_Extend:
            return "Extend";
        case eDisplayTopology_External:
            return "External";
        default:
            return "<unknown " + std::to_string(static_cast<int32_t>(topology)) + ">";
    }
}

const char* GetOutputTechnologyName(int32_t technology) {
    for (const TechnologyName& entry : kTechnologyNames)
        if (entry.technology == technology) return entry.name;
    return "Unknown";
}

}  // namespace NorvikLibInternal
