// A board value after the library has been given up, against an atomic load. Temperatures are polled for weeks.

#include <atomic>
#include <cstring>

#include "Shared/Internal/JR_VendorLibrary.h"
#include "Shared/JR_EmersonSBCController.h"
#include "bench/Bench.h"

namespace {

std::atomic<int> gVendorCalls{0};

unsigned UnknownError() {
    ++gVendorCalls;
    return 0xFFFFF0FF;
}

// A vendor's library that does not know its board: everything but the initialisation fails.
void LoadUnknowingLibrary() {
    auto& calls = NorvikLibInternal::GetLibraryCalls();
    calls.load = [](LPCSTR) { return ::GetModuleHandleA(nullptr); };
    calls.find = [](HMODULE, LPCSTR name) {
        static unsigned (*const sSuccess)() = [] { return 0u; };
        const bool isLibrary = std::strncmp(name, "EApiLib", 7) == 0;
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(isLibrary ? sSuccess : &UnknownError));
    };
    calls.free = [](HMODULE) { return TRUE; };
}

const Subject kGivenUp(
    "board value, given up", Run::kFree, "an atomic load", 0,
    [](benchmark::State& state) {
        LoadUnknowingLibrary();
        const JR_EmersonSBCController board;
        const int calls = gVendorCalls;
        for (auto _ : state)
            benchmark::DoNotOptimize(board.GetBoardInfo(JR_EmersonSBCController::eBoardValue_CPUTemp));
        if (gVendorCalls != calls) state.SkipWithError("the library was called");
    },
    [](benchmark::State& state) {
        std::atomic<bool> flag{true};
        for (auto _ : state)
            benchmark::DoNotOptimize(flag.load());
    });

}  // namespace
