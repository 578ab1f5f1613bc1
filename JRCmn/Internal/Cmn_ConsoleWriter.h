#pragma once

// Writes to the console that standard output is, if it is one. Standard output that is a file, a pipe or closed is
// skipped until it becomes something else; the same handle is tried again once a second, since its value may be used anew.
//
// Threads:   any; a race between two lines costs at most a repeated attempt
// Ownership: the handle is the process's; it is never closed here
// Errors:    a line that cannot be written is dropped
// Units:     bytes in the console's code page

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

// The platform calls behind the console, replaceable by tests: under Wine a test's output never is a console.
struct ConsoleCalls {
    HANDLE (*getHandle)();
    bool (*write)(HANDLE console, const char* text, std::size_t size);
};
NORVIK_API extern const ConsoleCalls kPlatformConsole;

class NORVIK_API ConsoleWriter {
public:
    explicit ConsoleWriter(const ConsoleCalls& calls = kPlatformConsole) : mCalls(calls) {}

    void Write(const char* text, std::size_t size);

private:
    const ConsoleCalls& mCalls;
    // Standard output as it was last fetched, and the one that is known not to take console text: while a fetch still
    // answers that one, nothing is tried.
    std::atomic<HANDLE> mHandle{nullptr};
    std::atomic<HANDLE> mUnusable{nullptr};
    std::atomic<uint64_t> mTryAgainAt{0};
};

}  // namespace NorvikLibInternal
