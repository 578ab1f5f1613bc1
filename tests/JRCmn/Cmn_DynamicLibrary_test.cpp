#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

using NorvikLibInternal::DynamicFunction;

TEST(Cmn_DynamicLibrary, PlatformLibraryIsNotTakenFromTheCurrentFolder) {
    char runtime[MAX_PATH], before[MAX_PATH];
    ::GetModuleFileNameA(::GetModuleHandleA("libgcc_s_seh-1.dll"), runtime, sizeof runtime);
    ::GetCurrentDirectoryA(sizeof before, before);
    const TempFolder folder;
    WriteWholeFile(folder.Path("norvikplanted.dll"), ReadWholeFile(runtime));
    ::SetCurrentDirectoryA(folder.Path().c_str());
    DynamicFunction<void (*)()> planted("norvikplanted.dll", "_Unwind_Resume");
    ::SetLastError(4711);
    EXPECT_FALSE(planted);
    EXPECT_EQ(::GetLastError(), 4711u);
    ::SetCurrentDirectoryA(before);
}

TEST(Cmn_DynamicLibrary, FunctionIsBoundWhenItIsFirstCalled) {
    DynamicFunction<decltype(&::GetCurrentProcessId)> found("kernel32.dll", "GetCurrentProcessId");
    DynamicFunction<decltype(&::GetCurrentProcessId)> missing("kernel32.dll", "GetCurrentProcessIdOrNot");
    EXPECT_EQ(found(), ::GetCurrentProcessId());
    EXPECT_FALSE(missing);
}
