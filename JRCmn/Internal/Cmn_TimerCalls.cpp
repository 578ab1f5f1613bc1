#include "JRCmn/Internal/Cmn_TimerCalls.h"

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

// The event stands in the place of the callback.
using SetEventFunction = UINT(WINAPI*)(UINT delay, UINT resolution, void* callback, DWORD_PTR user,
                                       UINT flags);
using KillEventFunction = UINT(WINAPI*)(UINT timerID);

DynamicFunction<SetEventFunction> gSetEvent("winmm.dll", "timeSetEvent");
DynamicFunction<KillEventFunction> gKillEvent("winmm.dll", "timeKillEvent");

unsigned Start(unsigned delay, unsigned resolution, void* event, unsigned flags) {
    return gSetEvent ? gSetEvent(delay, resolution, event, DWORD_PTR{0}, flags) : 0;
}

void Kill(unsigned timerID) {
    if (gKillEvent) gKillEvent(timerID);
}

TimerCalls gCalls = {&Start, &Kill};

}  // namespace

TimerCalls& GetTimerCalls() {
    return gCalls;
}

}  // namespace NorvikLibInternal
