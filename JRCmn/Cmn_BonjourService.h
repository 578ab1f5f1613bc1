#pragma once

// Cmn_BonjourService: a service that was found: one instance on one interface.
//
//   void OnDeskAdded(const Cmn_BonjourService& desk) { Connect(desk.mAddress, desk.mPort); }
//
// Threads:   one object belongs to one thread at a time
// Ownership: owns its texts
// Errors:    none
// Units:     the port is in the machine's byte order; texts are UTF-8 as the network has them

#include <string>
#include <tuple>

#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/Cmn_TxtRecord.h"

struct Cmn_BonjourService {
    std::string mName;  // of the instance, as people read it: "1st Floor. Desk"
    std::string mType;  // "_desk._tcp."
    unsigned int mInterfaceIndex = 0;
    std::string mHostName;  // "desk.local."
    Cmn_IPv4Address mAddress;
    unsigned short mPort = 0;
    TxtRecord mTxtRecord;

    const std::string& ToString() const { return mName; }

    // The TXT record does not count: the service is the same when it changes.
    friend bool operator==(const Cmn_BonjourService& a, const Cmn_BonjourService& b) {
        return a.Identity() == b.Identity();
    }
    friend bool operator<(const Cmn_BonjourService& a, const Cmn_BonjourService& b) {
        return a.Identity() < b.Identity();
    }

private:
    std::tuple<const std::string&, const std::string&, const unsigned int&, const std::string&,
               const Cmn_IPv4Address&, const unsigned short&>
    Identity() const {
        return std::tie(mName, mType, mInterfaceIndex, mHostName, mAddress, mPort);
    }
};
