// One version: that of the library's text, the tool, and the resources that the platform shows.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "tests/support/ChildProcess.h"

namespace {

// Its fixed part as a text, and its text of the same; empty without a resource.
std::array<std::string, 2> VersionsOf(const char* file) {
    std::vector<char> block(::GetFileVersionInfoSizeA(file, nullptr));
    VS_FIXEDFILEINFO* fixed = nullptr;
    char* text = nullptr;
    UINT size = 0;
    if (!::GetFileVersionInfoA(file, 0, static_cast<DWORD>(block.size()), block.data()) ||
        !::VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&fixed), &size) ||
        !::VerQueryValueA(block.data(), "\\StringFileInfo\\040904B0\\ProductVersion",
                          reinterpret_cast<void**>(&text), &size))
        return {};
    const auto part = [](DWORD twoParts, int shift) { return std::to_string(twoParts >> shift & 0xFFFF); };
    return {part(fixed->dwFileVersionMS, 16) + "." + part(fixed->dwFileVersionMS, 0) + "." +
                part(fixed->dwFileVersionLS, 16),
            text};
}

TEST(Version, IsTheSameInTheLibraryTheToolAndTheirResources) {
    const std::string version = Cmn_Assert::SoftwareVersion;
    for (const char* file : {"NorvikLib.dll", "norvik.exe"})
        EXPECT_EQ(VersionsOf(file), (std::array{version, version})) << file;
    EXPECT_EQ(ChildProcess("norvik.exe", {"--version"}).Output(), "norvik " + version + "\n");
}

}  // namespace
