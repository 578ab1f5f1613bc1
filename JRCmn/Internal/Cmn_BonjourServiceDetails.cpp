#include "JRCmn/Internal/Cmn_BonjourServiceDetails.h"

#include "JRCmn/Cmn_EndpointInfo.h"
#include "JRCmn/Cmn_Trace.h"

namespace NorvikLibInternal {

void Cmn_BonjourServiceDetails::Trace(int number) const {
    Cmn_Trace("%d: %s %s eth %d %s %s\n", number, service.mName.c_str(), service.mType.c_str(),
              static_cast<int>(service.mInterfaceIndex), service.mHostName.c_str(),
              Cmn_EndpointInfo(service.mAddress, service.mPort).GetAsString().c_str());
}

void Cmn_BonjourServiceDetails::TraceDuplicate() const {
    Cmn_Trace("Bonjour: Duplicate service record received for %s %s %d (%s)!\n", service.mName.c_str(),
              service.mType.c_str(), static_cast<int>(service.mInterfaceIndex), service.mHostName.c_str());
}

}  // namespace NorvikLibInternal
