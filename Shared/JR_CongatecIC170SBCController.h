#pragma once

// JR_CongatecIC170SBCController: the board controller of the Congatec IC170, on the vendor's CGOS library
// (Cgos.dll), which is loaded at run time. Not proven on the board itself.
//
//   JR_CongatecIC170SBCController board;
//   if (board.HasLVDS()) board.SetBacklightBrightness(board.LookupTKVBrightness(80));
//
// Threads:   one at a time
// Ownership: owns the loaded library and the open board; both are released in the destructor
// Errors:    nothing throws, except std::bad_alloc. Without library, entry point or board, which is traced,
//            temperatures are cInvalidTemperature and there is no display. A sensor that is missing, broken or
//            gives no answer is cInvalidTemperature, too.
// Units:     degrees Celsius, below zero counts as 0; backlight levels as the board gives their range, mostly 0 to
//            100

#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "Shared/JR_SBCController_IF.h"

class NORVIK_API JR_CongatecIC170SBCController : public JR_SBCController_IF {
public:
    JR_CongatecIC170SBCController();
    ~JR_CongatecIC170SBCController() override;
    JR_CongatecIC170SBCController(const JR_CongatecIC170SBCController&) = delete;
    JR_CongatecIC170SBCController& operator=(const JR_CongatecIC170SBCController&) = delete;

    // Of the LVDS display; without one nothing happens.
    void SetBacklightBrightness(unsigned int level) override;
    unsigned int GetChipsetTemp() const override;  // always cInvalidTemperature
    unsigned int GetCPUTemp() const override;
    unsigned int GetMemoryTemp() const override;  // always cInvalidTemperature
    unsigned int GetSystemTemp() const override;
    // Above 100 is reported and counts as 100.
    unsigned int LookupTKVBrightness(unsigned int percent) const override;

    // Whether the board has an LVDS display unit: the built-in panel.
    bool HasLVDS() const;

private:
    struct Board;

    std::unique_ptr<Board> mBoard;  // null when it could not be opened
};
