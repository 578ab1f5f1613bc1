#pragma once

// Which mainboard and which kind of machine this is: decided from what the firmware left in the registry, marker
// files and settings. Nothing here knows where the answers come from.
//
//   const BoardVerdict verdict = DecideBoard(source);
//   if (verdict.isUnrecognised) Trace(verdict.values);
//
// Threads:   any
// Ownership: texts are literals, or owned by the verdict
// Errors:    what cannot be read counts as empty
// Units:     none

#include <array>
#include <cstdint>
#include <optional>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "Shared/JR_SystemKinds.h"

namespace NorvikLibInternal {

// ---- The boards by number.
struct BoardKind {
    EMotherboard board;
    const char* name;
    const char* signature;
};

// Null for a number that no board has.
NORVIK_API const BoardKind* FindBoardKind(EMotherboard board);

// ---- Recognising the board.
class BoardSource {
public:
    virtual ~BoardSource() = default;
    // False, with the text left alone, when there is no such value.
    virtual bool Read(const char* name, Cmn_String& outValue) = 0;
    virtual bool IsFile(const char* path) = 0;
};

struct FirmwareValue {
    const char* name;
    const char* readCheck;  // how the report of a failed read calls it
};

// In the order in which they are read, traced and reported.
inline constexpr std::array<FirmwareValue, 4> kFirmwareValues = {{
    {"BaseBoardProduct", "reg.Read(\"BaseBoardProduct\", product)"},
    {"BaseBoardManufacturer", "reg.Read(\"BaseBoardManufacturer\", manufacturer)"},
    {"SystemManufacturer", "reg.Read(\"SystemManufacturer\", sysManufacturer)"},
    {"SystemProductName", "reg.Read(\"SystemProductName\", sysProduct)"},
}};

struct BoardVerdict {
    EMotherboard board = eMB_Unknown;
    bool isSuspectUnconfigured = false;
    Cmn_String evidence;            // what it was recognised by, in words
    const char* warning = nullptr;  // what to warn of, or null

    // The four values, when they and the marker files say nothing.
    bool isUnrecognised = false;
    std::array<bool, 4> wasRead = {};
    std::array<Cmn_String, 4> values;
};

NORVIK_API BoardVerdict DecideBoard(BoardSource& source);

// ---- The kind of machine.
class SystemSource {
public:
    virtual ~SystemSource() = default;
    virtual std::optional<uint32_t> ReadSetting(const char* name) = 0;
    virtual bool IsTdiDllPresent() = 0;
    virtual bool IsEmbedded() = 0;
    virtual EMotherboard GetBoard(bool& outSuspectUnconfigured) = 0;
};

struct SystemVerdict {
    ESystemType type;
    const char* failedCheck = nullptr;  // the text of a check that failed on the way, or null
};

NORVIK_API SystemVerdict DecideSystemType(SystemSource& source);

}  // namespace NorvikLibInternal
