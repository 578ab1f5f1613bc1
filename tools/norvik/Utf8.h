#pragma once

// Text of this computer as UTF-8, for files that others read.
//
// Threads: any.  Ownership: none.  Errors: bytes that are neither UTF-8 nor in the code page stay as they are.  Units: none.

#include <string>
#include <string_view>

namespace NorvikTool {

// Text that is UTF-8 already stays; other text is taken for the ANSI code page's.
std::string ToUtf8(std::string_view text);

}  // namespace NorvikTool
