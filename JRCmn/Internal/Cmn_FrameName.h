#pragma once

// What is at an address of this process: module and offset, and function and source line as far as the
// platform's symbol library (dbghelp) finds them.
//
//   const FrameName name = NameFrame(frames.addresses[0], true);
//
// Threads:   any, one at a time: the symbol library is made for one thread
// Ownership: symbols that were loaded stay loaded; a module's are loaded when the first address in it is named
// Errors:    what is not found stays empty
// Units:     addresses and offsets in bytes, lines counted from 1

#include <cstdint>

namespace NorvikLibInternal {

struct FrameName {
    char module[64] = "?";     // file name; "?" when the address is in no module
    uint64_t offset = 0;       // from the module's start; the address itself when it is in no module
    uint64_t linkAddress = 0;  // where the module's file places the address: what addr2line expects
    char function[256] = "";   // this and the next two only with symbols
    char source[128] = "";     // the file and the folder it is in
    unsigned line = 0;
};

FrameName NameFrame(uint64_t address, bool symbols);

// Holds the symbol library for a scope; writing a dump needs it, too. A thread that holds it already gets it
// again: it has crashed in there and now reports that.
class DebugHelpLocker {
public:
    DebugHelpLocker();
    ~DebugHelpLocker();
    DebugHelpLocker(const DebugHelpLocker&) = delete;
    DebugHelpLocker& operator=(const DebugHelpLocker&) = delete;

    bool IsNested() const { return mNested; }

private:
    const bool mNested;
};

}  // namespace NorvikLibInternal
