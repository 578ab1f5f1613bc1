#include "JRCmn/Internal/Cmn_SymbolCalls.h"

#include <gmock/gmock.h>

#include <cstring>
#include <iterator>
#include <sstream>
#include <thread>

#include "JRCmn/Cmn_Assert.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TraceCapture.h"

using testing::ElementsAre, testing::EndsWith, testing::HasSubstr, testing::Not, testing::StartsWith;

static volatile int gSink = 0;
static int gInnerLine = 0;

// What follows the calls keeps the compiler from making jumps of them.
[[gnu::noinline]] static void PrintInner(int skip, bool symbols) {
    gInnerLine = __LINE__ + 1;
    Cmn_Assert::PrintStackTrace(skip, nullptr, symbols);
    gSink = 1;
}

[[gnu::noinline]] static void PrintOuter(int skip, bool symbols) {
    PrintInner(skip, symbols);
    gSink = 2;
}

// How far a module is from where its file is linked for.
static uint64_t Moved(HMODULE module, const std::string& path) {
    const std::string bytes = ReadWholeFile(path);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(bytes.data() + dos->e_lfanew);
    return reinterpret_cast<uint64_t>(module) - headers->OptionalHeader.ImageBase;
}

// The line that PrintStackTrace ends with, in words: "Stack:", a module, its addresses, the next module...
static std::vector<std::string> TakeStack() {
    std::istringstream line(TakeTraces().back());
    return {std::istream_iterator<std::string>(line), {}};
}

static void PrintContext(uint64_t instruction, uint64_t stack) {
    CONTEXT context = {};
    context.Rip = instruction;
    context.Rsp = stack;
    Cmn_Assert::PrintStackTrace(0, &context, false);
}

// A block of a size that the compiler does not know makes it keep the frame's place in a register.
[[gnu::noinline]] static size_t FramesWithFrameRegister(size_t blockSize, uint64_t damage) {
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

TEST(Cmn_StackTrace, NamesFunctionsWithTheLineOfTheCall) {
    TakeTraces();
    PrintOuter(0, true);
    const std::string line = std::to_string(gInnerLine);
    const std::vector<std::string> lines = TakeTraces();
    EXPECT_THAT(lines.at(0), AllOf(StartsWith("  #00 norvik_tests.exe+0x"), HasSubstr("PrintInner"),
                                   EndsWith("(JRCmn\\Cmn_StackTrace_test.cpp:" + line + ")\n")));
    EXPECT_THAT(lines.at(1), HasSubstr("PrintOuter"));
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
    const uint64_t moved = Moved(::GetModuleHandleA(nullptr), _pgmptr);
    for (int i = 1; void (*const function)(int, bool) : {&PrintInner, &PrintOuter, &PrintOuter}) {
        DWORD64 image = 0;
        const uint64_t address = std::stoull(whole[2], nullptr, 16) + moved;
        const auto* const entry = ::RtlLookupFunctionEntry(address, &image, nullptr);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(image + entry->BeginAddress == reinterpret_cast<uint64_t>(function), i < 3);
        whole.erase(whole.begin() + 2);
        EXPECT_EQ(stacks[i++], whole);
    }
    PrintOuter(1'000, true);
    EXPECT_THAT(TakeTraces(), ElementsAre("  Stack: no frames\n"));
}

TEST(Cmn_StackTrace, LinkAddressOfAModuleThatWasMovedIsThatOfItsFile) {
    const TempFolder folder;
    const std::string copy = folder.Path("Moved.dll");
    char original[MAX_PATH] = "";
    ::GetModuleFileNameA(::GetModuleHandleA("libgcc_s_seh-1.dll"), original, sizeof original);
    ASSERT_TRUE(::CopyFileA(original, copy.c_str(), TRUE));
    const HMODULE module = ::LoadLibraryA(copy.c_str());
    const uint64_t address = reinterpret_cast<uint64_t>(module) + 0x1234, moved = Moved(module, copy);
    EXPECT_NE(moved, 0u) << "the original should be in its place";
    PrintContext(address, 0);
    ::FreeLibrary(module);
    std::ostringstream stack;
    stack << "  Stack: Moved.dll 0x" << std::hex << address - moved << "\n";
    EXPECT_THAT(TakeTraces(), ElementsAre(stack.str()));
}

// A damaged context must not make things worse: one line, no fault, no endless walk.
TEST(Cmn_StackTrace, DamagedContextsEndInOneLine) {
    const auto code = reinterpret_cast<uint64_t>(&PrintInner), stack = reinterpret_cast<uint64_t>(&code) & ~7;
    TakeTraces();
    for (const uint64_t instruction : {uint64_t{0}, uint64_t{0x10}, ~uint64_t{0}, code, stack}) {
        for (const uint64_t pointer :
             {uint64_t{0}, ~uint64_t{0}, ~uint64_t{7}, 1ull << 63, stack, stack + 3, code & ~7}) {
            PrintContext(instruction, pointer);
            EXPECT_EQ(TakeTraces().size(), 1u) << std::hex << instruction << " " << pointer;
        }
    }
    EXPECT_GT(FramesWithFrameRegister(5'000, 0), 3u);
    for (const uint64_t damage : {uint64_t{8}, 0x7FFF'FFFF'0000ull, 1ull << 63, ~uint64_t{0x1000}})
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
    EXPECT_THAT(prints[0].at(0), StartsWith("The symbol library has crashed (0xC0000005)"));
    prints[0].erase(prints[0].begin());  // said once
    EXPECT_EQ(prints[0], prints[1]);
    EXPECT_THAT(prints[1].at(0), AllOf(StartsWith("  #00 norvik_tests.exe+0x"), Not(HasSubstr("Print"))));
    EXPECT_THAT(prints[1].back(), StartsWith("  Stack: norvik_tests.exe 0x"));
    EXPECT_EQ(reads, 1);
}
