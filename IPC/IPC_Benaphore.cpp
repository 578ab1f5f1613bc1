#include "IPC/IPC_Benaphore.h"

#include <algorithm>

#include "JRCmn/Internal/Cmn_Processor.h"

namespace {

// A critical section of this library is some 100 ns to a few microseconds long, so spinning for about that long
// usually ends the wait without the scheduler. The looks get rarer: a thread that locks again at once then mostly finds its
// own release, and the words and what they guard stay with its processor instead of moving at every unlock. Yielding reaches
// threads of the same priority; the sleep at the end is there because a waiter of high priority would otherwise keep the
// holder from ever running.
constexpr int kSpinPauses = 2000;  // altogether, some 10 to 40 ns each
constexpr int kPausesBetweenLooks = 64;
constexpr int kYields = 2000;
constexpr unsigned kSleepMilliseconds = 1;

}  // namespace

IPC_Benaphore::IPC_Benaphore() : mWords(new Words) {}

IPC_Benaphore::~IPC_Benaphore() {
    delete mWords;
}

bool IPC_Benaphore::TakeRelease() {
    int32_t posted = mWords->releases.load(std::memory_order_relaxed);
    while (posted > 0) {
        if (mWords->releases.compare_exchange_weak(posted, posted - 1)) return true;
    }
    return false;
}

void IPC_Benaphore::WaitForRelease() {
    // With one processor nothing can change while this thread spins.
    if (NorvikLibInternal::ProcessorCount() > 1) {
        for (int spent = 0, pauses = 1; spent < kSpinPauses;
             pauses = std::min(2 * pauses, kPausesBetweenLooks)) {
            if (TakeRelease()) return;
            for (int i = 0; i < pauses; ++i)
                NorvikLibInternal::PauseProcessor();
            spent += pauses;
        }
    }
    for (int i = 0; i < kYields; ++i) {
        if (TakeRelease()) return;
        NorvikLibInternal::YieldProcessorSlice();
    }
    while (!TakeRelease()) {
        // Destructors of global objects run when the platform has ended all other threads, the holder too: nobody is left
        // to be kept out, and a process that waited here would never end.
        if (NorvikLibInternal::OtherThreadsAreGone()) return;
        NorvikLibInternal::SleepMilliseconds(kSleepMilliseconds);
    }
}
