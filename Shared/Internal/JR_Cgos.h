#pragma once

// What the controller uses of the board library of congatec (CGOS 1.3): types, numbers, signatures.
//
//   CgosVgaInfo info = {sizeof info};
//   if (getInfo(board, unit, &info) && info.type == kCgosVgaLVDS) ...
//
// Threads:   any
// Ownership: none
// Errors:    functions return 0 when they fail
// Units:     temperatures in thousandths of a degree Celsius, as a signed number in an unsigned field; backlight 0 to
//            CgosVgaInfo::maxBacklight, which is 100

#include <cstdint>

namespace NorvikLibInternal {

using CgosBoard = uint32_t;

constexpr uint32_t kCgosVgaLVDS = 0x00020002;
constexpr uint32_t kCgosMaxBacklight = 100;
constexpr uint32_t kCgosTempCPU = 0x00010000;
constexpr uint32_t kCgosTempBoard = 0x00040000;
constexpr uint32_t kCgosSensorActive = 0x01;
constexpr uint32_t kCgosSensorBroken = 0x04;
constexpr uint32_t kCgosSensorShortCircuit = 0x08;

struct CgosVgaInfo {
    uint32_t size;
    uint32_t type;
    uint32_t flags;
    uint32_t nativeWidth, nativeHeight;
    uint32_t requestedWidth, requestedHeight, requestedBitsPerPixel;
    uint32_t maxBacklight;
    uint32_t maxContrast;
};
static_assert(sizeof(CgosVgaInfo) == 40);

struct CgosTemperatureInfo {
    uint32_t size;
    uint32_t type;
    uint32_t flags;
    uint32_t alarm;
    uint32_t resolution;
    uint32_t min, max;
    uint32_t alarmHigh, hysteresisHigh, alarmLow, hysteresisLow;
};
static_assert(sizeof(CgosTemperatureInfo) == 44);

// ENTRY(name, signature)
#define NORVIK_CGOS_ENTRIES(ENTRY)                                                                         \
    ENTRY(CgosLibInitialize, uint32_t())                                                                   \
    ENTRY(CgosLibUninitialize, uint32_t())                                                                 \
    ENTRY(CgosBoardOpen, uint32_t(uint32_t boardClass, uint32_t number, uint32_t flags, CgosBoard* board)) \
    ENTRY(CgosBoardClose, uint32_t(CgosBoard board))                                                       \
    ENTRY(CgosVgaCount, uint32_t(CgosBoard board))                                                         \
    ENTRY(CgosVgaGetInfo, uint32_t(CgosBoard board, uint32_t unit, CgosVgaInfo* info))                     \
    ENTRY(CgosVgaSetBacklight, uint32_t(CgosBoard board, uint32_t unit, uint32_t level))                   \
    ENTRY(CgosTemperatureCount, uint32_t(CgosBoard board))                                                 \
    ENTRY(CgosTemperatureGetInfo, uint32_t(CgosBoard board, uint32_t unit, CgosTemperatureInfo* info))     \
    ENTRY(CgosTemperatureGetCurrent,                                                                       \
          uint32_t(CgosBoard board, uint32_t unit, uint32_t* value, uint32_t* status))

// Whole degrees of a reading; below zero counts as zero.
constexpr uint32_t CgosToCelsius(uint32_t value) {
    const auto thousandths = static_cast<int32_t>(value);
    return thousandths > 0 ? static_cast<uint32_t>(thousandths / 1000) : 0;
}

constexpr bool IsCgosReadingGood(uint32_t status) {
    return (status & kCgosSensorActive) != 0 && (status & (kCgosSensorBroken | kCgosSensorShortCircuit)) == 0;
}

}  // namespace NorvikLibInternal
