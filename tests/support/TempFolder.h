#pragma once

// A folder of a test's own, removed with all that is in it at the end.
//
// Threads: any.  Ownership: the folder.  Errors: a folder that cannot be made ends the test program.  Units: none.

#include <string>

class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // Without a backslash at the end.
    const std::string& Path() const { return mPath; }
    std::string Path(const std::string& name) const { return mPath + "\\" + name; }

private:
    std::string mPath;
};

// Where the test program lies, without a backslash at the end.
std::string ProgramFolder();

// Whole files, for tests. A file that cannot be read gives an empty text.
std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& bytes);
