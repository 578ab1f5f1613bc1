#include "Shared/JR_EmersonSBCController.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>

#include "JRCmn/Cmn_LookupTable.h"
#include "Shared/Internal/JR_EApi.h"
#include "Shared/Internal/JR_EApiTables.h"
#include "tests/support/SimulatedBoard.h"
#include "tests/support/TraceCapture.h"

namespace {

using namespace NorvikLibInternal;
using Emerson = JR_EmersonSBCController;
using testing::HasSubstr;

constexpr char cOtherMaker[] = "EApiBoardGetStringA 0 = Other\n";
constexpr char cFailure[] =
    "'!\"JR_EmersonSBCController failure\"' failed in Shared\\JR_EmersonSBCController.cpp(";

struct Board : SimulatedBoard {
    explicit Board(const std::string& lines = {}) : SimulatedBoard("eapi", "EApi_1.dll") { Describe(lines); }
    // The calls of making the controller are taken.
    std::unique_ptr<Emerson> Controller() {
        auto controller = std::make_unique<Emerson>();
        TakeCalls();
        return controller;
    }
};

struct JR_EmersonController : testing::Test {
    Board board;
    std::unique_ptr<Emerson> controller = board.Controller();
};

bool Traced(const std::string& text) {
    return AnyContains(TakeTraces(), text);
}

// The call that an operation makes, what it tries, the numbers that it gives (0 each when it fails), and itself.
struct Operation {
    std::string call;
    std::string what;
    std::vector<unsigned> results;
    void (*run)(Emerson& b, unsigned* r);

    std::string Name() const { return call.substr(0, call.find(' ')); }
    bool Gives(Emerson& controller, const std::vector<unsigned>& expected) const {
        std::vector<unsigned> given(4, 7);
        run(controller, given.data());
        return std::equal(expected.begin(), expected.end(), given.begin());
    }
    bool Fails(Emerson& controller) const { return Gives(controller, std::vector<unsigned>(results.size())); }
};

constexpr auto kLight = Emerson::eBackLight_1;
constexpr auto kGPIO1 = static_cast<Emerson::tGPIOPhysicalID>(2);
constexpr auto kFan3 = static_cast<Emerson::tFanStepLevelID>(3);
using E = Emerson;
using U = unsigned;

// clang-format off
const Operation cOperations[] = {
    {"EApiVgaGetBacklightEnable 0x0", "get backlight enable", {1}, [](E& b, U* r) { *r = b.IsBacklightEnabled(kLight); }},
    {"EApiVgaSetBacklightEnable 0x0 0xFFFFFFFF", "set backlight enable", {}, [](E& b, U*) { b.SetBacklightEnable(false, kLight); }},
    {"EApiVgaGetBacklightBrightness 0x0", "get backlight brightness", {60}, [](E& b, U* r) { *r = b.GetBacklightBrightness(kLight); }},
    {"EApiVgaSetBacklightBrightness 0x0 0x28", "set backlight brightness", {}, [](E& b, U*) { b.SetBacklightBrightness(40); }},
    {"EApiWDogGetCap", "get watchdog capabilities", {9, 8, 6}, [](E& b, U* r) { b.GetWatchDogCapabilities(r[0], r[1], r[2]); }},
    {"EApiWDogStart 0x1 0x2 0x3", "start watchdog", {}, [](E& b, U*) { b.StartWatchdog(1, 2, 3); }},
    {"EApiWDogTrigger", "pet watchdog", {}, [](E& b, U*) { b.PetWatchDog(); }},
    {"EApiWDogStop", "stop watchdog", {}, [](E& b, U*) { b.StopWatchDog(); }},
    {"EApiGPIOGetDirection 0x1 0x1", "get direction of GPIO - 1", {1}, [](E& b, U* r) { *r = b.GetGPIODirection(kGPIO1); }},
    {"EApiGPIOGetLevel 0x1 0x1", "get level of GPIO - 1", {1}, [](E& b, U* r) { *r = b.GetGPIOLevel(kGPIO1); }},
    {"EApiGPIOSetLevel 0x0 0x1 0x1", "set level of GPIO - 0", {}, [](E& b, U*) { b.SetGPIOLevel(E::eGPIO_0, E::eGPIOLevel_High); }},
    {"EApiSetHWMonitorThreshold 0x12 0x42280000", "set alert threshold", {}, [](E& b, U*) { b.SetAlertThreshold(E::eAlert_Last, 42); }},
    {"EApiAlertRegister", "set alert callback", {5}, [](E& b, U* r) { *r = 0; b.SetAlertCallback(r, [](void* c, U bits) { *static_cast<U*>(c) = bits; }); }},
    {"EApiAlertSetTimerInterval 0x1F4", "set alert timer interval", {}, [](E& b, U*) { b.SetAlertTimerInterval(500); }},
    {"EApiGetFanStepLevel 0x0", "get fan step level", {3}, [](E& b, U* r) { *r = b.GetFanStepLevel(); }},
    {"EApiSetFanStep 0x0 0x2 0x37 0x46", "set fan trip level", {}, [](E& b, U*) { b.SetFanTripLevel(kFan3, 55, 70); }},
    {"EApiGetCPUNumber", "get number of CPUs", {2}, [](E& b, U* r) { *r = b.GetCPUNumber(); }},
    {"EApiCPUGetRatioRange 0x1", "get CPU ratio capabilities", {9, 25}, [](E& b, U* r) { b.GetCPURatioCapabilities(1, r[0], r[1]); }},
    {"EApiCPUGetRatio 0x1", "get CPU ratio", {20}, [](E& b, U* r) { *r = b.GetCPURatio(1); }},
    {"EApiCPUSetRatio 0x0 0x10", "set CPU ratio", {}, [](E& b, U*) { b.SetCPURatio(0, 16); }},
    {"EApiCPUGetFrequency 0x1", "get CPU frequency", {2660}, [](E& b, U* r) { *r = b.GetCPUFrequency(1); }},
    {"EApiCpuGetUtilization 0x1", "get CPU utilization", {12, 9}, [](E& b, U* r) { b.GetCPUUtilization(1, r[0], r[1]); }},
    {"EApiBoardGetValue 0x2101C", "get Voltage 1.8V value", {12096}, [](E& b, U* r) { *r = b.GetBoardInfo(E::eBoardValue_Voltage1_8V); }},
};
// clang-format on

// Whether all operations give their defaults, without a call or a word.
bool IsInert(Emerson& controller, Board& board) {
    board.TakeCalls();
    TakeTraces();
    for (const Operation& operation : cOperations)
        EXPECT_TRUE(operation.Fails(controller)) << operation.what;
    EXPECT_EQ(controller.GetBoardInfo(Emerson::eBoardString_Name), "");
    controller.RemoveAlertCallback();
    EXPECT_EQ(controller.GetCPUTemp(), 4294967023u);
    EXPECT_EQ(controller.GetChipsetTemp(), JR_SBCController_IF::cInvalidTemperature);
    return board.TakeCalls().empty() && TakeTraces().empty();
}

TEST(JR_EmersonSBCController, OperationsCallTheLibraryAndReportFailuresOnAnEmersonBoardOnly) {
    Board board;
    for (const bool isEmerson : {true, false}) {
        const std::string usual =
            std::string(isEmerson ? "" : cOtherMaker) + "EApiAlertRegister = 5\nEApiWDogGetCap = 9 8, 6\n";
        board.Describe(usual);
        const auto controller = board.Controller();
        for (const Operation& operation : cOperations) {
            EXPECT_TRUE(operation.Gives(*controller, operation.results)) << operation.what;
            EXPECT_EQ(board.TakeCalls(), operation.call + "|");

            TakeTraces();
            std::string lines = usual;
            for (const char* id : {"", " 0", " 1", " 0x2101C"})
                lines += operation.Name() + id + " = !0xFFFFFEFF\n";
            board.Describe(lines);
            EXPECT_TRUE(operation.Fails(*controller)) << operation.what;
            const std::string failed =
                "Condition EAPI_TEST_SUCCESS(retVal) failed: RZQ SBC Controller failed to ";
            EXPECT_EQ(Traced(failed + operation.what + " with error: EAPI invalid parameter.\n"), isEmerson);

            const auto entry =
                std::ranges::find(GetEApiFunctions().entries, operation.Name(), &EApiEntry::exportedName);
            const std::string name = (*entry)->memberName;
            void* const address = (*entry)->address.exchange(nullptr);
            EXPECT_TRUE(operation.Fails(*controller)) << operation.what;
            EXPECT_EQ(ReportedOnce(cFailure), isEmerson);
            const std::string null = "Condition " + name + " failed: Function handle " + name + " is NULL.\n";
            EXPECT_EQ(Traced(null), isEmerson);
            (*entry)->address = address;
            board.Describe(usual);
            board.TakeCalls();
        }
    }
}

TEST(JR_EmersonTables, EveryStatusHasATextOfItsOwn) {
    std::set<std::string> texts;
    for (const EApiStatusText& row : kEApiStatuses) {
        EXPECT_STREQ(DescribeEApiStatus(row.status), row.text) << "a number that stands there twice";
        EXPECT_TRUE(texts.insert(row.text).second) << row.text;
    }
}

TEST_F(JR_EmersonController, AStatusWithoutATextShowsItsNumber) {
    board.Describe("EApiWDogStop = !0x12345678\n");
    controller->StopWatchDog();
    EXPECT_TRUE(Traced("with error: EAPI unknown status (0x12345678).\n"));
    EXPECT_EQ(controller->GetCPUTemp(), 53u) << "only board values and texts give up";
}

TEST_F(JR_EmersonController, ReadsBoardValuesAndTextsUnderTheIDsOfTheLibrary) {
    for (int id = -1; id <= 28; ++id)
        controller->GetBoardInfo(static_cast<Emerson::tBoardInfoValueID>(id));
    std::string calls = board.TakeCalls();
    for (size_t at; (at = calls.find("EApiBoardGetValue 0x")) != calls.npos;)
        calls.erase(at, 20);
    EXPECT_EQ(calls,
              "FFFFFFFF|FFFFFFFF|20000|20001|20002|20003|21004|21008|2100C|21010|21014|21018|2101C|21020|"
              "21024|2102C|2101C|2102D|2102E|22000|22001|21030|0|1|2|3|4|10000|10001|FFFFFFFF|");
    EXPECT_EQ(TakeReports().size(), 4u)
        << "the unmapped ones, and the chipset that this board does not measure";
    EXPECT_EQ(controller->GetBoardInfo(Emerson::eBoardString_PlatformType), "Mini-ITX");
    EXPECT_EQ(controller->GetBoardInfo(static_cast<Emerson::tBoardInfoStringID>(8)), "");
    EXPECT_TRUE(ReportedOnce("failed in Shared\\JR_EmersonSBCController.cpp(597)"));
    EXPECT_TRUE(
        Traced("Condition EAPI_STATUS_MORE_DATA == retVal failed: RZQ SBC Controller could not determine "
               "length of Unknown Info ID Type string with error: EAPI function or ID not supported.\n"));
    EXPECT_STREQ(Emerson::GetName(Emerson::eGPIO_7), "GPIO - 7");
    EXPECT_STREQ(Emerson::GetName(Emerson::eGPIOLevel_Low), "Unknown GPIO Level Type");
}

TEST_F(JR_EmersonController, TemperaturesBelowZeroWrapRound) {
    const std::pair<unsigned, unsigned> cases[] = {
        {3262, 53}, {2732, 0}, {2722, 0}, {2721, 4294967295}, {0, 4294967023}, {0xFFFFFFFF, 429496456}};
    for (const auto& [tenths, degrees] : cases) {
        board.Describe("EApiBoardGetValue 0x20003 = " + std::to_string(tenths) + "\n");
        EXPECT_EQ(controller->GetMemoryTemp(), degrees) << tenths;
    }
    EXPECT_EQ(controller->GetSystemTemp(), 38u);
}

TEST_F(JR_EmersonController, BrightnessInPercentBecomesALevel) {
    const std::pair<unsigned, unsigned> cases[] = {{0, 10},  {62, 10}, {63, 10}, {64, 20}, {79, 20},
                                                   {80, 30}, {86, 30}, {87, 40}, {91, 40}, {92, 50},
                                                   {97, 50}, {98, 60}, {100, 60}};
    for (const auto& [percent, level] : cases)
        EXPECT_EQ(controller->LookupTKVBrightness(percent), level) << percent;
    for (const unsigned percent : {101u, 0xFFFFFFFFu}) {
        EXPECT_EQ(controller->LookupTKVBrightness(percent), 60u);
        EXPECT_TRUE(ReportedOnce("'inSource <= mLastValue' failed in JRCmn\\Cmn_LookupTable.h("));
    }
    const Cmn_LookupTable<int, int> table({{-2, 8}, {2, 0}});
    EXPECT_TRUE(table.Lookup(-1) == 6 && table.Lookup(2) == 0 && table.Lookup(-3) == 8);
    EXPECT_TRUE(ReportedOnce("'inSource >= mFirstValue' failed in JRCmn\\Cmn_LookupTable.h("));
    using Table = Cmn_LookupTable<int, int>;
    EXPECT_THROW(Table({}), Cmn_AssertionFailure);
    EXPECT_THROW(Table({{1, 0}, {1, 0}}), Cmn_AssertionFailure);
    EXPECT_EQ(TakeReports().size(), 2u);
}

TEST_F(JR_EmersonController, FanAlertAndGPIONumbersAreTheVendors) {
    const std::string usual = "EApiSetFanStep = ok\nEApiGPIOSetLevel = ok\n";
    std::string steps, levels, alerts;
    for (const char step : {'0', '1', '2', '3', '4', '5', '6'}) {
        board.Describe(usual + "EApiGetFanStepLevel 0 = " + step);
        levels += std::to_string(controller->GetFanStepLevel());
    }
    EXPECT_EQ(levels, "0034560");
    board.TakeCalls();
    for (int level = 0; level <= 7; ++level)
        controller->SetFanTripLevel(static_cast<Emerson::tFanStepLevelID>(level), 1, 2);
    for (const char* step : {"1", "FF", "1", "2", "3", "4", "5", "FF"})
        steps += std::string("EApiSetFanStep 0x0 0x") + step + " 0x1 0x2|";
    EXPECT_EQ(board.TakeCalls(), steps);
    for (unsigned bit = 1; bit <= 0x40000; bit *= 2)
        alerts += std::to_string(Emerson::GetAlert(bit)) + " ";
    EXPECT_EQ(alerts, "1 2 3 4 5 6 7 8 9 10 11 12 13 0 14 16 17 18 0 ") << "no 15";
    for (const int id : {0, 1, 19})
        controller->SetAlertThreshold(static_cast<Emerson::tAlertID>(id), 0);
    for (const int id : {0, 8, 9})
        controller->SetGPIOLevel(static_cast<Emerson::tGPIOPhysicalID>(id), Emerson::eGPIOLevel_Low);
    controller->SetBacklightBrightness(9, static_cast<Emerson::tBackLightID>(3));
    controller->RemoveAlertCallback();
    EXPECT_EQ(board.TakeCalls(),
              "EApiSetHWMonitorThreshold 0xFFFFFFFF 0x0|EApiSetHWMonitorThreshold 0x1 0x0|"
              "EApiSetHWMonitorThreshold 0xFFFFFFFF 0x0|EApiGPIOSetLevel 0xFFFFFFFF 0x1 0x0|"
              "EApiGPIOSetLevel 0x7 0x1 0x0|EApiGPIOSetLevel 0xFFFFFFFF 0x1 0x0|"
              "EApiVgaSetBacklightBrightness 0xFFFFFFFF 0x9|EApiAlterUnRegister|");
    EXPECT_TRUE(ReportedOnce(cFailure)) << "there is no fourth backlight";
}

// What a library may answer to the question for a text.
unsigned gLength;
EApiStatus gFirst, gSecond;

TEST_F(JR_EmersonController, BelievesNoLengthOfATextThatCannotBe) {
    GetEApiFunctions().mspEApiBoardGetStringA.Set([](uint32_t, char* buffer, uint32_t* length) {
        if (buffer == nullptr) return *length = gLength, gFirst;
        std::memset(buffer, 'x', *length);  // without a terminator
        if (*length == 9) buffer[2] = '\0';
        *length = 0xFFFFFFFF;
        return gSecond;
    });
    const struct {
        unsigned length;
        EApiStatus first, second;
        size_t characters;
        const char* trace;
    } cases[] = {
        {0, kEApiMoreData, 0, 0, ""},
        {1, kEApiMoreData, 0, 0, ""},
        {2, kEApiMoreData, 0, 1, ""},
        {9, kEApiMoreData, 0, 2, ""},
        {65536, kEApiMoreData, 0, 65535, ""},
        {65537, kEApiMoreData, 0, 0, "65537 bytes are too many"},
        {0xFFFFFFFF, kEApiMoreData, 0, 0, "4294967295 bytes are too many"},
        {5, 0, 0, 0, "EAPI_STATUS_MORE_DATA == retVal failed"},
        {5, kEApiMoreData, kEApiMoreData, 0,
         "RZQ SBC Controller Failed to get Name  string with error:  EAPI available data exceeds buffer "
         "size\n"},
    };
    TakeTraces();
    for (const auto& c : cases) {
        gLength = c.length, gFirst = c.first, gSecond = c.second;
        const Cmn_String text = controller->GetBoardInfo(Emerson::eBoardString_Name);
        EXPECT_EQ(text, std::string(c.characters, 'x').c_str()) << c.length;
        const auto traces = TakeTraces();
        EXPECT_TRUE(*c.trace ? AnyContains(traces, c.trace) : traces.empty()) << c.length;
    }
}

// Whether the library is refused with this message, and the controller inert.
bool IsRefused(Board& board, const std::string& message) {
    TakeTraces();
    Emerson controller;
    EXPECT_TRUE(ReportedOnce(std::string(cFailure) + "1239)"));
    const auto traces = TakeTraces();
    EXPECT_TRUE(AnyContains(traces, "Condition " + message)) << testing::PrintToString(traces);
    return traces[0] == "Initializing SBC Library\n" &&
           traces.back() == "SBC Library initialization complete\n" && IsInert(controller, board);
}

const char* gMissing;

TEST(JR_EmersonSBCController, WithoutLibraryOrAnyOfItsEntryPointsItStaysInert) {
    Board board;
    ::SetDllDirectoryA(nullptr);
    EXPECT_TRUE(
        IsRefused(board,
                  "mSBCLibrary failed: Failed to load Emerson SBC DLL from ..\\..\\..\\hardware\\RZQ\\"
                  "EmersonSBC\\gala_eapi_1_03_win7_64\\EApi_1.dll, error: 126.\n"));
    ::SetDllDirectoryA(StandinFolder("eapi").c_str());
    GetLibraryCalls().find = [](HMODULE library, LPCSTR name) {
        const bool isMissing = std::strcmp(name, gMissing) == 0;
        ::SetLastError(isMissing ? 4711 : 0);
        return isMissing ? nullptr : ::GetProcAddress(library, name);
    };
    auto& entries = GetEApiFunctions().entries;
    for (size_t missing = 0; missing < std::size(entries); ++missing) {
        gMissing = entries[missing]->exportedName;
        EXPECT_TRUE(IsRefused(board, std::string(entries[missing]->memberName) +
                                         " failed: Failed to get address of " + entries[missing]->eapiName +
                                         ", error: 4711.\n"));
        for (size_t i = 0; i < std::size(entries); ++i)
            EXPECT_EQ(entries[i]->address != nullptr, i < missing) << gMissing;
    }
}

TEST(JR_EmersonSBCController, TheLibraryMayLieInTheSourceTree) {
    Board board;
    ::SetDllDirectoryA(nullptr);
    const TempFolder tree;
    const auto vendor = tree.Path("hardware\\RZQ\\EmersonSBC\\gala_eapi_1_03_win7_64");
    const auto before = std::filesystem::current_path();
    std::filesystem::create_directories(vendor);
    std::filesystem::create_directories(tree.Path("a\\b\\c"));
    std::filesystem::copy_file(StandinFolder("eapi") + "\\EApi_1.dll", vendor + "\\EApi_1.dll");
    std::filesystem::current_path(tree.Path("a\\b\\c"));
    EXPECT_EQ(Emerson().GetCPUTemp(), 53u);
    EXPECT_TRUE(Traced("SBC library loaded from " + vendor + "\\EApi_1.dll\n"));
    std::filesystem::current_path(before);
}

HMODULE gKept;

TEST(JR_EmersonSBCController, SaysWhatFailsAtItsBeginningAndEnd) {
    Board board("EApiLibInitialize = !0xFFFFFFFC\n");
    auto controller = std::make_unique<Emerson>();
    EXPECT_EQ(board.TakeCalls(), "EApiLibInitialize|");
    EXPECT_TRUE(Traced("RZQ SBC Controller failed to initialize with error: EAPI timeout in driver \n"));
    EXPECT_TRUE(IsInert(*controller, board));
    board.Describe("EApiLibUnInitialize = !0xFFFFFFFD\n");
    controller = board.Controller();
    GetLibraryCalls().free = [](HMODULE library) { return gKept = library, ::SetLastError(5), FALSE; };
    controller.reset();
    ::FreeLibrary(gKept);
    EXPECT_TRUE(ReportedOnce("'false' failed in Shared\\JR_EmersonSBCController.cpp(1220)"));
    const auto traces = TakeTraces();
    EXPECT_TRUE(
        AnyContains(traces,
                    "SBC Controller failed to uninitialize with error: EAPI memory allocation error \n") &&
        AnyContains(traces, "Call to FreeLibrary failed with error: 5 \n"));
}

TEST_F(JR_EmersonController, ASecondControllerIsInertAndHarmsTheFirstNot) {
    {
        Emerson second;
        EXPECT_TRUE(Traced("failed to initialize with error: EAPI library already initialized \n"));
        EXPECT_TRUE(IsInert(second, board));
    }
    EXPECT_EQ(controller->GetCPUTemp(), 53u);
    EXPECT_EQ(board.TakeCalls(), "EApiBoardGetValue 0x20000|");
}

// The three ways to give up, each once in a process: ctest runs each in its own.
class JR_EmersonGivingUp : public testing::TestWithParam<int> {};

TEST_P(JR_EmersonGivingUp, AsksForNoValueAndNoTextAnyMore) {
    static bool sGaveUp = false;
    if (std::exchange(sGaveUp, true)) GTEST_SKIP() << "this process has given up already";
    Board board(cOtherMaker);
    const auto controller = board.Controller();
    gLength = 5;
    gFirst = GetParam() == 1 ? kEApiUnknownError : kEApiMoreData;
    gSecond = kEApiUnknownError;
    GetEApiFunctions().mspEApiBoardGetStringA.Set([](uint32_t, char* buffer, uint32_t* length) {
        NorvikLibInternal::GetEApiFunctions().mspEApiWDogTrigger.Get()();  // leaves a note
        *length = gLength;
        return buffer == nullptr ? gFirst : gSecond;
    });
    board.Describe("EApiBoardGetValue 0x20000 = !0xFFFFF0FF\n");
    TakeTraces();
    EXPECT_TRUE(GetParam() == 0 ? controller->GetCPUTemp() == 4294967023u
                                : controller->GetBoardInfo(Emerson::eBoardString_Name) == "");
    EXPECT_THAT(TakeTraces(),
                testing::ElementsAre("RZQSBC no longer trying to get any SBC data, assuming not running "
                                     "on correct motherboard\n"));
    EXPECT_NE(board.TakeCalls(), "");
    Emerson second;
    board.TakeCalls();
    TakeTraces();
    EXPECT_EQ(controller->GetSystemTemp(), 4294967023u);
    EXPECT_EQ(controller->GetBoardInfo(Emerson::eBoardString_Name), "");
    EXPECT_TRUE(board.TakeCalls().empty() && TakeTraces().empty());
    EXPECT_EQ(controller->GetBacklightBrightness(Emerson::eBackLight_1), 60u) << "everything else goes on";
}

INSTANTIATE_TEST_SUITE_P(ValueLengthText, JR_EmersonGivingUp, testing::Range(0, 3));

}  // namespace
