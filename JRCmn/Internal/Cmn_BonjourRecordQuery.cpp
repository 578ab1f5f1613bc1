#include "JRCmn/Internal/Cmn_BonjourRecordQuery.h"

namespace NorvikLibInternal {

Cmn_BonjourRecordQuery::Cmn_BonjourRecordQuery(const Cmn_BonjourService& service, const std::string& domain,
                                               uint16_t recordType, DataCallback onData,
                                               ErrorCallback onError, IF_EventManager& eventManager)
    : Cmn_BonjourAsyncHandler("Cmn_BonjourRecordQuery for " + service.mName, eventManager),
      mService(service),
      mDomain(domain),
      mRecordType(recordType),
      mOnData(std::move(onData)),
      mOnError(std::move(onError)) {}

Cmn_BonjourError Cmn_BonjourRecordQuery::StartOperation(DNSServiceRef& ref) {
    SetTiedToInterface(mService.mInterfaceIndex);
    mPresent.clear();
    char fullName[kDNSServiceMaxDomainName];
    const Cmn_BonjourError error = DNSServiceConstructFullName(fullName, mService.mName.c_str(),
                                                               mService.mType.c_str(), mDomain.c_str());
    if (!error.IsOK()) return error;
    return DNSServiceQueryRecord(&ref, 0, mService.mInterfaceIndex, fullName, mRecordType,
                                 kDNSServiceClass_IN, &Cmn_BonjourRecordQuery::OnRecord, this);
}

void Cmn_BonjourRecordQuery::OnError(const Cmn_BonjourError& error) {
    const ErrorCallback callback = mOnError;  // which may delete this object
    callback(error);
}

void Cmn_BonjourRecordQuery::OnRecord(DNSServiceRef, DNSServiceFlags flags, uint32_t,
                                      DNSServiceErrorType error, const char*, uint16_t, uint16_t,
                                      uint16_t size, const void* data, uint32_t, void* context) {
    Guarded([&] {
        auto& self = *static_cast<Cmn_BonjourRecordQuery*>(context);
        if (error == kDNSServiceErr_NoSuchRecord) return;  // at the moment; one that comes is told
        if (error != kDNSServiceErr_NoError) {
            self.SetResultError(error);
        } else {
            self.OnAnswer((flags & kDNSServiceFlagsAdd) != 0,
                          {static_cast<const char*>(data), data ? size : std::size_t{0}});
        }
    });
}

void Cmn_BonjourRecordQuery::OnAnswer(bool isAdded, std::string_view data) {
    std::erase(mPresent, data);
    if (isAdded) mPresent.emplace_back(data);
    // A record that is gone without another one means that the service goes, which the browse tells.
    if (mPresent.empty()) return;
    mIsAnswered = true;
    const DataCallback callback = mOnData;  // which may delete this object
    const std::string current = mPresent.back();
    callback(current);
}

}  // namespace NorvikLibInternal
