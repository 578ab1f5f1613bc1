#pragma once

// Cmn_BonjourServicePublisher: announces a service of this program on the network.
//
//   Cmn_BonjourServicePublisher mPublisher("_desk._tcp");
//   TxtRecord record;
//   record.SetKey("model", "Desk 48");
//   mPublisher.SetTXTRecord(record);
//   mPublisher.Register("Desk 1", 8000, Cmn_BonjourServicePublisher::kInterfaceIndexAny,
//                       [](Cmn_BonjourError error) { Cmn_Trace("Announced: %s.\n", error.ToString().c_str()); });
//
// The announcement ends with the process. When the daemon goes and comes back the service is registered again, with the
// same name and the record of then.
//
// Threads:   the default event manager's
// Ownership: owns the callback, which may unregister or delete the publisher
// Errors:    returned, and told to the callback when they come later; misuse is reported. What the callback throws is traced.
// Units:     the port is in the machine's byte order; names and the record are UTF-8

#include <functional>
#include <memory>
#include <string>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_TxtRecord.h"

class NORVIK_API Cmn_BonjourServicePublisher {
public:
    static constexpr unsigned int kInterfaceIndexAny = 0;

    using Callback = std::function<void(Cmn_BonjourError)>;

    explicit Cmn_BonjourServicePublisher(const Cmn_String& inServiceType);
    // Unregisters.
    ~Cmn_BonjourServicePublisher();
    Cmn_BonjourServicePublisher(const Cmn_BonjourServicePublisher&) = delete;
    Cmn_BonjourServicePublisher& operator=(const Cmn_BonjourServicePublisher&) = delete;

    // Success means that the daemon has taken the request; the callback tells how it ended, and of what happens to the service
    // later: after an error it is registered anew every 2 s. A name that is taken on the network is announced with a number.
    // -65563: no library, or a daemon that is absent; in the second case the service is registered when there is one. While
    // registered: reported, 0, no change.
    Cmn_BonjourError Register(const std::string& inInstanceName, unsigned short inPort,
                              unsigned int inInterfaceIndex, Callback inCallback);
    // Also ends waiting for a daemon.
    void Unregister();
    // Whether the daemon has the service, or is about to; not while a daemon is waited for.
    bool IsRegistered() const;

    // Replaces the record of a registered service on the network, without announcing it anew; where that fails, and not for the
    // record itself, the service is registered anew with it, and what that returns is returned: -65563 when the daemon does
    // not answer, which is tried again. While not registered it is kept for the next registration, and success is returned.
    Cmn_BonjourError SetTXTRecord(const TxtRecord& inTxtRecord);
    const TxtRecord& GetTXTRecord() const { return mTxtRecord; }

private:
    class Registration;

    const Cmn_String mServiceType;
    TxtRecord mTxtRecord;
    std::shared_ptr<Registration> mRegistration;
};
