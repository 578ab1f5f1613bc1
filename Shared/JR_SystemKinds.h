#pragma once

// The mainboards, kinds of machine, engine processors and shell commands that the system knows.
//
//   if (JR_ShellApp::GetSystemType() == eSystem_Console) ShowSurface();
//
// Threads:   any
// Ownership: none
// Errors:    none
// Units:     the numbers are fixed: other programs and settings carry them

#include <cstdint>

enum EMotherboard : int32_t {
    eMB_Running = -1,  // for the look-ups of name and signature: the board that this program runs on
    eMB_Unknown = 0,
    eMB_PortwellWade8020 = 1,    // obsolete
    eMB_EmersonMITXCore810 = 2,  // console
    eMB_AICPhoenix = 3,          // engine
    eMB_AICTucana = 4,           // engine
    eMB_CongatecIC170 = 5,       // console
    eMB_PortwellWade8132 = 6,    // console
};

enum ESystemType : int32_t {
    eSystem_Standalone = 0,     // an ordinary PC, no console hardware
    eSystem_LegacyConsole = 1,  // a console on the obsolete board
    eSystem_Console = 2,        // a control-surface computer
    eSystem_Engine = 3,         // an engine computer
};

// The processors that engines are built with.
enum EEngineProcessorType : int32_t {
    eEngineProcessor_Unknown = -1,
    eEngineProcessor_E5_2620v3 = 0,
    eEngineProcessor_E5_2640v3 = 1,
    eEngineProcessor_E5_2680v3 = 2,
    eEngineProcessor_E5_2620v4 = 3,
    eEngineProcessor_E5_2640v4 = 4,
    eEngineProcessor_Silver4310 = 5,
    eEngineProcessor_Silver4310T = 6,
    eEngineProcessor_Gold6326 = 7,
};

// What the shell can be asked for. The numbers are the shell's, which may know more than are named here.
enum EShellAppCommand : int32_t {
    eShellAppCommand_SoftwareRestart = 6,
};
