// EApi_1.dll for machines without the board: the 37 functions, answered by a text file
// (standins/common/BoardFile.h). What the file does not name is not supported by the board; what a program sets
// reads back.

#include <atomic>
#include <cstring>

#include "Shared/Internal/JR_EApi.h"
#include "standins/common/BoardFile.h"

using NorvikLibInternal::EApiAlertCallback;
using NorvikLibInternal::EApiStatus;

#define EAPI extern "C" __declspec(dllexport)

namespace {

constexpr EApiStatus kNotInitialized = 0xFFFFFFFF;
constexpr EApiStatus kInitialized = 0xFFFFFFFE;
constexpr EApiStatus kInvalidParameter = 0xFFFFFEFF;
constexpr EApiStatus kUnsupported = 0xFFFFFCFF;
constexpr EApiStatus kMoreData = 0xFFFFF9FF;

std::atomic<bool> gInitialized{false};

struct Reply {
    EApiStatus status;
    BoardAnswer answer;
};

Reply Lookup(const char* function, std::optional<uint32_t> id = {}) {
    const auto answer = FindBoardAnswer(function, id);
    return answer ? Reply{answer->status.value_or(0), *answer} : Reply{kUnsupported, {}};
}

Reply Answer(const char* function, std::initializer_list<uint32_t> arguments,
             std::optional<uint32_t> id = {}) {
    NoteBoardCall(function, arguments);
    return gInitialized ? Lookup(function, id) : Reply{kNotInitialized, {}};
}

EApiStatus Get(const char* function, std::initializer_list<uint32_t> arguments, std::optional<uint32_t> id,
               uint32_t* first, uint32_t* second = nullptr, uint32_t* third = nullptr) {
    const Reply reply = Answer(function, arguments, id);
    if (reply.status != 0) return reply.status;
    std::size_t n = 0;
    for (uint32_t* out : {first, second, third}) {
        if (out != nullptr) *out = reply.answer.Number(n);
        ++n;
    }
    return first != nullptr ? 0 : kInvalidParameter;
}

// Succeeds when the file says so, or when it has a value to read for the ID. Keeps the value for the reader.
EApiStatus Set(const char* function, std::initializer_list<uint32_t> arguments, const char* getter,
               uint32_t id, uint32_t value) {
    Reply reply = Answer(function, arguments, id);
    if (reply.status == kUnsupported && gInitialized) reply = Lookup(getter, id);
    if (reply.status == 0) KeepBoardAnswer(getter, id, value);
    return reply.status;
}

uint32_t Bits(float number) {
    uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

}  // namespace

EAPI EApiStatus EApiLibInitialize() {
    NoteBoardCall("EApiLibInitialize");
    if (const auto answer = FindBoardAnswer("EApiLibInitialize"); answer && answer->status)
        return *answer->status;
    return gInitialized.exchange(true) ? kInitialized : 0;
}

EAPI EApiStatus EApiLibUnInitialize() {
    NoteBoardCall("EApiLibUnInitialize");
    const bool wasInitialized = gInitialized.exchange(false);
    if (const auto answer = FindBoardAnswer("EApiLibUnInitialize"); answer && answer->status)
        return *answer->status;
    return wasInitialized ? 0 : kNotInitialized;
}

EAPI EApiStatus EApiBoardGetStringA(uint32_t id, char* buffer, uint32_t* length) {
    const Reply reply = Answer("EApiBoardGetStringA", {id}, id);
    if (reply.status != 0) return reply.status;
    if (length == nullptr || (*length != 0 && buffer == nullptr)) return kInvalidParameter;
    const auto needed = static_cast<uint32_t>(reply.answer.text.size() + 1);
    const bool fits = needed <= *length;
    *length = needed;
    if (!fits) return kMoreData;
    std::memcpy(buffer, reply.answer.text.c_str(), needed);
    return 0;
}

EAPI EApiStatus EApiBoardGetValue(uint32_t id, uint32_t* value) {
    return Get("EApiBoardGetValue", {id}, id, value);
}

EAPI EApiStatus EApiVgaGetBacklightEnable(uint32_t id, uint32_t* enable) {
    return Get("EApiVgaGetBacklightEnable", {id}, id, enable);
}

EAPI EApiStatus EApiVgaSetBacklightEnable(uint32_t id, uint32_t enable) {
    return Set("EApiVgaSetBacklightEnable", {id, enable}, "EApiVgaGetBacklightEnable", id, enable);
}

EAPI EApiStatus EApiVgaGetBacklightBrightness(uint32_t id, uint32_t* level) {
    return Get("EApiVgaGetBacklightBrightness", {id}, id, level);
}

EAPI EApiStatus EApiVgaSetBacklightBrightness(uint32_t id, uint32_t level) {
    return Set("EApiVgaSetBacklightBrightness", {id, level}, "EApiVgaGetBacklightBrightness", id, level);
}

// The library's user resolves storage and I2C without calling them, so they take a line of the file and no more.
EAPI EApiStatus EApiStorageCap(uint32_t id, uint32_t* size, uint32_t* blockLength) {
    return Get("EApiStorageCap", {id}, id, size, blockLength);
}

EAPI EApiStatus EApiStorageAreaRead(uint32_t id, uint32_t offset, void*, uint32_t, uint32_t count) {
    return Answer("EApiStorageAreaRead", {id, offset, count}, id).status;
}

EAPI EApiStatus EApiStorageAreaWrite(uint32_t id, uint32_t offset, void*, uint32_t count) {
    return Answer("EApiStorageAreaWrite", {id, offset, count}, id).status;
}

EAPI EApiStatus EApiI2CGetBusCap(uint32_t id, uint32_t* maxBlockLength) {
    return Get("EApiI2CGetBusCap", {id}, id, maxBlockLength);
}

EAPI EApiStatus EApiI2CWriteReadRaw(uint32_t id, uint8_t address, void*, uint32_t, void*, uint32_t,
                                    uint32_t) {
    return Answer("EApiI2CWriteReadRaw", {id, address}, id).status;
}

EAPI EApiStatus EApiI2CReadTransfer(uint32_t id, uint32_t address, uint32_t, void*, uint32_t, uint32_t) {
    return Answer("EApiI2CReadTransfer", {id, address}, id).status;
}

EAPI EApiStatus EApiI2CWriteTransfer(uint32_t id, uint32_t address, uint32_t, void*, uint32_t) {
    return Answer("EApiI2CWriteTransfer", {id, address}, id).status;
}

EAPI EApiStatus EApiI2CProbeDevice(uint32_t id, uint32_t address) {
    return Answer("EApiI2CProbeDevice", {id, address}, id).status;
}

EAPI EApiStatus EApiWDogGetCap(uint32_t* maxDelay, uint32_t* maxEventTimeout, uint32_t* maxResetTimeout) {
    return Get("EApiWDogGetCap", {}, {}, maxDelay, maxEventTimeout, maxResetTimeout);
}

EAPI EApiStatus EApiWDogStart(uint32_t delay, uint32_t eventTimeout, uint32_t resetTimeout) {
    return Answer("EApiWDogStart", {delay, eventTimeout, resetTimeout}).status;
}

EAPI EApiStatus EApiWDogTrigger() {
    return Answer("EApiWDogTrigger", {}).status;
}

EAPI EApiStatus EApiWDogStop() {
    return Answer("EApiWDogStop", {}).status;
}

EAPI EApiStatus EApiGPIOGetDirectionCaps(uint32_t id, uint32_t* inputs, uint32_t* outputs) {
    return Get("EApiGPIOGetDirectionCaps", {id}, id, inputs, outputs);
}

EAPI EApiStatus EApiGPIOGetDirection(uint32_t id, uint32_t mask, uint32_t* direction) {
    return Get("EApiGPIOGetDirection", {id, mask}, id, direction);
}

EAPI EApiStatus EApiGPIOSetDirection(uint32_t id, uint32_t mask, uint32_t direction) {
    return Set("EApiGPIOSetDirection", {id, mask, direction}, "EApiGPIOGetDirection", id, direction);
}

EAPI EApiStatus EApiGPIOGetLevel(uint32_t id, uint32_t mask, uint32_t* level) {
    return Get("EApiGPIOGetLevel", {id, mask}, id, level);
}

EAPI EApiStatus EApiGPIOSetLevel(uint32_t id, uint32_t mask, uint32_t level) {
    return Set("EApiGPIOSetLevel", {id, mask, level}, "EApiGPIOGetLevel", id, level);
}

EAPI EApiStatus EApiSetHWMonitorThreshold(uint32_t id, float threshold) {
    return Answer("EApiSetHWMonitorThreshold", {id, Bits(threshold)}, id).status;
}

// A number in the file: alerts that are already there.
EAPI EApiStatus EApiAlertRegister(void* context, EApiAlertCallback* callback) {
    const Reply reply = Answer("EApiAlertRegister", {});
    if (reply.status == 0 && reply.answer.Number() != 0) callback(context, reply.answer.Number());
    return reply.status;
}

EAPI void EApiAlterUnRegister() {
    NoteBoardCall("EApiAlterUnRegister");
}

EAPI EApiStatus EApiAlertSetTimerInterval(uint32_t interval) {
    return Answer("EApiAlertSetTimerInterval", {interval}).status;
}

EAPI EApiStatus EApiGetFanStepLevel(uint8_t fan, uint8_t* step) {
    uint32_t value = 0;
    const EApiStatus status = Get("EApiGetFanStepLevel", {fan}, fan, &value);
    if (status == 0) *step = static_cast<uint8_t>(value);
    return status;
}

EAPI EApiStatus EApiSetFanStep(uint8_t fan, uint8_t step, uint8_t* first, uint8_t* second) {
    return Set("EApiSetFanStep", {fan, step, *first, *second}, "EApiGetFanStepLevel", fan, step);
}

EAPI EApiStatus EApiCPUSetRatio(uint32_t cpu, uint32_t ratio) {
    return Set("EApiCPUSetRatio", {cpu, ratio}, "EApiCPUGetRatio", cpu, ratio);
}

EAPI EApiStatus EApiCPUGetRatio(uint32_t cpu, uint32_t* ratio) {
    return Get("EApiCPUGetRatio", {cpu}, cpu, ratio);
}

EAPI EApiStatus EApiCPUGetRatioRange(uint32_t cpu, uint32_t* minimum, uint32_t* maximum) {
    return Get("EApiCPUGetRatioRange", {cpu}, cpu, minimum, maximum);
}

EAPI EApiStatus EApiCPUGetFrequency(uint32_t cpu, uint32_t* frequency) {
    return Get("EApiCPUGetFrequency", {cpu}, cpu, frequency);
}

EAPI EApiStatus EApiGetCPUNumber(uint32_t* number) {
    return Get("EApiGetCPUNumber", {}, {}, number);
}

EAPI EApiStatus EApiCpuGetUtilization(uint32_t cpu, uint32_t* first, uint32_t* second) {
    return Get("EApiCpuGetUtilization", {cpu}, cpu, first, second);
}
