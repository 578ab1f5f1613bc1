#pragma once

// Cmn_FolderFinder: where the library's files lie. All folders are below one root: %ProgramData%\NorvikLib, or what the
// environment variable NORVIKLIB_ROOT says.
//
//   Cmn_String path;
//   if (Cmn_FolderFinder::FindFolder(path, eFolder_AutoSave)) path += "ft.dat";
//
// Threads:   any
// Ownership: none
// Errors:    false when the folder is not there and cannot be created; the path is given all the same
// Units:     paths end in a backslash

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

enum EFolder {
    eFolder_Root,
    eFolder_Logs,      // log files, crash dumps, "Log Settings.ini"
    eFolder_AutoSave,  // what programs keep for themselves between runs
};

class NORVIK_API Cmn_FolderFinder {
public:
    // Creates the folder when it is missing.
    static bool FindFolder(Cmn_String& outPath, EFolder folder);

    // The folder of the running program; empty when its path is longer than a path can be.
    static Cmn_String GetProgramFolder();

    // Whether a file lies beside the program: a name, or a path from the program's folder ("..\\TDI.dll").
    static bool IsModulePresent(const char* relativePath);
};
