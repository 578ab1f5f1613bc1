#pragma once

// The test level of this process.
//
// Threads: any.  Ownership: none.  Errors: a missing or malformed registry value is level 0.  Units: 0 to 5.

namespace NorvikLibInternal {

// From the registry, read once; 2 while a failure hook is installed.
unsigned GetTestLevel();

}  // namespace NorvikLibInternal
