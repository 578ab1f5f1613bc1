#pragma once

// Cmn_Thread: the library's one way to start a thread. A named object with a priority, a body, an explicit launch and a
// destructor that waits for the body's end.
//
//   Cmn_Thread poller("Poller", eHigh, 0);
//   if (poller.Launch([this] { return Poll(); }) != 0) return false;
//   ...
//   mStop = true;                            // the owner stops the body first
//   const long result = poller.ThreadEnd();  // waits; the destructor does the same
//
// Threads:   launched, ended, named and destroyed by its owner, one thread at a time; all the rest on any thread while the
//            object is launched, but not while the owner ends it. It may be ended or destroyed by its own body, too: nobody
//            can wait then, so this is reported, and the thread goes on without the object, which forgets it.
// Ownership: owns the thread's handle, closed in ThreadEnd. The body stays until the next Launch or the destructor.
// Errors:    launching returns a platform error code; a priority that cannot be set is traced and stops nothing. What a
//            body throws is not caught: it ends the process, with the report of the crash monitor where that is
//            installed.
// Units:     milliseconds; stack sizes are bytes; thread handles are HANDLEs of the platform, where -1 (all bits set)
//            means the calling thread

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

namespace NorvikLibInternal {
struct ThreadOutcome;
}

// The levels that they stand for are beside them. On the platform's scale eLowest and eLow are the same.
enum EPriority : int {
    eIdle = 0,          // 2
    eLowest = 1,        // 4
    eLow = 2,           // 6
    eNormal = 3,        // 8
    eHigh = 4,          // 10
    eTimeCritical = 5,  // 15
    eRealTime = 6,      // 24
    eRealTimeMax = 7,   // 31
};

// A level from 0 to 31, on the scale of the platform's base priorities: 8 is normal, 16 and above are real-time, which
// needs a privilege. A level is taken as it is; an EPriority that does not exist is reported and gives 8.
class NORVIK_API Cmn_ThreadPriority {
public:
    Cmn_ThreadPriority() = default;
    Cmn_ThreadPriority(int level) : mLevel(level) {}
    Cmn_ThreadPriority(EPriority priority);

    operator int() const { return mLevel; }

private:
    int32_t mLevel = 8;
};

class NORVIK_API Cmn_Thread {
public:
    // Nothing runs yet. A stack size of 0 is the platform's default.
    Cmn_Thread(const Cmn_String& name, Cmn_ThreadPriority priority, int stackSize);
    virtual ~Cmn_Thread();
    Cmn_Thread(const Cmn_Thread&) = delete;
    Cmn_Thread& operator=(const Cmn_Thread&) = delete;

    // 0, a platform error code, or -1 when it is launched already. The body's return value becomes Result() and the
    // thread's exit code. An empty body throws on the new thread.
    int Launch(const std::function<long()>& body);
    int Launch(long (*function)(void*), void* argument);

    // True when it is not running (any more), false after the time. A limit of 0xFFFFFFFF is none.
    bool WaitForEnd(unsigned int timeoutMs);
    // Waits for the body to return and makes the object ready for another launch. The body's result.
    long ThreadEnd();

    bool IsLaunched() const { return mLaunched; }  // until ThreadEnd
    bool IsGone() const;                           // the body has returned
    bool IsRunning() const { return IsLaunched() && !IsGone(); }
    long Result() const;  // of the latest body that has returned; 0 before
    void* GetHandle() const { return mThreadHandle; }
    unsigned int GetID() const { return mThreadID; }

    // At once when it is running, else with the next launch. False when the platform refused.
    bool SetPriority(Cmn_ThreadPriority priority);
    void SetStackSize(int stackSize) { mStackSize = stackSize; }

    // For diagnosis.
    const Cmn_String& GetName() const { return mName; }
    void SetName(const Cmn_String& name);
    // Does nothing: the operating system is given no names.
    static void SetName(unsigned int threadID, const char* name);

    // The calling thread sleeps.
    static void Snooze(unsigned int ms);
    static unsigned int GetCurrentThreadID();
    static unsigned int GetInvalidThreadID() { return 0; }

    // Real-time levels (16 and above) go through the platform's native interface. False, traced, when refused.
    static bool SetThreadPriority(Cmn_ThreadPriority priority, void* thread);
    // The base priority as the native interface tells it, relative to that of the process: 0 for level 8. -1, traced or
    // reported, when it cannot.
    static int GetThreadPriority(void* thread);

    // Traces the stack of a thread of this process, which is suspended while up to 256 KB of its stack are copied: 0.1 ms, or
    // some ms for a deep one.
    static void PrintStackTrace(unsigned long threadID);
    static void PrintStackTrace(void* thread);

protected:
    // Launches the stored body.
    int Run();

    static bool NativeAPIOK();

private:
    bool IsOwnThread() const;

    // Shared with the running thread, which may outlive the object (see Threads).
    const std::shared_ptr<NorvikLibInternal::ThreadOutcome> mOutcome;
    std::shared_ptr<const std::function<long()>> mBody;
    std::atomic<int> mPriority;
    std::atomic<int> mStackSize;
    std::atomic<bool> mLaunched{false};
    std::atomic<void*> mThreadHandle{nullptr};
    std::atomic<unsigned int> mThreadID{0};
    Cmn_String mName;
};

// A thread whose body is a member function.
template <typename T>
class Cmn_TThread : public Cmn_Thread {
public:
    using Cmn_Thread::Cmn_Thread;
    using Cmn_Thread::Launch;

    int Launch(T* object, long (T::*member)(void*), void* argument) {
        return Launch([=] { return (object->*member)(argument); });
    }
};

// Reports when something is used by more than one thread: each further thread once, with the list of all.
//
//   mChecker.Check("The desk");   // "Multithreading alert: The desk is used by 000000A4 000000B8 "
//
// The platform gives the ID of a thread that has ended to another one, which then counts as known.
class NORVIK_API Cmn_SingleThreadingChecker {
public:
    // `what` is named in the report.
    void Check(const char* what);
    void Reset();

private:
    IPC_Benaphore mLock;
    std::unique_ptr<std::set<uint32_t>> mThreadIDs;
};
