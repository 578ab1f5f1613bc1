#pragma once

// Which adapter serves a role: a function of the adapters there are and of a setting.
//
//   const AdapterChoice choice = ChooseAdapter(adapters, "Ethernet 2");
//
// The setting is an adapter's friendly name ("Ethernet 2") or its GUID, with or without braces; "loopback" for this machine
// only; "any" for no particular adapter. Without a setting it is the first adapter that is up, leads out of the machine and
// has an address. Case does not count.
//
// Threads:   any
// Ownership: none
// Errors:    without a fitting adapter: no address, index 0. A named adapter that is down, or has no address, keeps its index.
// Units:     addresses in network byte order, 0xFFFFFFFF is none

#include <cstdint>
#include <string>
#include <vector>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

struct Adapter {
    std::string guid;          // "{...}"
    std::string friendlyName;  // in the ANSI code page
    unsigned int index = 0;
    bool isUp = false;
    bool isLoopback = false;
    std::vector<std::uint32_t> addresses;  // those that can be used
};

struct AdapterChoice {
    std::uint32_t address = 0xFFFFFFFF;
    unsigned int index = 0;  // 0: no particular one

    friend bool operator==(const AdapterChoice&, const AdapterChoice&) = default;
};

NORVIK_API AdapterChoice ChooseAdapter(const std::vector<Adapter>& adapters, const std::string& setting);

}  // namespace NorvikLibInternal
