#include "Shared/Internal/JR_VendorLibrary.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"

namespace NorvikLibInternal {

LibraryCalls& GetLibraryCalls() {
    static LibraryCalls calls;
    return calls;
}

void TraceLoadedPath(HMODULE library) {
    char path[MAX_PATH] = "";
    const DWORD length = ::GetModuleFileNameA(library, path, sizeof path);
    Cmn_Trace("SBC library loaded from %s\n", length > 0 && length < sizeof path ? path : "an unknown place");
}

VendorLibrary::VendorLibrary(const char* name) : mLibrary(GetLibraryCalls().load(name)) {
    const DWORD error = ::GetLastError();
    if (mLibrary != nullptr) {
        TraceLoadedPath(mLibrary);
    } else {
        Cmn_Trace("SBC library %s cannot be loaded, error: %08lx\n", name, error);
    }
}

VendorLibrary::~VendorLibrary() {
    if (mLibrary != nullptr) CMN_VERIFY(GetLibraryCalls().free(mLibrary));
}

void* VendorLibrary::FindAddress(const char* name) const {
    if (mLibrary == nullptr) return nullptr;
    return reinterpret_cast<void*>(GetLibraryCalls().find(mLibrary, name));
}

}  // namespace NorvikLibInternal
