#include "Shared/Internal/JR_BoardDecision.h"

#include <algorithm>

namespace NorvikLibInternal {
namespace {

constexpr BoardKind kBoards[] = {
    {eMB_Unknown, "Unknown", "-u"},
    {eMB_PortwellWade8020, "Portwell WADE-8020", "-w"},
    {eMB_EmersonMITXCore810, "Emerson MITX-CORE-810/820", "-e"},
    {eMB_AICPhoenix, "Halvane Engine AIC Phoenix", "-se"},
    {eMB_AICTucana, "Halvane Engine AIC Tucana", "-t"},
    {eMB_CongatecIC170, "Congatec IC170", "-c"},
    {eMB_PortwellWade8132, "Portwell WADE-8132", "-p"},
};

// The boards in the order in which they are looked for. The firmware's text goes before the marker file of the same
// board, and a marker file before the text of a later board: a machine whose firmware says nothing useful, or the
// wrong thing, can be forced to a board.
struct BoardRule {
    EMotherboard board;
    const char* baseBoardProduct;   // null: a board by AIC, told by the system's product name
    const char* systemProductName;  // of such a board
    const char* markerFile;
};

constexpr BoardRule kRules[] = {
    {eMB_EmersonMITXCore810, "MITX-CORE-810/820", nullptr, "C:\\HalvaneConsole.txt"},
    {eMB_CongatecIC170, "IC17X", nullptr, "C:\\HalvaneConsole2.txt"},
    {eMB_PortwellWade8132, "WADE-8132-K7R", nullptr, "C:\\HalvaneConsole3.txt"},
    {eMB_AICPhoenix, nullptr, "Grantley", "C:\\HalvaneEngine.txt"},
    {eMB_AICTucana, nullptr, "74-503-TU", "C:\\HalvaneEngine2.txt"},
};

bool Is(BoardSource& source, const char* name, const char* text) {
    Cmn_String value;
    return source.Read(name, value) && value == text;
}

bool IsByAIC(BoardSource& source) {
    return Is(source, "BaseBoardManufacturer", "AIC") || Is(source, "SystemManufacturer", "AIC");
}

Cmn_String Quoted(const char* name, const char* value) {
    return Cmn_String(name) + " is \"" + value + "\"";
}

// Whether the rule's board is this one; says what by.
bool Matches(BoardSource& source, const BoardRule& rule, Cmn_String& outEvidence) {
    if (rule.baseBoardProduct != nullptr && Is(source, "BaseBoardProduct", rule.baseBoardProduct)) {
        outEvidence = Quoted("BaseBoardProduct", rule.baseBoardProduct);
    } else if (rule.systemProductName != nullptr && IsByAIC(source) &&
               Is(source, "SystemProductName", rule.systemProductName)) {
        outEvidence = Quoted("SystemProductName", rule.systemProductName) + ", made by AIC";
    } else if (source.IsFile(rule.markerFile)) {
        outEvidence = Cmn_String("marker file ") + rule.markerFile;
    } else {
        return false;
    }
    return true;
}

void JudgeUnrecognised(BoardSource& source, BoardVerdict& verdict) {
    verdict.isUnrecognised = true;
    for (std::size_t i = 0; i < kFirmwareValues.size(); ++i)
        verdict.wasRead[i] = source.Read(kFirmwareValues[i].name, verdict.values[i]);

    const auto& [product, manufacturer, systemManufacturer, systemProduct] = verdict.values;
    if (systemProduct == "Grantley" && systemManufacturer == "Insyde") {
        verdict.board = eMB_AICPhoenix;
        verdict.isSuspectUnconfigured = true;
        verdict.warning = "SMBIOS doesn't report proper manufacturer, but we suspect AIC Phoenix.\n";
        verdict.evidence = Quoted("SystemProductName", "Grantley") + ", made by Insyde: suspected";
    } else if (std::ranges::all_of(verdict.values, &Cmn_String::IsEmpty)) {
        verdict.isSuspectUnconfigured = true;
        verdict.warning = "No information about motherboard found.\n";
        verdict.evidence = "the firmware says nothing";
    } else {
        verdict.evidence = "the firmware names no known board";
    }
}

}  // namespace

const BoardKind* FindBoardKind(EMotherboard board) {
    const auto found = std::ranges::find(kBoards, board, &BoardKind::board);
    return found != std::end(kBoards) ? found : nullptr;
}

BoardVerdict DecideBoard(BoardSource& source) {
    BoardVerdict verdict;
    for (const BoardRule& rule : kRules) {
        if (!Matches(source, rule, verdict.evidence)) continue;
        verdict.board = rule.board;
        return verdict;
    }
    JudgeUnrecognised(source, verdict);
    return verdict;
}

SystemVerdict DecideSystemType(SystemSource& source) {
    if (const auto forced = source.ReadSetting("Force System Type")) {
        // Whatever the number is: who forces a system knows what for.
        return {static_cast<ESystemType>(static_cast<int32_t>(*forced))};
    }
    const bool isTdiDllPresent = source.IsTdiDllPresent();
    const bool isEmbedded = source.IsEmbedded();
    if (!isEmbedded) {
        if (source.ReadSetting("Standalone Mode").value_or(1) != 0) return {eSystem_Standalone};
        if (!isTdiDllPresent) return {eSystem_Standalone, "isTdiDllPresent"};
    }
    bool suspectUnconfigured = false;
    switch (source.GetBoard(suspectUnconfigured)) {
        case eMB_PortwellWade8020:
            return {eSystem_LegacyConsole, "false"};
        case eMB_EmersonMITXCore810:
        case eMB_CongatecIC170:
        case eMB_PortwellWade8132:
            return {eSystem_Console};
        case eMB_AICPhoenix:
        case eMB_AICTucana:
            return {eSystem_Engine};
        default:
            // An unknown board is an engine on purpose: only a board that is known for a console's gets a controller.
            if (suspectUnconfigured || !isEmbedded) return {eSystem_Engine};
            return {eSystem_Engine, "suspectUnconfigured || !IsWindowsEmbedded()"};
    }
}

}  // namespace NorvikLibInternal
