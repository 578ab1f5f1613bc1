#include "JRCmn/Internal/Cmn_DisplayConfig.h"

#include <algorithm>
#include <string>
#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DisplayCalls.h"

namespace NorvikLibInternal {
namespace {

constexpr int kAttempts = 4;
constexpr UINT32 kMostEntries = 16'384;  // a hundred times what an adapter with all its outputs has

UINT32 ToFlags(EDisplayQuery query) {
    switch (query) {
        case EDisplayQuery::Active:
            return QDC_ONLY_ACTIVE_PATHS;
        case EDisplayQuery::DatabaseCurrent:
            return QDC_DATABASE_CURRENT;
        default:
            return QDC_ALL_PATHS;
    }
}

// One attempt: 0, or what the platform answered. The buffers have an element more than is asked for, because the platform
// refuses null, also where there is nothing to tell.
LONG AskOnce(EDisplayQuery query, DisplayConfig& outConfig) {
    UINT32 pathCount = 0, modeCount = 0;
    const LONG sizesResult = GetDisplayCalls().getBufferSizes(ToFlags(query), &pathCount, &modeCount);
    if (sizesResult != ERROR_SUCCESS) {
        Cmn_Trace("The sizes of the display configuration are not told.\n");
        return sizesResult;
    }
    if (pathCount > kMostEntries || modeCount > kMostEntries) {
        Cmn_Trace("The display configuration would have %u paths and %u modes.\n", pathCount, modeCount);
        return ERROR_INVALID_DATA;
    }
    outConfig.paths.resize(pathCount + size_t{1});
    outConfig.modes.resize(modeCount + size_t{1});
    // Only this query tells the topology, and the others refuse to be asked for it.
    const bool wantsTopology = query == EDisplayQuery::DatabaseCurrent;
    auto topology = DISPLAYCONFIG_TOPOLOGY_ID();
    const UINT32 pathRoom = pathCount, modeRoom = modeCount;
    const LONG result =
        GetDisplayCalls().queryConfig(ToFlags(query), &pathCount, outConfig.paths.data(), &modeCount,
                                      outConfig.modes.data(), wantsTopology ? &topology : nullptr);
    outConfig.paths.resize(std::min(pathCount, pathRoom));
    outConfig.modes.resize(std::min(modeCount, modeRoom));
    outConfig.topology = static_cast<uint32_t>(topology);
    return result;
}

// An index of the modes, which a driver may give wrong.
std::string ToText(const DisplayConfig& config, UINT32 index, DISPLAYCONFIG_MODE_INFO_TYPE type) {
    if (index == DISPLAYCONFIG_PATH_MODE_IDX_INVALID) return "no mode";
    const bool isRight = index < config.modes.size() && config.modes[index].infoType == type;
    return "mode " + std::to_string(index) + (isRight ? "" : " (which it cannot have)");
}

double ToHertz(const DISPLAYCONFIG_RATIONAL& rate) {
    return rate.Denominator ? static_cast<double>(rate.Numerator) / rate.Denominator : 0;
}

void TracePath(const DisplayConfig& config, size_t index) {
    const DISPLAYCONFIG_PATH_INFO& path = config.paths[index];
    const auto& source = path.sourceInfo;
    const auto& target = path.targetInfo;
    Cmn_Trace(
        "  Path %u: adapter %lX:%lX, source %u with %s to target %u with %s, %s, rotation %d, %.2f Hz%s%s.\n",
        static_cast<unsigned>(index), static_cast<unsigned long>(source.adapterId.HighPart),
        source.adapterId.LowPart, source.id,
        ToText(config, source.modeInfoIdx, DISPLAYCONFIG_MODE_INFO_TYPE_SOURCE).c_str(), target.id,
        ToText(config, target.modeInfoIdx, DISPLAYCONFIG_MODE_INFO_TYPE_TARGET).c_str(),
        GetOutputTechnologyName(static_cast<int32_t>(target.outputTechnology)),
        static_cast<int>(target.rotation), ToHertz(target.refreshRate),
        path.flags & DISPLAYCONFIG_PATH_ACTIVE ? ", active" : "",
        target.targetAvailable ? "" : ", nothing connected");
}

void TraceMode(const DISPLAYCONFIG_MODE_INFO& mode, unsigned index) {
    if (mode.infoType == DISPLAYCONFIG_MODE_INFO_TYPE_SOURCE) {
        const auto& source = mode.sourceMode;
        Cmn_Trace("  Mode %u: source %u, %ux%u at (%ld, %ld).\n", index, mode.id, source.width, source.height,
                  source.position.x, source.position.y);
    } else if (mode.infoType == DISPLAYCONFIG_MODE_INFO_TYPE_TARGET) {
        const auto& signal = mode.targetMode.targetVideoSignalInfo;
        Cmn_Trace("  Mode %u: target %u, %ux%u, %.2f Hz.\n", index, mode.id, signal.activeSize.cx,
                  signal.activeSize.cy, ToHertz(signal.vSyncFreq));
    } else {
        Cmn_Trace("  Mode %u: of type %d.\n", index, static_cast<int>(mode.infoType));
    }
}

}  // namespace

bool ReadDisplayConfig(EDisplayQuery query, DisplayConfig& outConfig) {
    for (int i = 0; i < kAttempts; ++i) {
        DisplayConfig config;
        const LONG result = AskOnce(query, config);
        if (result == ERROR_SUCCESS) {
            outConfig = std::move(config);
            return true;
        }
        outConfig = {};
        if (result == ERROR_INSUFFICIENT_BUFFER)
            continue;  // the configuration has grown since its size was told
        Cmn_Trace("QueryDisplayConfig failed with exit code %d.\n", static_cast<int>(result));
        return CMN_VERIFY(false);
    }
    return CMN_VERIFY(!"Cannot query display topology after 4 retries. Giving up.");
}

long SetDisplayTopology(uint32_t flags) {
    return GetDisplayCalls().setConfig(0, nullptr, 0, nullptr, flags);
}

long ApplyDisplayConfig(DisplayConfig& config, uint32_t flags) {
    return GetDisplayCalls().setConfig(static_cast<UINT32>(config.paths.size()), config.paths.data(),
                                       static_cast<UINT32>(config.modes.size()), config.modes.data(), flags);
}

void TraceDisplayConfig(const DisplayConfig& config) {
    for (size_t i = 0; i < config.paths.size(); ++i)
        TracePath(config, i);
    for (size_t i = 0; i < config.modes.size(); ++i)
        TraceMode(config.modes[i], static_cast<unsigned>(i));
}

}  // namespace NorvikLibInternal
