#include <atomic>
#include <cstdio>
#include <cstring>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_CrashDump.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_FrameName.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_LastError.h"

// After the gate header, whose types it uses.
#include <dbghelp.h>

using namespace NorvikLibInternal;

namespace {

constexpr int kKeptDumps = 10;

// Marks a dump that was asked for, where a debugger shows the exception: 'NOR' in the range that programs may use.
constexpr DWORD kRequestedDump = 0xE04E4F52;

constexpr unsigned kSmallDump = MiniDumpNormal | MiniDumpWithIndirectlyReferencedMemory |
                                MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules;
constexpr unsigned kLargeDump = MiniDumpWithFullMemory | MiniDumpWithFullMemoryInfo | MiniDumpWithHandleData |
                                MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules;

DynamicFunction<decltype(&::MiniDumpWriteDump)> gMiniDumpWriteDump("dbghelp.dll", "MiniDumpWriteDump");

struct Path {
    char text[1024] = "";
};

Path JoinPath(const char* folder, const char* name) {
    Path path;
    _snprintf(path.text, sizeof path.text - 1, "%s%s", folder, name);
    return path;
}

Path NewDumpPath(const char* folder, const char* application) {
    static std::atomic<unsigned> count{0};
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    char name[512] = "";
    _snprintf(name, sizeof name - 1, "%s %04u-%02u-%02u %02u.%02u.%02u %lu-%u.dmp", application, now.wYear,
              now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, ::GetCurrentProcessId(), ++count);
    return JoinPath(folder, name);
}

// Whether the rest of a name after that of the application has the form of a dump's: another application's
// name may begin with this one's.
bool IsDumpStamp(const char* text) {
    const char* const form = " 0000-00-00 00.00.00 ";
    for (const char* at = form; *at; ++at, ++text) {
        const bool isDigit = *text >= '0' && *text <= '9';
        if (*at == '0' ? !isDigit : *text != *at) return false;
    }
    return text[std::strspn(text, "0123456789-")] == '.';
}

// Deletes the application's oldest dump of those that are too many; false when there is none.
bool RemoveOldestDump(const char* folder, const char* application) {
    const size_t nameLength = std::strlen(application);
    WIN32_FIND_DATAA found;
    const FindHandle search(::FindFirstFileA(JoinPath(folder, "*.dmp").text, &found));
    if (!search) return false;
    WIN32_FIND_DATAA oldest = {};
    int count = 0;
    do {
        const char* const name = found.cFileName;
        if (_strnicmp(name, application, nameLength) != 0 || !IsDumpStamp(name + nameLength)) continue;
        // The stamps sort as text; within a second the files' own times tell.
        constexpr size_t kStampLength = sizeof " 0000-00-00 00.00.00" - 1;
        int order = std::strncmp(name + nameLength, oldest.cFileName + nameLength, kStampLength);
        if (order == 0) order = ::CompareFileTime(&found.ftLastWriteTime, &oldest.ftLastWriteTime);
        if (count++ == 0 || order < 0) oldest = found;
    } while (::FindNextFileA(search.Get(), &found));
    return count > kKeptDumps && ::DeleteFileA(JoinPath(folder, oldest.cFileName).text);
}

// Not every writer of dumps notices that the disk is full. Where another block fits behind it, all of it was
// written.
DWORD CheckComplete(HANDLE file, LARGE_INTEGER& size) {
    const char block[4096] = {};
    DWORD written = 0;
    const bool isDone = ::GetFileSizeEx(file, &size) && ::SetFilePointerEx(file, size, nullptr, FILE_BEGIN) &&
                        ::WriteFile(file, block, sizeof block, &written, nullptr) &&
                        ::SetFilePointerEx(file, size, nullptr, FILE_BEGIN) && ::SetEndOfFile(file);
    const DWORD error = ::GetLastError();
    if (isDone) return written == sizeof block ? ERROR_SUCCESS : ERROR_DISK_FULL;
    return error != ERROR_SUCCESS ? error : ERROR_DISK_FULL;
}

// While it is written the file is marked for deletion, so that an incomplete one goes, however the process
// ends.
bool MarkForDeletion(HANDLE file, bool mark) {
    FILE_DISPOSITION_INFO disposition = {mark};
    return ::SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition);
}

DWORD WriteDump(HANDLE file, bool large, EXCEPTION_POINTERS* exception, DWORD threadId, LARGE_INTEGER& size) {
    if (!gMiniDumpWriteDump) return ERROR_PROC_NOT_FOUND;
    if (!MarkForDeletion(file, true)) return ::GetLastError();
    MINIDUMP_EXCEPTION_INFORMATION information = {threadId, exception, FALSE};
    {
        const DebugHelpLocker locker;
        const auto type = static_cast<MINIDUMP_TYPE>(large ? kLargeDump : kSmallDump);
        if (!gMiniDumpWriteDump(::GetCurrentProcess(), ::GetCurrentProcessId(), file, type, &information,
                                nullptr, nullptr)) {
            return ::GetLastError();
        }
    }
    const DWORD error = CheckComplete(file, size);
    if (error == ERROR_SUCCESS && !MarkForDeletion(file, false)) return ::GetLastError();
    return error;
}

bool WriteDumpFile(const char* folder, const char* application, bool large, EXCEPTION_POINTERS* exception,
                   DWORD threadId) {
    const Path path = NewDumpPath(folder, application);
    const KernelHandle file(::CreateFileA(path.text, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_DELETE,
                                          nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    const DWORD error = file ? WriteDump(file.Get(), large, exception, threadId, size) : ::GetLastError();
    if (error == ERROR_SUCCESS) {
        Cmn_Trace("Crash dump (%s, %I64d bytes): %s\n", large ? "large" : "small", size.QuadPart, path.text);
    } else {
        Cmn_Trace("The crash dump \"%s\" cannot be written: %s\n", path.text,
                  DescribeSystemError(error).c_str());
    }
    return error == ERROR_SUCCESS;
}

}  // namespace

namespace NorvikLibInternal {

bool WriteCrashDump(bool large, EXCEPTION_POINTERS* exception, DWORD threadId) {
    CONTEXT here;
    EXCEPTION_RECORD record = {};
    EXCEPTION_POINTERS requested = {&record, &here};
    if (!exception) {
        ::RtlCaptureContext(&here);
        record.ExceptionCode = kRequestedDump;
        record.ExceptionAddress = reinterpret_cast<void*>(here.Rip);
        exception = &requested;
        threadId = ::GetCurrentThreadId();
    }
    const Cmn_String folder = Cmn_Logging::GetLogFolderPath();
    const Cmn_String application = Cmn_FS::GetApplicationName();
    const bool done = WriteDumpFile(folder.c_str(), application.c_str(), large, exception, threadId);
    while (done && RemoveOldestDump(folder.c_str(), application.c_str())) {
    }
    return done;
}

}  // namespace NorvikLibInternal

bool Cmn_Assert::CrashDump(bool large, const void* exceptionPointers) {
    const LastErrorKeeper keeper;
    auto* const exception = static_cast<EXCEPTION_POINTERS*>(const_cast<void*>(exceptionPointers));
    return WriteCrashDump(large, exception, ::GetCurrentThreadId());
}
