#include "Shared/Internal/JR_ShellCalls.h"

#include "JRCmn/Cmn_InstructionSet.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

DynamicFunction<decltype(&::FindWindowA)> gFindWindow("user32.dll", "FindWindowA");
DynamicFunction<decltype(&::PostMessageA)> gPost("user32.dll", "PostMessageA");
DynamicFunction<decltype(&::SendMessageTimeoutA)> gSendTimeout("user32.dll", "SendMessageTimeoutA");
DynamicFunction<decltype(&::GetDesktopWindow)> gGetDesktop("user32.dll", "GetDesktopWindow");
DynamicFunction<decltype(&::OpenClipboard)> gOpenClipboard("user32.dll", "OpenClipboard");
DynamicFunction<decltype(&::EmptyClipboard)> gEmptyClipboard("user32.dll", "EmptyClipboard");
DynamicFunction<decltype(&::SetClipboardData)> gSetData("user32.dll", "SetClipboardData");
DynamicFunction<decltype(&::CloseClipboard)> gCloseClipboard("user32.dll", "CloseClipboard");

ShellCalls gCalls = {
    [](const char* className, const char* title) -> HWND { return gFindWindow(className, title); },
    [](HWND window, UINT message, WPARAM first, LPARAM second) -> BOOL {
        return gPost(window, message, first, second);
    },
    [](HWND window, UINT message, WPARAM first, LPARAM second, UINT flags, UINT timeoutMs,
       PDWORD_PTR outResult) -> LRESULT {
        return gSendTimeout(window, message, first, second, flags, timeoutMs, outResult);
    },
    []() -> HWND { return gGetDesktop(); },
    [](HWND window) -> BOOL { return gOpenClipboard(window); },
    []() -> BOOL { return gEmptyClipboard(); },
    [](UINT format, HANDLE data) -> HANDLE { return gSetData(format, data); },
    []() -> BOOL { return gCloseClipboard(); },
    &::GlobalMemoryStatusEx,
    &Cmn_InstructionSet::GetBrand,
};

}  // namespace

ShellCalls& GetShellCalls() {
    return gCalls;
}

}  // namespace NorvikLibInternal
