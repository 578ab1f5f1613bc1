#include "IPC/IPC_RemoteProcess.h"

#include <gtest/gtest.h>

#include <random>

#include "IPC/IPC_Event.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

using NorvikLibInternal::DynamicFunction;
using namespace std::string_literals;
using Words = std::vector<Cmn_String>;

TEST(IPC_RemoteProcess, QuotedWordsAreReadAsTheyWere) {
    DynamicFunction<LPWSTR*(WINAPI*)(LPCWSTR, int*)> split("shell32.dll", "CommandLineToArgvW");
    std::mt19937 random(1);
    for (int round = 0; round < 5'000; ++round) {
        Words words(1, "program");
        std::string bytes;
        for (unsigned i = random() % 4; i != 0; --i) {
            bytes.resize(random() % 8);
            for (char& c : bytes)
                c = "\\\"  \ta"[random() % 6];
            words.emplace_back(bytes.c_str());
        }
        const std::string line(IPC_RemoteProcess::Quoted(words).View());
        int count = 0;
        LPWSTR* const read = split(std::wstring(line.begin(), line.end()).c_str(), &count);
        ASSERT_EQ(count, static_cast<int>(words.size())) << line;
        for (size_t i = 0; i < words.size(); ++i) {
            const std::string_view word = words[i].View();
            EXPECT_EQ(std::wstring(word.begin(), word.end()), read[i]) << line;
        }
        ::LocalFree(read);
    }
}

TEST(IPC_RemoteProcess, StartsFromItsOwnFolderOrNotAtAll) {
    IPC_RemoteProcess process;
    EXPECT_TRUE(process.GetHandle() == nullptr && process.WaitForEnd(0) && !process.Terminate(0));
    const std::string here = ProgramFolder(), child = "ShellChild.exe";
    ::SetCurrentDirectoryA(here.c_str());  // it does not count
    for (const std::string& program : {"not there.exe"s, "C:\\not there.exe"s, "..\\bin"s, "notepad.exe"s,
                                       here.substr(0, 2) + child, here.substr(2) + "\\" + child}) {
        EXPECT_EQ(process.StartLocal(program.c_str(), "wait"), INVALID_HANDLE_VALUE) << program;
        EXPECT_TRUE(AnyContains(TakeTraces(), "failed: error ")) << program;
    }
    for (const std::string& arguments : {"a\0b"s, std::string(40'000, 'a')}) {
        EXPECT_EQ(process.StartLocal("ShellChild.exe", Cmn_String(arguments)), INVALID_HANDLE_VALUE);
        EXPECT_TRUE(ReportedOnce("' failed in IPC\\IPC_RemoteProcess.cpp("));
    }
    const IPC_Event noJob;
    EXPECT_EQ(process.StartLocal("ShellChild.exe", "wait", {nullptr, noJob.GetHandle()}),
              INVALID_HANDLE_VALUE);
    EXPECT_TRUE(ReportedOnce("'isInJob' failed in IPC\\IPC_RemoteProcess.cpp(") && !process.GetHandle());
    const HANDLE handle = process.StartLocal("ShellChild.exe", "stay");
    ASSERT_TRUE(handle != INVALID_HANDLE_VALUE && handle == process.GetHandle());
    EXPECT_FALSE(process.WaitForEnd(0));
    EXPECT_TRUE(process.Terminate(5) && process.WaitForEnd(20'000));
    DWORD code = 0;
    EXPECT_TRUE(::GetExitCodeProcess(handle, &code) && code == 5);
}

}  // namespace
