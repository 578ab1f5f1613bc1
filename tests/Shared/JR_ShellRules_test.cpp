#include "Shared/Internal/JR_ShellRules.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace NorvikLibInternal;

constexpr char cUnknownBoard[] = "!\"unknown motherboard!\"";
constexpr char cNoCount[] = "!\"GetRAMRequirement: valid CPU count is needed for this case\"";
constexpr char cOddCount[] = "Unexpected CPU count detected!\n";

struct Machine : MemorySource {
    EMotherboard GetBoard() override { return board; }
    bool IsEmbedded() override { return isEmbedded; }
    EEngineProcessorType GetProcessor() override { return processor; }
    EMotherboard board = eMB_Unknown;
    bool isEmbedded = false;
    EEngineProcessorType processor = eEngineProcessor_Unknown;
};

TEST(JR_ShellRules, EachMachineHasItsMemory) {
    using Numbers = std::vector<int>;
    const struct {
        Numbers systems, boards, processors, cores;
        bool isEmbedded;
        unsigned required;
        const char *check = "", *trace = "";
    } rows[] = {{{0, 1}, {0, 2}, {-1}, {8}, true, 1},
                {{2}, {0}, {-1}, {8}, false, 0},
                {{2}, {1, 2}, {-1}, {8}, false, 8},
                {{2}, {0}, {-1}, {8}, true, 8, cUnknownBoard},
                {{3}, {3}, {-1}, {8}, false, 0},
                {{3}, {3}, {-1}, {8}, true, 0, "!IsWindowsEmbedded()"},
                {{3}, {3}, {0, 3}, {6, 8}, true, 16},
                {{3}, {3}, {0, 3}, {12, 16}, true, 32},
                {{3}, {3}, {0, 3}, {0}, true, 0, cNoCount},
                {{3}, {3}, {0, 3}, {1, 5, 7, 9, 11, 13, 15, 17}, true, 0, "false", cOddCount},
                {{3}, {3}, {1, 2, 4, 5, 6}, {0, 7}, true, 32},
                {{3}, {3}, {7}, {0, 7}, true, 64},
                {{-1, 4}, {2}, {-1}, {8}, true, 0, "false"}};
    const auto check = [](const auto& row, int system, int board, int processor, int cores) {
        SCOPED_TRACE(testing::Message() << system << " " << board << " " << processor << " " << cores);
        Machine machine;
        machine.board = static_cast<EMotherboard>(board);
        machine.processor = static_cast<EEngineProcessorType>(processor);
        machine.isEmbedded = row.isEmbedded;
        const MemoryVerdict verdict =
            DecideMemory(static_cast<ESystemType>(system), static_cast<unsigned>(cores), machine);
        EXPECT_EQ(verdict.required, row.required);
        EXPECT_EQ(verdict.flag, system != 2 || board != 2);
        EXPECT_STREQ(verdict.failedCheck ? verdict.failedCheck : "", row.check);
        EXPECT_STREQ(verdict.trace ? verdict.trace : "", row.trace);
    };
    for (const auto& row : rows)
        for (const int system : row.systems)
            for (const int board : row.boards)
                for (const int processor : row.processors)
                    for (const int cores : row.cores)
                        check(row, system, board, processor, cores);
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
        if (NotifiesRestartCallback(command)) called += std::to_string(command) + " ";
    EXPECT_EQ(called, "3 4 5 6 8 9 10 11 12 13 ");
    const uint64_t mebibyte = 1 << 20, more = (31 * 1024 + 1) * mebibyte;  // than 31 GB
    EXPECT_EQ(ToGigabytes(more), 32u);
    EXPECT_EQ(ToGigabytes(more - 1), 31u) << "what is less than a mebibyte does not count";
}

}  // namespace
