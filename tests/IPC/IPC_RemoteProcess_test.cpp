#include "IPC/IPC_RemoteProcess.h"

#include <gtest/gtest.h>

#include <random>

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "tests/support/TraceCapture.h"

namespace {

using NorvikLibInternal::DynamicFunction;
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
    for (const char* program : {"not there.exe", "C:\\not there.exe", "..\\bin", "notepad.exe"}) {
        EXPECT_EQ(process.StartLocal(program, ""), INVALID_HANDLE_VALUE) << program;
        EXPECT_TRUE(AnyContains(TakeTraces(), "failed: error ")) << program;
    }
    for (const std::string& arguments : {std::string("a\0b", 3), std::string(40'000, 'a')}) {
        EXPECT_EQ(process.StartLocal("ShellChild.exe", Cmn_String(arguments)), INVALID_HANDLE_VALUE);
        EXPECT_TRUE(ReportedOnce("' failed in IPC\\IPC_RemoteProcess.cpp("));
    }
    const HANDLE handle = process.StartLocal("ShellChild.exe", "hang");
    ASSERT_TRUE(handle != INVALID_HANDLE_VALUE && handle == process.GetHandle());
    EXPECT_FALSE(process.WaitForEnd(0));
    EXPECT_TRUE(process.Terminate(5) && process.WaitForEnd(20'000));
    DWORD code = 0;
    EXPECT_TRUE(::GetExitCodeProcess(handle, &code) && code == 5);
}

}  // namespace
