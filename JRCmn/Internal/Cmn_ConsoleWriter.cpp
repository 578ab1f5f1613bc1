#include "JRCmn/Internal/Cmn_ConsoleWriter.h"

#include "JRCmn/Internal/Cmn_Clock.h"

namespace NorvikLibInternal {
namespace {

constexpr uint64_t kTryAgainAfter = 1'000;  // ms

HANDLE StandardOutput() {
    return ::GetStdHandle(STD_OUTPUT_HANDLE);
}

bool WriteToConsole(HANDLE console, const char* text, std::size_t size) {
    DWORD written = 0;
    return ::WriteConsoleA(console, text, static_cast<DWORD>(size), &written, nullptr) != 0;
}

bool IsEmpty(HANDLE handle) {
    return handle == nullptr || handle == INVALID_HANDLE_VALUE;
}

}  // namespace

const ConsoleCalls kPlatformConsole = {&StandardOutput, &WriteToConsole};

void ConsoleWriter::Write(const char* text, std::size_t size) {
    const HANDLE kept = mHandle.load(std::memory_order_relaxed);
    if (!IsEmpty(kept) && mCalls.write(kept, text, size)) return;

    const HANDLE fetched = mCalls.getHandle();
    const uint64_t now = ClockMillisecondsCoarse();
    const bool isKnownUnusable = IsEmpty(kept) && fetched == mUnusable.load(std::memory_order_relaxed);
    if (isKnownUnusable && now < mTryAgainAt.load(std::memory_order_relaxed)) return;
    if (!IsEmpty(fetched) && mCalls.write(fetched, text, size)) {
        mHandle.store(fetched, std::memory_order_relaxed);
        return;
    }
    mHandle.store(nullptr, std::memory_order_relaxed);
    mUnusable.store(fetched, std::memory_order_relaxed);
    mTryAgainAt.store(now + kTryAgainAfter, std::memory_order_relaxed);
}

}  // namespace NorvikLibInternal
