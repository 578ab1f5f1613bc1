#pragma once

// The text file that describes a simulated board, and the calls that a stand-in was asked for. A line of the file
// says what a function answers, alone or for one ID:
//
//   # an Emerson board that has become hot
//   EApiBoardGetStringA 0 = Emerson Network Power
//   EApiBoardGetValue 0x20000 = 3632
//   EApiWDogStart = !0xFFFFFEFA          the status, instead of success
//
// The file is read anew by every call, so that it can be edited while a program runs. It is the one that the
// environment variable NORVIK_BOARD_FILE names, or board.txt beside the stand-in.
//
// Threads:   any
// Ownership: none
// Errors:    a file that cannot be read has no lines
// Units:     numbers are decimal, or hexadecimal after 0x; several are separated by blanks or commas

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

// What the file says to a call.
struct BoardAnswer {
    std::optional<uint32_t> status;  // "!0x...": the call fails with it
    std::string text;

    // The n-th number of the text, 0 when there is none.
    uint32_t Number(std::size_t n = 0) const;
};

// For "Function ID" or, without such a line, "Function". Nothing when the file has neither.
std::optional<BoardAnswer> FindBoardAnswer(const std::string& function, std::optional<uint32_t> id = {});

// What a program has set is kept over the file's line for as long as the stand-in is loaded.
void KeepBoardAnswer(const std::string& function, uint32_t id, uint32_t value);

// Notes a call: "EApiWDogStart 0x0 0x3E8 0x7D0".
void NoteBoardCall(const std::string& function, std::initializer_list<uint32_t> arguments = {});

// Exported by the stand-ins: the calls since the last time, each on a line. Good until the next one.
extern "C" __declspec(dllexport) const char* NorvikTakeBoardCalls();
