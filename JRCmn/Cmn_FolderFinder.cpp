#include "JRCmn/Cmn_FolderFinder.h"

#include <string_view>

#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Internal/Cmn_Windows.h"

namespace {

// The text of an environment variable, empty when it is not set. A value longer than a path can be counts as not set:
// the call then answers with the size it wants, which is no length of what is in the buffer.
Cmn_String EnvironmentPath(const char* name) {
    char value[MAX_PATH] = "";
    const DWORD length = ::GetEnvironmentVariableA(name, value, sizeof value);
    return length < sizeof value ? Cmn_String(value) : Cmn_String();
}

// The profile functions of the platform look for a file without a full path in the Windows folder.
Cmn_String FullPath(const Cmn_String& path) {
    char full[MAX_PATH] = "";
    const DWORD length = path.IsEmpty() ? 0 : ::GetFullPathNameA(path, sizeof full, full, nullptr);
    return length > 0 && length < sizeof full ? Cmn_String(full) : path;
}

Cmn_String Root() {
    Cmn_String root = FullPath(EnvironmentPath("NORVIKLIB_ROOT"));
    if (root.IsEmpty()) {
        root = EnvironmentPath("ProgramData");
        if (root.IsEmpty()) root = "C:\\ProgramData";
        root += "\\NorvikLib";
    }
    if (root.Last() != '\\') root += "\\";
    return root;
}

}  // namespace

bool Cmn_FolderFinder::FindFolder(Cmn_String& outPath, EFolder folder) {
    outPath = Root();
    switch (folder) {
        case eFolder_Root:
            break;
        case eFolder_Logs:
            outPath += "Logs\\";
            break;
        case eFolder_AutoSave:
            outPath += "AutoSave\\";
            break;
    }
    return Cmn_FS::CreateFolders(outPath);
}

Cmn_String Cmn_FolderFinder::GetProgramFolder() {
    char program[MAX_PATH] = "";
    const DWORD length = ::GetModuleFileNameA(nullptr, program, sizeof program);
    const std::string_view path(program, length < sizeof program ? length : 0);
    return Cmn_String(path.substr(0, path.rfind('\\') + 1));
}

bool Cmn_FolderFinder::IsModulePresent(const char* relativePath) {
    const Cmn_String folder = GetProgramFolder();
    return !folder.IsEmpty() && Cmn_FS::IsFile(folder + relativePath);
}
