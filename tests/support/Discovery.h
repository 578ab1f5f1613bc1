#pragma once

// The stand-in of the discovery library in this process, its daemon, and a loop.
//
//   Discovery discovery;
//   discovery.daemon.Control("add Desk _desk._tcp 1 desk.local. 8000");
//   EXPECT_TRUE(discovery.RunUntil([&] { return found; }));
//
// Threads: one.  Ownership: one at a time in a process.  Errors: a library that cannot be loaded fails the test.
// Units: milliseconds.

#include <gtest/gtest.h>

#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/DnsSdDaemon.h"
#include "tests/support/EventLoop.h"

class Discovery {
public:
    Discovery() {
        const HMODULE library = ::LoadLibraryA((DnsSdDaemon::Folder() + "\\dnssd.dll").c_str());
        EXPECT_TRUE(library);
        NorvikLibInternal::OverrideDnsSdLibrary(library);
    }
    ~Discovery() { NorvikLibInternal::OverrideDnsSdLibrary(nullptr); }

    template <typename Condition>
    bool RunUntil(Condition condition) {
        const ULONGLONG end = ::GetTickCount64() + 20'000;
        for (bool isDone = condition();; isDone = condition()) {
            if (isDone || ::GetTickCount64() >= end) return isDone;
            manager.ProcessOneEvent(100);
        }
    }

    DnsSdDaemon daemon;
    DefaultManager manager;
};
