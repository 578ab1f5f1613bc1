#include "JRCmn/Internal/Cmn_FaultGuard.h"

#include <windows.h>

#include <gtest/gtest.h>

using NorvikLibInternal::CallGuarded;

TEST(Cmn_FaultGuard, HoldsThePlatformsFaultsThatNobodyHandlesAndLetsAllElsePass) {
    unsigned long code = 1;
    const auto nested = [](void*) {
        unsigned long inner = 0;
        CallGuarded([](void*) { reinterpret_cast<void (*)()>(0x10)(); }, nullptr, &inner);
        // Reads there, and handles the fault by itself.
        if (inner != EXCEPTION_ACCESS_VIOLATION || !::IsBadReadPtr(nullptr, 1)) throw 1;
    };
    EXPECT_TRUE(CallGuarded(nested, nullptr, &code));
    const auto raise = [](void* raised) { ::RaiseException(*static_cast<DWORD*>(raised), 0, 0, nullptr); };
    for (DWORD raised : {EXCEPTION_INT_DIVIDE_BY_ZERO, EXCEPTION_DATATYPE_MISALIGNMENT}) {
        EXPECT_FALSE(CallGuarded(raise, &raised, &code));
        EXPECT_EQ(code, raised);
    }
    ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG { return EXCEPTION_CONTINUE_EXECUTION; });
    for (DWORD raised : {EXCEPTION_STACK_OVERFLOW, DWORD{0x40000005}, DWORD{0xE04E4F54}})
        EXPECT_TRUE(CallGuarded(raise, &raised, &code)) << std::hex << raised;
    EXPECT_THROW(CallGuarded([](void*) { throw 1; }, nullptr, &code), int);
}
