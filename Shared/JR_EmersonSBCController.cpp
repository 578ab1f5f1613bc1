#include "Shared/JR_EmersonSBCController.h"

#include <atomic>
#include <cstring>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_LookupTable.h"
#include "JRCmn/Cmn_Trace.h"
#include "Shared/Internal/JR_EApi.h"
#include "Shared/Internal/JR_EApiTables.h"
#include "Shared/Internal/JR_VendorLibrary.h"

using namespace NorvikLibInternal;

namespace {

constexpr char cLibraryName[] = "EApi_1.dll";
constexpr char cVendorPath[] = "..\\..\\..\\hardware\\RZQ\\EmersonSBC\\gala_eapi_1_03_win7_64\\EApi_1.dll";

// The report identities of places that other releases have, too.
constexpr int cStringLengthLine = 597;
constexpr int cFreeLibraryLine = 1220;
constexpr int cLoadLine = 1239;

// No text of a board comes near it. A library that asks for more does not know what it says.
constexpr uint32_t cLongestString = 64 * 1024;

// The library does not know the board it runs on: nothing about the board is asked for any more in this process.
std::atomic<bool> sGaveUp{false};

Cmn_String Describe(uint32_t status) {
    Cmn_String text(DescribeEApiStatus(status));
    if (text == "EAPI unknown status") text.AppendPrintf(" (0x%08X)", status);
    return text;
}

}  // namespace

// What an operation tries, for the message when it fails: "get CPU Temp value". Put together only then.
struct JR_EmersonSBCController::Attempt {
    // NOLINTNEXTLINE(google-explicit-constructor)
    Attempt(const char* what, const char* which = "", const char* of = "", int sourceLine = __builtin_LINE())
        : verb(what), name(which), rest(of), line(sourceLine) {}

    Cmn_String Text() const { return Cmn_String(verb) + name + rest; }

    const char* verb;
    const char* name;
    const char* rest;
    int line;
};

// ---- The library.

JR_EmersonSBCController::JR_EmersonSBCController(Empty) {}

// By way of an object that is made already, so that the destructor releases the library also when this throws.
JR_EmersonSBCController::JR_EmersonSBCController() : JR_EmersonSBCController(Empty()) {
    Cmn_Trace("Initializing SBC Library\n");
    if (LoadSBCLibrary()) {
        const uint32_t status = GetEApiFunctions().mspEApiLibInitialize.Get()();
        mInitialized = status == 0;
        if (!mInitialized)
            Cmn_Trace("RZQ SBC Controller failed to initialize with error: %s \n", Describe(status).c_str());
    }
    if (mInitialized) mIsEmersonBoard = GetBoardInfo(eBoardString_Manufacturer).Find("Emerson") != -1;
    Cmn_Trace("SBC Library initialization complete\n");
}

JR_EmersonSBCController::~JR_EmersonSBCController() {
    if (mInitialized) {
        const auto uninitialize = GetEApiFunctions().mspEApiLibUnInitialize.Get();
        const uint32_t status = uninitialize != nullptr ? uninitialize() : 0;
        if (status != 0)
            Cmn_Trace("SBC Controller failed to uninitialize with error: %s \n", Describe(status).c_str());
    }
    if (mSBCLibrary == nullptr || GetLibraryCalls().free(static_cast<HMODULE>(mSBCLibrary))) return;
    const DWORD error = ::GetLastError();
    VerifyFailed("false", CMN_SOURCE_FILE, cFreeLibraryLine);
    Cmn_Trace("Call to FreeLibrary failed with error: %lu \n", error);
}

bool JR_EmersonSBCController::LoadSBCLibrary() {
    HMODULE library = GetLibraryCalls().load(cLibraryName);
    if (library == nullptr) {
        DWORD error = ::GetLastError();
        Cmn_Trace("Failed to load SBC Library from default location, error: %08lx \n", error);
        library = GetLibraryCalls().load(cVendorPath);
        error = ::GetLastError();
        if (library == nullptr) {
            Fail("mSBCLibrary",
                 Cmn_String("Failed to load Emerson SBC DLL from ") + cVendorPath +
                     ", error: " + Cmn_String(error),
                 cLoadLine);
            return false;
        }
    }
    mSBCLibrary = library;
    TraceLoadedPath(library);

    DWORD error = 0;
    const EApiEntry* missing = ResolveEApi(GetEApiFunctions(), [&](const char* name) {
        const FARPROC address = GetLibraryCalls().find(library, name);
        error = ::GetLastError();
        return reinterpret_cast<void*>(address);
    });
    if (missing == nullptr) return true;
    Fail(missing->memberName,
         Cmn_String("Failed to get address of ") + missing->eapiName + ", error: " + Cmn_String(error),
         cLoadLine);
    return false;
}

// ---- How every operation calls.

void JR_EmersonSBCController::Fail(const char* condition, const Cmn_String& text, int line) const {
    Cmn_Trace("Condition %s failed: %s.\n", condition, text.c_str());
    VerifyFailed("!\"JR_EmersonSBCController failure\"", CMN_SOURCE_FILE, line);
}

// The entry point, or null when nothing may be called.
template <typename Function>
auto JR_EmersonSBCController::GetFunction(const Function& entry) const {
    const auto function = mInitialized ? entry.Get() : nullptr;
    if (mInitialized && function == nullptr && mIsEmersonBoard)
        Fail(entry.memberName, Cmn_String("Function handle ") + entry.memberName + " is NULL", __LINE__);
    return function;
}

bool JR_EmersonSBCController::Succeeded(unsigned int status, const Attempt& attempt) const {
    if (status == 0) return true;
    if (mIsEmersonBoard) {
        Fail("EAPI_TEST_SUCCESS(retVal)",
             "RZQ SBC Controller failed to " + attempt.Text() + " with error: " + Describe(status),
             attempt.line);
    }
    return false;
}

template <typename Function, typename... Arguments>
bool JR_EmersonSBCController::Call(const Attempt& attempt, const Function& entry,
                                   Arguments... arguments) const {
    const auto function = GetFunction(entry);
    return function != nullptr && Succeeded(function(arguments...), attempt);
}

bool JR_EmersonSBCController::GaveUpOn(unsigned int status) const {
    if (status != kEApiUnknownError) return false;
    if (!sGaveUp.exchange(true))
        Cmn_Trace(
            "RZQSBC no longer trying to get any SBC data, assuming not running on correct motherboard\n");
    return true;
}

// ---- The interface.

void JR_EmersonSBCController::SetBacklightBrightness(unsigned int level) {
    SetBacklightBrightness(level, eBackLight_1);
}

unsigned int JR_EmersonSBCController::GetChipsetTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_EmersonSBCController::GetCPUTemp() const {
    return ToCelsius(GetBoardInfo(eBoardValue_CPUTemp));
}

unsigned int JR_EmersonSBCController::GetMemoryTemp() const {
    return ToCelsius(GetBoardInfo(eBoardValue_MemoryTemp));
}

unsigned int JR_EmersonSBCController::GetSystemTemp() const {
    return ToCelsius(GetBoardInfo(eBoardValue_SystemTemp));
}

unsigned int JR_EmersonSBCController::LookupTKVBrightness(unsigned int percent) const {
    static const Cmn_LookupTable<unsigned int, unsigned int> sTable({{0, 10},
                                                                     {63, 10},
                                                                     {64, 20},
                                                                     {79, 20},
                                                                     {80, 30},
                                                                     {86, 30},
                                                                     {87, 40},
                                                                     {91, 40},
                                                                     {92, 50},
                                                                     {97, 50},
                                                                     {98, 60},
                                                                     {100, 60}});
    return sTable.Lookup(percent);
}

// ---- Texts and values of the board.

// Values are polled for weeks, so giving up costs a look at the flag and no stack frame.
unsigned int JR_EmersonSBCController::GetBoardInfo(tBoardInfoValueID id) const {
    return sGaveUp.load(std::memory_order_relaxed) ? 0 : ReadValue(id);
}

unsigned int JR_EmersonSBCController::ReadValue(tBoardInfoValueID id) const {
    const auto getValue = GetFunction(GetEApiFunctions().mspEApiBoardGetValue);
    if (getValue == nullptr) return 0;
    uint32_t value = 0;
    const uint32_t status = getValue(FindEApiID(kBoardValues, id), &value);
    if (GaveUpOn(status)) return 0;
    return Succeeded(status, {"get ", GetName(id), " value"}) ? value : 0;
}

Cmn_String JR_EmersonSBCController::GetBoardInfo(tBoardInfoStringID id) const {
    if (sGaveUp.load(std::memory_order_relaxed)) return {};
    const auto getString = GetFunction(GetEApiFunctions().mspEApiBoardGetStringA);
    if (getString == nullptr) return {};
    const uint32_t boardID = FindEApiID(kBoardStrings, id);
    uint32_t length = 0;
    uint32_t status = getString(boardID, nullptr, &length);
    if (GaveUpOn(status) || !IsStringLength(id, status, length) || length <= 1) return {};

    std::vector<char> buffer(length);
    uint32_t bufferLength = length;
    status = getString(boardID, buffer.data(), &bufferLength);
    if (GaveUpOn(status)) return {};
    if (status != 0) {
        if (mIsEmersonBoard) {
            Cmn_Trace("RZQ SBC Controller Failed to get %s %s %s\n", GetName(id),
                      " string with error: ", Describe(status).c_str());
        }
        return {};
    }
    // The last byte is the terminator's, whether the library wrote one or not.
    return Cmn_String(std::string_view(buffer.data(), strnlen(buffer.data(), length - 1)));
}

// Whether the answer to the question for the length, with the terminator, can be believed.
bool JR_EmersonSBCController::IsStringLength(tBoardInfoStringID id, unsigned int status,
                                             unsigned int length) const {
    if (status == kEApiMoreData && length <= cLongestString) return true;
    if (!mIsEmersonBoard) return false;
    const Cmn_String failed = Cmn_String("RZQ SBC Controller could not determine length of ") + GetName(id) +
                              " string with error: ";
    if (status != kEApiMoreData) {
        Fail("EAPI_STATUS_MORE_DATA == retVal", failed + Describe(status), cStringLengthLine);
    } else {
        Fail("length <= cLongestString", failed + Cmn_String(length) + " bytes are too many", __LINE__);
    }
    return false;
}

// ---- Backlight.

bool JR_EmersonSBCController::IsBacklightEnabled(tBackLightID id) const {
    uint32_t enable = kEApiBacklightOff;
    return Call("get backlight enable", GetEApiFunctions().mspEApiVgaGetBacklightEnable,
                FindEApiValue(kBacklights, static_cast<uint32_t>(id)), &enable) &&
           enable == kEApiBacklightOn;
}

void JR_EmersonSBCController::SetBacklightEnable(bool enable, tBackLightID id) const {
    Call("set backlight enable", GetEApiFunctions().mspEApiVgaSetBacklightEnable,
         FindEApiValue(kBacklights, static_cast<uint32_t>(id)),
         enable ? kEApiBacklightOn : kEApiBacklightOff);
}

unsigned int JR_EmersonSBCController::GetBacklightBrightness(tBackLightID id) const {
    uint32_t level = 0;
    const bool ok = Call("get backlight brightness", GetEApiFunctions().mspEApiVgaGetBacklightBrightness,
                         FindEApiValue(kBacklights, static_cast<uint32_t>(id)), &level);
    return ok ? level : 0;
}

void JR_EmersonSBCController::SetBacklightBrightness(unsigned int level, tBackLightID id) const {
    Call("set backlight brightness", GetEApiFunctions().mspEApiVgaSetBacklightBrightness,
         FindEApiValue(kBacklights, static_cast<uint32_t>(id)), level);
}

// ---- Watchdog.

void JR_EmersonSBCController::GetWatchDogCapabilities(unsigned int& outMaxDelay,
                                                      unsigned int& outMaxEventTimeout,
                                                      unsigned int& outMaxResetTimeout) const {
    outMaxDelay = outMaxEventTimeout = outMaxResetTimeout = 0;
    if (!Call("get watchdog capabilities", GetEApiFunctions().mspEApiWDogGetCap, &outMaxDelay,
              &outMaxEventTimeout, &outMaxResetTimeout)) {
        outMaxDelay = outMaxEventTimeout = outMaxResetTimeout = 0;
    }
}

void JR_EmersonSBCController::StartWatchdog(unsigned int delay, unsigned int eventTimeout,
                                            unsigned int resetTimeout) const {
    Call("start watchdog", GetEApiFunctions().mspEApiWDogStart, delay, eventTimeout, resetTimeout);
}

void JR_EmersonSBCController::PetWatchDog() const {
    Call("pet watchdog", GetEApiFunctions().mspEApiWDogTrigger);
}

void JR_EmersonSBCController::StopWatchDog() const {
    Call("stop watchdog", GetEApiFunctions().mspEApiWDogStop);
}

// ---- GPIO.

JR_EmersonSBCController::tGPIODirection JR_EmersonSBCController::GetGPIODirection(tGPIOPhysicalID id) {
    uint32_t direction = kEApiGPIOInput;
    const bool ok = Call({"get direction of ", GetName(id)}, GetEApiFunctions().mspEApiGPIOGetDirection,
                         FindEApiID(kGPIOs, id), kEApiGPIOMask, &direction);
    return !ok || direction == kEApiGPIOInput ? eGPIODirection_Input : eGPIODirection_Output;
}

JR_EmersonSBCController::tGPIOLevel JR_EmersonSBCController::GetGPIOLevel(tGPIOPhysicalID id) {
    uint32_t level = 0;
    const bool ok = Call({"get level of ", GetName(id)}, GetEApiFunctions().mspEApiGPIOGetLevel,
                         FindEApiID(kGPIOs, id), kEApiGPIOMask, &level);
    return ok && level != 0 ? eGPIOLevel_High : eGPIOLevel_Low;
}

void JR_EmersonSBCController::SetGPIOLevel(tGPIOPhysicalID id, tGPIOLevel level) const {
    Call({"set level of ", GetName(id)}, GetEApiFunctions().mspEApiGPIOSetLevel, FindEApiID(kGPIOs, id),
         kEApiGPIOMask, static_cast<uint32_t>(level));
}

// ---- Alerts.

void JR_EmersonSBCController::SetAlertThreshold(tAlertID id, float threshold) const {
    Call("set alert threshold", GetEApiFunctions().mspEApiSetHWMonitorThreshold,
         FindEApiAlert(static_cast<uint32_t>(id)), threshold);
}

void JR_EmersonSBCController::SetAlertCallback(void* context, AlertCallback* callback) const {
    Call("set alert callback", GetEApiFunctions().mspEApiAlertRegister, context, callback);
}

void JR_EmersonSBCController::RemoveAlertCallback() const {
    if (const auto remove = GetFunction(GetEApiFunctions().mspEApiAlertUnRegister)) remove();
}

void JR_EmersonSBCController::SetAlertTimerInterval(unsigned int interval) const {
    Call("set alert timer interval", GetEApiFunctions().mspEApiAlertSetTimerInterval, interval);
}

JR_EmersonSBCController::tAlertID JR_EmersonSBCController::GetAlert(unsigned int bit) {
    return static_cast<tAlertID>(FindEApiValue(kAlertOfBit, bit, eAlert_None));
}

// ---- Fan.

JR_EmersonSBCController::tFanStepLevelID JR_EmersonSBCController::GetFanStepLevel() {
    uint8_t step = 0;
    const bool ok = Call("get fan step level", GetEApiFunctions().mspEApiGetFanStepLevel, kEApiFan, &step);
    return static_cast<tFanStepLevelID>(ok ? FindEApiValue(kFanLevelOfStep, step, 0) : 0);
}

void JR_EmersonSBCController::SetFanTripLevel(tFanStepLevelID level, unsigned char firstTemp,
                                              unsigned char secondTemp) const {
    // A level without a step is 0xFF for the library, which refuses it.
    Call("set fan trip level", GetEApiFunctions().mspEApiSetFanStep, kEApiFan,
         static_cast<uint8_t>(FindEApiValue(kStepOfFanLevel, static_cast<uint32_t>(level))), &firstTemp,
         &secondTemp);
}

// ---- Processors.

unsigned int JR_EmersonSBCController::GetCPUNumber() const {
    uint32_t number = 0;
    return Call("get number of CPUs", GetEApiFunctions().mspEApiCPUGetNumber, &number) ? number : 0;
}

void JR_EmersonSBCController::GetCPURatioCapabilities(unsigned int cpu, unsigned int& outMin,
                                                      unsigned int& outMax) const {
    outMin = outMax = 0;
    if (!Call("get CPU ratio capabilities", GetEApiFunctions().mspEApiCPUGetRatioRange, cpu, &outMin,
              &outMax))
        outMin = outMax = 0;
}

unsigned int JR_EmersonSBCController::GetCPURatio(unsigned int cpu) const {
    uint32_t ratio = 0;
    return Call("get CPU ratio", GetEApiFunctions().mspEApiCPUGetRatio, cpu, &ratio) ? ratio : 0;
}

void JR_EmersonSBCController::SetCPURatio(unsigned int cpu, unsigned int ratio) const {
    Call("set CPU ratio", GetEApiFunctions().mspEApiCPUSetRatio, cpu, ratio);
}

unsigned int JR_EmersonSBCController::GetCPUFrequency(unsigned int cpu) const {
    uint32_t frequency = 0;
    return Call("get CPU frequency", GetEApiFunctions().mspEApiCPUGetFrequency, cpu, &frequency) ? frequency
                                                                                                 : 0;
}

void JR_EmersonSBCController::GetCPUUtilization(unsigned int cpu, unsigned int& outFirst,
                                                unsigned int& outSecond) const {
    outFirst = outSecond = 0;
    if (!Call("get CPU utilization", GetEApiFunctions().mspEApiCPUGetUtilization, cpu, &outFirst, &outSecond))
        outFirst = outSecond = 0;
}

void JR_EmersonSBCController::DisplaySBCDiagnostics() const {}

// ---- Names.

const char* JR_EmersonSBCController::GetName(tBoardInfoStringID id) {
    return FindEApiName(kBoardStrings, id, "Unknown Info ID Type");
}

const char* JR_EmersonSBCController::GetName(tBoardInfoValueID id) {
    return FindEApiName(kBoardValues, id, "Unknown Info ID Type");
}

const char* JR_EmersonSBCController::GetName(tGPIOPhysicalID id) {
    return FindEApiName(kGPIOs, id, "Unknown GPIO ID Type");
}

const char* JR_EmersonSBCController::GetName(tGPIODirection direction) {
    if (direction == eGPIODirection_Input) return "Input";
    return direction == eGPIODirection_Output ? "Output" : "Unknown GPIO Direction Type";
}

// The low level has no name of its own; programs show it as they get it.
const char* JR_EmersonSBCController::GetName(tGPIOLevel level) {
    return level == eGPIOLevel_High ? "High" : "Unknown GPIO Level Type";
}
