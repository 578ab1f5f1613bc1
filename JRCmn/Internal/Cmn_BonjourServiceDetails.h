#pragma once

// Cmn_BonjourServiceDetails: what a locator keeps of an instance that its browse has found.
//
// Threads:   the event manager's
// Ownership: owns the resolver
// Errors:    none
// Units:     none

#include <memory>
#include <string>
#include <utility>

#include "JRCmn/Cmn_BonjourService.h"
#include "JRCmn/Internal/Cmn_BonjourResolver.h"

namespace NorvikLibInternal {

// Name and interface: an instance on two interfaces is two services.
using Cmn_BonjourServiceKey = std::pair<std::string, unsigned int>;

struct Cmn_BonjourServiceDetails {
    // "3: Desk 1 _desk._tcp. eth 2 desk.local. 192.168.1.20:8000"
    void Trace(int number) const;
    void TraceDuplicate() const;

    Cmn_BonjourService service;  // while not known: name, type and interface
    std::string domain;
    bool isKnown = false;                           // it was resolved: the user has it
    unsigned announcements = 0;                     // that were not answered yet
    std::unique_ptr<Cmn_BonjourResolver> resolver;  // null: it waits for its turn
};

}  // namespace NorvikLibInternal
