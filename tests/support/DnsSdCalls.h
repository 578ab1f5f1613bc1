#pragma once

// The entry points of the stand-in of dnssd.dll, by name, for tests that look at it past the library.
//
//   DNS_SD(DNSServiceRefDeallocate)(ref);
//
// Threads:   any
// Ownership: the DLL stays loaded
// Errors:    an entry point that is missing throws std::runtime_error with its name
// Units:     none

#include <stdexcept>
#include <string>

#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "tests/support/DnsSdDaemon.h"

inline std::string DnsSdLibrary() {
    return DnsSdDaemon::Folder() + "\\dnssd.dll";
}

template <typename Call>
Call* FindDnsSd(const char* name) {
    static const HMODULE library = ::LoadLibraryA(DnsSdLibrary().c_str());
    Call* const call = library ? NorvikLibInternal::FindFunction<Call*>(library, name) : nullptr;
    if (!call) throw std::runtime_error(name);
    return call;
}

#define DNS_SD(name) FindDnsSd<NorvikLibInternal::name##Call>(#name)
