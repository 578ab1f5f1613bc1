#pragma once

// Displays that are not there: an adapter's outputs whose settings can be changed, with the answers that a test wants, and a
// record of what was asked.
//
//   FakeDisplays displays;
//   displays.Add({.id = "PCI\\VEN_8086&DEV_1916", .width = 1280, .height = 800});
//   displays.changeAnswers = {0, DISP_CHANGE_RESTART};   // of the first changes; later ones succeed
//   ... EXPECT_THAT(displays.calls, ElementsAre("1 position 0,0", "1 primary 0,0", "topology 132"));
//
// A successful change takes effect; the topologies "extend" and "internal" attach all outputs and only the first.
//
// Threads: one; one object at a time.  Ownership: puts the platform's calls back.  Errors: none.  Units: pixels.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "JRCmn/Internal/Cmn_DisplayCalls.h"
#include "JRCmn/Internal/Cmn_DisplayConfig.h"

class FakeDisplays {
public:
    struct Output {
        std::string id = "PCI\\VEN_8086&DEV_1916&SUBSYS_0";
        int left = 0, top = 0, width = 0, height = 0;
        DWORD orientation = 0;
        DWORD state = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
        bool canBeRead = true;
    };

    std::deque<Output> outputs;  // the n-th is "\\.\DISPLAYn"
    std::vector<std::string> calls;
    std::deque<LONG> changeAnswers;
    std::deque<LONG> configAnswers;  // of setConfig
    std::deque<LONG> queryAnswers;
    std::vector<DISPLAYCONFIG_PATH_INFO> paths;
    std::vector<DISPLAYCONFIG_MODE_INFO> modes;
    uint32_t topology = 1;
    bool canChangeTopology = true;
    NorvikLibInternal::DisplayConfig lastConfig;  // the explicit one that was set last

    FakeDisplays() {
        sThis = this;
        auto& table = NorvikLibInternal::GetDisplayCalls();
        table.enumDevices = [](auto name, auto i, auto* device, auto) {
            return BOOL{sThis->List(name, i, *device)};
        };
        table.enumSettings = [](auto name, auto, auto* mode, auto) { return BOOL{Read(Find(name), *mode)}; };
        table.changeSettings = [](auto name, auto* mode, auto, auto flags, auto) {
            return sThis->Change(name, mode, flags);
        };
        table.getBufferSizes = [](auto, auto* pathCount, auto* modeCount) {
            return sThis->Count(pathCount, modeCount);
        };
        table.queryConfig = [](auto flags, auto* pathCount, auto* outPaths, auto* modeCount, auto* outModes,
                               auto* id) {
            return sThis->Query(flags, pathCount, outPaths, modeCount, outModes, id);
        };
        table.setConfig = [](auto pathCount, auto* inPaths, auto modeCount, auto* inModes, auto flags) {
            if (pathCount == 0) return sThis->Arrange(flags);
            return sThis->Take({{inPaths, inPaths + pathCount}, {inModes, inModes + modeCount}, 0}, flags);
        };
    }
    ~FakeDisplays() { NorvikLibInternal::GetDisplayCalls() = mReal; }
    FakeDisplays(const FakeDisplays&) = delete;
    FakeDisplays& operator=(const FakeDisplays&) = delete;

    void Add(const Output& output) { outputs.push_back(output); }

private:
    static LONG Next(std::deque<LONG>& answers) {
        const LONG answer = answers.empty() ? 0 : answers.front();
        if (!answers.empty()) answers.pop_front();
        return answer;
    }
    static std::string Pair(auto a, const char* between, auto b) {
        return std::to_string(a) + between + std::to_string(b);
    }
    static std::string Number(const char* name) { return name + std::strlen("\\\\.\\DISPLAY"); }
    static Output* Find(const char* name) {
        const size_t number = name ? std::strtoul(Number(name).c_str(), nullptr, 10) : 0;
        return number - 1 < sThis->outputs.size() ? &sThis->outputs[number - 1] : nullptr;
    }

    bool List(const char* parent, DWORD index, DISPLAY_DEVICEA& device) const {
        std::strcpy(device.DeviceString, parent ? ("Panel " + Number(parent)).c_str() : "Graphics");
        if (parent) return index == 0;
        if (index >= outputs.size()) return false;
        std::strcpy(device.DeviceName, ("\\\\.\\DISPLAY" + std::to_string(index + 1)).c_str());
        outputs[index].id.copy(device.DeviceID, sizeof device.DeviceID);
        device.StateFlags = outputs[index].state;
        return true;
    }

    static bool Read(const Output* output, DEVMODEA& mode) {
        if (!output || !output->canBeRead) return false;
        mode.dmPosition = {output->left, output->top};
        mode.dmPelsWidth = static_cast<DWORD>(output->width);
        mode.dmPelsHeight = static_cast<DWORD>(output->height);
        mode.dmDisplayOrientation = output->orientation;
        return true;
    }

    LONG Change(const char* name, const DEVMODEA* mode, DWORD flags) {
        Output after, *const output = Find(name);
        if (output) after = *output;
        std::string call = output ? Number(name) : "all";
        const DWORD fields = mode ? mode->dmFields : 0;
        if (fields & DM_POSITION) {
            call += flags & CDS_SET_PRIMARY ? " primary " : " position ";
            call += Pair(after.left = mode->dmPosition.x, ",", after.top = mode->dmPosition.y);
        }
        if (fields & DM_DISPLAYORIENTATION)
            call += " orientation " + std::to_string(after.orientation = mode->dmDisplayOrientation);
        if (fields & DM_PELSWIDTH) {
            after.width = static_cast<int>(mode->dmPelsWidth);
            after.height = static_cast<int>(mode->dmPelsHeight);
            call += " resolution " + Pair(after.width, "x", after.height);
        }
        calls.push_back(call + (flags & CDS_NORESET ? " later" : ""));
        const LONG answer = Next(changeAnswers);
        if (answer != 0 || !output) return answer;
        if (flags & CDS_SET_PRIMARY) {
            for (Output& other : outputs)
                other.state &= ~DWORD{DISPLAY_DEVICE_PRIMARY_DEVICE};
            after.state |= DISPLAY_DEVICE_PRIMARY_DEVICE;
        }
        *output = after;
        return 0;
    }

    LONG Count(UINT32* pathCount, UINT32* modeCount) const {
        *pathCount = static_cast<UINT32>(paths.size());
        *modeCount = static_cast<UINT32>(modes.size());
        return 0;
    }

    LONG Query(UINT32 flags, UINT32* pathCount, DISPLAYCONFIG_PATH_INFO* outPaths, UINT32* modeCount,
               DISPLAYCONFIG_MODE_INFO* outModes, DISPLAYCONFIG_TOPOLOGY_ID* outTopology) {
        if (const LONG answer = Next(queryAnswers)) return answer;
        // The platform wants the topology asked for with this flag, and only then.
        if (((flags & QDC_DATABASE_CURRENT) != 0) != (outTopology != nullptr)) return ERROR_INVALID_PARAMETER;
        if (*pathCount < paths.size() || *modeCount < modes.size()) return ERROR_INSUFFICIENT_BUFFER;
        std::copy(paths.begin(), paths.end(), outPaths);
        std::copy(modes.begin(), modes.end(), outModes);
        if (outTopology) *outTopology = static_cast<DISPLAYCONFIG_TOPOLOGY_ID>(topology);
        return Count(pathCount, modeCount);
    }

    LONG Arrange(UINT32 flags) {
        calls.push_back("topology " + std::to_string(flags));
        const LONG answer = Next(configAnswers);
        if (answer != 0 || !canChangeTopology) return answer;
        topology = flags & 0xF;
        for (Output& output : outputs) {
            output.state |= DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
            if (topology != NorvikLibInternal::eDisplayTopology_Extend && &output != &outputs.front())
                output.state &= ~DWORD{DISPLAY_DEVICE_ATTACHED_TO_DESKTOP};
        }
        return 0;
    }

    LONG Take(const NorvikLibInternal::DisplayConfig& config, UINT32 flags) {
        calls.push_back("config " + std::to_string(flags));
        lastConfig = config;
        return Next(configAnswers);
    }

    inline static FakeDisplays* sThis;
    const NorvikLibInternal::DisplayCalls mReal = NorvikLibInternal::GetDisplayCalls();
};
