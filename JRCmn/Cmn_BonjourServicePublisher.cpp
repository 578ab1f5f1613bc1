#include "JRCmn/Cmn_BonjourServicePublisher.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"
#include "JRCmn/Internal/Cmn_BonjourAsyncHandler.h"
#include "JRCmn/Internal/Cmn_DnsSdDaemon.h"

using namespace NorvikLibInternal;

namespace {

// A TXT record is never without any string: the smallest is one that is empty.
std::string WireRecord(const TxtRecord& record) {
    const std::string bytes = Cmn_BonjourTXTRecordCodec::Encode(record);
    return bytes.empty() ? std::string(1, '\0') : bytes;
}

}  // namespace

// The running DNS-SD operation, or one that waits for a daemon.
class Cmn_BonjourServicePublisher::Registration : public Cmn_BonjourAsyncHandler {
public:
    struct Request {
        std::string name;
        std::string type;
        unsigned short port;
        unsigned int interfaceIndex;
        std::string txtRecord;
        Callback callback;
    };

    Registration(Request request, IF_EventManager& eventManager)
        : Cmn_BonjourAsyncHandler("Cmn_BonjourServicePublisher for " + request.name, eventManager),
          mRequest(std::move(request)) {
        ProbeRegularly();
    }

    // Start, whose error is returned and not told to the callback.
    Cmn_BonjourError Begin() {
        mIsBeginning = true;
        const Cmn_BonjourError error = Start();
        mIsBeginning = false;
        return error;
    }

    Cmn_BonjourError SetTxtRecord(const std::string& bytes) {
        mRequest.txtRecord = bytes;
        if (!IsRegistered()) return {};
        const Cmn_BonjourError error = Update();
        if (error.IsOK() || error == kDNSServiceErr_Invalid || error == kDNSServiceErr_BadParam) return error;
        if (error == kDNSServiceErr_ServiceNotRunning) NoteDnsSdDaemonGone();
        return Begin();  // with the new record, now or when the daemon answers
    }

private:
    Cmn_BonjourError Update() {
        if (!IsDnsSdDaemonThere()) return kDNSServiceErr_ServiceNotRunning;
        // No record reference: the service's own TXT record. Time to live 0: the daemon's default.
        return CallBlocking([&] {
            const std::string& bytes = mRequest.txtRecord;
            return DNSServiceUpdateRecord(GetRef(), nullptr, 0, static_cast<uint16_t>(bytes.size()),
                                          bytes.data(), 0);
        });
    }
    Cmn_BonjourError StartOperation(DNSServiceRef& ref) override {
        SetTiedToInterface(mRequest.interfaceIndex);
        return DNSServiceRegister(&ref, 0, mRequest.interfaceIndex, mRequest.name.c_str(),
                                  mRequest.type.c_str(), "", "", ::htons(mRequest.port),
                                  static_cast<uint16_t>(mRequest.txtRecord.size()), mRequest.txtRecord.data(),
                                  &Registration::OnRegistered, this);
    }
    void OnError(const Cmn_BonjourError& error) override {
        if (!mIsBeginning) CallBack(&mRequest.callback, error);
    }

    static void OnRegistered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType inErrorCode, const char*,
                             const char*, const char*, void* context) {
        Guarded([&] {
            auto& self = *static_cast<Registration*>(context);
            Cmn_BonjourError::Verify("inErrorCode", inErrorCode, CMN_SOURCE_FILE, 190);
            if (inErrorCode != kDNSServiceErr_NoError) {
                self.SetResultError(inErrorCode);  // the error path calls back
            } else {
                CallBack(&self.mRequest.callback, inErrorCode);
            }
        });
    }
    static void CallBack(const Callback* callback, const Cmn_BonjourError& error) {
        if (!CMN_VERIFY_AT(71, callback && *callback)) return;
        const Callback copy = *callback;  // which may delete the original
        copy(error);
    }

    Request mRequest;
    bool mIsBeginning = false;
};

Cmn_BonjourServicePublisher::Cmn_BonjourServicePublisher(const Cmn_String& inServiceType)
    : mServiceType(inServiceType) {}

Cmn_BonjourServicePublisher::~Cmn_BonjourServicePublisher() = default;

Cmn_BonjourError Cmn_BonjourServicePublisher::Register(const std::string& inInstanceName,
                                                       unsigned short inPort, unsigned int inInterfaceIndex,
                                                       Callback inCallback) {
    if (!CMN_VERIFY_AT(130, !IsRegistered())) return {};
    IF_EventManager* const manager = gIF_EventManager;
    if (!manager) {
        VerifyFailed("gIF_EventManager", CMN_SOURCE_FILE, __LINE__);
        return kDNSServiceErr_NotInitialized;
    }
    mRegistration = std::make_shared<Registration>(
        Registration::Request{inInstanceName, mServiceType.c_str(), inPort, inInterfaceIndex,
                              WireRecord(mTxtRecord), std::move(inCallback)},
        *manager);
    const Cmn_BonjourError error = mRegistration->Begin();
    if (mRegistration->IsIdle()) Unregister();
    return error;
}

void Cmn_BonjourServicePublisher::Unregister() {
    mRegistration.reset();
}

bool Cmn_BonjourServicePublisher::IsRegistered() const {
    return mRegistration && mRegistration->IsRegistered();
}

Cmn_BonjourError Cmn_BonjourServicePublisher::SetTXTRecord(const TxtRecord& inTxtRecord) {
    mTxtRecord = inTxtRecord;
    if (!mRegistration) return {};
    return mRegistration->SetTxtRecord(WireRecord(mTxtRecord));
}
