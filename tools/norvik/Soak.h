#pragma once

// What the endurance run's controller and its parts agree on (docs/soak.md).
//
// Threads: any.  Ownership: literals.  Errors: none.  Units: none.

namespace NorvikTool {

constexpr char cSteadyEngine[] =
    "engine1";  // never killed: its log, its address and its memory are looked at
constexpr char cMortalEngine[] = "engine2";
constexpr char cLifeSign[] = "Life sign ";  // and a number, in the log
constexpr int cShellCommand = 9;            // one that nobody acts on

}  // namespace NorvikTool
