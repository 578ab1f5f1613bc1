#pragma once

// Cmn_FS: the file-system questions and actions that the library needs.
//
//   if (!Cmn_FS::IsFile(path)) return false;
//
// Threads:   any
// Ownership: none
// Errors:    false (or an empty list, 0) and the thread's last error; nothing is traced
// Units:     bytes; milliseconds since 1970-01-01 UTC; paths are narrow text in the ANSI code page

#include <cstdint>
#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

namespace Cmn_FS {

NORVIK_API bool IsFile(const char* path);  // exists and is not a folder
NORVIK_API bool IsFolder(const char* path);

// Creates a folder with all that lead to it. True when it is there afterwards.
NORVIK_API bool CreateFolders(const char* path);

// Creates an empty file. False when there is something of that name: of two programs that try at once, one wins.
NORVIK_API bool CreateNewFile(const char* path);

NORVIK_API bool RemoveFile(const char* path);

// Whether some program has the file open for writing, or keeps others from reading it.
NORVIK_API bool IsBeingWritten(const char* path);

NORVIK_API uint64_t GetLastWriteTime(const char* path);

// The names (without folder) of the regular files in a folder that match a pattern with * and ?.
NORVIK_API std::vector<Cmn_String> ListFiles(const char* folder, const char* pattern);

// What a program may still write in the folder.
NORVIK_API uint64_t GetFreeBytes(const char* folder);

// The file name of the running program without its extension: the application's name in logs and prompts.
NORVIK_API Cmn_String GetApplicationName();

}  // namespace Cmn_FS
