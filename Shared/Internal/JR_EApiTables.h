#pragma once

// What the EAPI's numbers mean: statuses, board strings and values, alerts, fan steps, GPIO. Each list stands here
// once, so that number, text and identifier cannot drift apart.
//
//   Cmn_Trace("%s\n", DescribeEApiStatus(status));
//   const uint32_t id = FindEApiID(kBoardValues, 1);   // 0x20000
//
// Threads:   any
// Ownership: all texts are literals
// Errors:    an identifier that is in no list is kEApiUnmapped, which every library refuses
// Units:     none

#include <cstddef>
#include <cstdint>

namespace NorvikLibInternal {

constexpr uint32_t kEApiUnmapped = 0xFFFFFFFF;
constexpr uint32_t kEApiMoreData = 0xFFFFF9FF;
constexpr uint32_t kEApiUnknownError = 0xFFFFF0FF;
constexpr uint32_t kEApiBacklightOn = 0;
constexpr uint32_t kEApiBacklightOff = 0xFFFFFFFF;
constexpr uint32_t kEApiGPIOInput = 1;
constexpr uint32_t kEApiGPIOMask = 1;  // an ID of a single GPIO has one bit
constexpr uint8_t kEApiFan = 0;

struct EApiStatusText {
    uint32_t status;
    const char* text;
};

inline constexpr EApiStatusText kEApiStatuses[] = {
    {0, "EAPI success"},
    {0xFFFFFFFF, "EAPI library already uninitialized"},
    {0xFFFFFFFE, "EAPI library already initialized"},
    {0xFFFFFFFD, "EAPI memory allocation error"},
    {0xFFFFFFFC, "EAPI timeout in driver"},
    {0xFFFFFEFF, "EAPI invalid parameter"},
    {0xFFFFFEFE, "EAPI invalid block alignment"},
    {0xFFFFFEFD, "EAPI block length too long"},
    {0xFFFFFEFC, "EAPI GPIO set to invalid direction"},
    {0xFFFFFEFB, "EAPI invalid bitmask"},
    {0xFFFFFEFA, "EAPI watchdog timer already started"},
    {0xFFFFFCFF, "EAPI function or ID not supported"},
    {0xFFFFFBFF, "EAPI I2C device error"},
    {0xFFFFFBFE, "EAPI I2C timeout, clock pulled low too long"},
    {0xFFFFFBFD, "EAPI I2C bus is busy or bus collision detected"},
    {0xFFFFFAFF, "EAPI I2C read error"},
    {0xFFFFFAFE, "EAPI I2C write error"},
    {kEApiMoreData, "EAPI available data exceeds buffer size"},
    {0xFFFFF8FF, "EAPI threshold not configured"},
    {0xFFFFF8FE, "EAPI threshold exceeded"},
    {kEApiUnknownError, "EAPI unknown error"},
};

constexpr const char* DescribeEApiStatus(uint32_t status) {
    for (const EApiStatusText& entry : kEApiStatuses)
        if (entry.status == status) return entry.text;
    return "EAPI unknown status";
}

// What the controller's number stands for: the row of that number.
struct EApiName {
    const char* name;
    uint32_t id;
};

inline constexpr EApiName kBoardStrings[] = {
    {"Unknown", kEApiUnmapped},
    {"Manufacturer", 0},
    {"Name", 1},
    {"Revision", 2},
    {"Serial Number", 3},
    {"BIOS Revision", 4},
    {"Hardware Revision", 5},
    {"Platform Type", 6},
};

inline constexpr EApiName kBoardValues[] = {
    {"Unknown", kEApiUnmapped},
    {"CPU Temp", 0x20000},
    {"Chipset Temp", 0x20001},
    {"System temp", 0x20002},
    {"Memory Temp", 0x20003},
    {"Voltage VCor", 0x21004},
    {"Voltage 2.5V", 0x21008},
    {"Voltage 3.3V", 0x2100C},
    {"Voltage VBattery", 0x21010},
    {"Voltage 5V", 0x21014},
    {"Voltage 5V Standby", 0x21018},
    {"Voltage 12V", 0x2101C},
    {"Voltage 0.089V", 0x21020},
    {"Voltage 0.105V", 0x21024},
    {"Voltage 1.2V", 0x2102C},
    {"Voltage 1.8V", 0x2101C},  // the 12 V value on purpose: what programs have always been given for it
    {"Voltage 1.5V", 0x2102D},
    {"Voltage Char IAC", 0x2102E},
    {"CPU Fan", 0x22000},
    {"System Fan", 0x22001},
    {"Memory Frequency", 0x21030},
    {"EAPI Version", 0},
    {"Boot Count", 1},
    {"Running Time", 2},
    {"PnP ID", 3},
    {"Platform Revision", 4},
    {"Driver Version", 0x10000},
    {"Library Version", 0x10001},
};

// GPIO n of the EAPI is this one's n + 1.
inline constexpr EApiName kGPIOs[] = {
    {"GPIO - None", kEApiUnmapped},
    {"GPIO - 0", 0},
    {"GPIO - 1", 1},
    {"GPIO - 2", 2},
    {"GPIO - 3", 3},
    {"GPIO - 4", 4},
    {"GPIO - 5", 5},
    {"GPIO - 6", 6},
    {"GPIO - 7", 7},
};

template <std::size_t size>
constexpr uint32_t FindEApiID(const EApiName (&rows)[size], int number) {
    return number >= 0 && static_cast<std::size_t>(number) < size ? rows[number].id : kEApiUnmapped;
}

template <std::size_t size>
constexpr const char* FindEApiName(const EApiName (&rows)[size], int number, const char* unknown) {
    return number >= 0 && static_cast<std::size_t>(number) < size ? rows[number].name : unknown;
}

// From a key to a value. Of two rows with the same key the first counts.
struct EApiPair {
    uint32_t key;
    uint32_t value;
};

template <std::size_t size>
constexpr uint32_t FindEApiValue(const EApiPair (&pairs)[size], uint32_t key,
                                 uint32_t missing = kEApiUnmapped) {
    for (const EApiPair& pair : pairs)
        if (pair.key == key) return pair.value;
    return missing;
}

inline constexpr EApiPair kBacklights[] = {{0, 0}, {1, 1}, {2, 2}};

// Alert 15 shares the bit of alert 10, which comes first and has it: alert 15 is never seen, and no alert has
// 0x2000. The vendor's numbering; programs know it so.
inline constexpr EApiPair kAlertOfBit[] = {
    {0x1, 1},     {0x2, 2},     {0x4, 3},    {0x8, 4},     {0x10, 5},     {0x20, 6},
    {0x40, 7},    {0x80, 8},    {0x100, 9},  {0x200, 10},  {0x400, 11},   {0x800, 12},
    {0x1000, 13}, {0x4000, 14}, {0x400, 15}, {0x8000, 16}, {0x10000, 17}, {0x20000, 18},
};

inline constexpr uint32_t kLastAlert = 18;
constexpr uint32_t FindEApiAlert(uint32_t alert) {
    return alert >= 1 && alert <= kLastAlert ? alert : kEApiUnmapped;
}

// The controller has seven levels and the vendor five steps, so the two ways differ on purpose: level 1 cannot be
// set, and step 1, to which the levels 0 and 2 are set, always reads as level 0.
inline constexpr EApiPair kStepOfFanLevel[] = {{0, 1}, {2, 1}, {3, 2}, {4, 3}, {5, 4}, {6, 5}};
inline constexpr EApiPair kFanLevelOfStep[] = {{1, 0}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}};

// Tenths of a kelvin to whole degrees Celsius. Below zero the number wraps round, as callers have always been given
// it: 0, which is what a failure reads, gives 4,294,967,023. (By way of a wide number: a negative floating-point
// number has no defined conversion to an unsigned one.)
constexpr double kDegKelvinDivisor = 10.0;
constexpr uint32_t ToCelsius(uint32_t tenthsOfKelvin) {
    return static_cast<uint32_t>(static_cast<int64_t>(tenthsOfKelvin / kDegKelvinDivisor - 273.15));
}

}  // namespace NorvikLibInternal
