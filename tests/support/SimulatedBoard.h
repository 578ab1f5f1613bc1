#pragma once

// A stand-in of a vendor's library for the time of a test: in the library search, with a board file of the test's
// own.
//
//   SimulatedBoard board("eapi", "EApi_1.dll");
//   board.Describe("EApiBoardGetValue 0x20000 = 3262\n");
//
// Threads: one.  Ownership: the board file.  Errors: none.  Units: none.

#include <string>

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "Shared/Internal/JR_VendorLibrary.h"
#include "tests/support/TempFolder.h"

// A folder of stand-ins in the build tree.
inline std::string StandinFolder(const std::string& name) {
    return ProgramFolder() + "\\..\\standins\\" + name;
}

class SimulatedBoard {
public:
    SimulatedBoard(const std::string& folder, const char* library) : mLibrary(library) {
        ::SetDllDirectoryA(StandinFolder(folder).c_str());
        ::SetEnvironmentVariableA("NORVIK_BOARD_FILE", mFolder.Path("board.txt").c_str());
        mUsual = ReadWholeFile(StandinFolder(folder) + "\\board.txt");
        Describe("");
    }
    ~SimulatedBoard() {
        NorvikLibInternal::GetLibraryCalls() = {};
        ::SetEnvironmentVariableA("NORVIK_BOARD_FILE", nullptr);
        ::SetDllDirectoryA(nullptr);
    }

    // The usual board, with these lines over it.
    void Describe(const std::string& lines) {
        WriteWholeFile(mFolder.Path("board.txt"), mUsual + "\n" + lines);
    }

    // The calls since the last time, "Function argument|" each; empty when the library is not loaded.
    std::string TakeCalls() {
        const HMODULE module = ::GetModuleHandleA(mLibrary);
        if (module == nullptr) return "";
        const auto take = NorvikLibInternal::FindFunction<const char* (*)()>(module, "NorvikTakeBoardCalls");
        std::string calls = take();
        for (char& c : calls)
            if (c == '\n') c = '|';
        return calls;
    }

private:
    const TempFolder mFolder;
    const char* const mLibrary;
    std::string mUsual;
};
