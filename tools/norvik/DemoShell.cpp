// The tour's step with the shell: a hidden window in another process plays it, is closed, and comes back.

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

#include <string>

#include "Shared/Internal/JR_ShellCalls.h"
#include "Shared/Internal/JR_ShellRules.h"
#include "Shared/JR_ShellApp.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using namespace NorvikLibInternal;

DynamicFunction<decltype(&::CreateWindowExA)> gCreateWindow("user32.dll", "CreateWindowExA");
DynamicFunction<decltype(&::GetMessageA)> gGetMessage("user32.dll", "GetMessageA");

constexpr unsigned cLimit = 20'000;                          // ms that the step waits for what must come
constexpr auto cCommand = static_cast<EShellAppCommand>(9);  // one that calls back; here nobody acts on it

constexpr char cNoWindows[] = "This session has no windows";

int gCallbacks = 0;

// Whether the other process has the command, and how often the callback has run by now.
bool Ask(OtherProcess& shell, int argument, int callbacks) {
    const std::string line = "Command 9, argument " + std::to_string(argument);
    const bool isPosted = JR_ShellApp::Request(cCommand, argument);
    PrintFormat("  Request(9, %d): %s, callbacks so far: %d\n", argument, isPosted ? "posted" : "not posted",
                gCallbacks);
    return isPosted && gCallbacks == callbacks && shell.WaitForLine(line, cLimit);
}

}  // namespace

int PlayShell() {
    if (!gCreateWindow(DWORD{0}, kShellWindowClass, kShellWindowTitle, DWORD{0}, 0, 0, 0, 0, HWND{}, HMENU{},
                       HINSTANCE{}, LPVOID{})) {
        PrintFormat("%s\n", cNoWindows);
        return cFailure;
    }
    Print("The shell is there\n");
    Flush();
    MSG message;
    while (gGetMessage(&message, HWND{}, 0U, 0U) > 0) {
        if (message.message != kShellMessage) continue;
        PrintFormat("Command %I64u, argument %I64d\n", static_cast<uint64_t>(message.wParam),
                    static_cast<int64_t>(message.lParam));
        Flush();
    }
    return cSuccess;
}

bool ShowShell() {
    if (GetShellCalls().findWindow(kShellWindowClass, kShellWindowTitle) != nullptr) {
        Print("  skipped: a shell is running here, which would do what it is asked for\n");
        return true;
    }
    JR_ShellApp::SetSoftwareRestartCallback([] { ++gCallbacks; });
    const bool none = Say(!JR_ShellApp::Request(cCommand, 0) && gCallbacks == 0,
                          "without a shell a request is refused, and nothing is called back");
    bool first = false, known = false;
    {
        OtherProcess shell({"demo-part", "shell"});
        if (!shell.WaitForLine("The shell is there", cLimit)) {
            if (!shell.WaitForLine(cNoWindows, 0)) return Say(false, "a process that plays the shell starts");
            Print("  skipped: the other process cannot make a window here\n");
            return none;
        }
        first = Say(Ask(shell, 1, 1), "a shell that was looked for gets the command, and the callback runs");
        known = Say(Ask(shell, 2, 1), "while its window is known the callback does not run: that is meant");
        shell.Kill();
    }
    OtherProcess next({"demo-part", "shell"});
    next.WaitForLine("The shell is there", cLimit);
    return Say(Ask(next, 3, 2),
               "a shell that came back is found by the next request, which calls back again") &&
           none && first && known;
}

}  // namespace NorvikTool
