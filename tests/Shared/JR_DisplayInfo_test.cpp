#include "Shared/JR_DisplayInfo.h"

#include <gmock/gmock.h>

#include <array>
#include <cwchar>
#include <map>
#include <thread>
#include <utility>

#include "Shared/Internal/JR_ComOwners.h"
#include "Shared/Internal/JR_WmiCalls.h"
#include "tests/support/TraceCapture.h"

// After OLE.
#include <wbemcli.h>

namespace {

using namespace NorvikLibInternal;
using Traces = std::vector<std::string>;

DynamicFunction<decltype(&::SafeArrayCreateVector)> gCreateArray("oleaut32.dll", "SafeArrayCreateVector");
DynamicFunction<decltype(&::SafeArrayPutElement)> gPutElement("oleaut32.dll", "SafeArrayPutElement");

int gReferences;       // to all objects below
int gInitialized;      // of COM
std::string gFailing;  // the step that fails

HRESULT Step(const std::string& step) {
    return step == gFailing ? E_FAIL : S_OK;
}
HRESULT HandOut(HRESULT result, void* object, void* out) {
    if (FAILED(result)) return result;
    ++gReferences;
    *static_cast<void**>(out) = object;
    return S_OK;
}

// A monitor, a mode, or WMI: a COM object as its callers see it, a table of functions, with only those that are called.
struct Object {
    void* const* table;
    std::map<std::string, long> numbers{};  // its properties
    std::vector<Object> modes{};
    std::string wrong{};  // the property that has an object for its value

    HRESULT Get(const std::string& name, VARIANT& out) {
        out.vt = VT_UNKNOWN;
        if (name == wrong) return HandOut(S_OK, this, &out.punkVal);
        if (name == "MonitorSourceModes" && !modes.empty()) {
            // A mode without properties stands for an array without modes.
            const auto count = modes[0].numbers.empty() ? 0UL : static_cast<ULONG>(modes.size());
            out.vt = VT_ARRAY | VT_UNKNOWN;
            out.parray = gCreateArray(VT_UNKNOWN, 0L, count);
            for (LONG i = 0; i < static_cast<LONG>(count); ++i)
                gPutElement(out.parray, &i, static_cast<void*>(&modes[static_cast<size_t>(i)]));
            return S_OK;
        }
        // In the smallest of the types that a number comes in; the members lie on one another.
        out.lVal = numbers[name];
        const bool isByte = out.lVal >= 0 && out.lVal <= 0xFF, isWord = out.lVal >= 0 && out.lVal <= 0xFFFF;
        out.vt = isByte ? VT_UI1 : isWord && out.lVal <= 0x7FFF ? VT_I2 : isWord ? VT_UI2 : VT_I4;
        return out.lVal == -7 ? static_cast<HRESULT>(WBEM_E_NOT_FOUND) : S_OK;
    }
};

std::vector<Object> gMonitors;
size_t gNext;

// The place of a function in its table.
template <typename... Arguments>
void* Function(HRESULT (*function)(Arguments...)) {
    return reinterpret_cast<void*>(function);
}
std::array<void*, 32> gObjectTable = {
    Function(+[](Object* self, const IID& iid, void* out) {
        return HandOut(iid == __uuidof(IWbemClassObject) ? S_OK : E_NOINTERFACE, self, out);
    }),
    Function(+[](Object*) -> HRESULT { return ++gReferences; }),
    Function(+[](Object*) -> HRESULT { return --gReferences; }),
    nullptr,
    Function(+[](Object* self, LPCWSTR name, long, VARIANT* out, CIMTYPE*, long*) {
        return self->Get({name, name + std::wcslen(name)}, *out);
    }),
};
auto gWmiTable =
    gObjectTable;  // of the locator, the connection and the enumeration, which use different places
Object gWmi{gWmiTable.data()};

HRESULT ConnectServer(void*, BSTR name, BSTR, BSTR, BSTR, long, BSTR, IWbemContext*, void* out) {
    EXPECT_STREQ(name, L"ROOT\\WMI");
    return HandOut(Step("connect"), &gWmi, out);
}
HRESULT ExecQuery(void*, BSTR language, BSTR query, long, IWbemContext*, void* out) {
    EXPECT_STREQ(language, L"WQL");
    EXPECT_STREQ(query, L"SELECT * FROM WmiMonitorListedSupportedSourceModes");
    gNext = 0;
    return HandOut(Step("query"), &gWmi, out);
}
HRESULT Next(void*, long timeout, ULONG, void* out, ULONG* count) {
    EXPECT_EQ(timeout, 10'000);
    if (gFailing == "time") return WBEM_S_TIMEDOUT;
    if (gNext == gMonitors.size()) return WBEM_S_FALSE;
    *count = 1;
    return HandOut(Step("next"), &gMonitors[gNext++], out);
}

Object Monitor(long width, long height, long modes = 1, long preferred = 0) {
    Object mode{gObjectTable.data(), {{"HorizontalActivePixels", width}, {"VerticalActivePixels", height}}};
    return {gObjectTable.data(),
            {{"NumOfMonitorSourceModes", modes}, {"PreferredMonitorSourceModeIndex", preferred}},
            std::vector<Object>(static_cast<size_t>(modes), mode)};
}

struct JR_DisplayInfoTest : testing::Test {
    const WmiCalls real = std::exchange(
        GetWmiCalls(),
        {[](void*, DWORD model) {
             EXPECT_EQ(model, COINIT_MULTITHREADED);
             gInitialized += gFailing != "COM";
             return gFailing == "COM" ? RPC_E_CHANGED_MODE : S_FALSE;
         },
         [] { --gInitialized; },
         [](auto&, auto, auto, auto&, void** out) { return HandOut(Step("locator"), &gWmi, out); },
         [](auto...) { return Step("blanket"); }});

    JR_DisplayInfoTest() {
        gWmiTable[3] = Function(&ConnectServer);
        gWmiTable[4] = Function(&Next);
        gWmiTable[20] = Function(&ExecQuery);
    }
    ~JR_DisplayInfoTest() override { GetWmiCalls() = real; }

    // Everything is given back, whatever the answer.
    static void Expect(bool isConnected, const std::vector<Object>& monitors, const Traces& traces) {
        gMonitors = monitors;
        EXPECT_EQ(JR_DisplayInfo().IsFixedResolutionDisplayConnected(1280, 800), isConnected);
        EXPECT_EQ(TakeTraces(), traces);
        EXPECT_EQ(std::pair(gReferences, gInitialized), std::pair(0, 0));
    }
    static void ExpectFailure(const Object& monitor, const std::string& property, const std::string& code) {
        // The second one is not asked any more.
        Expect(false, {monitor, Monitor(1280, 800)},
               {"JR_DisplayInfo: Could not get " + property + ": hresult is " + code + ".\n"});
    }
};

TEST_F(JR_DisplayInfoTest, FindsTheMonitorWithThisModeOnly) {
    const std::string several = "Fixed display configuration: break 3 (more than 1 mode).\n";
    Expect(false, {}, {});
    Expect(true, {Monitor(1280, 800)}, {});
    Expect(false, {Monitor(1280, 801), Monitor(1281, 800)}, {});
    Expect(false, {Monitor(1280, 800, 2)}, {several});
    Expect(true, {Monitor(1280, 800, 30, 29), Monitor(1920, 1080), Monitor(1280, 800)}, {several});
    Expect(true, {Monitor(1280, 800, 0), Monitor(1280, 800)},
           {"JR_DisplayInfo: A monitor lists no modes.\n"});
}

TEST_F(JR_DisplayInfoTest, SaysWhichStepFailed) {
    const std::string list = "Could not get WmiMonitorListedSupportedSourceModes: hresult is ";
    const std::string end = " Cannot get Monitor Info.\n";
    const std::pair<const char*, std::string> steps[] = {
        {"COM", "Failed to initialize COM." + end},
        {"locator", "Failed to create IWbemLocator object." + end},
        {"connect", "Failed to connect." + end},
        {"blanket", "Could not set proxy blanket." + end},
        {"query", list + "0X80004005.\n"},
        {"next", list + "0X80004005.\n"},
        {"time", list + "0X800705B4.\n"},
    };
    for (const auto& [step, trace] : steps) {
        gFailing = step;
        Expect(false, {Monitor(1280, 800)}, {"JR_DisplayInfo: " + trace});
    }
    gFailing.clear();
}

TEST_F(JR_DisplayInfoTest, SaysWhichPropertyFailed) {
    for (const std::string property :
         {"NumOfMonitorSourceModes", "PreferredMonitorSourceModeIndex", "MonitorSourceModes",
          "HorizontalActivePixels", "VerticalActivePixels"}) {
        Object missing = Monitor(1280, 800), wrong = missing;
        missing.numbers[property] = missing.modes[0].numbers[property] = -7;
        if (property == "MonitorSourceModes") missing.modes.clear();
        wrong.wrong = wrong.modes[0].wrong = property;
        ExpectFailure(missing, property, "0X80041002");
        ExpectFailure(wrong, property, "0X80020005");
    }
    Object empty = Monitor(1280, 800);
    empty.modes[0].numbers.clear();
    ExpectFailure(empty, "MonitorSourceModes", "0X8002000B");
    for (const long index : {1L, LONG_MAX, -1L})
        ExpectFailure(Monitor(1280, 800, 1, index), "MonitorSourceModes", "0X8002000B");
}

// The platform itself: Wine connects and lists no monitors.
TEST(JR_DisplayInfoReal, AsksThePlatform) {
    std::thread([] { EXPECT_FALSE(JR_DisplayInfo().IsFixedResolutionDisplayConnected(1, 1)); }).join();
    EXPECT_THAT(TakeTraces(), testing::IsEmpty());
}

}  // namespace
