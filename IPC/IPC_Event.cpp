#include "IPC/IPC_Event.h"

#include <utility>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_Handle.h"

using NorvikLibInternal::KernelHandle;

namespace {

void* Duplicate(void* event) {
    if (!event) return nullptr;
    HANDLE copy = nullptr;
    const HANDLE self = ::GetCurrentProcess();
    CMN_VERIFY(::DuplicateHandle(self, event, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    return copy;
}

// An event of another program that lets this one do less than all is good enough: nobody here asks for more.
HANDLE CreateOrOpen(const char* name, bool isManual) {
    const HANDLE created = ::CreateEventA(nullptr, isManual, FALSE, name);
    if (created != nullptr || ::GetLastError() != ERROR_ACCESS_DENIED) return created;
    return ::OpenEventA(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, name);
}

}  // namespace

IPC_Event::IPC_Event(EReset reset) : mHandle(::CreateEventA(nullptr, reset == eManualReset, FALSE, nullptr)) {
    CMN_VERIFY(mHandle != nullptr);
}

IPC_Event::IPC_Event(const char* name, EReset reset) : mHandle(CreateOrOpen(name, reset == eManualReset)) {
    CMN_VERIFY(mHandle != nullptr);
}

IPC_Event::IPC_Event(const IPC_Event& other) : mHandle(Duplicate(other.mHandle)) {}

IPC_Event& IPC_Event::operator=(const IPC_Event& other) {
    if (this != &other) KernelHandle(std::exchange(mHandle, Duplicate(other.mHandle)));
    return *this;
}

IPC_Event::~IPC_Event() {
    KernelHandle{mHandle};
}

bool IPC_Event::Set() const {
    return ::SetEvent(mHandle) != FALSE;
}

bool IPC_Event::Reset() const {
    return ::ResetEvent(mHandle) != FALSE;
}

bool IPC_Event::Pulse() const {
    return ::PulseEvent(mHandle) != FALSE;
}

bool IPC_Event::Wait(unsigned int timeoutMs) const {
    return ::WaitForSingleObject(mHandle, timeoutMs) == WAIT_OBJECT_0;
}
