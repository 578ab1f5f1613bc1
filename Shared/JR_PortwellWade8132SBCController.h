#pragma once

// JR_PortwellWade8132SBCController: the board controller of the Portwell WADE-8132. It loads the vendor's library
// (PETx64.dll), says in the log whether it is there, and stays inert: the library's interface is not published, so no
// temperature is read and the backlight cannot be controlled.
//
//   JR_PortwellWade8132SBCController board;
//   board.GetCPUTemp();   // cInvalidTemperature
//
// Threads:   any
// Ownership: owns the loaded library
// Errors:    a missing library is traced; everything else is the same without it
// Units:     percent

#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "Shared/JR_SBCController_IF.h"

namespace NorvikLibInternal {
class VendorLibrary;
}

class NORVIK_API JR_PortwellWade8132SBCController : public JR_SBCController_IF {
public:
    JR_PortwellWade8132SBCController();
    ~JR_PortwellWade8132SBCController() override;
    JR_PortwellWade8132SBCController(const JR_PortwellWade8132SBCController&) = delete;
    JR_PortwellWade8132SBCController& operator=(const JR_PortwellWade8132SBCController&) = delete;

    void SetBacklightBrightness(unsigned int level) override;  // does nothing
    // All cInvalidTemperature.
    unsigned int GetChipsetTemp() const override;
    unsigned int GetCPUTemp() const override;
    unsigned int GetMemoryTemp() const override;
    unsigned int GetSystemTemp() const override;
    unsigned int LookupTKVBrightness(unsigned int percent) const override;  // the percentage itself

private:
    const std::unique_ptr<NorvikLibInternal::VendorLibrary> mLibrary;
};
