#include "Shared/Internal/JR_ShellRules.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace NorvikLibInternal;

constexpr char cUnknownBoard[] = "!\"unknown motherboard!\"";
constexpr char cNoCount[] = "!\"GetRAMRequirement: valid CPU count is needed for this case\"";

struct Machine : MemorySource {
    EMotherboard GetBoard() override { return board; }
    bool IsEmbedded() override { return isEmbedded; }
    EEngineProcessorType GetProcessor() override { return processor; }
    EMotherboard board = eMB_Unknown;
    bool isEmbedded = false;
    EEngineProcessorType processor = eEngineProcessor_Unknown;
};

TEST(JR_ShellRules, EachMachineHasItsMemory) {
    const struct {
        int system, board;
        bool isEmbedded;
        unsigned required;
        bool flag;
        const char* check;
    } machines[] = {{0, 0, true, 1, true, ""},
                    {1, 2, true, 1, true, ""},
                    {2, 0, false, 0, true, ""},
                    {2, 1, false, 8, true, ""},
                    {2, 2, false, 8, false, ""},
                    {2, 0, true, 8, true, cUnknownBoard},
                    {2, 5, true, 8, true, ""},
                    {2, 6, false, 8, true, ""},
                    {2, 3, true, 8, true, ""},
                    {3, 3, false, 0, true, ""},
                    {-1, 2, true, 0, true, "false"},
                    {4, 2, true, 0, true, "false"},
                    {3, 3, true, 0, true, "!IsWindowsEmbedded()"}};
    for (const auto& m : machines) {
        Machine machine;
        machine.board = static_cast<EMotherboard>(m.board);
        machine.isEmbedded = m.isEmbedded;
        const MemoryVerdict verdict = DecideMemory(static_cast<ESystemType>(m.system), 8, machine);
        EXPECT_EQ(verdict.required, m.required) << m.system << " " << m.board;
        EXPECT_EQ(verdict.flag, m.flag) << m.system << " " << m.board;
        EXPECT_STREQ(verdict.failedCheck ? verdict.failedCheck : "", m.check);
        EXPECT_EQ(verdict.trace, nullptr);
    }
}

TEST(JR_ShellRules, AnEnginesMemoryFollowsFromProcessorAndCores) {
    const unsigned byProcessor[] = {0, 32, 32, 0, 32, 32, 32, 64};  // 0: by the cores
    for (int processor = 0; processor < 8; ++processor) {
        for (unsigned cores = 0; cores < 20; ++cores) {
            Machine machine;
            machine.processor = static_cast<EEngineProcessorType>(processor);
            const bool counts = byProcessor[processor] == 0;
            const unsigned byCores = cores == 6 || cores == 8 ? 16 : cores == 12 || cores == 16 ? 32 : 0;
            const MemoryVerdict verdict = DecideMemory(eSystem_Engine, cores, machine);
            EXPECT_EQ(verdict.required, counts ? byCores : byProcessor[processor])
                << processor << " " << cores;
            const bool isWrong = counts && byCores == 0;
            const char* const check = cores == 0 ? cNoCount : "false";
            EXPECT_STREQ(verdict.failedCheck ? verdict.failedCheck : "", isWrong ? check : "");
            EXPECT_STREQ(verdict.trace ? verdict.trace : "",
                         isWrong && cores != 0 ? "Unexpected CPU count detected!\n" : "");
        }
    }
}

TEST(JR_ShellRules, AProcessorIsKnownByItsNameAndEveryPrefixIsReadWithinItsBounds) {
    const struct {
        std::string brand;
        int type;
        size_t knownFrom;  // characters
    } brands[] = {{"Intel(R) Xeon(R) CPU E5-2620 v3 @ 2.40GHz", 0, 31},
                  {"     E5-2640 v3", 1, 15},
                  {"Intel(R) Xeon(R) CPU E5-2680 v3", 2, 31},
                  {"Intel(R) Xeon(R) CPU E5-2620 v4 @ 2.10GHz", 3, 31},
                  {"Intel(R) Xeon(R) CPU E5-2640 v4", 4, 31},
                  {"Intel(R) Xeon(R) Silver 4310 CPU @ 2.10GHz", 5, 28},
                  {"Intel(R) Xeon(R) Gold 6326 CPU @ 2.90GHz", 7, 26},
                  {" Intel(R) Xeon(R) CPU E5-2620 v4 @ 2.10GHz", -1, 0},
                  {"E5-2640 v4", -1, 0},
                  {"Intel(R) Xeon(R) CPU E5-2620 V3", -1, 0}};
    for (const auto& b : brands) {
        for (size_t length = 0; length <= b.brand.size(); ++length) {
            const std::vector<char> exact(b.brand.begin(), b.brand.begin() + static_cast<ptrdiff_t>(length));
            const int type = ClassifyProcessor({exact.data(), exact.size()});
            EXPECT_EQ(type, b.type != -1 && length >= b.knownFrom ? b.type : -1) << b.brand.substr(0, length);
        }
    }
    EXPECT_EQ(ClassifyProcessor("Intel(R) Xeon(R) Silver 4310T CPU @ 2.30GHz"), 6)
        << "its prefix is a name, too";
    EXPECT_EQ(ClassifyProcessor("Gold 6326 Silver 4310T E5-2680 v3"), 2) << "the order of the names counts";
}

TEST(JR_ShellRules, CommandsThatCallBackAndWholeGigabytes) {
    std::string called;
    for (int command = -1; command < 40; ++command)
        if (CallsBack(command)) called += std::to_string(command) + " ";
    EXPECT_EQ(called, "3 4 5 6 8 9 10 11 12 13 ");
    const uint64_t mebibyte = 1 << 20, gibibyte = mebibyte << 10;
    EXPECT_EQ(ToGigabytes(32 * gibibyte), 32u);
    EXPECT_EQ(ToGigabytes(31 * gibibyte + mebibyte), 32u);
    EXPECT_EQ(ToGigabytes(31 * gibibyte + mebibyte - 1), 31u)
        << "what is less than a mebibyte does not count";
    EXPECT_EQ(ToGigabytes(UINT64_MAX), uint64_t{1} << 34);
}

}  // namespace
