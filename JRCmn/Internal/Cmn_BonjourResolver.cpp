#include "JRCmn/Internal/Cmn_BonjourResolver.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"
#include "JRCmn/Cmn_Trace.h"

namespace NorvikLibInternal {

Cmn_BonjourResolver::Cmn_BonjourResolver(const Cmn_BonjourService& service, const std::string& domain,
                                         Owner& owner, IF_EventManager& eventManager)
    : Cmn_BonjourAsyncHandler("Cmn_BonjourResolver for " + service.mName, eventManager),
      mService(service),
      mDomain(domain),
      mOwner(owner) {}

Cmn_BonjourError Cmn_BonjourResolver::StartOperation(DNSServiceRef& ref) {
    return DNSServiceResolve(&ref, 0, mService.mInterfaceIndex, mService.mName.c_str(),
                             mService.mType.c_str(), mDomain.c_str(), &Cmn_BonjourResolver::OnResolve, this);
}

void Cmn_BonjourResolver::OnError(const Cmn_BonjourError& error) {
    mOwner.OnResolverError(error);
}

void Cmn_BonjourResolver::OnResolve(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error,
                                    const char*, const char* host, uint16_t port, uint16_t txtLength,
                                    const unsigned char* txt, void* context) {
    Guarded([&] {
        auto& self = *static_cast<Cmn_BonjourResolver*>(context);
        if (error != kDNSServiceErr_NoError) {
            self.SetResultError(error);
        } else {
            self.OnAnswer(host ? host : "", ::ntohs(port), txt, txtLength);
        }
    });
}

void Cmn_BonjourResolver::OnAnswer(const char* host, unsigned short port, const unsigned char* txt,
                                   uint16_t txtLength) {
    // One empty item is how the network spells a service without a record.
    const bool isEmpty = txtLength == 1 && txt && *txt == 0;
    mService.mTxtRecord = isEmpty ? TxtRecord() : Cmn_BonjourTXTRecordCodec::Decode(txt, txtLength);
    const bool isNew = mService.mHostName != host || mService.mPort != port;
    if (isNew) {
        mService.mHostName = host;
        mService.mPort = port;
        mService.mAddress = {};
        mLookup.reset();
        Cmn_Trace("Bonjour: Resolved %s to be from %s, port %d.\n", mService.mName.c_str(), host, port);
    }
    if (TakeRetried()) Cmn_Trace("Bonjour: resolve retry succeeded for %s\n", mService.mName.c_str());
    if (mService.mAddress.IsValid()) {
        Settle();
    } else if (!mLookup) {
        StartLookup();
    }
}

void Cmn_BonjourResolver::StartLookup() {
    mIsSettled = false;
    Cmn_Trace("Bonjour: Started DNS lookup for %s...\n", mService.mHostName.c_str());
    mLookup = std::make_unique<Cmn_BonjourDNSResolverImpl>(
        mService.mHostName, mService.mInterfaceIndex,
        [this](const Cmn_IPv4Address& address, const Cmn_BonjourError& error) { OnLookup(address, error); },
        GetEventManager());
    mLookup->Start();
}

void Cmn_BonjourResolver::OnLookup(const Cmn_IPv4Address& address, const Cmn_BonjourError& error) {
    if (!error.IsOK()) {
        mOwner.OnResolverError(error);
        return;
    }
    const char* const name = mService.mName.c_str();
    Cmn_Trace("Bonjour: DNS lookup done: %s (host %s) resolved to %s.\n", name, mService.mHostName.c_str(),
              address.ToString().c_str());
    if (mLookup->TakeRetried()) Cmn_Trace("Bonjour: DNS lookup retry succeeded for %s.\n", name);
    mService.mAddress = address;
    mLookup.reset();
    Settle();
}

void Cmn_BonjourResolver::Settle() {
    mIsSettled = true;
    mOwner.OnResolved(*this);
}

}  // namespace NorvikLibInternal
