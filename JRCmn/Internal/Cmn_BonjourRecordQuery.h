#pragma once

// Cmn_BonjourRecordQuery: tells of one record of a service as it is now, and of each change.
//
//   Cmn_BonjourRecordQuery txt(service, domain, kDNSServiceType_TXT,
//                              [&](std::string_view data) { ... }, [&](const Cmn_BonjourError& error) { ... }, manager);
//   txt.Start();
//
// Threads:   the event manager's
// Ownership: owns the functions, which may delete the object
// Errors:    passed to the second function; the query goes on as its base says
// Units:     none

#include <functional>
#include <string_view>
#include <vector>

#include "JRCmn/Cmn_BonjourService.h"
#include "JRCmn/Internal/Cmn_BonjourAsyncHandler.h"

namespace NorvikLibInternal {

class Cmn_BonjourRecordQuery : public Cmn_BonjourAsyncHandler {
public:
    using DataCallback = std::function<void(std::string_view)>;
    using ErrorCallback = std::function<void(const Cmn_BonjourError&)>;

    // Of the service, name, type and interface.
    Cmn_BonjourRecordQuery(const Cmn_BonjourService& service, const std::string& domain, uint16_t recordType,
                           DataCallback onData, ErrorCallback onError, IF_EventManager& eventManager);

    // Whether there was an answer.
    bool IsAnswered() const { return mIsAnswered; }

private:
    Cmn_BonjourError StartOperation(DNSServiceRef& ref) override;
    void OnError(const Cmn_BonjourError& error) override;
    void OnAnswer(bool isAdded, std::string_view data);

    static void OnRecord(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                         DNSServiceErrorType error, const char* fullName, uint16_t type, uint16_t recordClass,
                         uint16_t size, const void* data, uint32_t ttl, void* context);

    const Cmn_BonjourService mService;
    const std::string mDomain;
    const uint16_t mRecordType;
    const DataCallback mOnData;
    const ErrorCallback mOnError;
    // For a moment there may be two, the old one and the new one.
    std::vector<std::string> mPresent;
    bool mIsAnswered = false;
};

}  // namespace NorvikLibInternal
