#pragma once

// JR_ShellApp: what a program asks about the machine that it runs on, and what it asks of the shell, the program that owns
// the console's desktop. docs/shell.md has the limits.
//
//   if (JR_ShellApp::GetSystemType() == eSystem_Engine) StartEngine();
//   Cmn_Trace("Running on %s\n", JR_ShellApp::GetMotherboardName(eMB_Running));
//   if (JR_ShellApp::IsRestartNecessary()) JR_ShellApp::ScheduleRebootOnQuit();
//
// Threads:   any. Call the questions about the machine each once while the program starts: the first call reads registry and
//            files, later ones return what it found. Two threads that come first at the same time find the same.
//            Clipboard_Copy: the thread of the window.
// Ownership: texts are copies or literals
// Errors:    what cannot be read counts as missing. An unknown board is traced once, a number that is no board's is
//            reported. What fails is reported and answers false or 0. Nothing throws but std::bad_alloc and the restart
//            callback.
// Units:     gigabytes of 2^30 bytes. What the machine is never changes while a process runs: marker files and settings
//            count at the next start.

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
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

// Whether the kind of machine is an ordinary PC.
NORVIK_API bool IsStandAlone();

// Whether the system's own Windows image runs here, and not somebody's PC.
NORVIK_API bool IsWindowsEmbedded();

// Whether this is Wine. `outVersion`, which may be null, is its version, or empty.
NORVIK_API bool IsWine(Cmn_String* outVersion);

// ---- The shell.
// Posts a command to the shell's window and does not wait for what comes of it. False when there is no such window or the
// platform does not take the message. Any thread, at any time.
NORVIK_API bool Request(EShellAppCommand command, int argument);

// Has the shell restart the console software. Where the shell does not do that by itself, on other images than the system's
// own, it is started to wait for it. False when there is no shell, or it could not be started.
NORVIK_API bool SoftwareRestart();

// What is called after a command of the numbers 3 to 6 and 8 to 13 was posted, on the thread that posted it, before Request or
// SoftwareRestart returns. It is called when the shell's window had to be looked for, which is at the first command and
// whenever the shell has come anew, and not when the window was known. Set once: a second one is reported and not taken.
// What it throws reaches the caller of Request or SoftwareRestart; the command is posted by then, and the shell that would wait
// for the restart is not started.
NORVIK_API void SetSoftwareRestartCallback(void (*callback)());

// Starts the shell that lies beside this program. `arguments` is its command line. False, reported, when it does not start.
NORVIK_API bool RunShellApp(const Cmn_String& arguments);

// ---- Restart of the computer.
// Tells the shell that the computer shall be restarted when the software ends. There is no way back: the events that say so
// stay as they are until this process ends, also when the shell comes later.
NORVIK_API void ScheduleRebootOnQuit();

// Whether Windows wants to be restarted before it is whole, because files wait for being replaced or programs for being run.
// A registry key that it looks at and that is not there is there, empty, afterwards. What shows it is traced.
NORVIK_API bool IsRestartNecessary();

// ---- Environment variables.
// Of this process; `fallback` when it is not set or empty. One of more than 4,095 characters is traced and counts as not set.
NORVIK_API Cmn_String GetEnvironmentVariableA(const Cmn_String& name, const Cmn_String& fallback);

// For the machine: programs that start later have it, this one has not. With `broadcast` all windows are told, one after the
// other: a window that hangs takes a second. False, reported, when it was not written, or not told.
NORVIK_API bool SetEnvironmentVariableA(const Cmn_String& name, const Cmn_String& value, bool broadcast);

// ---- Processor and memory.
NORVIK_API EEngineProcessorType GetEngineProcessorType();

// What a machine of this kind, with this board and processor, has to have; 0 when that is not known. The number of processor
// cores counts for two kinds of engine only, where it must be 6, 8, 12 or 16. `outFlag` is false for the Emerson board and
// true otherwise.
NORVIK_API unsigned int GetRAMRequirement(ESystemType system, unsigned int cpuCount, bool& outFlag);

// What there is, rounded up.
NORVIK_API unsigned int GetRAMSize();

// Whether this machine has what it needs. To see what a program does when it has not, create the file C:\TestRAMFailure.txt:
// while it is there, the machine has half of what it needs.
NORVIK_API bool CheckIfRAMIsOK(unsigned int cpuCount, unsigned int& outInstalled, unsigned int& outRequired,
                               bool& outFlag);

// ---- The clipboard.
// Puts the text there, up to its first NUL. `window` (an HWND) is who has the clipboard then; null is the desktop. While
// another program has it open, it is tried ten times, 10 ms apart. False when it stays so, or when the platform refuses,
// which is reported.
NORVIK_API bool Clipboard_Copy(const Cmn_String& text, void* window);

}  // namespace JR_ShellApp
