#pragma once

// Cmn_PeriodicTimer: calls a function again and again. Each period counts from the moment the one before was served, so
// periods drift by what the loop is late, and a function that takes long does not shorten the period that follows.
//
//   Cmn_PeriodicTimer mMeters([this] { ReadMeters(); }, "Read meters");
//   mMeters.Start(40);
//
// Threads:   the thread of the default event manager, where the function runs
// Ownership: owns the function, which may stop or delete the timer. The destructor stops it.
// Errors:    starting a timer that runs is reported and starts it anew; stopping one that does not run is reported
// Units:     milliseconds

#include "JRCmn/Cmn_Timer.h"

class NORVIK_API Cmn_PeriodicTimer : public Cmn_Timer {
public:
    Cmn_PeriodicTimer(std::function<void()> callable, const Cmn_String& description);

    // The first call comes after one period.
    void Start(unsigned long long ms);
    void Stop();
    bool IsStarted() const { return IsScheduled(); }

private:
    void Handler();

    const std::shared_ptr<std::function<void()>> mCallable;
};
