// Each test asks for the first time in its process.

#include "Shared/JR_ShellApp.h"

#include <gmock/gmock.h>

#include <chrono>
#include <stdexcept>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Internal/Cmn_RegistryCalls.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "Shared/Internal/JR_ExamineBoard.h"
#include "Shared/Internal/JR_ShellCalls.h"
#include "Shared/Internal/JR_ShellRules.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MachineSettings.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

#include <sddl.h>

namespace {

using namespace NorvikLibInternal;
using testing::ElementsAre, testing::HasSubstr;

// ---- What the machine is.

TEST(MachineShellApp, FirmwareValuesMayBeAnythingInTheRegistry) {
    MachineSettings machine;
    for (const FirmwareValue& value : kFirmwareValues)
        machine.SetText(kFirmwareKey, value.name, "usual");
    const std::string large(1 << 20, 'x');
    const struct {
        DWORD type;
        std::string bytes;
        bool isRead;
        std::string text;
    } kinds[] = {
        {REG_DWORD, "abcd", false, ""},   {REG_SZ, "unterminated", true, "unterminated"},
        {REG_SZ, large + "x", false, ""}, {REG_SZ, large, true, large},
        {REG_BINARY, "AIC", false, ""},   {REG_SZ, "", true, ""},
        {REG_EXPAND_SZ, "a", true, "a"},  {REG_NONE, "", false, ""},  // removed
    };
    for (size_t i = 0; i < kFirmwareValues.size(); ++i) {
        for (const auto& kind : kinds) {
            const char* name = kFirmwareValues[i].name;
            kind.type == REG_NONE ? machine.Remove(kFirmwareKey, name)
                                  : machine.Set(kFirmwareKey, name, kind.type, kind.bytes);
            const BoardVerdict verdict = ExamineBoard();
            EXPECT_TRUE(verdict.board == eMB_Unknown && verdict.isUnrecognised);
            for (size_t j = 0; j < kFirmwareValues.size(); ++j)
                EXPECT_TRUE(verdict.wasRead[j] == (j != i || kind.isRead) &&
                            verdict.values[j] == (j == i ? kind.text : "usual").c_str())
                    << name << " " << kind.type << " " << j;
        }
        machine.SetText(kFirmwareKey, kFirmwareValues[i].name, "usual");
    }
}

TEST(MachineShellApp, AMarkerFileForcesABoardAndAFolderOfItsNameDoesNot) {
    MachineSettings machine;
    machine.SetText(kFirmwareKey, "BaseBoardProduct", "none of ours");
    machine.MakeFolder("C:\\HalvaneConsole.txt");
    EXPECT_EQ(ExamineBoard().board, eMB_Unknown);
    machine.MakeFile("C:\\halvaneconsole2.TXT");
    EXPECT_EQ(ExamineBoard().board, eMB_CongatecIC170);
}

TEST(MachineShellApp, AnswersOnceInAProcess) {
    MachineSettings machine;
    machine.Remove(kFirmwareKey, "BaseBoardProduct");
    machine.SetText(kFirmwareKey, "BaseBoardManufacturer", "other");
    machine.SetText(kFirmwareKey, "SystemManufacturer", "Insyde");
    machine.SetText(kFirmwareKey, "SystemProductName", "Grantley");
    machine.SetText(kWindowsKey, "EditionID", "Embedded");
    machine.SetNumber(kSettings, "Force System Type", 0x80000001);
    for (const char* product : {"", "IC17X"}) {
        bool isSuspect = false;
        EXPECT_TRUE(JR_ShellApp::GetMotherboard(&isSuspect) == eMB_AICPhoenix && isSuspect);
        EXPECT_STREQ(JR_ShellApp::GetMotherboardName(eMB_Running), "Halvane Engine AIC Phoenix");
        EXPECT_STREQ(JR_ShellApp::GetMotherboardSignature(eMB_Running), "-se");
        EXPECT_TRUE(JR_ShellApp::IsWindowsEmbedded());
        EXPECT_EQ(ReportedOnce("SMBIOS doesn't report proper manufacturer, but we suspect AIC Phoenix."),
                  !*product);
        std::string traces;
        for (const std::string& line : TakeTraces())
            traces += line.substr(line.find('\'') + 1);
        EXPECT_EQ(traces,
                  *product
                      ? ""
                      : "reg.Read(\"BaseBoardProduct\", product)' check failed in Shared\\JR_ShellApp.cpp"
                        "(1087).\nUnrecognized motherboard:\nBaseBoardProduct: .\nBaseBoardManufacturer: "
                        "other.\nSystemManufacturer: Insyde.\nSystemProductName: Grantley.\n");
        machine.SetText(kFirmwareKey, "BaseBoardProduct", "IC17X");
        machine.SetText(kWindowsKey, "EditionID", "Professional");
    }
    EXPECT_EQ(static_cast<int>(JR_ShellApp::GetSystemType()), static_cast<int>(0x80000001))
        << "asked anew each time";
    for (const unsigned type : {77u, 2u}) {
        machine.SetNumber(kSettings, "Force System Type", type);
        EXPECT_EQ(static_cast<int>(JR_ShellApp::GetSystemType()), 77) << "kept";
    }
    for (const int number : {7, -2}) {
        EXPECT_STREQ(JR_ShellApp::GetMotherboardName(static_cast<EMotherboard>(number)), "???");
        EXPECT_TRUE(ReportedOnce("'false' failed in Shared\\JR_ShellApp.cpp(1136)"));
        EXPECT_STREQ(JR_ShellApp::GetMotherboardSignature(static_cast<EMotherboard>(number)), "");
        EXPECT_TRUE(ReportedOnce("'false' failed in Shared\\JR_ShellApp.cpp(1159)"));
    }
}

// ---- What is asked of the shell and of the desktop.

constexpr char cEnvironmentKey[] = "System\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr char cShellTitle[] =
    "Shell App Event & Shortcut Processing Window {58D7A56B-1816-4c14-A0B4-AEF0CB495D42}";
constexpr auto cRestart = eShellAppCommand_SoftwareRestart;
constexpr auto cQuiet = static_cast<EShellAppCommand>(7);  // does not call back

int gCallbacks, gPosts;
std::string gAnswers;    // of the next posts: '1' is taken
HWND gWindow = nullptr;  // what a search finds
bool gThrows = false;

class MachineShell : public testing::Test {
protected:
    ~MachineShell() override {
        GetShellCalls() = mUsual;
        GetRegistryCalls() = {};
    }
    static long long Milliseconds(const std::chrono::steady_clock::time_point& since) {
        return (std::chrono::steady_clock::now() - since) / std::chrono::milliseconds(1);
    }
    // What these tests ask for is not for a real one.
    void SetUp() override {
        if (::FindWindowA("STATIC", cShellTitle)) GTEST_SKIP() << "a shell is running here";
    }
    MachineSettings mMachine;

private:
    const ShellCalls mUsual = GetShellCalls();
};

HWND MakeShellWindow() {
    return ::CreateWindowExA(0, "STATIC", cShellTitle, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
}

TEST_F(MachineShell, CallsBackOnlyForAWindowThatWasLookedFor) {
    GetShellCalls().findWindow = [](auto, auto) { return gWindow; };
    GetShellCalls().post = [](HWND, UINT, WPARAM, LPARAM) -> BOOL { return gAnswers.at(gPosts++) == '1'; };
    JR_ShellApp::SetSoftwareRestartCallback([] {
        ++gCallbacks;
        if (gThrows) throw std::runtime_error("busy");
    });
    JR_ShellApp::SetSoftwareRestartCallback([] { gCallbacks += 100; });
    EXPECT_TRUE(ReportedOnce("'!sSoftwareRestartCallbackFun' failed in Shared\\JR_ShellCommands.cpp("));
    const HWND one = reinterpret_cast<HWND>(1);
    const struct {
        HWND found;
        EShellAppCommand command;
        const char* answers;
        bool result;
        int callbacks;
    } steps[] = {
        {nullptr, cRestart, "", false, 0},
        {one, cRestart, "0", false, 0},  // not taken, but known now
        {one, cRestart, "00", false, 0},
        {one, cRestart, "01", true, 1},
        {one, cRestart, "1", true, 0},
        {one, cQuiet, "01", true, 0},
        {nullptr, cQuiet, "0", false, 0},
        {one, cRestart, "1", true, 1},  // the search in vain has forgotten it
    };
    for (const auto& step : steps) {
        gWindow = step.found, gAnswers = step.answers, gPosts = gCallbacks = 0;
        EXPECT_EQ(JR_ShellApp::Request(step.command, 5), step.result) << step.answers;
        EXPECT_EQ(gCallbacks, step.callbacks) << step.answers;
        EXPECT_EQ(gPosts, static_cast<int>(gAnswers.size()));
    }
    gAnswers = "01", gPosts = 0, gThrows = true;
    EXPECT_THROW(JR_ShellApp::Request(cRestart, 0), std::runtime_error);
    EXPECT_EQ(gPosts, 2) << "it was posted";
}

TEST_F(MachineShell, ShellThatIsRestartedAThousandTimesGetsEachCommand) {
    JR_ShellApp::SetSoftwareRestartCallback([] { ++gCallbacks; });
    for (int i = 1; i <= 1'000; ++i) {
        const HWND shell = MakeShellWindow();
        for (const int argument : {-i, i}) {
            MSG message = {};
            ASSERT_TRUE(JR_ShellApp::Request(static_cast<EShellAppCommand>(13), argument)) << i;
            ASSERT_TRUE(::PeekMessageA(&message, shell, 0x8000, 0x8000, PM_REMOVE));
            ASSERT_TRUE(message.wParam == 13 && message.lParam == argument);
        }
        ASSERT_EQ(gCallbacks, i) << "the second time the window was known";
        ::DestroyWindow(shell);
    }
    EXPECT_FALSE(JR_ShellApp::Request(cRestart, 0));
}

TEST_F(MachineShell, RestartStartsTheShellThatDoesNotRestartByItself) {
    mMachine.SetText(kWindowsKey, "EditionID", "Professional");
    mMachine.Remove(kMakerKey, "Manufacturer");
    for (const char* name : {"Force System Type", "Standalone Mode"})
        mMachine.Remove(kSettings, name);
    EXPECT_TRUE(JR_ShellApp::IsStandAlone());
    const std::string folder = ProgramFolder() + "\\";
    ::DeleteFileA((folder + "ShellApp.exe").c_str());  // of a test that was ended
    EXPECT_FALSE(JR_ShellApp::SoftwareRestart()) << "there is no shell, so nothing is started either";
    const HWND shell = MakeShellWindow();
    EXPECT_FALSE(JR_ShellApp::SoftwareRestart()) << "it is not beside this program";
    EXPECT_TRUE(ReportedOnce(
        "'shellApp.StartLocal(EXE_SHELL_APP, inArgs) != INVALID_HANDLE_VALUE' failed in Shared\\"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "ShellApp.exe\" wait failed: error 2\n"));

    const std::string name = "NorvikShellStarted";
    const IPC_Event started(name.c_str());
    ::SetEnvironmentVariableA("NORVIK_SHELL_STARTED", name.c_str());
    ASSERT_TRUE(::CopyFileA((folder + "ShellChild.exe").c_str(), (folder + "ShellApp.exe").c_str(), FALSE));
    EXPECT_TRUE(JR_ShellApp::SoftwareRestart());
    EXPECT_TRUE(started.Wait(20'000));
    const auto start = std::chrono::steady_clock::now();
    while (!::DeleteFileA((folder + "ShellApp.exe").c_str()) && Milliseconds(start) < 20'000)
        ::SwitchToThread();  // until its process has ended
    ::DestroyWindow(shell);
}

TEST_F(MachineShell, RestartOfAnEmbeddedInstallationIsTheShellsOwn) {
    mMachine.SetText(kWindowsKey, "EditionID", "Embedded");
    const HWND shell = MakeShellWindow();
    MSG message = {};
    EXPECT_TRUE(JR_ShellApp::SoftwareRestart() &&
                ::PeekMessageA(&message, shell, 0x8000, 0x8000, PM_REMOVE) && message.wParam == 6 &&
                message.lParam == 0);
    ::DestroyWindow(shell);
}

TEST_F(MachineShell, RebootIsScheduledByTwoEventsThatStay) {
    for (int i = 0; i < 2; ++i) {
        for (const char* name : {"MORLAN Restart requested", "MORLAN Shutdown requested"}) {
            const KernelHandle event(::OpenEventA(SYNCHRONIZE, FALSE, name));
            EXPECT_EQ(::WaitForSingleObject(event.Get(), 0), i == 0 ? WAIT_FAILED : WAIT_OBJECT_0) << name;
        }
        JR_ShellApp::ScheduleRebootOnQuit();
    }
}

TEST_F(MachineShell, RebootIsScheduledByEventsOfAShellOfHigherRights) {
    SECURITY_ATTRIBUTES few = {sizeof few, nullptr, FALSE};  // EVENT_MODIFY_STATE | SYNCHRONIZE for everyone
    ASSERT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorA(
        "D:(A;;0x100002;;;WD)", SDDL_REVISION_1, &few.lpSecurityDescriptor, nullptr));
    const KernelHandle event(::CreateEventA(&few, TRUE, FALSE, "MORLAN Restart requested"));
    ::LocalFree(few.lpSecurityDescriptor);
    EXPECT_FALSE(KernelHandle(::CreateEventA(nullptr, TRUE, FALSE, "MORLAN Restart requested")));
    JR_ShellApp::ScheduleRebootOnQuit();
    EXPECT_EQ(::WaitForSingleObject(event.Get(), 0), WAIT_OBJECT_0);
}

TEST_F(MachineShell, EachSignAloneMakesARestartNecessary) {
    static const std::string root = "Software\\NorvikShellTest\\";
    static std::vector<std::string> asked;
    static int flushed = 0;
    GetRegistryCalls().createKey = [](HKEY key, LPCSTR path, auto... rest) {
        EXPECT_EQ(std::get<3>(std::tuple(rest...)), REGSAM{KEY_READ});
        asked.emplace_back(path);
        return ::RegCreateKeyExA(key, (root + path).c_str(), rest...);
    };
    GetRegistryCalls().flushKey = [](HKEY) -> LSTATUS { return ++flushed, ERROR_SUCCESS; };
    EXPECT_FALSE(JR_ShellApp::IsRestartNecessary());
    EXPECT_THAT(asked,
                ElementsAre("SYSTEM\\CurrentControlSet\\Control\\Session Manager\\FileRenameOperations",
                            "SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                            "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce",
                            "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx"));
    EXPECT_EQ(flushed, 4);
    EXPECT_TRUE(TakeTraces().empty());
    for (const RestartSign& sign : kRestartSigns) {
        const std::string path = root + sign.key;
        const auto expectNeeded = [&] {
            EXPECT_TRUE(JR_ShellApp::IsRestartNecessary()) << path;
            EXPECT_THAT(TakeTraces(),
                        ElementsAre(std::string("Need to reboot for the key: '") + sign.key + "'\n"));
        };
        HKEY key = nullptr, subkey = nullptr;
        ASSERT_EQ(::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key), 0)
            << "it was created";
        const RegistryHandle owned(key);
        const char* const value = sign.value ? sign.value : "any";
        ::RegSetValueExA(key, value, 0, REG_MULTI_SZ, nullptr, 0);
        expectNeeded();
        ::RegDeleteValueA(key, value);
        EXPECT_FALSE(JR_ShellApp::IsRestartNecessary());
        if (sign.value) continue;
        ::RegCreateKeyA(key, "sub", &subkey);
        const RegistryHandle ownedToo(subkey);
        expectNeeded();
        ::RegDeleteKeyA(key, "sub");
    }
    GetRegistryCalls().createKey = [](auto...) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    EXPECT_FALSE(JR_ShellApp::IsRestartNecessary());
    EXPECT_EQ(::RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\NorvikShellTest"), 0);
}

TEST_F(MachineShell, VariablesOfEveryLengthAreReadWithinTheBuffer) {
    for (const int length : {0, 1, 4'094, 4'095, 4'096, 4'097, 5'000}) {
        const std::string value(static_cast<size_t>(length), 'v');
        ::SetEnvironmentVariableA("NORVIK_SHELL_TEST", value.c_str());
        const std::string read(JR_ShellApp::GetEnvironmentVariableA("NORVIK_SHELL_TEST", "fallback").View());
        EXPECT_EQ(read, length != 0 && length < 4'096 ? value : "fallback") << length;
        EXPECT_EQ(TakeTraces().size(), length < 4'096 ? 0u : 1u);
    }
    ::SetEnvironmentVariableA("NORVIK_SHELL_TEST", nullptr);
    EXPECT_EQ(JR_ShellApp::GetEnvironmentVariableA("NORVIK_SHELL_TEST", "fallback"), "fallback");
}

TEST_F(MachineShell, EachStepOfSettingAVariableMayFail) {
    mMachine.Remove(cEnvironmentKey, "NORVIK_SHELL_TEST");
    const auto set = [](bool broadcast) {
        return JR_ShellApp::SetEnvironmentVariableA("NORVIK_SHELL_TEST", "one two", broadcast);
    };
    static int told = 0;
    GetShellCalls().sendTimeout = [](HWND window, UINT message, WPARAM first, LPARAM text, UINT flags,
                                     UINT limit, PDWORD_PTR) -> LRESULT {
        EXPECT_TRUE(window == HWND_BROADCAST && message == WM_SETTINGCHANGE && first == 0 && flags == 0);
        EXPECT_EQ(limit, 1000u);
        EXPECT_STREQ(reinterpret_cast<const char*>(text), "Environment");
        return ++told == 1;
    };
    EXPECT_TRUE(set(false) && told == 0);
    EXPECT_TRUE(set(true));
    EXPECT_FALSE(set(true));
    GetRegistryCalls().setValue = [](auto...) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    EXPECT_FALSE(set(true));
    GetRegistryCalls().openKey = [](auto...) -> LSTATUS { return ERROR_ACCESS_DENIED; };
    EXPECT_FALSE(set(true));
    EXPECT_EQ(told, 2) << "what was not written is not told";
    GetRegistryCalls() = {};
    Cmn_Registry key;
    Cmn_String value;
    EXPECT_TRUE(key.Open(HKEY_LOCAL_MACHINE, cEnvironmentKey, eRegistryAccess_ReadOnly) &&
                key.Read("NORVIK_SHELL_TEST", value) && value == "one two");
    EXPECT_THAT(
        TakeReports(),
        ElementsAre(
            HasSubstr(
                "'::SendMessageTimeout(HWND_BROADCAST, WM_SETTINGCHANGE, NULL, (LPARAM)_T(\"Environment\"), "
                "SMTO_NORMAL, 1000, &result)' failed in Shared\\JR_ShellApp.cpp(1556)"),
            HasSubstr("'reg.Write(inVariableName, inValue)' failed in Shared\\JR_ShellApp.cpp(1548)"),
            HasSubstr("'reg.Open(HKEY_LOCAL_MACHINE, _T(\"System\\\\CurrentControlSet\\\\Control\\\\Session "
                      "Manager\\\\Environment\"), eRegistryAccess_AllOperations)' failed in "
                      "Shared\\JR_ShellApp.cpp(1545)")));
}

TEST_F(MachineShell, ClipboardIsTriedTenTimes) {
    static int tries, busy, emptied, closed;
    static HANDLE block;
    static DWORD error;
    GetShellCalls().openClipboard = [](HWND) -> BOOL {
        ::SetLastError(error);
        return ++tries > busy;
    };
    GetShellCalls().emptyClipboard = [] { return static_cast<BOOL>(++emptied); };
    GetShellCalls().setClipboardData = [](UINT, HANDLE data) -> HANDLE { return block = data, nullptr; };
    GetShellCalls().closeClipboard = []() -> BOOL {
        EXPECT_TRUE(TakeReports().empty()) << "nothing is reported while it is open";
        EXPECT_EQ(::GlobalFlags(block), UINT{GMEM_INVALID_HANDLE}) << "and nothing is kept";
        return ++closed;
    };
    const struct {
        int busy;
        DWORD error;
        int tries;
        const char* report;
    } cases[] = {
        {9, ERROR_ACCESS_DENIED, 10, "'::SetClipboardData(CF_TEXT, hglbCopy) != 0' failed in Shared\\"},
        {10, ERROR_ACCESS_DENIED, 10, ""},
        {1, ERROR_INVALID_WINDOW_HANDLE, 1, "'error == ERROR_ACCESS_DENIED' failed in Shared\\"}};
    for (const auto& c : cases) {
        tries = emptied = closed = 0, busy = c.busy, error = c.error;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(JR_ShellApp::Clipboard_Copy("text", nullptr));
        EXPECT_GE(Milliseconds(start), 10 * (c.tries - 1) - 1);
        EXPECT_EQ(tries, c.tries);
        EXPECT_TRUE(emptied == closed && closed == (c.busy == 9));
        EXPECT_EQ(!*c.report, !ReportedOnce(c.report));
    }
}

TEST_F(MachineShell, ClipboardGetsTheTextUnlessAnotherProgramHoldsIt) {
    const HWND window = MakeShellWindow();
    const std::string text(100'000, 't');
    for (const HWND owner : {HWND(nullptr), window}) {
        EXPECT_TRUE(JR_ShellApp::Clipboard_Copy(text.c_str(), owner));
        ASSERT_TRUE(::OpenClipboard(window));
        EXPECT_EQ(text, static_cast<const char*>(::GlobalLock(::GetClipboardData(CF_TEXT))));
        ::CloseClipboard();
    }
    ChildProcess other("ShellChild.exe", {"clipboard"});
    ASSERT_NE(other.OutputWith("ready", 20'000), "");
    EXPECT_FALSE(JR_ShellApp::Clipboard_Copy("mine", window));
    other.Kill();
    EXPECT_TRUE(JR_ShellApp::Clipboard_Copy("mine", window));
    ::DestroyWindow(window);
}

TEST_F(MachineShell, MemoryIsEnoughFromTheRequirementOn) {
    mMachine.SetNumber(kSettings, "Force System Type", eSystem_Engine);
    static uint64_t mebibytes;
    GetShellCalls().getBrand = [] { return Cmn_String("Intel(R) Xeon(R) CPU E5-2620 v4 @ 2.10GHz"); };
    GetShellCalls().getMemory = [](MEMORYSTATUSEX* status) -> BOOL {
        EXPECT_EQ(status->dwLength, sizeof *status);
        status->ullTotalPhys = mebibytes << 20;
        return mebibytes != 0;
    };
    unsigned installed = 0, required = 0;
    bool flag = false;
    const auto check = [&](uint64_t total, unsigned cores) {
        mebibytes = total;
        return JR_ShellApp::CheckIfRAMIsOK(cores, installed, required, flag);
    };
    EXPECT_TRUE(check(31 * 1024 + 1, 16) && installed == 32 && required == 32 && flag);
    EXPECT_FALSE(check(31 * 1024, 16) || installed != 31);
    EXPECT_FALSE(check(0, 16) || installed != 0);
    EXPECT_TRUE(ReportedOnce("'::GlobalMemoryStatusEx(&memInfo)' failed in Shared\\"));
    EXPECT_TRUE(check(1, 7) && required == 0);
    EXPECT_TRUE(ReportedOnce("'false' failed in Shared\\"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "Unexpected CPU count detected!\n"));
}

TEST_F(MachineShell, WineSaysItsVersionAndAMissingLibraryIsReported) {
    Cmn_String version = "before";
    EXPECT_TRUE(JR_ShellApp::IsWine(nullptr) && JR_ShellApp::IsWine(&version));
    EXPECT_TRUE(version.First() >= '1' && version.First() <= '9') << version.c_str();
    OverrideWineProbe(false);
    EXPECT_FALSE(JR_ShellApp::IsWine(&version));
    EXPECT_EQ(version, "");
    OverrideWineProbe(std::nullopt);
    EXPECT_EQ(AskWineVersion(::GetModuleHandleA("kernel32.dll")), nullptr);
    EXPECT_EQ(AskWineVersion(nullptr), nullptr);
    EXPECT_TRUE(ReportedOnce("'libraryHandle' failed in Shared\\JR_ShellApp.cpp(269)"));
}

}  // namespace
