#pragma once

// JR_SBCController_IF: the board controller of a single-board computer. Reads temperatures and drives the backlight
// of the built-in display, whichever vendor made the board.
//
//   std::unique_ptr<JR_SBCController_IF> board(JR_SBCControllerFactory().CreateSBCController());
//   if (board) board->SetBacklightBrightness(board->LookupTKVBrightness(80));
//
// Threads:   one at a time, unless the controller says more
// Ownership: whoever created a controller deletes it, through this interface
// Errors:    what a board cannot measure reads cInvalidTemperature, unless the controller says otherwise
// Units:     whole degrees Celsius; brightness as the user gives it in percent, levels as the board takes them

#include <cstdint>

class JR_SBCController_IF {
public:
    static constexpr uint32_t cInvalidTemperature = 0xFFFFFFFF;

    JR_SBCController_IF() = default;
    JR_SBCController_IF(const JR_SBCController_IF&) = default;
    JR_SBCController_IF& operator=(const JR_SBCController_IF&) = default;
    virtual ~JR_SBCController_IF() = default;

    // A level that LookupTKVBrightness gave.
    virtual void SetBacklightBrightness(unsigned int level) = 0;

    virtual unsigned int GetChipsetTemp() const = 0;
    virtual unsigned int GetCPUTemp() const = 0;
    virtual unsigned int GetMemoryTemp() const = 0;
    virtual unsigned int GetSystemTemp() const = 0;

    // From the user's brightness (0 to 100) to the level of this board's backlight.
    virtual unsigned int LookupTKVBrightness(unsigned int percent) const = 0;
};
