#include "JRCmn/Internal/Cmn_MessageQueue.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

// The wide forms serve windows of both kinds without loss; the others would turn what a Unicode window is typed into the
// ANSI code page.
DynamicFunction<decltype(&::MsgWaitForMultipleObjects)> gWait("user32.dll", "MsgWaitForMultipleObjects");
DynamicFunction<decltype(&::PeekMessageW)> gPeekMessage("user32.dll", "PeekMessageW");
DynamicFunction<decltype(&::TranslateMessage)> gTranslateMessage("user32.dll", "TranslateMessage");
DynamicFunction<decltype(&::DispatchMessageW)> gDispatchMessage("user32.dll", "DispatchMessageW");
DynamicFunction<decltype(&::PostThreadMessageA)> gPostThreadMessage("user32.dll", "PostThreadMessageA");

}  // namespace

DWORD WaitForHandlesOrMessage(DWORD count, const HANDLE* handles, DWORD timeoutMs, DWORD wakeMask) {
    return gWait(count, handles, FALSE, timeoutMs, wakeMask);
}

bool PumpAllMessages() {
    // Taken in one step: a message that has been seen may be gone when it is asked for, and the asking would block.
    MSG message;
    while (gPeekMessage(&message, nullptr, 0U, 0U, UINT{PM_REMOVE})) {
        if (message.message == WM_QUIT) return false;
        gTranslateMessage(&message);
        gDispatchMessage(&message);
    }
    return true;
}

void PostQuit() {
    const auto post = [] {
        return gPostThreadMessage(::GetCurrentThreadId(), UINT{WM_QUIT}, WPARAM{0}, LPARAM{0});
    };
    if (post()) return;
    // A thread without a queue refuses; a look at the queue makes one.
    MSG message;
    gPeekMessage(&message, nullptr, 0U, 0U, UINT{PM_NOREMOVE});
    CMN_VERIFY(post());
}

}  // namespace NorvikLibInternal
