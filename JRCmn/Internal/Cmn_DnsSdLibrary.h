#pragma once

// The entry points of the DNS Service Discovery client library, "dnssd.dll", bound at run time: a program also starts, and
// runs without discovery, on a computer that has none. Each is called by its own name.
//
//   DNSServiceRef ref = nullptr;
//   const DNSServiceErrorType error = DNSServiceBrowse(&ref, 0, 0, "_desk._tcp", "local.", &OnBrowse, this);
//
// The library is looked for at the first call, once in a process, in the system's folder, in the program's, and in those that
// the program has named to the platform (SetDllDirectory, AddDllDirectory); never in the current folder. Not earlier: while
// this library is itself being loaded the platform holds its loader lock, under which no other library may be loaded.
//
// Threads:   any; constant-initialised. What is known of a DNSServiceRef's threads stands in Cmn_DnsSd.h.
// Ownership: the library is released when this one is unloaded
// Errors:    without the library, or without this entry point in it, a call returns the value in the table below. An entry
//            point that was missing is looked for again by the next call. The thread's last error is kept.
// Units:     as in Cmn_DnsSd.h

#include <atomic>
#include <optional>
#include <type_traits>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_DnsSd.h"

namespace NorvikLibInternal {

NORVIK_API bool IsDnsSdLibraryLoaded();
// Null when it is missing.
NORVIK_API void* FindDnsSdFunction(const char* name);

// For tests, while no call runs: a module in the place of the library, or null for a computer without it. Nullopt: the
// next call looks for the library anew.
NORVIK_API void OverrideDnsSdLibrary(std::optional<void*> module);

template <typename Signature>
class DnsSdCall;

template <typename Result, typename... Arguments>
class DnsSdCall<Result(Arguments...)> {
    using Function = Result(Arguments...);
    using Failure = std::conditional_t<std::is_void_v<Result>, int, Result>;

public:
    constexpr DnsSdCall(const char* name, Failure failure) : mName(name), mFailure(failure) {}
    DnsSdCall(const DnsSdCall&) = delete;
    DnsSdCall& operator=(const DnsSdCall&) = delete;

    Result operator()(Arguments... arguments) {
        Function* function = mFunction.load(std::memory_order_acquire);
        if (!function) {
            function = reinterpret_cast<Function*>(FindDnsSdFunction(mName));
            mFunction.store(function, std::memory_order_release);
        }
        if (function) return function(arguments...);
        if constexpr (!std::is_void_v<Result>) return mFailure;
    }

    void Forget() { mFunction.store(nullptr, std::memory_order_release); }

private:
    const char* const mName;
    const Failure mFailure;
    std::atomic<Function*> mFunction{nullptr};
};

// Each with what it returns when it is missing (0 also stands for nothing).
#define NORVIK_DNS_SD_CALLS(CALL)                                          \
    CALL(DNSServiceRefSockFD, -1)                                          \
    CALL(DNSServiceProcessResult, kDNSServiceErr_ServiceNotRunning)        \
    CALL(DNSServiceRefDeallocate, 0)                                       \
    CALL(DNSServiceEnumerateDomains, kDNSServiceErr_ServiceNotRunning)     \
    CALL(DNSServiceRegister, kDNSServiceErr_ServiceNotRunning)             \
    CALL(DNSServiceAddRecord, kDNSServiceErr_ServiceNotRunning)            \
    CALL(DNSServiceUpdateRecord, kDNSServiceErr_ServiceNotRunning)         \
    CALL(DNSServiceRemoveRecord, kDNSServiceErr_ServiceNotRunning)         \
    CALL(DNSServiceBrowse, kDNSServiceErr_ServiceNotRunning)               \
    CALL(DNSServiceResolve, kDNSServiceErr_ServiceNotRunning)              \
    CALL(DNSServiceConstructFullName, kDNSServiceErr_ServiceNotRunning)    \
    CALL(DNSServiceCreateConnection, kDNSServiceErr_ServiceNotRunning)     \
    CALL(DNSServiceRegisterRecord, kDNSServiceErr_ServiceNotRunning)       \
    CALL(DNSServiceQueryRecord, kDNSServiceErr_ServiceNotRunning)          \
    CALL(DNSServiceReconfirmRecord, kDNSServiceErr_ServiceNotRunning)      \
    CALL(DNSServiceNATPortMappingCreate, kDNSServiceErr_ServiceNotRunning) \
    CALL(DNSServiceGetAddrInfo, kDNSServiceErr_ServiceNotRunning)          \
    CALL(DNSServiceGetProperty, kDNSServiceErr_ServiceNotRunning)          \
    CALL(TXTRecordCreate, 0)                                               \
    CALL(TXTRecordDeallocate, 0)                                           \
    CALL(TXTRecordSetValue, kDNSServiceErr_ServiceNotRunning)              \
    CALL(TXTRecordRemoveValue, kDNSServiceErr_ServiceNotRunning)           \
    CALL(TXTRecordContainsKey, 0)                                          \
    CALL(TXTRecordGetCount, 0)                                             \
    CALL(TXTRecordGetLength, 0)                                            \
    CALL(TXTRecordGetBytesPtr, nullptr)                                    \
    CALL(TXTRecordGetValuePtr, nullptr)                                    \
    CALL(TXTRecordGetItemAtIndex, kDNSServiceErr_ServiceNotRunning)

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared takes none
#define NORVIK_DECLARE_DNS_SD_CALL(name, failure) extern NORVIK_API DnsSdCall<name##Call> name;
NORVIK_DNS_SD_CALLS(NORVIK_DECLARE_DNS_SD_CALL)
#undef NORVIK_DECLARE_DNS_SD_CALL

}  // namespace NorvikLibInternal
