#pragma once

// The steps of the thread that watches an event loop. Pure: what it waits for and asks comes from a derived class.
//
//   class MyWatch : public LoopWatch { ... };
//   watch.Run(5);        // on the watching thread, until the loop is over
//
// Threads:   Run and with it all functions: the watching thread
// Ownership: none
// Errors:    what the functions throw leaves Run
// Units:     milliseconds, the limit is in seconds

#include <cstdint>

namespace NorvikLibInternal {

class LoopWatch {
public:
    void Run(uint32_t seconds) {
        while (!IsOver()) {
            if (!IsHandlerRunning()) {
                WaitForDone(kIdleStep);
                continue;
            }
            if (!OutlivesLimit(seconds) || !Report()) continue;
            // In steps, because somebody else may have taken the one signal that the loop is over.
            if (IsBlocked()) {
                while (!WaitForDone(kStep) && !IsOver() && IsHandlerRunning()) {
                }
            }
            TraceUnblocked();
        }
    }

protected:
    ~LoopWatch() = default;

    virtual bool IsOver() = 0;
    // When true, the end of this handler is noticed by WaitForDone.
    virtual bool IsHandlerRunning() = 0;
    // Whether a handler ended since the last time.
    virtual bool WaitForDone(uint32_t milliseconds) = 0;
    virtual bool IsDebuggerAttached() = 0;
    // False when the handler has ended meanwhile.
    virtual bool Report() = 0;
    // What the loop's owner says to the report.
    virtual bool IsBlocked() = 0;
    virtual void TraceUnblocked() = 0;

private:
    static constexpr uint32_t kIdleStep = 100;
    static constexpr uint32_t kStep = 1'000;

    // With a debugger a handler may stand still for as long as somebody looks at it.
    bool OutlivesLimit(uint32_t seconds) {
        for (uint32_t i = 0; i < seconds; ++i) {
            if (WaitForDone(kStep) || IsDebuggerAttached() || IsOver()) return false;
        }
        return true;
    }
};

}  // namespace NorvikLibInternal
