#pragma once

// The board, looked for anew: for tools that want to know what it is recognised by. Programs ask JR_ShellApp.
//
//   const BoardVerdict verdict = ExamineBoard();   // verdict.evidence: "marker file C:\HalvaneConsole.txt"
//
// Threads:   any
// Ownership: the verdict owns its texts
// Errors:    nothing is traced or reported
// Units:     none

#include "Shared/Internal/JR_BoardDecision.h"

namespace NorvikLibInternal {

NORVIK_API BoardVerdict ExamineBoard();

}  // namespace NorvikLibInternal
