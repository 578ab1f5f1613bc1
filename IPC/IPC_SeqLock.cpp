#include "IPC/IPC_SeqLock.h"

#include "JRCmn/Internal/Cmn_Processor.h"

namespace {

// A write takes about as long as a read, so spinning for some reads mostly ends the wait. Then the writer has probably lost
// its processor, which yielding gives back to it. Then it is dead, or writes without a break.
constexpr unsigned int kSpins = 1000;
constexpr unsigned int kYields = 1000;
constexpr unsigned int kSleepMilliseconds = 1000;

}  // namespace

void IPC_SeqLock::Sleep() {
#if defined(_WIN32)
    ::SleepEx(kSleepMilliseconds, TRUE);
#else
    NorvikLibInternal::SleepMilliseconds(kSleepMilliseconds);
#endif
}

IPC_SeqLockCounter IPC_SeqLock::ReadAgain(void* copy, const void* shared, size_t size,
                                          unsigned int sleeps) const {
    for (;;) {
        for (unsigned int tries = 0; tries < kSpins + kYields; ++tries) {
            if (tries < kSpins) {
                NorvikLibInternal::PauseProcessor();
            } else {
                NorvikLibInternal::YieldProcessorSlice();
            }
            const IPC_SeqLockCounter reading = TryRead(copy, shared, size);
            if (reading.IsValid()) return reading;
        }
        if (sleeps == 0) return {};
        if (sleeps != cForever) --sleeps;
        Sleep();
    }
}
