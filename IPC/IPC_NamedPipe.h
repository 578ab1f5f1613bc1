#pragma once

// IPC_NamedPipe: a channel for whole messages between two processes of one machine. The server makes the pipe, the client
// opens it and announces itself with a greeting that the server swallows.
//
//   class Meters : public IPC_NamedPipe {                       // a server that the event manager drives
//   public:
//       Meters() : IPC_NamedPipe(eReconnect_None, 0) {}
//       ~Meters() override {
//           gIF_EventManager->UnregisterHandler(this);
//           Stop(1'000);
//       }
//
//       void ProcessARead(IPC_Buffer* message) override {
//           Write(message->GetData(), message->GetCount(), nullptr, 100);
//           message->Reset();
//       }
//   };
//   Meters meters;
//   meters.InitServer("Meters", 4'096, -1);
//   gIF_EventManager->RegisterHandler(&meters, "Meters pipe");
//
//   int count = 0;
//   IPC_NamedPipe client(IPC_NamedPipe::eReconnect_OnWrite, 500);   // the other process, with blocking calls
//   client.InitClient("Meters", 4'096);
//   if (client.Connect(1'000)) client.WriteAndRead(request, size, answer, sizeof answer, &count, 1'000);
//
// Three ways of use, one for each object: blocking calls; a reader thread (StartReadThread) that calls ProcessARead; on the
// server, the event manager. docs/formats/named-pipe.md has the bytes.
//
// Threads:   Init, Connect, Read and the settings: the owner's thread. Write, IsConnected and Stop: any thread, also beside
//            a read. ProcessARead, ConnectionEstablished and ConnectionLost are called by whichever thread reads, writes
//            or connects; the last two one at a time, in order: what comes up during one is told after it by the same
//            thread. A derived class calls Stop in its destructor: afterwards its functions are gone.
//            An event-driven pipe is set up, cancelled and destroyed on the manager's thread, and not in its own callbacks.
// Ownership: owns pipe, thread and read buffer. A buffer of its own that a derived class returns from GetReadBuffer belongs to
//            the pipe until ProcessARead takes it.
// Errors:    traced with the pipe's name, and false; only std::bad_alloc is thrown. A peer that is gone shows as a failed
//            read or write: the pipe disconnects, calls ConnectionLost and connects again as its reconnect mode says. A
//            message that is too large for the buffer is dropped whole; in byte mode the connection ends, too. A write that
//            waits behind another thread's waits as long as that one. Stop also ends a write that is under way, while the
//            pipe's thread runs.
// Units:     milliseconds, 0xFFFFFFFF without a limit; sizes are bytes

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "IPC/IPC_Buffer.h"
#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/IF_EventHandler.h"

namespace NorvikLibInternal {
class PipeChannel;
class PipeMessageReader;
enum class PipeOutcome;
}  // namespace NorvikLibInternal

class NORVIK_API IPC_NamedPipe : public IF_EventHandler {
public:
    enum EPipeType { ePipeType_Undefined = 0, ePipeType_Server = 1, ePipeType_Client = 2 };

    enum EReconnectMode {
        eReconnect_None = 0,
        eReconnect_OnWrite = 1,     // by a write or read, at most once in the reconnect rate
        eReconnect_Background = 2,  // by a thread, as soon as the connection is lost
    };

    // docs/formats/named-pipe.md shows how they follow one another.
    enum EPipeState {
        ePipeState_Undefined = 0,
        ePipeState_Initialized = 1,
        ePipeState_Disconnected = 2,
        ePipeState_Connecting = 3,
        ePipeState_Connected = 4,
        ePipeState_Reading = 5,
    };

    IPC_NamedPipe(EReconnectMode mode, unsigned int reconnectRate);
    ~IPC_NamedPipe() override;
    IPC_NamedPipe(const IPC_NamedPipe&) = delete;
    IPC_NamedPipe& operator=(const IPC_NamedPipe&) = delete;

    // ---- The event manager's side.
    void* GetEventToWaitOn() override;
    void RespondToEvent() override;

    // ---- What a derived class changes.
    // A message. Resets the buffer, or, when it came from the class's own GetReadBuffer, takes it over.
    virtual void ProcessARead(IPC_Buffer* inBuffer);
    // Connected; on a server called again with true when the client has sent its greeting.
    virtual void ConnectionEstablished(bool inClientConnected);
    virtual void ConnectionLost();
    // Refused, with a report, while something is read into it.
    virtual void SetReadBufferSize(int size);
    // The buffer for the next message: the pipe's own, or one made with new for it.
    virtual IPC_Buffer* GetReadBuffer();

    // ---- Set-up, once. True also when it fails, which is traced. A server's bufferSize has room for the greeting, 8 bytes.
    // An outBufferSize below 0 is the same as bufferSize.
    bool InitServer(const char* name, int bufferSize, int outBufferSize);
    bool InitClient(const char* name, int bufferSize);

    // ---- Blocking calls.
    bool Connect(unsigned int timeoutMs);
    bool Write(const void* data, unsigned long long size, unsigned long long* written,
               unsigned int timeoutMs);
    // One message; a count of 0 for the greeting and for an empty one. False with 0 for one that is larger than `size`. The
    // first message that a server reads is the greeting: it needs a size of 8.
    bool Read(void* buffer, int size, int* read, unsigned int timeoutMs);
    // A request and its answer. A peer that owes an answer must not Verify: its empty message would count as the answer.
    bool WriteAndRead(const void* out, int outSize, void* in, int inSize, int* read, unsigned int timeoutMs);
    // Waits until the peer has read all, without a limit, and Stop cannot end it: not for the pipe's own thread.
    bool FlushBuffers();
    // Sends an empty message: whether the peer is still there.
    bool Verify();

    // ---- The thread. There is one: to start it does nothing while it runs.
    void StartReadThread() { StartReadThread(mThreadPriority); }
    void StartReadThread(Cmn_ThreadPriority priority);
    void BackgroundConnect() { BackgroundConnect(mThreadPriority); }
    void BackgroundConnect(Cmn_ThreadPriority priority);
    // Whether the thread has ended. 0 tells it to, and does not wait.
    bool Stop(unsigned int timeoutMs);
    bool SetThreadPriority(Cmn_ThreadPriority priority) { return mThread.SetPriority(priority); }
    // Ends a connect or read of the event-driven server; the next response begins anew.
    void CancelPendingIO();

    // ---- Settings and state.
    EPipeType GetType() const { return mType; }
    bool IsInitialized() const { return mPipeState != ePipeState_Undefined; }  // the set-up succeeded
    bool IsConnected() const { return mConnected; }
    bool IsClientConnected() const { return mClientConnected; }  // the greeting has been exchanged
    bool IsReadThreadRunning() const { return mThreadRunning; }  // also while it only connects
    const Cmn_String& GetName() const { return mName; }
    EReconnectMode GetReconnectMode() const { return mReconnectMode; }
    void SetReconnectMode(EReconnectMode mode);
    unsigned int GetReconnectRate() const { return mReconnectRate; }
    void SetReconnectRate(unsigned int milliseconds) { mReconnectRate = milliseconds; }
    // Kept for the programs that set it. It has no effect.
    unsigned int GetReconnectTimeout() const { return mReconnectTimeout; }
    void SetReconnectTimeout(unsigned int milliseconds) { mReconnectTimeout = milliseconds; }

private:
    struct PendingRead;
    enum class Announcement { kEstablished, kGreeted, kLost };

    bool Init(EPipeType type, const char* name, int bufferSize);
    bool ConnectClient(unsigned int timeoutMs);
    bool ConnectServer(unsigned int timeoutMs);
    bool IsConnectFailureTraced();
    bool SendGreeting();
    void Established(std::unique_lock<std::mutex> connecting);
    void Announce(std::unique_lock<std::mutex>& state, Announcement what);
    void ReportConnectError(unsigned long error);
    void ReconnectOnWrite();
    bool DoWrite(const void* data, unsigned long long size, unsigned long long* written,
                 unsigned int timeoutMs);
    bool DoRead(void* buffer, int size, int* read, unsigned int timeoutMs);
    bool Transact(const void* out, int outSize, void* in, int inSize, int* read, unsigned int timeoutMs);
    bool FilterServiceMessages(unsigned int connection, const void* data, int* size);
    bool ReportTooLarge(const char* function);
    void TraceFailedRead(const NorvikLibInternal::PipeMessageReader& reader);
    void TraceBadLength(const NorvikLibInternal::PipeMessageReader& reader);
    NorvikLibInternal::PipeOutcome WriteFrame(unsigned int connection, const void* data, unsigned int size,
                                              unsigned int timeoutMs, unsigned long* error);
    bool TakeConnection(unsigned int& outConnection, bool& outIsGreeted);
    void Disconnect(unsigned int connection, bool mayReconnect = true);
    void StartThread(Cmn_ThreadPriority priority, const char* suffix, bool connectOnly);
    long BackgroundLoop(void*);
    void RunThread(bool connectOnly);
    void DiscardBuffer(IPC_Buffer* buffer);

    // One function for each state of the event-driven server; false while the operation is still pending.
    bool RespondConnecting();
    bool RespondReading();
    void RespondDisconnected();
    void RespondConnected();
    NorvikLibInternal::PipeOutcome CollectResponse();
    bool TookRead(NorvikLibInternal::PipeOutcome outcome);
    void Deliver();

    IPC_Buffer mReadBuffer;
    EPipeType mType = ePipeType_Undefined;
    std::atomic<bool> mConnected{false};
    std::atomic<bool> mClientConnected{false};
    Cmn_String mName;
    bool mIsByteMode = false;
    const std::unique_ptr<NorvikLibInternal::PipeChannel> mChannel;
    Cmn_TThread<IPC_NamedPipe> mThread;
    std::atomic<bool> mStopLoop{false};
    std::atomic<bool> mThreadRunning{false};
    std::atomic<bool> mBackgroundConnect{false};
    std::atomic<EReconnectMode> mReconnectMode;
    std::atomic<unsigned int> mReconnectRate;
    std::atomic<unsigned int> mReconnectTimeout{0};
    std::atomic<Cmn_ThreadPriority> mThreadPriority{Cmn_ThreadPriority(8)};
    std::atomic<uint64_t> mLastAttempt{0};
    std::atomic<unsigned> mConnectFailures{0};  // in a row
    std::atomic<EPipeState> mPipeState{ePipeState_Undefined};
    std::unique_ptr<PendingRead> mPendingRead;  // of the event-driven server
    std::mutex mConnectLock;                    // held by the thread that connects
    std::mutex mStateLock;  // of the connection's flags and end, and of what is told of them
    std::vector<Announcement> mAnnouncements;
    bool mIsAnnouncing = false;
    std::mutex mThreadLock;  // of starting and joining the thread
    std::mutex mWriteLock;
    std::vector<char> mFrame;  // prefix and message, in byte mode
};
