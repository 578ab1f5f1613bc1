// A program that announces a service until it is killed: DnsSdChild LIBRARY NAME TYPE READY-EVENT

#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

using namespace NorvikLibInternal;

int main(int, char** arguments) {
    const HMODULE library = ::LoadLibraryA(arguments[1]);
    const auto start = FindFunction<DNSServiceRegisterCall*>(library, "DNSServiceRegister");
    const auto socketOf = FindFunction<DNSServiceRefSockFDCall*>(library, "DNSServiceRefSockFD");
    DNSServiceRef ref = nullptr;
    if (start(&ref, 0, 0, arguments[2], arguments[3], nullptr, nullptr, ::htons(8000), 0, nullptr, nullptr,
              nullptr) != kDNSServiceErr_NoError)
        return 1;
    // It is ready to be killed when it is in no call that reads: Wine keeps the socket of a process open that is killed
    // in one.
    const WSAEVENT event = ::WSACreateEvent();
    ::WSAEventSelect(static_cast<SOCKET>(socketOf(ref)), event, FD_CLOSE);
    ::SetEvent(::OpenEventA(EVENT_MODIFY_STATE, FALSE, arguments[4]));
    ::WaitForSingleObject(event, INFINITE);
    return 1;
}
