#include "JRCmn/Internal/Cmn_PipeChannel.h"

#include <utility>

namespace NorvikLibInternal {
namespace {

constexpr DWORD kInstances = 2;
constexpr DWORD kClientTimeout = 100;  // ms that a client waits for a free instance

}  // namespace

PipeChannel::~PipeChannel() {
    for (PipeOperation* operation : {&read, &write, &connect})
        Cancel(*operation);
}

bool PipeChannel::CreateServer(const char* name, bool isByteMode, DWORD outSize, DWORD inSize) {
    const std::lock_guard lock(mLock);
    mHandle.Reset(::CreateNamedPipeA(
        name, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
        isByteMode ? PIPE_TYPE_BYTE | PIPE_READMODE_BYTE : PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
        kInstances, outSize, inSize, kClientTimeout, nullptr));
    return static_cast<bool>(mHandle);
}

bool PipeChannel::OpenClient(const char* name, bool isByteMode) {
    KernelHandle handle(::CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OVERLAPPED | FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle) return false;
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (!isByteMode && !::SetNamedPipeHandleState(handle.Get(), &mode, nullptr, nullptr)) return false;
    const std::lock_guard lock(mLock);
    mHandle = std::move(handle);
    return true;
}

void PipeChannel::CloseClient() {
    const std::lock_guard lock(mLock);
    if (!mHandle) return;
    ++mConnection;
    ::CancelIoEx(mHandle.Get(), nullptr);
    mHandle.Reset();
}

bool PipeChannel::DisconnectServer() {
    const std::lock_guard lock(mLock);
    if (!mHandle) return true;
    ++mConnection;
    ::CancelIoEx(mHandle.Get(), nullptr);
    return ::DisconnectNamedPipe(mHandle.Get()) != FALSE;
}

template <typename Call>
PipeOutcome PipeChannel::Start(PipeOperation& operation, unsigned connection, Call call) {
    const std::lock_guard lock(mLock);
    operation.count = 0;
    operation.error = ERROR_PIPE_NOT_CONNECTED;
    if (!mHandle || connection != mConnection) return PipeOutcome::kFailed;
    operation.overlapped = {};
    operation.overlapped.hEvent = operation.event.GetHandle();
    if (call(mHandle.Get(), &operation.overlapped)) return PipeOutcome::kPending;
    operation.error = ::GetLastError();
    // A message that goes on counts as one that is under way: the result tells how much there is.
    if (operation.error == ERROR_IO_PENDING || operation.error == ERROR_MORE_DATA)
        return PipeOutcome::kPending;
    // A start that failed may leave the structure as if it were under way.
    operation.overlapped = {};
    return PipeOutcome::kFailed;
}

PipeOutcome PipeChannel::StartConnect(PipeOperation& operation) {
    return Start(operation, mConnection,
                 [](HANDLE pipe, OVERLAPPED* overlapped) { return ::ConnectNamedPipe(pipe, overlapped); });
}

PipeOutcome PipeChannel::StartRead(unsigned connection, void* buffer, DWORD size) {
    const PipeOutcome outcome = Start(read, connection, [&](HANDLE pipe, OVERLAPPED* overlapped) {
        return ::ReadFile(pipe, buffer, size, nullptr, overlapped);
    });
    return outcome == PipeOutcome::kPending ? Collect(read) : outcome;
}

PipeOutcome PipeChannel::StartWrite(unsigned connection, const void* data, DWORD size) {
    const PipeOutcome outcome = Start(write, connection, [&](HANDLE pipe, OVERLAPPED* overlapped) {
        return ::WriteFile(pipe, data, size, nullptr, overlapped);
    });
    return outcome == PipeOutcome::kPending ? Collect(write) : outcome;
}

// Its result is asked for after the wait only: under Wine an answer that came at once is not yet counted.
PipeOutcome PipeChannel::StartTransact(unsigned connection, const void* out, DWORD outSize, void* in,
                                       DWORD inSize) {
    return Start(read, connection, [&](HANDLE pipe, OVERLAPPED* overlapped) {
        return ::TransactNamedPipe(pipe, const_cast<void*>(out), outSize, in, inSize, nullptr, overlapped);
    });
}

bool PipeChannel::Flush() {
    // With a handle of its own, because it may take long, and the pipe may be closed meanwhile.
    HANDLE duplicate = nullptr;
    {
        const std::lock_guard lock(mLock);
        const HANDLE self = ::GetCurrentProcess();
        ::DuplicateHandle(self, mHandle.Get(), self, &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS);
    }
    const KernelHandle pipe(duplicate);
    return ::FlushFileBuffers(pipe.Get()) != FALSE;
}

DWORD PipeChannel::ServerProcess() {
    const std::lock_guard lock(mLock);
    ULONG process = 0;
    return ::GetNamedPipeServerProcessId(mHandle.Get(), &process) ? process : 0;
}

// The result stands in the operation itself, so the handle need not be open any more.
PipeOutcome PipeChannel::Collect(PipeOperation& operation) {
    if (!HasOverlappedIoCompleted(&operation.overlapped)) return PipeOutcome::kPending;
    if (::GetOverlappedResult(INVALID_HANDLE_VALUE, &operation.overlapped, &operation.count, FALSE))
        return PipeOutcome::kDone;
    operation.error = ::GetLastError();
    if (operation.error == ERROR_IO_INCOMPLETE) return PipeOutcome::kPending;
    operation.count = static_cast<DWORD>(operation.overlapped.InternalHigh);
    return operation.error == ERROR_MORE_DATA ? PipeOutcome::kMoreData : PipeOutcome::kFailed;
}

PipeOutcome PipeChannel::Await(PipeOperation& operation, DWORD timeoutMs) {
    const HANDLE handles[] = {operation.event.GetHandle(), mAbort.GetHandle()};
    for (;;) {
        const DWORD result = ::WaitForMultipleObjects(2, handles, FALSE, timeoutMs);
        if (result == WAIT_OBJECT_0) {
            const PipeOutcome outcome = Collect(operation);
            if (outcome != PipeOutcome::kPending) return outcome;
            operation.event.Reset();  // set by somebody else
            if (HasOverlappedIoCompleted(&operation.overlapped)) operation.event.Set();
            continue;
        }
        const PipeOutcome outcome = Cancel(operation);
        if (outcome != PipeOutcome::kFailed) return outcome;
        return result == WAIT_TIMEOUT ? PipeOutcome::kTimeout : PipeOutcome::kAborted;
    }
}

void PipeChannel::Abort(bool raise) {
    const std::lock_guard lock(mLock);
    mAborts += raise ? 1 : -1;
    mAborts > 0 ? mAbort.Set() : mAbort.Reset();
}

PipeOutcome PipeChannel::Cancel(PipeOperation& operation) {
    if (!HasOverlappedIoCompleted(&operation.overlapped)) {
        {
            const std::lock_guard lock(mLock);
            if (mHandle) ::CancelIoEx(mHandle.Get(), &operation.overlapped);
        }
        // Its buffer belongs to the platform until it says that it is done.
        while (!HasOverlappedIoCompleted(&operation.overlapped)) {
            operation.event.Wait(1'000);
            if (!HasOverlappedIoCompleted(&operation.overlapped)) operation.event.Reset();
        }
    }
    return Collect(operation);
}

}  // namespace NorvikLibInternal
