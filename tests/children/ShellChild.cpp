// Stands in for other programs around the shell: ShellChild wait | stay | clipboard
//   wait        what the shell is started with: sets the event that the environment names, and ends
//   stay        does nothing until it is killed
//   clipboard   has the clipboard open, with a window for messages only; says "ready" and stays until it is killed

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Handle.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using NorvikLibInternal::DynamicFunction;

DynamicFunction<decltype(&::CreateWindowExA)> gCreateWindow("user32.dll", "CreateWindowExA");
DynamicFunction<decltype(&::OpenClipboard)> gOpenClipboard("user32.dll", "OpenClipboard");

}  // namespace

int main(int count, char** arguments) {
    const std::string mode = count == 2 ? arguments[1] : "";
    if (mode == "wait") {
        const char* const name = std::getenv("NORVIK_SHELL_STARTED");
        const NorvikLibInternal::KernelHandle event(
            ::OpenEventA(EVENT_MODIFY_STATE, FALSE, name ? name : ""));
        return ::SetEvent(event.Get()) ? 0 : 1;
    }
    if (mode == "stay") ::Sleep(INFINITE);
    // With user32 the platform may start a process of its own, which must not hold the test's pipe open.
    ::SetHandleInformation(::GetStdHandle(STD_OUTPUT_HANDLE), HANDLE_FLAG_INHERIT, 0);
    if (!gOpenClipboard(gCreateWindow(DWORD{0}, "STATIC", "", DWORD{0}, 0, 0, 0, 0, HWND_MESSAGE, HMENU{},
                                      HINSTANCE{}, LPVOID{})))
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    ::Sleep(INFINITE);
}
