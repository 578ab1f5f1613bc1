#include "tools/norvik/OutputFile.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <stdexcept>

#include "JRCmn/Internal/Cmn_LastError.h"

namespace NorvikTool {
namespace {

bool MarkForDeletion(HANDLE file, bool mark) {
    FILE_DISPOSITION_INFO disposition = {mark};
    return ::SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition) != FALSE;
}

}  // namespace

OutputFile::OutputFile(std::string path) : mPath(std::move(path)), mPart(mPath + ".part") {
    mFile.Reset(::CreateFileA(mPart.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!mFile || !MarkForDeletion(mFile.Get(), true)) Throw(::GetLastError());
}

void OutputFile::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1u << 24));
        DWORD written = 0;
        if (!::WriteFile(mFile.Get(), bytes.data(), size, &written, nullptr)) Throw(::GetLastError());
        if (written == 0) Throw(ERROR_DISK_FULL);
        bytes.remove_prefix(written);
    }
}

void OutputFile::Finish() {
    if (!::FlushFileBuffers(mFile.Get()) || !MarkForDeletion(mFile.Get(), false)) Throw(::GetLastError());
    mFile.Reset();
    if (::MoveFileExA(mPart.c_str(), mPath.c_str(), MOVEFILE_REPLACE_EXISTING)) return;
    const DWORD error = ::GetLastError();
    ::DeleteFileA(mPart.c_str());
    Throw(error);
}

void OutputFile::Throw(unsigned long error) const {
    // Wine's own text for a full disk speaks of anything but that.
    const std::string reason =
        error == ERROR_DISK_FULL ? "the disk is full" : NorvikLibInternal::DescribeSystemError(error).c_str();
    throw std::runtime_error("cannot write " + mPath + ": " + reason + " (error " + std::to_string(error) +
                             ")");
}

}  // namespace NorvikTool
