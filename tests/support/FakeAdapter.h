#pragma once

// A machine with one network adapter, whose address the test sets.
//
//   FakeAdapter adapter(kFakeFirst);
//   adapter.Change(kFakeNone);
//
// Threads: one.  Ownership: one at a time in a process.  Errors: none.  Units: addresses in network order.

#include <atomic>

#include "IPC/IPC_Event.h"
#include "JRCmn/Internal/Cmn_AdapterCalls.h"

constexpr uint32_t kFakeNone = 0, kFakeFirst = 0x0100007F, kFakeSecond = 0x0200007F;  // 127.0.0.1, 127.0.0.2

class FakeAdapter {
public:
    explicit FakeAdapter(uint32_t address = kFakeFirst) {
        sAddress = address;
        sDisarmed = 0;
        NorvikLibInternal::GetAdapterCalls() = {
            [](auto& list) {
                const uint32_t now = sAddress;
                list = {{"{1}", "Ethernet", 7, now != kFakeNone, false, {now}}};
                return true;
            },
            [] { return sChanged.GetHandle(); }, [] { ++sDisarmed; }, 0xFFFFFFFF};
    }
    ~FakeAdapter() { NorvikLibInternal::GetAdapterCalls() = mReal; }
    FakeAdapter(const FakeAdapter&) = delete;
    FakeAdapter& operator=(const FakeAdapter&) = delete;

    void Change(uint32_t address) {
        sAddress = address;
        sChanged.Set();
    }
    int TimesDisarmed() const { return sDisarmed; }

private:
    static inline std::atomic<uint32_t> sAddress;
    static inline std::atomic<int> sDisarmed;
    static inline const IPC_Event sChanged{IPC_Event::eAutoReset};
    const NorvikLibInternal::AdapterCalls mReal = NorvikLibInternal::GetAdapterCalls();
};
