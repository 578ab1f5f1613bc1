#include "JRCmn/Internal/Cmn_SymbolCalls.h"

#include <gmock/gmock.h>

#include <cstring>
#include <iterator>
#include <sstream>
#include <thread>

#include "JRCmn/Cmn_Assert.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

using testing::EndsWith, testing::HasSubstr, testing::Not, testing::StartsWith;

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

// How far a module is from where its file is linked for.
uint64_t Moved(HMODULE module, const std::string& path) {
    const std::string bytes = ReadWholeFile(path);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(bytes.data() + dos->e_lfanew);
    return reinterpret_cast<uint64_t>(module) - headers->OptionalHeader.ImageBase;
}

// The line that PrintStackTrace ends with, in words: "Stack:", a module, its addresses, the next module...
std::vector<std::string> TakeStack() {
    std::istringstream line(TakeTraces().back());
    return {std::istream_iterator<std::string>(line), {}};
}

void PrintContext(uint64_t instruction, uint64_t stack) {
    CONTEXT context = {};
    context.Rip = instruction;
    context.Rsp = stack;
    Cmn_Assert::PrintStackTrace(0, &context, false);
}

DWORD WINAPI BlockedThread(void* release) {
    gSink = 3;
    return ::WaitForSingleObject(release, INFINITE) + gSink;
}

// A block of a size that the compiler does not know makes it keep the frame's place in a register.
[[gnu::noinline]] size_t FramesWithFrameRegister(size_t blockSize, uint64_t damage) {
    char* const block = static_cast<char*>(__builtin_alloca(blockSize));
    std::memset(block, 0, blockSize);
    CONTEXT context;
    ::RtlCaptureContext(&context);
    for (DWORD64* const value : {&context.Rbp, &context.Rbx, &context.Rsi, &context.Rdi, &context.R12})
        *value = damage ? damage : *value;
    Cmn_Assert::PrintStackTrace(0, &context, false);
    gSink = block[blockSize / 2];
    return TakeStack().size() - 2;
}

}  // namespace

TEST(Cmn_StackTrace, NamesFunctionsWithTheLineOfTheCall) {
    TakeTraces();
    PrintOuter(0, true);
    const std::vector<std::string> lines = TakeTraces();
    ASSERT_GE(lines.size(), 4u);
    EXPECT_THAT(lines[0],
                AllOf(StartsWith("  #00 norvik_tests.exe+0x"), HasSubstr("PrintInner"),
                      EndsWith("(JRCmn\\Cmn_StackTrace_test.cpp:" + std::to_string(gInnerLine) + ")\n")));
    EXPECT_THAT(lines[1], HasSubstr("PrintOuter"));
    EXPECT_THAT(lines.back(), StartsWith("  Stack: norvik_tests.exe 0x"));
}

TEST(Cmn_StackTrace, LinkAddressesLeadToTheFunctionsWithoutExactlyTheSkippedOnes) {
    std::vector<std::string> stacks[4];
    for (int skip = 0; skip < 4; ++skip) {  // from one place, so that all frames but the skipped are the same
        PrintOuter(skip, false);
        stacks[skip] = TakeStack();
    }
    std::vector<std::string>& whole = stacks[0];
    ASSERT_GT(whole.size(), 6u);
    const uint64_t moved = Moved(::GetModuleHandleA(nullptr), ModulePath(nullptr));
    for (int i = 1; void (*const function)(int, bool) : {&PrintInner, &PrintOuter, &PrintOuter}) {
        DWORD64 image = 0;
        const auto* const entry =
            ::RtlLookupFunctionEntry(std::stoull(whole[2], nullptr, 16) + moved, &image, nullptr);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(image + entry->BeginAddress == reinterpret_cast<uint64_t>(function), i < 3);
        whole.erase(whole.begin() + 2);
        EXPECT_EQ(stacks[i++], whole);
    }
    PrintOuter(1'000, true);
    EXPECT_EQ(TakeTraces(), std::vector<std::string>{"  Stack: no frames\n"});
}

TEST(Cmn_StackTrace, LinkAddressOfAModuleThatWasMovedIsThatOfItsFile) {
    const TempFolder folder;
    const std::string copy = folder.Path("Moved.dll");
    WriteWholeFile(copy, ReadWholeFile(ModulePath("libgcc_s_seh-1.dll")));
    const HMODULE module = ::LoadLibraryA(copy.c_str());
    ASSERT_NE(module, nullptr);
    const uint64_t address = reinterpret_cast<uint64_t>(module) + 0x1234, moved = Moved(module, copy);
    EXPECT_NE(moved, 0u) << "the original should be in its place";
    PrintContext(address, 0);
    ::FreeLibrary(module);
    const std::vector<std::string> stack = TakeStack();
    ASSERT_EQ(stack.size(), 3u);
    EXPECT_EQ(stack[1], "Moved.dll");
    EXPECT_EQ(std::stoull(stack[2], nullptr, 16), address - moved);
}

TEST(Cmn_StackTrace, ThreadThatWaitsIsWalkedToItsFunction) {
    const HANDLE release = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE thread = ::CreateThread(nullptr, 0, &BlockedThread, release, 0, nullptr);
    while (gSink != 3)
        ::Sleep(1);
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_FULL;
    ::SuspendThread(thread);
    ASSERT_TRUE(::GetThreadContext(thread, &context));
    ::ResumeThread(thread);
    Cmn_Assert::PrintStackTrace(0, &context, true);
    EXPECT_TRUE(AnyContains(TakeTraces(), "BlockedThread (JRCmn\\Cmn_StackTrace_test.cpp:"));
    ::SetEvent(release);
    EXPECT_EQ(::WaitForSingleObject(thread, 10'000), WAIT_OBJECT_0);
}

// A damaged context must not make things worse: one line, no fault, no endless walk.
TEST(Cmn_StackTrace, DamagedContextsEndInOneLine) {
    const uint64_t code = reinterpret_cast<uint64_t>(&PrintInner),
                   stack = reinterpret_cast<uint64_t>(&code) & ~7ull;
    TakeTraces();
    for (const uint64_t instruction : {uint64_t{0}, uint64_t{0x10}, ~uint64_t{0}, code, stack}) {
        for (const uint64_t pointer : {uint64_t{0}, uint64_t{0x10}, ~uint64_t{0}, ~uint64_t{7},
                                       uint64_t{1} << 63, stack, stack + 3, code & ~7ull}) {
            PrintContext(instruction, pointer);
            EXPECT_EQ(TakeTraces().size(), 1u) << std::hex << instruction << " " << pointer;
        }
    }
    EXPECT_GT(FramesWithFrameRegister(5'000, 0), 3u);
    for (const uint64_t damage :
         {uint64_t{8}, uint64_t{0x7FFF'FFFF'0000}, uint64_t{1} << 63, ~uint64_t{0} - 0x1000})
        EXPECT_EQ(FramesWithFrameRegister(5'000, damage), 1u) << std::hex << damage;
}

TEST(Cmn_StackTrace, SymbolReaderThatFaultsCostsTheNamesAndNothingElse) {
    static int reads = 0;
    NorvikLibInternal::GetSymbolCalls().symbolAt = [](HANDLE, DWORD64, PDWORD64, PSYMBOL_INFO) -> BOOL {
        return *reinterpret_cast<volatile int*>(uintptr_t{++reads * 0x10u});
    };
    std::vector<std::string> prints[2];
    for (std::vector<std::string>& lines : prints) {
        // From other threads: they would wait for ever for a lock that is left behind.
        std::thread([] { PrintOuter(0, true); }).join();
        lines = TakeTraces();
    }
    ASSERT_GE(prints[1].size(), 4u);
    EXPECT_THAT(prints[0][0], StartsWith("The symbol library has crashed (0xC0000005)"));
    prints[0].erase(prints[0].begin());  // said once
    EXPECT_EQ(prints[0], prints[1]);
    EXPECT_THAT(prints[1][0], AllOf(StartsWith("  #00 norvik_tests.exe+0x"), Not(HasSubstr("Print"))));
    EXPECT_THAT(prints[1].back(), StartsWith("  Stack: norvik_tests.exe 0x"));
    EXPECT_EQ(reads, 1);
}
