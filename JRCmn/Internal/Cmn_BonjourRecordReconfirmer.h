#pragma once

// Cmn_BonjourRecordReconfirmer: asks the daemon to make sure that a service is still there: when nobody on the network
// answers for its SRV record any more, the browse reports the service as gone.
//
//   const Cmn_BonjourError error = Cmn_BonjourRecordReconfirmer(service, "_desk._tcp").Reconfirm();
//
// Threads:   the event manager's
// Ownership: none
// Errors:    those of the library's calls
// Units:     none

#include <string>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Cmn_BonjourService.h"
#include "JRCmn/Internal/Cmn_DnsSd.h"

namespace NorvikLibInternal {

class Cmn_BonjourRecordReconfirmer {
public:
    Cmn_BonjourRecordReconfirmer(const Cmn_BonjourService& service, const std::string& inServiceTypeName);

    Cmn_BonjourError Reconfirm();

private:
    const Cmn_BonjourService& mService;
    char mFullName[kDNSServiceMaxDomainName] = "";
    const Cmn_BonjourError mError;  // of making the full name
};

}  // namespace NorvikLibInternal
