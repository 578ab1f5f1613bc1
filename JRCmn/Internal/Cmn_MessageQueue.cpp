#include "JRCmn/Internal/Cmn_MessageQueue.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

// The wide forms serve windows of both kinds without loss; the others would turn what a Unicode window is typed into the
// ANSI code page.
DynamicFunction<decltype(&::MsgWaitForMultipleObjects)> gWait("user32.dll", "MsgWaitForMultipleObjects");
DynamicFunction<decltype(&::PeekMessageW)> gPeekMessage("user32.dll", "PeekMessageW");
DynamicFunction<decltype(&::GetMessageW)> gGetMessage("user32.dll", "GetMessageW");
DynamicFunction<decltype(&::TranslateMessage)> gTranslateMessage("user32.dll", "TranslateMessage");
DynamicFunction<decltype(&::DispatchMessageW)> gDispatchMessage("user32.dll", "DispatchMessageW");
DynamicFunction<decltype(&::PostThreadMessageA)> gPostThreadMessage("user32.dll", "PostThreadMessageA");

}  // namespace

DWORD WaitForHandlesOrMessage(DWORD count, const HANDLE* handles, DWORD timeoutMs, DWORD wakeMask) {
    return gWait(count, handles, FALSE, timeoutMs, wakeMask);
}

bool HasMessage() {
    MSG message;
    return gPeekMessage(&message, nullptr, 0U, 0U, UINT{PM_NOREMOVE}) != FALSE;
}

bool PumpMessage() {
    MSG message = {};
    const BOOL result = gGetMessage(&message, nullptr, 0U, 0U);
    if (result == 0) return false;
    if (result == -1) return true;  // no message was got
    gTranslateMessage(&message);
    gDispatchMessage(&message);
    return true;
}

bool PumpAllMessages() {
    while (HasMessage()) {
        if (!PumpMessage()) return false;
    }
    return true;
}

void PostQuit() {
    // A look at the queue makes one: a thread without refuses posted messages.
    HasMessage();
    CMN_VERIFY(gPostThreadMessage(::GetCurrentThreadId(), UINT{WM_QUIT}, WPARAM{0}, LPARAM{0}));
}

}  // namespace NorvikLibInternal
