#pragma once

// JR_SBCControllerFactory: makes the board controller of the machine that the program runs on.
//
//   const std::unique_ptr<JR_SBCController_IF> board(JR_SBCControllerFactory().CreateSBCController());
//   if (!board) return false;   // a desktop, an engine: no board services
//
// Threads:   one at a time; the first call is best made while the program starts (JR_ShellApp.h says why)
// Ownership: the caller owns and deletes what it gets; the factory keeps nothing
// Errors:    null without a word on a machine that has no controller, null with a report on a console whose board has
//            none, null when memory runs out
// Units:     none

#include "JRCmn/Cmn_Export.h"

class JR_SBCController_IF;

class NORVIK_API JR_SBCControllerFactory {
public:
    JR_SBCControllerFactory() = default;
    JR_SBCControllerFactory(const JR_SBCControllerFactory&) = default;
    JR_SBCControllerFactory& operator=(const JR_SBCControllerFactory&) = default;
    virtual ~JR_SBCControllerFactory() = default;

    // A new controller with each call, which loads and initialises its vendor's library again.
    virtual JR_SBCController_IF* CreateSBCController();
};
