#pragma once

// One end of a pipe and the overlapped operations on it. Starting an operation and taking the handle away exclude each
// other; an operation that is given up is cancelled on whichever thread it was started, and is over before its buffer goes.
//
//   PipeOutcome outcome = channel.StartRead(buffer, size);
//   if (outcome == PipeOutcome::kPending) outcome = channel.Await(channel.read, 1'000);
//
// Threads:   any; one at a time for each of the two operations
// Ownership: owns handle and events
// Errors:    kFailed with the platform's code in the operation
// Units:     milliseconds, bytes

#include <mutex>

#include "IPC/IPC_Event.h"
#include "JRCmn/Internal/Cmn_Handle.h"

namespace NorvikLibInternal {

enum class PipeOutcome {
    kDone,
    kMoreData,  // the buffer is full and the message goes on
    kPending,
    kTimeout,
    kAborted,
    kFailed,
};

struct PipeOperation {
    IPC_Event event;
    OVERLAPPED overlapped = {};
    DWORD count = 0;  // bytes done
    DWORD error = 0;
};

class PipeChannel {
public:
    ~PipeChannel();

    // False with the last error.
    bool CreateServer(const char* name, bool isByteMode, DWORD outSize, DWORD inSize);
    bool OpenClient(const char* name, bool isByteMode);
    // The client's handle goes; the server's stays for the next client. What is under way is cancelled.
    void CloseClient();
    bool DisconnectServer();

    PipeOutcome StartConnect();  // kFailed also with ERROR_PIPE_CONNECTED
    PipeOutcome StartRead(void* buffer, DWORD size);
    PipeOutcome StartWrite(const void* data, DWORD size);
    PipeOutcome StartTransact(const void* out, DWORD outSize, void* in, DWORD inSize);
    bool Flush();
    // 0 when it is not known.
    DWORD ServerProcess();

    // Whether a started operation is over; kPending when it is not.
    PipeOutcome Collect(PipeOperation& operation);
    // Waits for a pending operation; after the time, or Abort, it is cancelled and over, unless it was done meanwhile.
    PipeOutcome Await(PipeOperation& operation, DWORD timeoutMs);
    PipeOutcome Cancel(PipeOperation& operation);

    // Makes waits give up, now and until it is lowered.
    void Abort(bool raise) { raise ? mAbort.Set() : mAbort.Reset(); }
    // True when aborted.
    bool WaitForAbort(DWORD timeoutMs) { return mAbort.Wait(timeoutMs); }

    PipeOperation read;  // also connects
    PipeOperation write;

private:
    template <typename Call>
    PipeOutcome Start(PipeOperation& operation, Call call);

    std::mutex mLock;  // of the handle
    KernelHandle mHandle;
    IPC_Event mAbort;
};

}  // namespace NorvikLibInternal
