#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <utility>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DnsSdDaemon.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

class Library {
public:
    Library() = default;
    // The platform ignores this when the process ends.
    ~Library() { Unload(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    HMODULE Get() {
        if (!mIsBound.load(std::memory_order_acquire)) Load();
        return mModule.load(std::memory_order_relaxed);
    }

    void Override(std::optional<HMODULE> module) {
        const IPC_BenaphoreLocker lock(mLock);
        Unload();
        mModule = module.value_or(nullptr);
        mIsBound.store(module.has_value(), std::memory_order_release);
    }

private:
    void Load() {
        const IPC_BenaphoreLocker lock(mLock);
        if (mIsBound) return;
        const DWORD lastError = ::GetLastError();
        mLoaded = ::LoadLibraryExW(L"dnssd.dll", nullptr,
                                   LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_APPLICATION_DIR |
                                       LOAD_LIBRARY_SEARCH_USER_DIRS);
        const DWORD error = ::GetLastError();
        mModule = mLoaded;
        mIsBound.store(true, std::memory_order_release);
        // Which one, because a library of this name is taken from wherever it is found first.
        char path[1024] = "";
        if (mLoaded) {
            ::GetModuleFileNameA(mLoaded, path, sizeof path - 1);
            Cmn_Trace("Bonjour: Loaded %s.\n", path);
        } else {
            Cmn_Trace("Bonjour: dnssd.dll cannot be loaded (error %lu), there is no discovery.\n", error);
        }
        ::SetLastError(lastError);
    }

    void Unload() {
        if (mLoaded) ::FreeLibrary(std::exchange(mLoaded, nullptr));
    }

    IPC_Benaphore mLock;
    HMODULE mLoaded = nullptr;  // by this object
    std::atomic<HMODULE> mModule{nullptr};
    std::atomic<bool> mIsBound{false};
};

Library& GetLibrary() {
    static Library library;
    return library;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared takes none
#define NORVIK_DEFINE_DNS_SD_CALL(name, failure) constinit DnsSdCall<name##Call> name{#name, failure};
NORVIK_DNS_SD_CALLS(NORVIK_DEFINE_DNS_SD_CALL)

bool IsDnsSdLibraryLoaded() {
    return GetLibrary().Get() != nullptr;
}

void* FindDnsSdFunction(const char* name) {
    const HMODULE library = GetLibrary().Get();
    if (!library) return nullptr;
    const DWORD lastError = ::GetLastError();
    void* const function = FindFunction<void*>(library, name);
    ::SetLastError(lastError);
    return function;
}

void OverrideDnsSdLibrary(std::optional<void*> module) {
    ForgetDnsSdDaemon();
    GetLibrary().Override(module ? std::optional(static_cast<HMODULE>(*module)) : std::nullopt);
#define NORVIK_FORGET_DNS_SD_CALL(name, failure) name.Forget();
    NORVIK_DNS_SD_CALLS(NORVIK_FORGET_DNS_SD_CALL)
}

}  // namespace NorvikLibInternal
