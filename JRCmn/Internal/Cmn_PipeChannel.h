#pragma once

// One end of a pipe and the overlapped operations on it. Starting an operation and taking the handle away exclude each
// other; an operation that is given up is cancelled on whichever thread it was started, and is over before its buffer goes.
// Connections are numbered: an operation names the one it is meant for, and fails when that one is over.
//
//   PipeOutcome outcome = channel.StartRead(connection, buffer, size);
//   if (outcome == PipeOutcome::kPending) outcome = channel.Await(channel.read, 1'000);
//
// Threads:   any; one at a time for each of the three operations
// Ownership: owns handle and events
// Errors:    kFailed with the platform's code in the operation
// Units:     milliseconds, bytes

#include <atomic>
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

    // The number of the present or the next connection; it rises when one ends.
    unsigned Connection() const { return mConnection; }

    PipeOutcome StartConnect(PipeOperation& operation);  // kFailed also with ERROR_PIPE_CONNECTED
    PipeOutcome StartRead(unsigned connection, void* buffer, DWORD size);
    PipeOutcome StartWrite(unsigned connection, const void* data, DWORD size);
    PipeOutcome StartTransact(unsigned connection, const void* out, DWORD outSize, void* in, DWORD inSize);
    bool Flush();
    // 0 when it is not known.
    DWORD ServerProcess();

    // Whether a started operation is over; kPending when it is not.
    PipeOutcome Collect(PipeOperation& operation);
    // Waits for a pending operation; after the time, or Abort, it is cancelled and over, unless it was done meanwhile.
    PipeOutcome Await(PipeOperation& operation, DWORD timeoutMs);
    PipeOutcome Cancel(PipeOperation& operation);

    // Makes waits give up, now and until it is lowered as often as it was raised.
    void Abort(bool raise);
    // True when aborted.
    bool WaitForAbort(DWORD timeoutMs) { return mAbort.Wait(timeoutMs); }

    PipeOperation read;  // the event-driven server also connects with it
    PipeOperation write;
    PipeOperation connect;

private:
    template <typename Call>
    PipeOutcome Start(PipeOperation& operation, unsigned connection, Call call);

    std::mutex mLock;  // of what follows
    KernelHandle mHandle;
    std::atomic<unsigned> mConnection{0};
    int mAborts = 0;
    IPC_Event mAbort;
};

}  // namespace NorvikLibInternal
