// The test program's main: a root folder of its own for the library, the capture of traces, and a watch over the time.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <gmock/gmock.h>
#include <tlhelp32.h>

#include <cstdio>
#include <thread>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Thread.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

constexpr DWORD kHangLimit = 100'000;  // ms; ctest's own limit would not tell where the test stands
constexpr int kHangExitCode = 99;

// A test that hangs ends with the stacks of all its threads.
void WatchForHang() {
    ::Sleep(kHangLimit);
    std::fprintf(stderr, "The test hangs. Its threads:\n");
    TakeTraces();
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == ::GetCurrentProcessId() &&
            entry.th32ThreadID != ::GetCurrentThreadId()) {
            Cmn_Thread::PrintStackTrace(entry.th32ThreadID);
            for (const std::string& line : TakeTraces())
                std::fputs(line.c_str(), stderr);
        }
    }
    ::TerminateProcess(::GetCurrentProcess(), kHangExitCode);
}

// For cmake/test-wine.sh.
void TellThatItRuns() {
    char path[MAX_PATH] = "";
    if (::GetEnvironmentVariableA("NORVIK_TEST_STARTED", path, sizeof path) != 0)
        ::CloseHandle(::CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
}

}  // namespace

int main(int count, char** arguments) {
    TellThatItRuns();
    testing::InitGoogleMock(&count, arguments);
    const TempFolder root;
    ::SetEnvironmentVariableA("NORVIKLIB_ROOT", root.Path().c_str());
    InstallTraceCapture();
    std::thread(&WatchForHang).detach();
    const int result = RUN_ALL_TESTS();
    // The log would keep its file open until the process is gone, and the folder could not be removed.
    Cmn_DefaultLog::GetInstance().SetLogToFile(false);
    Cmn_DefaultLog::GetInstance().GetLogFile() = Cmn_LogFile();
    return result;
}
