#pragma once

// Cmn_BonjourResolver: finds host, port and TXT record of one instance, then the host's address; afterwards it can watch the
// instance for changes.
//
//   Cmn_BonjourResolver resolver(service, "local.", owner, manager);
//   resolver.Start();                                     // ... owner.OnResolved(resolver)
//   for (const auto part : Cmn_BonjourResolver::kWatches) resolver.Watch(part);
//
// The resolve ends with its answer, as the discovery interface demands. Changes are watched by queries of the TXT and SRV
// records, which cost the network less.
//
// Threads:   the event manager's
// Ownership: points to its owner, whose functions may delete the resolver
// Errors:    passed to the owner; the operation that failed is started again as its base says
// Units:     ports in the machine's byte order

#include <memory>
#include <string>

#include "JRCmn/Cmn_BonjourService.h"
#include "JRCmn/Internal/Cmn_BonjourDNSResolverImpl.h"
#include "JRCmn/Internal/Cmn_BonjourRecordQuery.h"

namespace NorvikLibInternal {

class Cmn_BonjourResolver : public Cmn_BonjourAsyncHandler {
public:
    class Owner {
    public:
        // All is known, for the first time or anew.
        virtual void OnResolved(const Cmn_BonjourResolver& resolver) = 0;
        virtual void OnResolverError(const Cmn_BonjourError& error) = 0;

    protected:
        ~Owner() = default;
    };

    // The operations, of which at most three run at a time.
    enum Part { eResolve, eLookup, eTxt, eSrv };
    static constexpr Part kParts[] = {eResolve, eLookup, eTxt, eSrv};
    static constexpr Part kWatches[] = {eTxt, eSrv};

    // Of the service, name, type and interface. Of one that is known, all: then it can be watched without being resolved.
    Cmn_BonjourResolver(const Cmn_BonjourService& service, const std::string& domain, Owner& owner,
                        IF_EventManager& eventManager);

    const Cmn_BonjourService& GetService() const { return mService; }
    // Whether the owner was told what it is now.
    bool IsSettled() const { return mIsSettled; }
    // Whether it will never tell anything: its start was refused.
    bool IsHopeless() const { return IsIdle() && !mIsSettled && !mLookup && !mTxt; }
    // Starts one of kWatches unless it runs, or the library cannot. May delete this object.
    void Watch(Part part);
    // Null when there is none.
    Cmn_BonjourAsyncHandler* GetPart(Part part);

private:
    Cmn_BonjourError StartOperation(DNSServiceRef& ref) override;
    void OnError(const Cmn_BonjourError& error) override;

    void OnAnswer(const char* host, unsigned short port, const void* txt, uint16_t txtLength);
    void OnTxt(std::string_view data);
    void OnSrv(std::string_view data);
    void OnWatched();
    void SetHost(const std::string& host, unsigned short port);
    void StartLookup();
    void OnLookup(const Cmn_IPv4Address& address, const Cmn_BonjourError& error);
    void Settle();

    static void OnResolve(DNSServiceRef, DNSServiceFlags, uint32_t interfaceIndex, DNSServiceErrorType error,
                          const char* fullName, const char* host, uint16_t port, uint16_t txtLength,
                          const unsigned char* txt, void* context);

    Cmn_BonjourService mService;
    const std::string mDomain;
    Owner& mOwner;
    std::unique_ptr<Cmn_BonjourDNSResolverImpl> mLookup;
    std::unique_ptr<Cmn_BonjourRecordQuery> mTxt, mSrv;
    bool mIsSettled = false;
};

}  // namespace NorvikLibInternal
