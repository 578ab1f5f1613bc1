#pragma once

// CMN_SOURCE_FILE: the project-relative path of the file it stands in, with backslashes, e.g. "JRCmn\\Cmn_String.cpp".
// Made at compile time from the compiler's own path, so that a failure report names the same place whatever machine
// built the program.
//
//   Cmn_Assert::FailedVerify("the fan turns", CMN_SOURCE_FILE, __LINE__);
//
// Threads:   any
// Ownership: the text is static, one for each file in a module, so that its pointer identifies the file
// Errors:    none
// Units:     none

#include <cstddef>
#include <string_view>

namespace NorvikLibInternal {

// A path as the report names it.
template <std::size_t size>
struct SourcePath {
    char text[size] = {};

    consteval explicit SourcePath(const char (&path)[size]) {
        std::size_t length = 0;
        for (std::size_t i = RootLength(std::string_view(path, size - 1)); i + 1 < size; ++i) {
            text[length++] = path[i] == '/' ? '\\' : path[i];
        }
    }

private:
    // The library's own headers carry a path of the machine when a program includes them: what comes before the
    // library's folder is left out.
    static constexpr std::size_t RootLength(std::string_view path) {
        const bool isAbsolute = path.starts_with('/') || path.find(':') == 1;
        if (!isAbsolute) return 0;
        for (const std::string_view folder : {"JRCmn", "IPC", "Shared"}) {
            for (std::size_t at = path.rfind(folder); at != path.npos && at > 0;
                 at = path.rfind(folder, at - 1)) {
                const auto isSlash = [](char c) { return c == '/' || c == '\\'; };
                const std::size_t end = at + folder.size();
                if (isSlash(path[at - 1]) && end < path.size() && isSlash(path[end])) return at;
            }
        }
        return 0;
    }
};

// One object for each different path.
template <SourcePath path>
inline constexpr const char* kSourcePathText = path.text;

}  // namespace NorvikLibInternal

#define CMN_SOURCE_FILE \
    (::NorvikLibInternal::kSourcePathText<::NorvikLibInternal::SourcePath<sizeof(__FILE__)>(__FILE__)>)
