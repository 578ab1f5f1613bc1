#pragma once

// Cmn_BonjourResolver: finds host, port and TXT record of one instance, then the host's address, and goes on telling of
// changes.
//
//   Cmn_BonjourResolver resolver(service, "local.", owner, manager);
//   resolver.Start();                                     // ... owner.OnResolved(resolver)
//
// Threads:   the event manager's
// Ownership: points to its owner, whose functions may delete the resolver
// Errors:    passed to the owner; the operation that failed is started again as its base says
// Units:     ports in the machine's byte order

#include <memory>
#include <string>

#include "JRCmn/Cmn_BonjourService.h"
#include "JRCmn/Internal/Cmn_BonjourDNSResolverImpl.h"

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

    // Of the service, name, type and interface. With a valid address the host's is not asked for again, as long as host
    // and port stay.
    Cmn_BonjourResolver(const Cmn_BonjourService& service, const std::string& domain, Owner& owner,
                        IF_EventManager& eventManager);

    const Cmn_BonjourService& GetService() const { return mService; }
    // Whether the owner was told what it is now.
    bool IsSettled() const { return mIsSettled; }
    // May delete this object, as Probe may.
    void ProbeLookup() {
        if (mLookup) mLookup->Probe();
    }

private:
    Cmn_BonjourError StartOperation(DNSServiceRef& ref) override;
    void OnError(const Cmn_BonjourError& error) override;

    void OnAnswer(const char* host, unsigned short port, const unsigned char* txt, uint16_t txtLength);
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
    bool mIsSettled = false;
};

}  // namespace NorvikLibInternal
