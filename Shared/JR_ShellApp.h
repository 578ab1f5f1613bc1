#pragma once

// JR_ShellApp: what a program asks about the machine that it runs on.
//
//   if (JR_ShellApp::GetSystemType() == eSystem_Engine) StartEngine();
//   Cmn_Trace("Running on %s\n", JR_ShellApp::GetMotherboardName(eMB_Running));
//
// Threads:   any. Call each once while the program starts: the first call reads registry and files, later ones
//            return what it found. Two threads that come first at the same time find the same.
// Ownership: texts are literals
// Errors:    what cannot be read counts as missing. An unknown board is traced once, a number that is no board's is
//            reported; nothing throws but std::bad_alloc
// Units:     none. Answers never change while a process runs: marker files and settings count at the next start.

#include "JRCmn/Cmn_Export.h"
#include "Shared/JR_SystemKinds.h"

namespace JR_ShellApp {

// ---- The mainboard.
// Recognised by what the firmware left in the registry, or by a marker file in the root of drive C: that forces a
// board (docs/boards.md has the list). `outSuspectUnconfigured`, which may be null, says whether the firmware looks
// as if nobody had set it up.
NORVIK_API EMotherboard GetMotherboard(bool* outSuspectUnconfigured);

// For people, and a short text for programs. eMB_Running stands for the running board. A number that is no board's is
// reported and gives "???" and the empty text.
NORVIK_API const char* GetMotherboardName(EMotherboard board);
NORVIK_API const char* GetMotherboardSignature(EMotherboard board);

// ---- The kind of machine.
// The setting "Force System Type" (a DWORD of HKEY_LOCAL_MACHINE\Software\NorvikLib\Settings) decides whatever it
// says, also when the number is none of ESystemType's; one with the highest bit set is read again by every call.
NORVIK_API ESystemType GetSystemType();

// Whether the system's own Windows image runs here, and not somebody's PC.
NORVIK_API bool IsWindowsEmbedded();

}  // namespace JR_ShellApp
