// What JR_ShellApp asks of the shell and of the desktop.

#include <atomic>
#include <cstring>

#include "IPC/IPC_Event.h"
#include "IPC/IPC_RemoteProcess.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "Shared/Internal/JR_ShellCalls.h"
#include "Shared/Internal/JR_ShellRules.h"
#include "Shared/JR_ShellApp.h"

using namespace NorvikLibInternal;

// CMN_VERIFY_AT with the line's own number below: CMN_VERIFY would report the platform's macros as what they stand for.

namespace {

constexpr char EXE_SHELL_APP[] = "ShellApp.exe";  // the report of a failed start knows it by this name

constexpr int cClipboardTries = 10;
constexpr DWORD cBetweenTries = 10;  // ms

std::atomic<HWND> gShellWindow{nullptr};
std::atomic<void (*)()> gRestartCallback{nullptr};

bool Post(HWND window, EShellAppCommand command, int argument) {
    return GetShellCalls().post(window, kShellMessage, static_cast<WPARAM>(command), argument) != FALSE;
}

// Who has the clipboard open gives it back soon, mostly.
bool OpenClipboardSoon(HWND window) {
    for (int i = 0; i < cClipboardTries; ++i) {
        if (i != 0) ::Sleep(cBetweenTries);
        if (GetShellCalls().openClipboard(window)) return true;
        const DWORD error = ::GetLastError();
        if (!CMN_VERIFY_AT(__LINE__, error == ERROR_ACCESS_DENIED)) return false;
    }
    return false;
}

struct GlobalBlockTraits {
    using Type = HGLOBAL;
    static bool IsEmpty(HGLOBAL block) { return block == nullptr; }
    static HGLOBAL Empty() { return nullptr; }
    static void Close(HGLOBAL block) { ::GlobalFree(block); }
};

// The check that failed, with the last error, or null. Nothing is reported here: a report may take its time or throw, and
// while the clipboard is open no other program gets at it.
const char* FillOpenClipboard(const Cmn_String& text) {
    GetShellCalls().emptyClipboard();
    const size_t size = static_cast<size_t>(text.GetLength()) + 1;
    Handle<GlobalBlockTraits> hglbCopy(::GlobalAlloc(GMEM_MOVEABLE, size));
    void* const bytes = hglbCopy ? ::GlobalLock(hglbCopy.Get()) : nullptr;
    if (bytes == nullptr) return "hglbCopy != nullptr";
    std::memcpy(bytes, text.c_str(), size);
    ::GlobalUnlock(hglbCopy.Get());
    if (GetShellCalls().setClipboardData(CF_TEXT, hglbCopy.Get()) == nullptr)
        return "::SetClipboardData(CF_TEXT, hglbCopy) != 0";
    hglbCopy.Release();  // it is the clipboard's now
    return nullptr;
}

}  // namespace

// The callback is for a shell that was not known before. While the known window takes the commands there is none: programs
// rely on that.
bool JR_ShellApp::Request(EShellAppCommand command, int argument) {
    const HWND known = gShellWindow.load();
    if (known != nullptr && Post(known, command, argument)) return true;
    const HWND found = GetShellCalls().findWindow(kShellWindowClass, kShellWindowTitle);
    gShellWindow = found;
    if (found == nullptr || !Post(found, command, argument)) return false;
    const auto callback = gRestartCallback.load();
    if (callback != nullptr && NotifiesRestartCallback(command)) callback();
    return true;
}

// The command's number is one of those that call back.
bool JR_ShellApp::SoftwareRestart() {
    if (!Request(eShellAppCommand_SoftwareRestart, 0)) return false;
    return IsWindowsEmbedded() || RunShellApp("wait");
}

void JR_ShellApp::SetSoftwareRestartCallback(void (*callback)()) {
    void (*none)() = nullptr;
    if (!gRestartCallback.compare_exchange_strong(none, callback))
        VerifyFailed("!sSoftwareRestartCallbackFun", CMN_SOURCE_FILE, __LINE__);
}

bool JR_ShellApp::RunShellApp(const Cmn_String& inArgs) {
    IPC_RemoteProcess shellApp;
    return CMN_VERIFY_AT(__LINE__, shellApp.StartLocal(EXE_SHELL_APP, inArgs) != INVALID_HANDLE_VALUE);
}

// The shell that wakes for the shutdown finds the restart set. An event would be gone with its last handle, before a shell
// that starts later could see it, so these are kept.
void JR_ShellApp::ScheduleRebootOnQuit() {
    static const IPC_Event& restart = *new IPC_Event("MORLAN Restart requested");
    static const IPC_Event& shutdown = *new IPC_Event("MORLAN Shutdown requested");
    CMN_VERIFY(restart.Set());
    CMN_VERIFY(shutdown.Set());
}

bool JR_ShellApp::Clipboard_Copy(const Cmn_String& text, void* window) {
    const HWND owner = window != nullptr ? static_cast<HWND>(window) : GetShellCalls().getDesktop();
    if (!OpenClipboardSoon(owner)) return false;
    const char* const failedCheck = FillOpenClipboard(text);
    const DWORD error = ::GetLastError();
    GetShellCalls().closeClipboard();
    ::SetLastError(error);  // for the report
    return failedCheck == nullptr || VerifyFailed(failedCheck, CMN_SOURCE_FILE, __LINE__);
}
