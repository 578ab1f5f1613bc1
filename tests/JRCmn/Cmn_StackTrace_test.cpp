#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "JRCmn/Cmn_Assert.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

namespace {

volatile int gSink = 0;

int gInnerLine = 0;

// What follows the calls keeps the compiler from making jumps of them.
[[gnu::noinline]] void PrintInner(int skip, bool symbols) {
    gInnerLine = __LINE__ + 1;
    Cmn_Assert::PrintStackTrace(skip, nullptr, symbols);
    gSink = 1;
}

[[gnu::noinline]] void PrintOuter(int skip, bool symbols) {
    PrintInner(skip, symbols);
    gSink = 2;
}

std::string ModulePath(const char* module) {
    char path[MAX_PATH] = "";
    ::GetModuleFileNameA(::GetModuleHandleA(module), path, sizeof path);
    return path;
}

// The address that the module's file is linked for.
uint64_t LinkBase(const std::string& path) {
    const std::string bytes = ReadWholeFile(path);
    IMAGE_DOS_HEADER dos;
    IMAGE_NT_HEADERS64 headers;
    std::memcpy(&dos, bytes.data(), sizeof dos);
    std::memcpy(&headers, bytes.data() + dos.e_lfanew, sizeof headers);
    return headers.OptionalHeader.ImageBase;
}

// The addresses of the line that PrintStackTrace ends with, each after its module.
std::vector<std::pair<std::string, uint64_t>> TakeAddresses() {
    std::vector<std::pair<std::string, uint64_t>> addresses;
    for (const std::string& line : TakeTraces()) {
        if (line.rfind("  Stack:", 0) != 0) continue;
        std::istringstream words(line.substr(8));
        std::string module;
        for (std::string word; words >> word;) {
            if (word.rfind("0x", 0) == 0)
                addresses.emplace_back(module, std::stoull(word, nullptr, 16));
            else
                module = word;
        }
    }
    return addresses;
}

void PrintContext(uint64_t instruction, uint64_t stack, bool symbols) {
    CONTEXT context = {};
    context.Rip = instruction;
    context.Rsp = stack;
    Cmn_Assert::PrintStackTrace(0, &context, symbols);
}

}  // namespace

TEST(Cmn_StackTrace, NamesFunctionsWithTheLineOfTheCall) {
    TakeTraces();
    PrintOuter(0, true);
    const std::vector<std::string> lines = TakeTraces();
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[0].rfind("  #00 norvik_tests.exe+0x", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find("PrintInner"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("(JRCmn\\Cmn_StackTrace_test.cpp:" + std::to_string(gInnerLine) + ")\n"),
              std::string::npos)
        << lines[0];
    EXPECT_NE(lines[1].find("PrintOuter"), std::string::npos) << lines[1];
    EXPECT_EQ(lines.back().rfind("  Stack: norvik_tests.exe 0x", 0), 0u) << lines.back();
}

TEST(Cmn_StackTrace, SkipsExactlyTheInnermostFrames) {
    std::vector<std::vector<std::pair<std::string, uint64_t>>> prints;
    TakeTraces();
    for (int skip = 0; skip <= 3;
         ++skip) {  // from one place, so that all frames but the skipped are the same
        PrintOuter(skip, false);
        prints.push_back(TakeAddresses());
    }
    ASSERT_GT(prints[0].size(), 3u);
    for (size_t skip = 1; skip < prints.size(); ++skip) {
        EXPECT_EQ(prints[skip], decltype(prints)::value_type(prints[0].begin() + skip, prints[0].end()));
    }
    PrintOuter(1'000, true);
    EXPECT_EQ(TakeTraces(), std::vector<std::string>{"  Stack: no frames\n"});
}

TEST(Cmn_StackTrace, LinkAddressesLeadToTheFunctions) {
    TakeTraces();
    PrintOuter(0, false);
    const auto addresses = TakeAddresses();
    const uint64_t moved =
        reinterpret_cast<uint64_t>(::GetModuleHandleA(nullptr)) - LinkBase(ModulePath(nullptr));
    void (*const functions[])(int, bool) = {&PrintInner, &PrintOuter};
    ASSERT_GT(addresses.size(), std::size(functions));
    for (size_t i = 0; i < std::size(functions); ++i) {
        DWORD64 image = 0;
        const auto* const entry = ::RtlLookupFunctionEntry(addresses[i].second + moved, &image, nullptr);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(image + entry->BeginAddress, reinterpret_cast<uint64_t>(functions[i]));
    }
}

TEST(Cmn_StackTrace, LinkAddressOfAModuleThatWasMovedIsThatOfItsFile) {
    const TempFolder folder;
    const std::string copy = folder.Path("Moved.dll");
    WriteWholeFile(copy, ReadWholeFile(ModulePath("libgcc_s_seh-1.dll")));
    const HMODULE module = ::LoadLibraryA(copy.c_str());
    ASSERT_NE(module, nullptr);
    const uint64_t base = reinterpret_cast<uint64_t>(module), link = LinkBase(copy);
    ASSERT_NE(base, link) << "the original should be in its place";
    TakeTraces();
    PrintContext(base + 0x1234, 0, false);
    const auto addresses = TakeAddresses();
    ::FreeLibrary(module);
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_EQ(addresses[0].first, "Moved.dll");
    EXPECT_EQ(addresses[0].second, link + 0x1234);
}

namespace {

struct Wait {
    HANDLE started = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE release = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
};

DWORD WINAPI BlockedThread(void* argument) {
    const Wait& wait = *static_cast<Wait*>(argument);
    ::SignalObjectAndWait(wait.started, wait.release, INFINITE, FALSE);
    gSink = 3;
    return 0;
}

}  // namespace

TEST(Cmn_StackTrace, ThreadThatWaitsIsWalkedToItsFunction) {
    Wait wait;
    const HANDLE thread = ::CreateThread(nullptr, 0, &BlockedThread, &wait, 0, nullptr);
    ASSERT_EQ(::WaitForSingleObject(wait.started, 10'000), WAIT_OBJECT_0);
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_FULL;
    ::SuspendThread(thread);
    const BOOL read = ::GetThreadContext(thread, &context);
    ::ResumeThread(thread);
    ASSERT_TRUE(read);
    TakeTraces();
    Cmn_Assert::PrintStackTrace(0, &context, true);
    const auto lines = TakeTraces();
    EXPECT_TRUE(AnyContains(lines, "BlockedThread (JRCmn\\Cmn_StackTrace_test.cpp:"))
        << testing::PrintToString(lines);
    ::SetEvent(wait.release);
    EXPECT_EQ(::WaitForSingleObject(thread, 10'000), WAIT_OBJECT_0);
    for (const HANDLE handle : {thread, wait.started, wait.release})
        ::CloseHandle(handle);
}

// A damaged context must not make things worse: one line, no fault, no endless walk.
TEST(Cmn_StackTrace, DamagedContextsEndInOneLine) {
    const uint64_t code = reinterpret_cast<uint64_t>(&PrintInner),
                   stack = reinterpret_cast<uint64_t>(&code) & ~7ull;
    const struct {
        uint64_t instruction, stack;
    } cases[] = {
        {0, 0},
        {0, 0x10},
        {code, 0},
        {code, 0x10},
        {code, stack + 3},
        {code, ~7ull},
        {0x10, stack},
        {~0ull, stack},
        {code, 1ull << 63},
        {0xABCDEF0123456789, ~0ull},
        {stack, stack},
        {code, code & ~7ull},
    };
    for (const auto& [instruction, pointer] : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << instruction << " " << pointer);
        TakeTraces();
        PrintContext(instruction, pointer, false);
        EXPECT_EQ(TakeTraces().size(), 1u);
    }
}

namespace {

// A block of a size that the compiler does not know makes it keep the frame's place in a register.
[[gnu::noinline]] size_t PrintWithFrameRegister(size_t blockSize, uint64_t damage) {
    char* const block = static_cast<char*>(__builtin_alloca(blockSize));
    std::memset(block, 0, blockSize);
    CONTEXT context;
    ::RtlCaptureContext(&context);
    if (damage) {
        for (DWORD64* const value : {&context.Rbp, &context.Rbx, &context.Rsi, &context.Rdi, &context.R12}) {
            *value = damage;
        }
    }
    TakeTraces();
    Cmn_Assert::PrintStackTrace(0, &context, false);
    gSink = block[blockSize / 2];
    return TakeAddresses().size();
}

}  // namespace

TEST(Cmn_StackTrace, DamagedFrameRegisterEndsTheWalk) {
    EXPECT_GT(PrintWithFrameRegister(5'000, 0), 3u);
    for (const uint64_t damage :
         {uint64_t{8}, uint64_t{0x7FFF'FFFF'0000}, uint64_t{1} << 63, ~uint64_t{0} - 0x1000}) {
        EXPECT_EQ(PrintWithFrameRegister(5'000, damage), 1u) << std::hex << damage;
    }
}
