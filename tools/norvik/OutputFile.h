#pragma once

// A file that is there whole or not at all: it is written beside its place, under a name that ends in ".part", and takes its
// place in the end.
//
//   OutputFile file("bundle.zip");
//   file.Write(bytes);
//   file.Finish();
//
// Threads:   one
// Ownership: until Finish, the platform deletes the part when the object goes, and when the program ends in any way
// Errors:    std::runtime_error that names the file and the reason, also for a full disk. The file that was there before is
//            then still there.
// Units:     paths are narrow text in the ANSI code page

#include <string>
#include <string_view>

#include "JRCmn/Internal/Cmn_Handle.h"

namespace NorvikTool {

class OutputFile {
public:
    explicit OutputFile(std::string path);

    void Write(std::string_view bytes);
    void Finish();

private:
    [[noreturn]] void Throw(unsigned long error) const;

    const std::string mPath, mPart;
    NorvikLibInternal::KernelHandle mFile;
};

}  // namespace NorvikTool
