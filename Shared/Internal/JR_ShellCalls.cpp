#include "Shared/Internal/JR_ShellCalls.h"

#include "JRCmn/Cmn_InstructionSet.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

#define USER_FUNCTION(name) DynamicFunction<decltype(&::name)> g##name("user32.dll", #name)

USER_FUNCTION(FindWindowA);
USER_FUNCTION(PostMessageA);
USER_FUNCTION(SendMessageTimeoutA);
USER_FUNCTION(GetDesktopWindow);
USER_FUNCTION(OpenClipboard);
USER_FUNCTION(EmptyClipboard);
USER_FUNCTION(SetClipboardData);
USER_FUNCTION(CloseClipboard);

ShellCalls gCalls = {
    &OrMissing<gFindWindowA, nullptr>::Call,
    &OrMissing<gPostMessageA, FALSE>::Call,
    &OrMissing<gSendMessageTimeoutA, 0>::Call,
    &OrMissing<gGetDesktopWindow, nullptr>::Call,
    &OrMissing<gOpenClipboard, FALSE>::Call,
    &OrMissing<gEmptyClipboard, FALSE>::Call,
    &OrMissing<gSetClipboardData, nullptr>::Call,
    &OrMissing<gCloseClipboard, FALSE>::Call,
    &::GlobalMemoryStatusEx,
    &Cmn_InstructionSet::GetBrand,
};

}  // namespace

ShellCalls& GetShellCalls() {
    return gCalls;
}

}  // namespace NorvikLibInternal
