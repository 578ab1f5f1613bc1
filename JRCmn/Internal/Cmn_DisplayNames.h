#pragma once

// Names of displays' properties, without the platform's headers.
//
// Threads: any.  Ownership: names are literals.  Errors: every value has a name.  Units: the platform's numbers.

#include <cstdint>
#include <string>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

// The topologies that the platform knows.
enum EDisplayTopology : uint32_t {
    eDisplayTopology_Internal = 1,
    eDisplayTopology_Clone = 2,
    eDisplayTopology_Extend = 4,
    eDisplayTopology_External = 8,
};

// "Internal", "Clone", "Extend", "External", else "<unknown n>".
NORVIK_API std::string GetDisplayTopologyName(uint32_t topology);

// "HDMI", "DisplayPort", ...; "Unknown" also for VGA, DVI, SDI and the external UDI.
NORVIK_API const char* GetOutputTechnologyName(int32_t technology);

}  // namespace NorvikLibInternal
