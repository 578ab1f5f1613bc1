#include "JRCmn/Internal/Cmn_AdapterCalls.h"

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Windows.h"

// After Winsock.
#include <iphlpapi.h>

namespace NorvikLibInternal {
namespace {

DynamicFunction<decltype(&::GetAdaptersAddresses)> gGetAdapters("iphlpapi.dll", "GetAdaptersAddresses");
DynamicFunction<decltype(&::NotifyAddrChange)> gNotifyChange("iphlpapi.dll", "NotifyAddrChange");
DynamicFunction<decltype(&::CancelIPChangeNotify)> gCancelNotify("iphlpapi.dll", "CancelIPChangeNotify");

// The adapters may become more between two calls, so a list that does not fit is asked for again.
constexpr int kTries = 4;
constexpr ULONG kFirstSize = 16 * 1024;
constexpr DWORD kCancelLimit = 1'000;

Adapter ToAdapter(const IP_ADAPTER_ADDRESSES& entry) {
    Adapter adapter;
    if (entry.AdapterName) adapter.guid = entry.AdapterName;
    Cmn_String friendlyName;
    if (entry.FriendlyName) friendlyName.FromUTF16(entry.FriendlyName, -1);
    adapter.friendlyName = friendlyName.c_str();
    adapter.index = entry.IfIndex;
    adapter.isUp = entry.OperStatus == IfOperStatusUp;
    adapter.isLoopback = entry.IfType == IF_TYPE_SOFTWARE_LOOPBACK;
    for (const auto* address = entry.FirstUnicastAddress; address; address = address->Next) {
        // Others are still being checked for being unique, or have turned out not to be.
        const bool isUsable =
            address->DadState == IpDadStatePreferred || address->DadState == IpDadStateDeprecated;
        const sockaddr* const name = address->Address.lpSockaddr;
        if (!isUsable || !name || name->sa_family != AF_INET) continue;
        adapter.addresses.push_back(reinterpret_cast<const sockaddr_in*>(name)->sin_addr.s_addr);
    }
    return adapter;
}

bool ListAdapters(std::vector<Adapter>& outAdapters) {
    if (!gGetAdapters) return false;
    ULONG size = kFirstSize;
    std::vector<std::uint64_t> buffer;  // aligned for the entries
    ULONG result = ERROR_BUFFER_OVERFLOW;
    for (int i = 0; i < kTries && result == ERROR_BUFFER_OVERFLOW; ++i) {
        buffer.resize(size / sizeof(std::uint64_t) + 1);
        result = gGetAdapters(
            ULONG{AF_INET}, ULONG{GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER},
            nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
    }
    if (result != ERROR_SUCCESS && result != ERROR_NO_DATA) return false;
    outAdapters.clear();
    if (result == ERROR_NO_DATA) return true;
    for (auto* entry = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.data()); entry;
         entry = entry->Next)
        outAdapters.push_back(ToAdapter(*entry));
    return true;
}

// Lives as long as the process: until a notice is over, and it may never be, the platform may write here.
struct Notice {
    IPC_Event event;
    OVERLAPPED overlapped = {};
};
Notice& GetNotice() {
    static Notice& notice = *new Notice;
    return notice;
}

void* Arm() {
    if (!gNotifyChange) return nullptr;
    Notice& notice = GetNotice();
    if (!HasOverlappedIoCompleted(&notice.overlapped)) return notice.event.GetHandle();
    notice.event.Reset();
    notice.overlapped = {};
    notice.overlapped.hEvent = notice.event.GetHandle();
    HANDLE ignored = nullptr;  // belongs to the platform and is not to be closed
    const DWORD result = gNotifyChange(&ignored, &notice.overlapped);
    return result == ERROR_IO_PENDING ? notice.event.GetHandle() : nullptr;
}

void Disarm() {
    Notice& notice = GetNotice();
    if (HasOverlappedIoCompleted(&notice.overlapped) || !gCancelNotify) return;
    if (gCancelNotify(&notice.overlapped)) notice.event.Wait(kCancelLimit);
}

AdapterCalls gCalls = {&ListAdapters, &Arm, &Disarm, 5'000};

}  // namespace

AdapterCalls& GetAdapterCalls() {
    return gCalls;
}

}  // namespace NorvikLibInternal
