#include "JRCmn/Internal/Cmn_BonjourResolver.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>

#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_SrvRecord.h"

namespace NorvikLibInternal {
namespace {

TxtRecord DecodeTxt(const void* data, std::size_t size) {
    // One empty item is how the network spells a service without a record.
    if (size == 1 && data && *static_cast<const char*>(data) == 0) return {};
    return Cmn_BonjourTXTRecordCodec::Decode(data, static_cast<unsigned short>(size));
}

}  // namespace

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

void Cmn_BonjourResolver::OnAnswer(const char* host, unsigned short port, const void* txt,
                                   uint16_t txtLength) {
    mService.mTxtRecord = DecodeTxt(txt, txtLength);
    SetHost(host, port);
    if (TakeRetried()) Cmn_Trace("Bonjour: resolve retry succeeded for %s\n", mService.mName.c_str());
    if (mService.mAddress.IsValid()) {
        Settle();
    } else if (!mLookup) {
        StartLookup();
    }
}

void Cmn_BonjourResolver::SetHost(const std::string& host, unsigned short port) {
    if (mService.mHostName == host && mService.mPort == port) return;
    mService.mHostName = host;
    mService.mPort = port;
    mService.mAddress = {};
    mLookup.reset();
    Cmn_Trace("Bonjour: Resolved %s to be from %s, port %d.\n", mService.mName.c_str(), host.c_str(), port);
}

void Cmn_BonjourResolver::Watch(Part part) {
    auto& query = part == eTxt ? mTxt : mSrv;
    // Without that call services are found, and their changes are not seen.
    if (query || !FindDnsSdFunction("DNSServiceQueryRecord")) return;
    query = std::make_unique<Cmn_BonjourRecordQuery>(
        mService, mDomain, part == eTxt ? kDNSServiceType_TXT : kDNSServiceType_SRV,
        [this, part](std::string_view data) { part == eTxt ? OnTxt(data) : OnSrv(data); },
        [this](const Cmn_BonjourError& error) { mOwner.OnResolverError(error); }, GetEventManager());
    query->Start();
}

Cmn_BonjourAsyncHandler* Cmn_BonjourResolver::GetPart(Part part) {
    if (part == eResolve) return this;
    if (part == eLookup) return mLookup.get();
    return part == eTxt ? mTxt.get() : mSrv.get();
}

void Cmn_BonjourResolver::OnTxt(std::string_view data) {
    mService.mTxtRecord = DecodeTxt(data.data(), data.size());
    OnWatched();
}

void Cmn_BonjourResolver::OnSrv(std::string_view data) {
    constexpr std::size_t kPort = 4;  // priority and weight before it do not matter
    const std::string known = SrvRecordData(mService.mPort, mService.mHostName);
    const auto record = ParseSrvRecordData(data);
    if (record && data.substr(kPort) != std::string_view(known).substr(std::min(kPort, known.size()))) {
        SetHost(record->host, record->port);
        return StartLookup();
    }
    OnWatched();
}

// One that was not resolved before is told when both records are seen.
void Cmn_BonjourResolver::OnWatched() {
    const bool isSeen = mTxt && mTxt->IsAnswered() && mSrv && mSrv->IsAnswered();
    if (mService.mAddress.IsValid() && (mIsSettled || isSeen)) Settle();
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
    Stop();
    mOwner.OnResolved(*this);
}

}  // namespace NorvikLibInternal
