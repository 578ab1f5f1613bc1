#pragma once

// The window messages of the calling thread. user32 is loaded by the first call, not with the program.
//
//   if (!PumpAllMessages()) return;   // the quit message
//
// Threads:   each thread its own queue
// Ownership: none
// Errors:    none
// Units:     milliseconds

#include "JRCmn/Internal/Cmn_Windows.h"

namespace NorvikLibInternal {

// Waits for one of the handles or a message of the kinds in `wakeMask`; the result is the platform's.
DWORD WaitForHandlesOrMessage(DWORD count, const HANDLE* handles, DWORD timeoutMs, DWORD wakeMask);

// Takes and dispatches messages until there is none. False on the quit message.
bool PumpAllMessages();

// The quit message to the calling thread itself.
void PostQuit();

}  // namespace NorvikLibInternal
