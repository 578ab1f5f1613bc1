#include "JRCmn/Internal/Cmn_FaultGuard.h"

#include "JRCmn/Internal/Cmn_Windows.h"

namespace {

// What the platform raises by itself is a warning or an error without the bit of the programs' own codes;
// debuggers' messages and thread names are neither.
LONG SelectFault(DWORD code) {
    const bool isOfPlatform = (code & 0xA000'0000) == 0x8000'0000;
    return isOfPlatform && code != EXCEPTION_STACK_OVERFLOW ? EXCEPTION_EXECUTE_HANDLER
                                                            : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

#if defined(_MSC_VER)

static DWORD CallUnderGuard(void (*function)(void*), void* argument) {
    __try {
        function(argument);
        return 0;
    } __except (SelectFault(GetExceptionCode())) {
        return GetExceptionCode();
    }
}

#else

// This compiler has no __try, but its assembler writes the same tables, and the platform's handler for them
// does the rest: it asks the filter, and when that selects the fault goes on at the end of the guarded range
// with the registers as they were there. Not all platforms' handlers pass the code on, so the filter leaves it in
// the frame, above the 32 bytes that belong to the called function.
extern "C" DWORD NorvikCallUnderGuard(void (*function)(void*), void* argument);
extern "C" [[gnu::used]] LONG NorvikFaultFilter(EXCEPTION_POINTERS* exception, void* frame) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    const LONG selection = SelectFault(code);
    if (selection == EXCEPTION_EXECUTE_HANDLER) static_cast<DWORD*>(frame)[8] = code;
    return selection;
}

// The call returns to within the range, because a frame is found by its return address.
__asm__(
    "    .text\n"
    "    .p2align 4\n"
    "    .globl NorvikCallUnderGuard\n"
    "    .def NorvikCallUnderGuard; .scl 2; .type 32; .endef\n"
    "    .seh_proc NorvikCallUnderGuard\n"
    "NorvikCallUnderGuard:\n"
    "    subq $40, %rsp\n"
    "    .seh_stackalloc 40\n"
    "    .seh_endprologue\n"
    "    movq %rcx, %rax\n"
    "    movq %rdx, %rcx\n"
    ".LNorvikGuardBegin:\n"
    "    call *%rax\n"
    "    movl $0, 32(%rsp)\n"
    ".LNorvikGuardEnd:\n"
    "    movl 32(%rsp), %eax\n"
    "    addq $40, %rsp\n"
    "    ret\n"
    "    .seh_handler __C_specific_handler, @except\n"
    "    .seh_handlerdata\n"
    "    .long 1\n"
    "    .rva .LNorvikGuardBegin, .LNorvikGuardEnd, NorvikFaultFilter, .LNorvikGuardEnd\n"
    "    .text\n"
    "    .seh_endproc\n");

static DWORD CallUnderGuard(void (*function)(void*), void* argument) {
    return NorvikCallUnderGuard(function, argument);
}

#endif

bool NorvikLibInternal::CallGuarded(void (*function)(void*), void* argument, unsigned long* outCode) {
    const DWORD code = CallUnderGuard(function, argument);
    if (code) *outCode = code;
    return code == 0;
}
