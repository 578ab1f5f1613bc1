#pragma once

// Who may write the file of feature toggles: one program at a time, or one that is killed could leave its half file to another
// one's move.
//
// Threads, ownership, errors: as MachineLock.  Units: milliseconds.

#include "JRCmn/Internal/Cmn_MachineLock.h"

namespace NorvikLibInternal {

struct FeatureFileTurn : MachineLock {
    FeatureFileTurn() : MachineLock("NorvikLib ft.dat", kLongestSave) {}
    static constexpr DWORD kLongestSave = 5'000;
};

}  // namespace NorvikLibInternal
