#pragma once

// Functions of the platform's DLLs that are not imported. DynamicFunction loads its DLL when it is first needed: for what a
// static import would make every program pay for at its start (user32, dbghelp, winmm, psapi), and for what a machine may
// not have.
//
//   DynamicFunction<decltype(&::GetGuiResources)> gGetGuiResources("user32.dll", "GetGuiResources");
//   ...
//   if (gGetGuiResources) count = gGetGuiResources(::GetCurrentProcess(), GR_GDIOBJECTS);
//   const auto find = FindFunction<unsigned(__cdecl*)()>(library, "EntryPoint");  // in a DLL that is loaded already
//
// Threads:   any; constant-initialised, so it may be used before and after all constructors of globals
// Ownership: a DLL that was loaded stays loaded for the life of the process. The names are literals.
// Errors:    false when DLL or function is missing, asked once and remembered; calling it then is not allowed.
//            The thread's last error is kept.
// Units:     none

#include <atomic>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

// A function of a DLL that is loaded already; null when it has none of this name.
template <typename Function>
Function FindFunction(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
}

template <typename Function>
class DynamicFunction {
public:
    constexpr DynamicFunction(const char* library, const char* function)
        : mLibrary(library), mName(function) {}
    DynamicFunction(const DynamicFunction&) = delete;
    DynamicFunction& operator=(const DynamicFunction&) = delete;

    // Null when it is missing.
    Function Get() {
        if (!mBound.load(std::memory_order_acquire)) Bind();
        return mFunction.load(std::memory_order_relaxed);
    }

    explicit operator bool() { return Get() != nullptr; }

    template <typename... Arguments>
    auto operator()(Arguments... arguments) {
        return Get()(arguments...);
    }

private:
    // Two threads that come first at the same time both find the same function.
    void Bind() {
        const DWORD lastError = ::GetLastError();
        // From the system folder only, so that none of its name in the current folder gets in.
        const HMODULE library = ::LoadLibraryExA(mLibrary, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
        mFunction.store(library ? FindFunction<Function>(library, mName) : nullptr,
                        std::memory_order_relaxed);
        mBound.store(true, std::memory_order_release);
        ::SetLastError(lastError);
    }

    const char* const mLibrary;
    const char* const mName;
    std::atomic<Function> mFunction{nullptr};
    std::atomic<bool> mBound{false};
};

// A DynamicFunction as a plain function pointer, for tables of calls; `missing` is the answer where there is no such
// function.
//
//   calls.monitorFromPoint = &OrMissing<gMonitorFromPoint, nullptr>::Call;
template <auto& function, auto missing>
struct OrMissing {
    template <typename Result, typename... Arguments>
    static Result WINAPI Call(Arguments... arguments) {
        return function ? function(arguments...) : static_cast<Result>(missing);
    }
};

}  // namespace NorvikLibInternal
