#pragma once

// JR_EmersonSBCController: the board controller of the Emerson MITX-CORE-810/820, on the vendor's EAPI library,
// which is loaded at run time. Beyond the interface it offers what else the library can do.
//
//   JR_EmersonSBCController board;
//   board.SetBacklightBrightness(board.LookupTKVBrightness(80));
//   const unsigned int vcore = board.GetBoardInfo(JR_EmersonSBCController::eBoardValue_VoltageVCor);   // millivolts
//
// Threads:   one at a time; guard it outside when several threads use it. The library's entry points and the
//            decision to give up belong to the process: all controllers share them. The library calls the alert
//            callback from whichever thread it likes.
// Ownership: owns the loaded library and unloads it. A second controller beside the first is refused by the
//            vendor's library ("already initialized") and stays inert. An alert callback is removed before the controller
//            goes: the library would go on calling it.
// Errors:    nothing throws, except std::bad_alloc. Without library, entry point or initialisation every operation
//            gives its default (0, false, the empty text, the first enumerator) without a word. Otherwise a failure
//            gives the default, too, and is reported, but only on a board of this maker: elsewhere the library may
//            be there by chance. Out-parameters are then 0. Temperatures that cannot be read are NOT
//            cInvalidTemperature here: callers see a huge number (0 K is 4,294,967,023 degrees). Once the library
//            has answered "unknown error" to a board value or text, this process asks for none any more: they read
//            0 and empty. A call of the vendor's library that hangs hangs its caller: there is no time limit.
// Units:     values as the EAPI defines them: temperatures in tenths of a kelvin (the interface's in degrees
//            Celsius), voltages in mV, fans in rpm, watchdog times in milliseconds

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "Shared/JR_SBCController_IF.h"

class NORVIK_API JR_EmersonSBCController : public JR_SBCController_IF {
public:
    enum tBoardInfoStringID : int {
        eBoardString_Unknown = 0,
        eBoardString_Manufacturer,
        eBoardString_Name,
        eBoardString_Revision,
        eBoardString_SerialNumber,
        eBoardString_BIOSRevision,
        eBoardString_HardwareRevision,
        eBoardString_PlatformType,
    };

    enum tBoardInfoValueID : int {
        eBoardValue_Unknown = 0,
        eBoardValue_CPUTemp,
        eBoardValue_ChipsetTemp,
        eBoardValue_SystemTemp,
        eBoardValue_MemoryTemp,
        eBoardValue_VoltageVCor,
        eBoardValue_Voltage2_5V,
        eBoardValue_Voltage3_3V,
        eBoardValue_VoltageVBattery,
        eBoardValue_Voltage5V,
        eBoardValue_Voltage5VStandby,
        eBoardValue_Voltage12V,
        eBoardValue_Voltage0_089V,
        eBoardValue_Voltage0_105V,
        eBoardValue_Voltage1_2V,
        eBoardValue_Voltage1_8V,  // reads what the 12 V value reads
        eBoardValue_Voltage1_5V,
        eBoardValue_VoltageCharIAC,
        eBoardValue_CPUFan,
        eBoardValue_SystemFan,
        eBoardValue_MemoryFrequency,
        eBoardValue_EAPIVersion,
        eBoardValue_BootCount,
        eBoardValue_RunningTime,
        eBoardValue_PnPID,
        eBoardValue_PlatformRevision,
        eBoardValue_DriverVersion,
        eBoardValue_LibraryVersion,
    };

    enum tBackLightID : int { eBackLight_1 = 0, eBackLight_2 = 1, eBackLight_3 = 2 };
    enum tAlertID : int { eAlert_None = 0, eAlert_First = 1, eAlert_Last = 18 };
    enum tFanStepLevelID : int { eFanStepLevel_First = 0, eFanStepLevel_Last = 6 };

    enum tGPIOPhysicalID : int { eGPIO_None = 0, eGPIO_0 = 1, eGPIO_7 = 8 };  // number n is eGPIO_0 + n
    enum tGPIODirection : int { eGPIODirection_Input = 0, eGPIODirection_Output = 1 };
    enum tGPIOLevel : int { eGPIOLevel_Low = 0, eGPIOLevel_High = 1 };

    // context and the bits of the alerts: GetAlert tells which they are
    using AlertCallback = void(void* context, unsigned int alerts);

    // Loads and initialises the library: from the platform's search path, else from the vendor's folder in the
    // source tree.
    JR_EmersonSBCController();
    ~JR_EmersonSBCController() override;
    JR_EmersonSBCController(const JR_EmersonSBCController&) = delete;
    JR_EmersonSBCController& operator=(const JR_EmersonSBCController&) = delete;

    // ---- The interface.
    void SetBacklightBrightness(unsigned int level) override;  // of the first backlight
    unsigned int GetChipsetTemp() const override;              // always cInvalidTemperature
    unsigned int GetCPUTemp() const override;
    unsigned int GetMemoryTemp() const override;
    unsigned int GetSystemTemp() const override;
    // In six steps, from 10 to 60. Above 100 is reported and counts as 100. Needs no library.
    unsigned int LookupTKVBrightness(unsigned int percent) const override;

    // ---- Texts and values of the board.
    Cmn_String GetBoardInfo(tBoardInfoStringID id) const;
    unsigned int GetBoardInfo(tBoardInfoValueID id) const;

    // ---- Backlight. Levels go to the library as they are.
    bool IsBacklightEnabled(tBackLightID id) const;
    void SetBacklightEnable(bool enable, tBackLightID id) const;
    unsigned int GetBacklightBrightness(tBackLightID id) const;
    void SetBacklightBrightness(unsigned int level, tBackLightID id) const;

    // ---- Watchdog. The controller starts and pets nothing by itself.
    void GetWatchDogCapabilities(unsigned int& outMaxDelay, unsigned int& outMaxEventTimeout,
                                 unsigned int& outMaxResetTimeout) const;
    void StartWatchdog(unsigned int delay, unsigned int eventTimeout, unsigned int resetTimeout) const;
    void PetWatchDog() const;
    void StopWatchDog() const;

    // ---- GPIO. A direction that the library does not tell is input, a level low.
    tGPIODirection GetGPIODirection(tGPIOPhysicalID id);
    tGPIOLevel GetGPIOLevel(tGPIOPhysicalID id);
    void SetGPIOLevel(tGPIOPhysicalID id, tGPIOLevel level) const;

    // ---- Alerts of the hardware monitor.
    void SetAlertThreshold(tAlertID id, float threshold) const;
    void SetAlertCallback(void* context, AlertCallback* callback) const;
    void RemoveAlertCallback() const;
    void SetAlertTimerInterval(unsigned int interval) const;
    // The alert of a bit, eAlert_None for a bit without one. Alert 15 has no bit.
    static tAlertID GetAlert(unsigned int bit);

    // ---- Fan. Level 1 cannot be set, and the levels 0 and 2 both read back as 0.
    tFanStepLevelID GetFanStepLevel();
    void SetFanTripLevel(tFanStepLevelID level, unsigned char firstTemp, unsigned char secondTemp) const;

    // ---- Processors. Their numbers and ratios go to the library as they are.
    unsigned int GetCPUNumber() const;
    void GetCPURatioCapabilities(unsigned int cpu, unsigned int& outMin, unsigned int& outMax) const;
    unsigned int GetCPURatio(unsigned int cpu) const;
    void SetCPURatio(unsigned int cpu, unsigned int ratio) const;
    unsigned int GetCPUFrequency(unsigned int cpu) const;
    void GetCPUUtilization(unsigned int cpu, unsigned int& outFirst, unsigned int& outSecond) const;

    void DisplaySBCDiagnostics() const;  // does nothing

    // ---- Names for people.
    static const char* GetName(tBoardInfoStringID id);
    static const char* GetName(tBoardInfoValueID id);
    static const char* GetName(tGPIOPhysicalID id);
    static const char* GetName(tGPIODirection direction);
    static const char* GetName(tGPIOLevel level);  // only the high level has one

private:
    struct Empty {};
    explicit JR_EmersonSBCController(Empty);

    struct Attempt;

    bool LoadSBCLibrary();
    void Fail(const char* condition, const Cmn_String& text, int line) const;
    bool Succeeded(unsigned int status, const Attempt& attempt) const;
    bool GaveUpOn(unsigned int status) const;
    unsigned int ReadValue(tBoardInfoValueID id) const;
    bool IsStringLength(tBoardInfoStringID id, unsigned int status, unsigned int length) const;
    template <typename Function>
    auto GetFunction(const Function& entry) const;
    template <typename Function, typename... Arguments>
    bool Call(const Attempt& attempt, const Function& entry, Arguments... arguments) const;

    bool mIsEmersonBoard = false;
    bool mInitialized = false;
    void* mSBCLibrary = nullptr;
};
