#pragma once

// The topology of the displays: which outputs show which part of the desktop, in paths (source to target) and their modes.
//
//   DisplayConfig config;
//   if (ReadDisplayConfig(EDisplayQuery::DatabaseCurrent, config) && config.topology != eDisplayTopology_Extend)
//       error = SetDisplayTopology(SDC_APPLY | SDC_TOPOLOGY_EXTEND);
//
// Threads:   any
// Ownership: a DisplayConfig is a plain copy
// Errors:    a query that fails is traced and reported and returns false; the setters return the platform's error, 0 when
//            done, and trace nothing
// Units:     pixels

#include <cstdint>
#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_DisplayNames.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct DisplayConfig {
    std::vector<DISPLAYCONFIG_PATH_INFO> paths;
    std::vector<DISPLAYCONFIG_MODE_INFO> modes;
    uint32_t topology = 0;  // told by EDisplayQuery::DatabaseCurrent only
};

enum class EDisplayQuery {
    Active,           // the paths in use
    DatabaseCurrent,  // what the platform has stored for the monitors that are connected
    All,              // every source with every target, in use or not
};

// False leaves `outConfig` empty.
NORVIK_API bool ReadDisplayConfig(EDisplayQuery query, DisplayConfig& outConfig);

// One of the platform's own topologies, as SDC_... flags.
NORVIK_API long SetDisplayTopology(uint32_t flags);

// Explicit paths and modes. The platform may write into them.
NORVIK_API long ApplyDisplayConfig(DisplayConfig& config, uint32_t flags);

// Traces a line for every path and one for every mode.
NORVIK_API void TraceDisplayConfig(const DisplayConfig& config);

}  // namespace NorvikLibInternal
