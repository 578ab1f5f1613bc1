#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempFolder.h"

using NorvikLibInternal::DynamicFunction;

TEST(Cmn_DynamicLibrary, FunctionsAreThoseOfThePlatformAndNotOfTheCurrentFolder) {
    DynamicFunction<void (*)()> missing("kernel32.dll", "NoSuchFunction"),
        planted("planted.dll", "_Unwind_Resume");
    const TempFolder folder;
    char runtime[MAX_PATH];
    ::GetModuleFileNameA(::GetModuleHandleA("libgcc_s_seh-1.dll"), runtime, sizeof runtime);
    std::filesystem::copy_file(runtime, folder.Path("planted.dll"));
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    ::SetLastError(4711);
    EXPECT_TRUE(!planted && !missing);
    EXPECT_EQ(::GetLastError(), 4711u);
    std::filesystem::current_path(before);
}
