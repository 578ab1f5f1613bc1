#include "JRCmn/Internal/Cmn_ConsoleWriter.h"

namespace NorvikLibInternal {
namespace {

HANDLE StandardOutput() { return ::GetStdHandle(STD_OUTPUT_HANDLE); }

bool WriteToConsole(HANDLE console, const char* text, std::size_t size) {
    DWORD written = 0;
    return ::WriteConsoleA(console, text, static_cast<DWORD>(size), &written, nullptr) != 0;
}

bool IsEmpty(HANDLE handle) { return handle == nullptr || handle == INVALID_HANDLE_VALUE; }

}  // namespace

const ConsoleCalls kPlatformConsole = {&StandardOutput, &WriteToConsole};

void ConsoleWriter::Write(const char* text, std::size_t size) {
    const HANDLE kept = mHandle.load(std::memory_order_relaxed);
    if (!IsEmpty(kept) && mCalls.write(kept, text, size)) return;

    const HANDLE fetched = mCalls.getHandle();
    if (IsEmpty(kept) && fetched == mUnusable.load(std::memory_order_relaxed)) return;
    if (!IsEmpty(fetched) && mCalls.write(fetched, text, size)) {
        mHandle.store(fetched, std::memory_order_relaxed);
        return;
    }
    mHandle.store(nullptr, std::memory_order_relaxed);
    mUnusable.store(fetched, std::memory_order_relaxed);
}

}  // namespace NorvikLibInternal
