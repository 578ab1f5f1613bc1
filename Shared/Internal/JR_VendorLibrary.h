#pragma once

// The libraries of the boards' vendors, which are loaded at run time: the platform calls for that, of which a test
// replaces a single one, and an owner.
//
//   VendorLibrary library("Cgos.dll");   // traces from where it came, or that it is not there
//   const auto count = library.Find<uint32_t(uint32_t)>("CgosVgaCount");
//
// Threads:   the calls are replaced before controllers are made; a library belongs to one thread at a time
// Ownership: VendorLibrary unloads in its destructor
// Errors:    a missing library or function is null
// Units:     none

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

struct LibraryCalls {
    decltype(&::LoadLibraryA) load = &::LoadLibraryA;
    decltype(&::GetProcAddress) find = &::GetProcAddress;
    decltype(&::FreeLibrary) free = &::FreeLibrary;
};

NORVIK_API LibraryCalls& GetLibraryCalls();

// Leaves in the log which file it really is: the platform's search path also leads to the current folder, where
// anybody may have put a library of the same name.
void TraceLoadedPath(HMODULE library);

class VendorLibrary {
public:
    explicit VendorLibrary(const char* name);
    ~VendorLibrary();
    VendorLibrary(const VendorLibrary&) = delete;
    VendorLibrary& operator=(const VendorLibrary&) = delete;

    explicit operator bool() const { return mLibrary != nullptr; }

    template <typename Signature>
    Signature* Find(const char* name) const {
        return reinterpret_cast<Signature*>(FindAddress(name));
    }

private:
    void* FindAddress(const char* name) const;

    HMODULE mLibrary;
};

}  // namespace NorvikLibInternal
