#include "Shared/Internal/JR_BoardDecision.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace {

using namespace NorvikLibInternal;

// Values and the names of marker files; nullptr is a value that is missing.
struct Firmware : BoardSource {
    bool Read(const char* name, Cmn_String& outValue) override {
        const auto at = std::ranges::find(kFirmwareValues, std::string(name), &FirmwareValue::name);
        const char* value = values[static_cast<size_t>(at - kFirmwareValues.begin())];
        if (value != nullptr) outValue = value;
        return value != nullptr;
    }
    bool IsFile(const char* path) override {
        return std::string(markers).find(path + 10) != std::string::npos;
    }

    const char* values[4] = {};
    const char* markers = "";
};

TEST(JR_BoardDecision, RecognisesBoardsByFirmwareAndMarkerFilesInTheirOrder) {
    const char* const none = "names no known board";
    const struct {
        const char *product, *maker, *systemMaker, *systemProduct, *markers;
        EMotherboard board;
        const char* evidence;
    } cases[] = {
        {"MITX-CORE-810/820", "AIC", "AIC", "Grantley", "", eMB_EmersonMITXCore810,
         "is \"MITX-CORE-810/820\""},
        {"mitx-core-810/820", "", "", "", "", eMB_Unknown, none},
        {"IC17X", "", "", "", "Console3.txt Engine.txt", eMB_CongatecIC170, "BaseBoardProduct is \"IC17X\""},
        {"IC17X", "", "", "", "Console.txt", eMB_EmersonMITXCore810, "file C:\\HalvaneConsole.txt"},
        {nullptr, "", "", "", "Console2.txt", eMB_CongatecIC170, "HalvaneConsole2.txt"},
        {"WADE-8132-K7R", "", "", "", "", eMB_PortwellWade8132, "WADE-8132-K7R"},
        {"WADE-8132-K7R", "", "", "", "Console2.txt", eMB_CongatecIC170, "HalvaneConsole2.txt"},
        {"", "AIC", "", "Grantley", "Console3.txt Engine2.txt", eMB_PortwellWade8132, "HalvaneConsole3.txt"},
        {"", "AIC", nullptr, "Grantley", "", eMB_AICPhoenix, "\"Grantley\", made by AIC"},
        {"", nullptr, "AIC", "Grantley", "Engine2.txt", eMB_AICPhoenix, "made by AIC"},
        {"Grantley", "AIC", "", "", "", eMB_Unknown, none},
        {"", "aic", "", "Grantley", "", eMB_Unknown, none},
        {"", "", "AIC", "74-503-TU", "", eMB_AICTucana, "74-503-TU"},
        {"", "AIC", "", "74-503-TU", "Engine.txt", eMB_AICPhoenix, "HalvaneEngine.txt"},
        {"", "", "Insyde", "Grantley", "Engine2.txt", eMB_AICTucana, "HalvaneEngine2.txt"},
        {"x", "y", "Insyde", "Grantley", "", eMB_AICPhoenix, "suspected"},
        {"", "Insyde", "", "Grantley", "", eMB_Unknown, none},
        {"", "", "", "", "", eMB_Unknown, "says nothing"},
        {nullptr, nullptr, nullptr, nullptr, "", eMB_Unknown, "says nothing"},
        {nullptr, nullptr, nullptr, "x", "", eMB_Unknown, none},
    };
    for (const auto& c : cases) {
        Firmware firmware;
        firmware.values[0] = c.product, firmware.values[1] = c.maker;
        firmware.values[2] = c.systemMaker, firmware.values[3] = c.systemProduct;
        firmware.markers = c.markers;
        const BoardVerdict verdict = DecideBoard(firmware);
        const std::string evidence(verdict.evidence), warning(verdict.warning ? verdict.warning : "");
        EXPECT_EQ(verdict.board, c.board) << evidence;
        EXPECT_THAT(evidence, testing::HasSubstr(c.evidence));
        const bool suspected = evidence.ends_with("suspected"), nothing = evidence.ends_with("nothing");
        EXPECT_EQ(verdict.isSuspectUnconfigured, suspected || nothing) << evidence;
        EXPECT_EQ(verdict.isUnrecognised, suspected || c.board == eMB_Unknown) << evidence;
        const char* const expected[] = {
            "", "No information about motherboard found.\n",
            "SMBIOS doesn't report proper manufacturer, but we suspect AIC Phoenix.\n"};
        EXPECT_EQ(warning, expected[2 * suspected + nothing]);
    }
}

struct Settings : SystemSource {
    Settings(std::optional<uint32_t> f, std::optional<uint32_t> s, const std::string& found, EMotherboard b)
        : forced(f), standalone(s), state(found), board(b) {}
    bool Is(char letter) const { return state.find(letter) != std::string::npos; }

    std::optional<uint32_t> ReadSetting(const char* name) override {
        return std::string(name) == "Force System Type" ? forced
               : std::string(name) == "Standalone Mode" ? standalone
                                                        : throw std::logic_error(name);
    }
    bool IsTdiDllPresent() override { return Is('t'); }
    bool IsEmbedded() override { return Is('e'); }
    EMotherboard GetBoard(bool& outSuspectUnconfigured) override {
        wasAsked = true;
        outSuspectUnconfigured = Is('s');
        return board;
    }

    std::optional<uint32_t> forced, standalone;
    std::string state;  // t: TDI.dll is there, e: embedded, s: suspect
    EMotherboard board;
    bool wasAsked = false;
};

TEST(JR_BoardDecision, DecidesTheKindOfMachine) {
    constexpr std::optional<uint32_t> none;
    const struct {
        Settings settings;
        int type;
        std::string failed;
        bool asksForBoard;
    } cases[] = {
        {{0, 0, "te", eMB_AICTucana}, 0, "", false},
        {{77, none, "e", eMB_Unknown}, 77, "", false},
        {{0xFFFFFFFF, none, "", eMB_Unknown}, -1, "", false},
        {{none, none, "t", eMB_CongatecIC170}, eSystem_Standalone, "", false},
        {{none, 1, "t", eMB_CongatecIC170}, eSystem_Standalone, "", false},
        {{none, 0, "", eMB_CongatecIC170}, eSystem_Standalone, "isTdiDllPresent", false},
        {{none, 0, "t", eMB_CongatecIC170}, eSystem_Console, "", true},
        {{none, 1, "e", eMB_EmersonMITXCore810}, eSystem_Console, "", true},
        {{none, none, "e", eMB_PortwellWade8132}, eSystem_Console, "", true},
        {{none, none, "e", eMB_PortwellWade8020}, eSystem_LegacyConsole, "false", true},
        {{none, none, "es", eMB_AICPhoenix}, eSystem_Engine, "", true},
        {{none, none, "e", eMB_AICTucana}, eSystem_Engine, "", true},
        {{none, none, "es", eMB_Unknown}, eSystem_Engine, "", true},
        {{none, none, "e", eMB_Unknown}, eSystem_Engine, "suspectUnconfigured || !IsWindowsEmbedded()", true},
        {{none, 0, "t", eMB_Unknown}, eSystem_Engine, "", true},
    };
    for (const auto& c : cases) {
        Settings settings = c.settings;
        const SystemVerdict verdict = DecideSystemType(settings);
        EXPECT_EQ(static_cast<int>(verdict.type), c.type) << &c - cases;
        EXPECT_EQ(verdict.failedCheck ? verdict.failedCheck : "", c.failed) << &c - cases;
        EXPECT_EQ(settings.wasAsked, c.asksForBoard) << &c - cases;
    }
}

}  // namespace
