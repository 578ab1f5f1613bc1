#pragma once

// Cmn_InstructionSet: what the processor says of itself.
//
//   Cmn_Trace("Running on %s\n", Cmn_InstructionSet::GetBrand().c_str());   // "Intel(R) Xeon(R) Gold 6326 CPU @ 2.90GHz"
//
// Threads:   any
// Ownership: none
// Errors:    empty when the processor does not say
// Units:     none

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API Cmn_InstructionSet {
public:
    // The brand string, at most 48 characters, as it is: some processors begin it with blanks, and what is looked for in
    // it may have a fixed place.
    static Cmn_String GetBrand();
};
