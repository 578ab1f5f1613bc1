#pragma once

// Cmn_ThreadChecker: reports when an object is used by another thread than the one that it belongs to.
//
//   Cmn_ThreadChecker mChecker;
//   void Move() {
//       mChecker.InitIfNeededAndCheck();   // belongs to the thread that comes first
//   }
//
// Threads:   any; the check costs one atomic operation
// Ownership: none
// Errors:    a use by another thread is traced and reported, and goes on
// Units:     IDs of the platform; 0 is none

#include <atomic>
#include <cstdint>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_Thread.h"

class NORVIK_API Cmn_ThreadChecker {
public:
    // InitWithThread for the calling thread.
    void Init();
    // Gives the checker up for the thread that it belongs to, after which the next InitIfNeededAndCheck finds it a new
    // one. For every other thread, and when it belongs to none, it is reported and nothing changes. That is meant:
    // programs rely on it.
    void InitWithThread(unsigned int threadID);
    // Belongs to the calling thread from here on when it belongs to none; else the same as Check.
    void InitIfNeededAndCheck();
    // Also reports when it belongs to none.
    void Check() const;

private:
    std::atomic<uint32_t> mThreadID{Cmn_Thread::GetInvalidThreadID()};
};
