#pragma once

// What the verbs of service discovery share.
//
// Threads: the main thread.  Ownership: none.  Errors: none.  Units: none.

#include <string>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Cmn_TxtRecord.h"
#include "tools/norvik/Messages.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {

// Lets "dnssd.dll" also be found in the folder of the option. False, after the line that says so, when there is none.
bool FindLibrary(const Arguments& arguments);

// Where the stand-ins of the build tree lie, from the program's folder. The simulated network lies there itself; lets this
// process find its library.
constexpr char cStandinFolder[] = "..\\standins\\";
bool IsStandinLibraryThere();
void UseStandinLibrary();

// One line whenever the state is another than before.
void PrintDaemonState(const Cmn_BonjourError& error);

// "key=value key=value"
std::string Printable(const TxtRecord& record);

}  // namespace NorvikTool
