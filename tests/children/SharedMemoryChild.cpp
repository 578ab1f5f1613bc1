// A second writer or a vandal for tests of shared memory.
//
//   SharedMemoryChild header NAME VALUE  writes the number over the block's header
//   SharedMemoryChild half NAME EVENT    locks the block, does half of a write, sets the event and waits to be killed
//   SharedMemoryChild flood NAME EVENT   locks the block, sets the event, and writes texts of ever the same letter

#include <string>

#include "IPC/IPC_SeqLock.h"
#include "IPC/IPC_SharedMemory.h"
#include "JRCmn/Internal/Cmn_Windows.h"

int main(int, char** arguments) {
    const std::string what = arguments[1];
    IPC_SharedMemory memory(arguments[2]);
    if (!memory.TryOpen(10'000, false)) return 3;
    if (what == "header") {
        const auto value = static_cast<unsigned>(std::stoull(arguments[3]));
        return memory.Write(&value, sizeof value, nullptr, 0) ? 0 : 4;
    }
    auto& lock = *static_cast<IPC_SeqLock*>(memory.GetUserDataPtr());
    std::string text(memory.GetUserDataSize() - sizeof lock, '!');
    memory.Lock(true);
    if (what == "half") lock.WriteLock();
    if (what == "half") IPC_SeqLock::Copy(&lock + 1, text.data(), text.size() / 2);
    ::SetEvent(::OpenEventA(EVENT_MODIFY_STATE, FALSE, arguments[3]));
    for (unsigned write = 0; what == "flood"; ++write) {
        text.assign(text.size(), static_cast<char>('A' + write % 26));
        lock.Write(&lock + 1, text.data(), text.size());
        // What a writer does between two writes.
        for (int i = 0; i < 100; ++i)
            YieldProcessor();
    }
    ::Sleep(INFINITE);
}
