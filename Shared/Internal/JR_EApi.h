#pragma once

// The vendor's board library (PICMG EAPI 1.0 with the vendor's extensions): its 37 entry points, each with the
// names it has here and there, its place in the order in which they are resolved, and its pointer.
//
//   EApiFunctions& eapi = GetEApiFunctions();
//   const EApiEntry* missing = ResolveEApi(eapi, [&](const char* name) { return FindInLibrary(name); });
//   if (const auto getValue = eapi.mspEApiBoardGetValue.Get()) status = getValue(0x20000, &value);
//
// Threads:   the pointers are atomic: written while a library is loaded, read by whoever calls
// Ownership: the pointers belong to the process and point into the library that was loaded last
// Errors:    a null pointer was not resolved
// Units:     as the EAPI: status 0 is success

#include <atomic>
#include <concepts>
#include <cstdint>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

using EApiStatus = uint32_t;
using EApiAlertCallback = void(void* context, unsigned int alerts);

// ENTRY(name, exported name, signature), in the order in which they are resolved: the first that is missing is the
// one that is reported. "EApiAlterUnRegister", "EApiGetCPUNumber" and "EApiCpuGetUtilization" are spelled as the
// vendor's library spells them.
#define NORVIK_EAPI_ENTRIES(ENTRY)                                                                           \
    ENTRY(EApiLibInitialize, "EApiLibInitialize", EApiStatus())                                              \
    ENTRY(EApiLibUnInitialize, "EApiLibUnInitialize", EApiStatus())                                          \
    ENTRY(EApiBoardGetStringA, "EApiBoardGetStringA",                                                        \
          EApiStatus(uint32_t id, char* buffer, uint32_t* length))                                           \
    ENTRY(EApiBoardGetValue, "EApiBoardGetValue", EApiStatus(uint32_t id, uint32_t* value))                  \
    ENTRY(EApiVgaGetBacklightEnable, "EApiVgaGetBacklightEnable", EApiStatus(uint32_t id, uint32_t* enable)) \
    ENTRY(EApiVgaSetBacklightEnable, "EApiVgaSetBacklightEnable", EApiStatus(uint32_t id, uint32_t enable))  \
    ENTRY(EApiVgaGetBacklightBrightness, "EApiVgaGetBacklightBrightness",                                    \
          EApiStatus(uint32_t id, uint32_t* level))                                                          \
    ENTRY(EApiVgaSetBacklightBrightness, "EApiVgaSetBacklightBrightness",                                    \
          EApiStatus(uint32_t id, uint32_t level))                                                           \
    ENTRY(EApiStorageCap, "EApiStorageCap", EApiStatus(uint32_t id, uint32_t* size, uint32_t* blockLength))  \
    ENTRY(EApiStorageAreaRead, "EApiStorageAreaRead",                                                        \
          EApiStatus(uint32_t id, uint32_t offset, void* buffer, uint32_t bufferLength, uint32_t count))     \
    ENTRY(EApiStorageAreaWrite, "EApiStorageAreaWrite",                                                      \
          EApiStatus(uint32_t id, uint32_t offset, void* buffer, uint32_t count))                            \
    ENTRY(EApiI2CGetBusCap, "EApiI2CGetBusCap", EApiStatus(uint32_t id, uint32_t* maxBlockLength))           \
    ENTRY(EApiI2CWriteReadRaw, "EApiI2CWriteReadRaw",                                                        \
          EApiStatus(uint32_t id, uint8_t address, void* out, uint32_t outCount, void* in,                   \
                     uint32_t inLength, uint32_t inCount))                                                   \
    ENTRY(EApiI2CReadTransfer, "EApiI2CReadTransfer",                                                        \
          EApiStatus(uint32_t id, uint32_t address, uint32_t command, void* buffer, uint32_t bufferLength,   \
                     uint32_t count))                                                                        \
    ENTRY(EApiI2CWriteTransfer, "EApiI2CWriteTransfer",                                                      \
          EApiStatus(uint32_t id, uint32_t address, uint32_t command, void* buffer, uint32_t count))         \
    ENTRY(EApiI2CProbeDevice, "EApiI2CProbeDevice", EApiStatus(uint32_t id, uint32_t address))               \
    ENTRY(EApiWDogGetCap, "EApiWDogGetCap",                                                                  \
          EApiStatus(uint32_t* maxDelay, uint32_t* maxEventTimeout, uint32_t* maxResetTimeout))              \
    ENTRY(EApiWDogStart, "EApiWDogStart",                                                                    \
          EApiStatus(uint32_t delay, uint32_t eventTimeout, uint32_t resetTimeout))                          \
    ENTRY(EApiWDogTrigger, "EApiWDogTrigger", EApiStatus())                                                  \
    ENTRY(EApiWDogStop, "EApiWDogStop", EApiStatus())                                                        \
    ENTRY(EApiGPIOGetDirectionCaps, "EApiGPIOGetDirectionCaps",                                              \
          EApiStatus(uint32_t id, uint32_t* inputs, uint32_t* outputs))                                      \
    ENTRY(EApiGPIOGetDirection, "EApiGPIOGetDirection",                                                      \
          EApiStatus(uint32_t id, uint32_t mask, uint32_t* direction))                                       \
    ENTRY(EApiGPIOSetDirection, "EApiGPIOSetDirection",                                                      \
          EApiStatus(uint32_t id, uint32_t mask, uint32_t direction))                                        \
    ENTRY(EApiGPIOGetLevel, "EApiGPIOGetLevel", EApiStatus(uint32_t id, uint32_t mask, uint32_t* level))     \
    ENTRY(EApiGPIOSetLevel, "EApiGPIOSetLevel", EApiStatus(uint32_t id, uint32_t mask, uint32_t level))      \
    ENTRY(EApiSetHWMonitorThreshold, "EApiSetHWMonitorThreshold", EApiStatus(uint32_t id, float threshold))  \
    ENTRY(EApiAlertRegister, "EApiAlertRegister", EApiStatus(void* context, EApiAlertCallback* callback))    \
    ENTRY(EApiAlertUnRegister, "EApiAlterUnRegister", void())                                                \
    ENTRY(EApiAlertSetTimerInterval, "EApiAlertSetTimerInterval", EApiStatus(uint32_t interval))             \
    ENTRY(EApiGetFanStepLevel, "EApiGetFanStepLevel", EApiStatus(uint8_t fan, uint8_t* step))                \
    ENTRY(EApiSetFanStep, "EApiSetFanStep",                                                                  \
          EApiStatus(uint8_t fan, uint8_t step, uint8_t* first, uint8_t* second))                            \
    ENTRY(EApiCPUSetRatio, "EApiCPUSetRatio", EApiStatus(uint32_t cpu, uint32_t ratio))                      \
    ENTRY(EApiCPUGetRatio, "EApiCPUGetRatio", EApiStatus(uint32_t cpu, uint32_t* ratio))                     \
    ENTRY(EApiCPUGetRatioRange, "EApiCPUGetRatioRange",                                                      \
          EApiStatus(uint32_t cpu, uint32_t* minimum, uint32_t* maximum))                                    \
    ENTRY(EApiCPUGetFrequency, "EApiCPUGetFrequency", EApiStatus(uint32_t cpu, uint32_t* frequency))         \
    ENTRY(EApiCPUGetNumber, "EApiGetCPUNumber", EApiStatus(uint32_t* number))                                \
    ENTRY(EApiCPUGetUtilization, "EApiCpuGetUtilization",                                                    \
          EApiStatus(uint32_t cpu, uint32_t* first, uint32_t* second))

struct EApiEntry {
    const char* memberName;    // "mspEApiWDogStop"
    const char* eapiName;      // "EApiWDogStop"
    const char* exportedName;  // what the vendor's library calls it
    std::atomic<void*> address{nullptr};

    constexpr EApiEntry(const char* member, const char* eapi, const char* exported)
        : memberName(member), eapiName(eapi), exportedName(exported) {}
};

template <typename Signature>
struct EApiFunction : EApiEntry {
    using EApiEntry::EApiEntry;

    Signature* Get() const { return reinterpret_cast<Signature*>(address.load(std::memory_order_acquire)); }
    void Set(Signature* function) {
        address.store(reinterpret_cast<void*>(function), std::memory_order_release);
    }
};

struct EApiFunctions {
#define NORVIK_EAPI_MEMBER(name, exported, ...) \
    EApiFunction<__VA_ARGS__> msp##name{"msp" #name, #name, exported};
    NORVIK_EAPI_ENTRIES(NORVIK_EAPI_MEMBER)
#undef NORVIK_EAPI_MEMBER

#define NORVIK_EAPI_ADDRESS(name, exported, ...) &msp##name,
    EApiEntry* const entries[37] = {NORVIK_EAPI_ENTRIES(NORVIK_EAPI_ADDRESS)};
#undef NORVIK_EAPI_ADDRESS
};

// The process's pointers. All instances of the controller share them.
NORVIK_API EApiFunctions& GetEApiFunctions();

// Asks for each exported name in turn, keeps what it gets, and returns the first entry that is missing: those
// behind it are not asked for and are null. Null when all are there.
template <std::invocable<const char*> Lookup>
const EApiEntry* ResolveEApi(EApiFunctions& functions, Lookup lookup) {
    const EApiEntry* missing = nullptr;
    for (EApiEntry* entry : functions.entries) {
        void* address = missing == nullptr ? lookup(entry->exportedName) : nullptr;
        entry->address.store(address, std::memory_order_release);
        if (address == nullptr && missing == nullptr) missing = entry;
    }
    return missing;
}

}  // namespace NorvikLibInternal
