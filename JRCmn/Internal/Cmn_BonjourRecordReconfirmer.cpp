#include "JRCmn/Internal/Cmn_BonjourRecordReconfirmer.h"

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DnsSdDaemon.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "JRCmn/Internal/Cmn_SrvRecord.h"

namespace NorvikLibInternal {

Cmn_BonjourRecordReconfirmer::Cmn_BonjourRecordReconfirmer(const Cmn_BonjourService& service,
                                                           const std::string& inServiceTypeName)
    : mService(service),
      mError(DNSServiceConstructFullName(mFullName, mService.mName.c_str(), inServiceTypeName.c_str(),
                                         "local.")) {}

Cmn_BonjourError Cmn_BonjourRecordReconfirmer::Reconfirm() {
    if (!mError.IsOK()) return mError;
    if (!IsDnsSdDaemonThere()) return kDNSServiceErr_ServiceNotRunning;
    Cmn_Trace("Bonjour: Will reconfirm SRV record %s...\n", mFullName);
    const std::string data = SrvRecordData(mService.mPort, mService.mHostName);
    return DNSServiceReconfirmRecord(0, mService.mInterfaceIndex, mFullName, kDNSServiceType_SRV,
                                     kDNSServiceClass_IN, static_cast<uint16_t>(data.size()), data.data());
}

}  // namespace NorvikLibInternal
