#include "IPC/IPC_NamedPipe.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_PipeChannel.h"
#include "JRCmn/Internal/Cmn_PipeMessage.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"

using namespace NorvikLibInternal;

namespace {

constexpr char kPrefix[] = "\\\\.\\PIPE\\";
constexpr int kPrefixLength = 9;
constexpr unsigned kRetryEvery = 50;         // ms between looks for a pipe that is not there
constexpr unsigned kServiceTimeout = 1'000;  // ms for the greeting and for Verify's empty message
constexpr size_t kLargestKeptFrame = 0x100000;
constexpr int kReadsAtOnce = 32;  // by one response of the event-driven server

// What is left of a limit since `start`.
unsigned Remaining(uint64_t start, unsigned limit) {
    if (limit == INFINITE) return INFINITE;
    const uint64_t elapsed = Cmn_Time::GetInMilliseconds() - start;
    return elapsed < limit ? static_cast<unsigned>(limit - elapsed) : 0;
}

}  // namespace

// A message of the event-driven server that is being read.
struct IPC_NamedPipe::PendingRead {
    IPC_Buffer* buffer;
    PipeMessageReader reader;
    bool isGreeted;  // when it began
    PipeMessageReader::State state = PipeMessageReader::kIncomplete;
};

IPC_NamedPipe::IPC_NamedPipe(EReconnectMode mode, unsigned int reconnectRate)
    : mChannel(std::make_unique<PipeChannel>()),
      mThread("Pipe", eNormal, 0),
      mReconnectMode(mode),
      mReconnectRate(reconnectRate) {
    if (!mChannel->read.event.GetHandle()) VerifyFailed("mOverlapped.hEvent != NULL", CMN_SOURCE_FILE, 45);
    mChannel->read.event.Set();
}

IPC_NamedPipe::~IPC_NamedPipe() {
    mStopLoop = true;
    mChannel->Abort(true);
    mThread.ThreadEnd();
    mChannel->Cancel(mChannel->read);
    if (mPendingRead) DiscardBuffer(mPendingRead->buffer);
    mChannel->read.event.Set();
}

// ---- Set-up ----------------------------------------------------------------------------------------------------------

bool IPC_NamedPipe::Init(EPipeType type, const char* name, int bufferSize) {
    mType = type;
    mConnected = false;
    mIsByteMode = IsWine();
    Cmn_String compatible = name ? name : "";
    if (mIsByteMode) compatible.Replace(">", "_");
    mName = Cmn_String(kPrefix) + compatible;
    SetReadBufferSize(bufferSize);
    return !compatible.IsEmpty();
}

bool IPC_NamedPipe::InitServer(const char* name, int bufferSize, int outBufferSize) {
    const bool hasName = Init(ePipeType_Server, name, bufferSize);
    const auto in = static_cast<DWORD>(std::max(bufferSize, 0));
    const DWORD out = outBufferSize >= 0 ? static_cast<DWORD>(outBufferSize) : in;
    // The open mode does not ask to be the first: a server that comes back may overlap with the one that goes. Whoever else
    // has the name stands in the log.
    if (hasName && (::WaitNamedPipeA(mName.c_str(), NMPWAIT_NOWAIT) || ::GetLastError() == ERROR_SEM_TIMEOUT))
        Cmn_Trace("IPC_NamedPipe::InitServer '%s': there is a pipe of this name already\n", mName.c_str());
    ::SetLastError(ERROR_INVALID_NAME);
    if (!hasName || !mChannel->CreateServer(mName.c_str(), mIsByteMode, out, in)) {
        const DWORD error = ::GetLastError();
        Cmn_Trace("IPC_NamedPipe::InitServer '%s' failed: %s\n", mName.c_str(),
                  DescribeSystemError(error).c_str());
        return true;
    }
    mPipeState = ePipeState_Initialized;
    if (mReconnectMode == eReconnect_Background) BackgroundConnect();
    return true;
}

bool IPC_NamedPipe::InitClient(const char* name, int bufferSize) {
    Init(ePipeType_Client, name, bufferSize);
    mPipeState = ePipeState_Initialized;
    if (mReconnectMode == eReconnect_Background) BackgroundConnect();
    return true;
}

void IPC_NamedPipe::SetReadBufferSize(int size) {
    const bool isReadInto = mPendingRead || (mThreadRunning && !mBackgroundConnect);
    if (CMN_VERIFY(!isReadInto)) mReadBuffer.SetCapacity(size);
}

IPC_Buffer* IPC_NamedPipe::GetReadBuffer() {
    return &mReadBuffer;
}

void IPC_NamedPipe::DiscardBuffer(IPC_Buffer* buffer) {
    if (buffer == &mReadBuffer) {
        buffer->Reset();
    } else {
        delete buffer;
    }
}

void IPC_NamedPipe::ProcessARead(IPC_Buffer* inBuffer) {
    Cmn_Trace("IPC_NamedPipe::ProcessARead received %d bytes for '%s'\n", inBuffer->GetCount(),
              mName.c_str());
    inBuffer->Reset();
}

void IPC_NamedPipe::ConnectionEstablished(bool) {}

void IPC_NamedPipe::ConnectionLost() {}

// ---- Connecting --------------------------------------------------------------------------------------------------------

bool IPC_NamedPipe::Connect(unsigned int timeoutMs) {
    // One thread connects; another one that is told to looks whether it has succeeded.
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    std::unique_lock connecting(mConnectLock, std::try_to_lock);
    while (!connecting.owns_lock() && !mConnected) {
        const unsigned left = Remaining(start, timeoutMs);
        if (left == 0 || mChannel->WaitForAbort(std::min(left, kRetryEvery))) return false;
        static_cast<void>(connecting.try_lock());
    }
    if (mConnected) return true;
    const unsigned left = Remaining(start, timeoutMs);
    const bool connected = mType == ePipeType_Client ? ConnectClient(left) : ConnectServer(left);
    if (connected && SendGreeting()) {
        Established(std::move(connecting));
        return true;
    }
    mLastAttempt = Cmn_Time::GetInMilliseconds();
    return false;
}

bool IPC_NamedPipe::ConnectClient(unsigned int timeoutMs) {
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    for (;;) {
        const bool isThere = ::WaitNamedPipeA(mName.c_str(), NMPWAIT_USE_DEFAULT_WAIT) != FALSE;
        if (isThere && mChannel->OpenClient(mName.c_str(), mIsByteMode)) return true;
        const DWORD error = ::GetLastError();
        const unsigned left = Remaining(start, timeoutMs);
        // Another client may be faster, and the server may go, between the question and the opening.
        const bool isGone = error == ERROR_PIPE_BUSY || error == ERROR_FILE_NOT_FOUND ||
                            error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED ||
                            error == ERROR_BROKEN_PIPE;
        if (isThere && (!isGone || left == 0)) {
            if (IsConnectFailureTraced())
                Cmn_Trace("CreateFile error '%s': %s\n", mName.c_str(), DescribeSystemError(error).c_str());
            return false;
        }
        if (left == 0 || (mThreadRunning && mStopLoop)) return false;
        if (mChannel->WaitForAbort(std::min(left, kRetryEvery))) return false;
    }
}

bool IPC_NamedPipe::ConnectServer(unsigned int timeoutMs) {
    PipeOperation& connect = mChannel->connect;
    PipeOutcome outcome = mChannel->StartConnect(connect);
    if (outcome == PipeOutcome::kPending) outcome = mChannel->Await(connect, timeoutMs);
    if (outcome == PipeOutcome::kDone) return true;
    if (outcome != PipeOutcome::kFailed) return false;
    if (connect.error == ERROR_PIPE_CONNECTED) return true;
    ReportConnectError(connect.error);
    return false;
}

// It is tried again and again, and the log has to last: the first, second, fourth, eighth, ... in a row.
bool IPC_NamedPipe::IsConnectFailureTraced() {
    return std::has_single_bit(++mConnectFailures);
}

void IPC_NamedPipe::ReportConnectError(unsigned long error) {
    if (error != ERROR_NO_DATA) {
        if (IsConnectFailureTraced())
            Cmn_Trace("ConnectNamedPipe '%s' failed : %s\n", mName.c_str(),
                      DescribeSystemError(error).c_str());
        return;
    }
    Cmn_Trace(
        "ConnectNamedPipe error '%s' : The pipe was lost during creation. Disconnecting to clean up...\n",
        mName.c_str());
    if (!mChannel->DisconnectServer()) {
        Cmn_Trace("DisconnectNamedPipe '%s' failed : %s\n", mName.c_str(),
                  DescribeSystemError(::GetLastError()).c_str());
    }
}

// It goes before everything else: others may write only when it is out.
bool IPC_NamedPipe::SendGreeting() {
    const uint64_t hello = kPipeHello;
    DWORD error = 0;
    if (mType == ePipeType_Server || WriteFrame(mChannel->Connection(), &hello, sizeof hello, kServiceTimeout,
                                                &error) == PipeOutcome::kDone)
        return true;
    Cmn_Trace("IPC_NamedPipe::Write '%s' failed: %s\n", mName.c_str(), DescribeSystemError(error).c_str());
    mChannel->CloseClient();
    return false;
}

void IPC_NamedPipe::Established(std::unique_lock<std::mutex> connecting) {
    std::unique_lock state(mStateLock);
    mClientConnected = mType == ePipeType_Client;
    mConnected = true;
    mConnectFailures = 0;
    if (connecting) connecting.unlock();  // a callback may connect anew
    Cmn_Trace("Connection '%s' established\n", mName.c_str());
    if (const unsigned long server = mType == ePipeType_Client ? mChannel->ServerProcess() : 0)
        Cmn_Trace("'%s' is served by process %lu\n", mName.c_str(), server);
    Announce(state, Announcement::kEstablished);
}

// The callbacks come one at a time, in the order of what they tell, and without a lock: what comes up while one of them runs
// is told after it, by the same thread.
void IPC_NamedPipe::Announce(std::unique_lock<std::mutex>& state, Announcement what) {
    mAnnouncements.push_back(what);
    if (mIsAnnouncing) return;
    mIsAnnouncing = true;
    const auto done = [&](bool*) {
        if (!state) state.lock();
        mIsAnnouncing = false;
    };
    const std::unique_ptr<bool, decltype(done)> atEnd(&mIsAnnouncing, done);
    while (!mAnnouncements.empty()) {
        const Announcement next = mAnnouncements.front();
        mAnnouncements.erase(mAnnouncements.begin());
        state.unlock();
        if (next == Announcement::kLost) {
            ConnectionLost();
        } else {
            ConnectionEstablished(next == Announcement::kGreeted);
        }
        state.lock();
    }
}

void IPC_NamedPipe::ReconnectOnWrite() {
    if (mConnected || mReconnectMode != eReconnect_OnWrite || mPipeState != ePipeState_Initialized) return;
    if (Cmn_Time::GetInMilliseconds() - mLastAttempt >= mReconnectRate) Connect(0);
}

// The connection that an operation begins with. Together, so that what fails on one that is just being ended is not taken for a
// failure of the next.
bool IPC_NamedPipe::TakeConnection(unsigned int& outConnection, bool& outIsGreeted) {
    const std::lock_guard state(mStateLock);
    outConnection = mChannel->Connection();
    outIsGreeted = mType == ePipeType_Client || mClientConnected;
    return mConnected;
}

// `connection` is the one on which something has failed: it may be over already, and another one begun. What a Stop has ended
// does not connect anew.
void IPC_NamedPipe::Disconnect(unsigned int connection, bool mayReconnect) {
    Cmn_Trace("Disconnecting '%s'\n", mName.c_str());
    const bool isEventDriven = mPipeState != ePipeState_Initialized;
    {
        std::unique_lock state(mStateLock);
        if (!mConnected || connection != mChannel->Connection()) return;
        // A read that the event manager waits for ends by this, and its state with it. First the pipe, then the flag: who
        // sees it connects anew.
        if (mType == ePipeType_Client) {
            mChannel->CloseClient();
        } else if (!mChannel->DisconnectServer()) {
            Cmn_Trace("DisconnectNamedPipe '%s' failed : %s\n", mName.c_str(),
                      DescribeSystemError(::GetLastError()).c_str());
        }
        mClientConnected = false;
        mConnected = false;
        if (isEventDriven) mChannel->read.event.Set();
        Announce(state, Announcement::kLost);
    }
    if (mayReconnect && !isEventDriven && mReconnectMode == eReconnect_Background)
        StartThread(mThreadPriority, " Connect", true);
}

// ---- Blocking calls ---------------------------------------------------------------------------------------------------

bool IPC_NamedPipe::Write(const void* data, unsigned long long size, unsigned long long* written,
                          unsigned int timeoutMs) {
    ReconnectOnWrite();
    return DoWrite(data, size, written, timeoutMs);
}

bool IPC_NamedPipe::DoWrite(const void* data, unsigned long long size, unsigned long long* written,
                            unsigned int timeoutMs) {
    if (written) *written = 0;
    unsigned int connection = 0;
    bool isGreeted = false;
    if (!TakeConnection(connection, isGreeted)) return false;
    constexpr unsigned long long kLargest = 0x7FFFFFFF - kPipePrefixSize;
    if (size > kLargest) {
        Cmn_Trace("IPC_NamedPipe::Write '%s' failed: %s\n", mName.c_str(),
                  DescribeSystemError(ERROR_INVALID_PARAMETER).c_str());
        return false;
    }
    DWORD error = 0;
    const PipeOutcome outcome = WriteFrame(connection, data, static_cast<DWORD>(size), timeoutMs, &error);
    if (outcome == PipeOutcome::kDone) {
        if (written) *written = size;
        return true;
    }
    // What was cut off in the middle leaves the stream out of step.
    if (outcome == PipeOutcome::kAborted && !mIsByteMode) return false;
    if (outcome == PipeOutcome::kTimeout) Cmn_Trace("Write Timeout on pipe '%s'\n", mName.c_str());
    if (outcome == PipeOutcome::kFailed) {
        Cmn_Trace("IPC_NamedPipe::Write '%s' failed: %s\n", mName.c_str(),
                  DescribeSystemError(error).c_str());
    }
    Disconnect(connection, outcome != PipeOutcome::kAborted);
    return false;
}

PipeOutcome IPC_NamedPipe::WriteFrame(unsigned int connection, const void* data, unsigned int size,
                                      unsigned int timeoutMs, unsigned long* error) {
    const std::lock_guard lock(mWriteLock);
    unsigned int bytes = size;
    if (mIsByteMode) {
        // In one write with its length: half the calls, and no message of another thread comes between.
        bytes += kPipePrefixSize;
        mFrame.resize(bytes);
        const uint64_t length = size;
        std::memcpy(mFrame.data(), &length, sizeof length);
        if (size > 0) std::memcpy(mFrame.data() + kPipePrefixSize, data, size);
        data = mFrame.data();
    }
    PipeOutcome outcome = mChannel->StartWrite(connection, data, bytes);
    if (outcome == PipeOutcome::kPending) outcome = mChannel->Await(mChannel->write, timeoutMs);
    *error = mChannel->write.error;
    if (mFrame.size() > kLargestKeptFrame) mFrame = {};
    return outcome;
}

bool IPC_NamedPipe::Read(void* buffer, int size, int* read, unsigned int timeoutMs) {
    ReconnectOnWrite();
    return DoRead(buffer, size, read, timeoutMs);
}

bool IPC_NamedPipe::ReportTooLarge(const char* function) {
    Cmn_String text;
    text.Printf("IPC_NamedPipe::%s '%s' failed: buffer too small!!!", function, mName.c_str());
    return FailureReported(text.c_str(), CMN_SOURCE_FILE, 260);
}

bool IPC_NamedPipe::DoRead(void* buffer, int size, int* read, unsigned int timeoutMs) {
    *read = 0;
    unsigned int connection = 0;
    bool isGreeted = false;
    if (!TakeConnection(connection, isGreeted)) return false;
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    PipeMessageReader reader(mIsByteMode, buffer, std::max(size, 0));
    PipeMessageReader::State state = PipeMessageReader::kIncomplete;
    while (state == PipeMessageReader::kIncomplete) {
        PipeOutcome outcome =
            mChannel->StartRead(connection, reader.Target(), static_cast<DWORD>(reader.Wanted()));
        if (outcome == PipeOutcome::kPending)
            outcome = mChannel->Await(mChannel->read, Remaining(start, timeoutMs));
        if (outcome == PipeOutcome::kAborted && !reader.HasPart()) return false;
        if (outcome == PipeOutcome::kDone || outcome == PipeOutcome::kMoreData) {
            state = reader.Took(static_cast<int>(mChannel->read.count), outcome == PipeOutcome::kMoreData);
            continue;
        }
        if (outcome == PipeOutcome::kTimeout) Cmn_Trace("Read Timeout on pipe '%s'\n", mName.c_str());
        if (outcome == PipeOutcome::kFailed) TraceFailedRead(reader);
        Disconnect(connection, outcome != PipeOutcome::kAborted);
        return false;
    }
    if (state == PipeMessageReader::kTooLarge && isGreeted) return ReportTooLarge("Read");
    int count = reader.Size();
    if (!isGreeted && state != PipeMessageReader::kMessage) {
        CMN_VERIFY_AT(727, mClientConnected);
    } else if (state == PipeMessageReader::kBadLength) {
        TraceBadLength(reader);
    } else if (isGreeted || FilterServiceMessages(connection, buffer, &count)) {
        *read = count;
        return true;
    }
    // The stream is out of step, or a stranger is there: the place is for the next client.
    Disconnect(connection);
    return false;
}

void IPC_NamedPipe::TraceFailedRead(const PipeMessageReader& reader) {
    if (reader.HasPrefixPart()) VerifyFailed("sizeRead == sizeof(int32_t)", CMN_SOURCE_FILE, 218);
    Cmn_Trace("IPC_NamedPipe::Read '%s' failed: %s\n", mName.c_str(),
              DescribeSystemError(mChannel->read.error).c_str());
}

void IPC_NamedPipe::TraceBadLength(const PipeMessageReader& reader) {
    Cmn_Trace(
        "IPC_NamedPipe::Read '%s' failed: a message's length is out of range (%I64u, the buffer has %d)\n",
        mName.c_str(), reader.Prefix(), reader.Capacity());
}

// A message to a server before the greeting. An empty one passes.
bool IPC_NamedPipe::FilterServiceMessages(unsigned int connection, const void* data, int* size) {
    if (*size == 0) return true;
    const bool isHello = *size == sizeof kPipeHello && std::memcmp(data, &kPipeHello, sizeof kPipeHello) == 0;
    if (!isHello) return CMN_VERIFY_AT(727, mClientConnected);
    *size = 0;
    std::unique_lock state(mStateLock);
    if (!mConnected || connection != mChannel->Connection()) return true;  // it has gone meanwhile
    mClientConnected = true;
    Announce(state, Announcement::kGreeted);
    return true;
}

bool IPC_NamedPipe::WriteAndRead(const void* out, int outSize, void* in, int inSize, int* read,
                                 unsigned int timeoutMs) {
    *read = 0;
    ReconnectOnWrite();
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    // The greeting is not the answer.
    while (mType == ePipeType_Server && mConnected && !mClientConnected) {
        char greeting[sizeof kPipeHello];
        int size = 0;
        if (!DoRead(greeting, sizeof greeting, &size, Remaining(start, timeoutMs))) return false;
    }
    if (!mIsByteMode) return Transact(out, outSize, in, inSize, read, Remaining(start, timeoutMs));
    return DoWrite(out, static_cast<unsigned long long>(std::max(outSize, 0)), nullptr, timeoutMs) &&
           DoRead(in, inSize, read, Remaining(start, timeoutMs));
}

bool IPC_NamedPipe::Transact(const void* out, int outSize, void* in, int inSize, int* read,
                             unsigned int timeoutMs) {
    unsigned int connection = 0;
    bool isGreeted = false;
    if (!TakeConnection(connection, isGreeted)) return false;
    const auto outBytes = static_cast<DWORD>(std::max(outSize, 0));
    const auto inBytes = static_cast<DWORD>(std::max(inSize, 0));
    PipeOutcome outcome = mChannel->StartTransact(connection, out, outBytes, in, inBytes);
    if (outcome == PipeOutcome::kPending) outcome = mChannel->Await(mChannel->read, timeoutMs);
    if (outcome == PipeOutcome::kDone) {
        *read = static_cast<int>(mChannel->read.count);
        return true;
    }
    if (outcome == PipeOutcome::kMoreData) {
        // The rest must not be taken for the next answer.
        char rest[4096];
        do {
            outcome = mChannel->StartRead(connection, rest, sizeof rest);
            if (outcome == PipeOutcome::kPending) outcome = mChannel->Await(mChannel->read, timeoutMs);
        } while (outcome == PipeOutcome::kMoreData);
        if (outcome == PipeOutcome::kDone) return ReportTooLarge("WriteAndRead");
    }
    const DWORD error = outcome == PipeOutcome::kFailed ? mChannel->read.error : DWORD{WAIT_TIMEOUT};
    Cmn_Trace("IPC_NamedPipe::WriteAndRead '%s' failed: %s\n", mName.c_str(),
              DescribeSystemError(error).c_str());
    // Also when it was aborted: the answer is still to come, and would be taken for the next one's. Something unread in the
    // way has kept the request from going out, and the connection is as it was.
    if (error != ERROR_PIPE_BUSY) Disconnect(connection, outcome != PipeOutcome::kAborted);
    return false;
}

bool IPC_NamedPipe::FlushBuffers() {
    if (mChannel->Flush()) return true;
    Cmn_Trace("IPC_NamedPipe::FlushBuffers '%s' failed: %s\n", mName.c_str(),
              DescribeSystemError(::GetLastError()).c_str());
    return false;
}

bool IPC_NamedPipe::Verify() {
    if (mConnected) DoWrite(nullptr, 0, nullptr, kServiceTimeout);
    return mConnected;
}

// ---- The thread --------------------------------------------------------------------------------------------------------

void IPC_NamedPipe::StartReadThread(Cmn_ThreadPriority priority) {
    StartThread(priority, " Reader", false);
}

void IPC_NamedPipe::BackgroundConnect(Cmn_ThreadPriority priority) {
    StartThread(priority, " Connect", true);
}

void IPC_NamedPipe::StartThread(Cmn_ThreadPriority priority, const char* suffix, bool connectOnly) {
    if (mPipeState == ePipeState_Undefined || mThreadRunning.exchange(true)) return;
    const std::lock_guard lock(mThreadLock);
    mThread.ThreadEnd();
    mStopLoop = false;
    mBackgroundConnect = connectOnly;
    mThreadPriority = priority;
    mThread.SetPriority(priority);
    mThread.SetName(mName.End(mName.GetLength() - kPrefixLength) + suffix);
    const int result = mThread.Launch(this, &IPC_NamedPipe::BackgroundLoop, nullptr);
    if (result == 0) return;
    mThreadRunning = false;
    VerifyFailed("mThread.Launch(this, &IPC_NamedPipe::BackgroundLoop) != -1", CMN_SOURCE_FILE, 406);
}

long IPC_NamedPipe::BackgroundLoop(void*) {
    const bool connectOnly = mBackgroundConnect;
    const char* const begins =
        connectOnly ? "Background connection started for '%s'\n" : "Reader thread started for '%s'\n";
    const char* const ends =
        connectOnly ? "Background connection completed for '%s'\n" : "Reader thread gone for '%s'\n";
    do {
        Cmn_Trace(begins, mName.c_str());
        RunThread(connectOnly);
        mThreadRunning = false;
        Cmn_Trace(ends, mName.c_str());
        // A connection that was lost in this moment has left it to this thread to connect anew.
    } while (connectOnly && !mConnected && !mStopLoop && mReconnectMode == eReconnect_Background &&
             !mThreadRunning.exchange(true));
    return 0;
}

void IPC_NamedPipe::RunThread(bool connectOnly) {
    IPC_Buffer* buffer = nullptr;
    while (!mStopLoop) {
        if (!mConnected) {
            if (!connectOnly && mReconnectMode == eReconnect_None) break;
            // A connect that fails at once would else be tried without a pause.
            if (!Connect(INFINITE) && mChannel->WaitForAbort(kRetryEvery)) break;
            continue;
        }
        if (connectOnly) break;
        if (!buffer) buffer = GetReadBuffer();
        int count = 0;
        if (Read(buffer->GetData(), buffer->GetCapacity(), &count, INFINITE) && count > 0) {
            buffer->SetCount(count);
            ProcessARead(std::exchange(buffer, nullptr));
        } else {
            buffer->Reset();
        }
    }
    if (buffer) DiscardBuffer(buffer);
}

bool IPC_NamedPipe::Stop(unsigned int timeoutMs) {
    mStopLoop = true;
    if (mThread.GetID() == Cmn_Thread::GetCurrentThreadID() && mThread.IsRunning()) return false;
    if (mThread.IsRunning() && timeoutMs > 0) {
        mChannel->Abort(true);
        mThread.WaitForEnd(timeoutMs);
        mChannel->Abort(false);
    }
    if (!mThread.WaitForEnd(0)) return false;
    const std::lock_guard lock(mThreadLock);
    if (mThread.IsRunning()) return false;  // started anew meanwhile
    mThread.ThreadEnd();
    return true;
}

void IPC_NamedPipe::SetReconnectMode(EReconnectMode mode) {
    mReconnectMode = mode;
    if (mPipeState == ePipeState_Initialized && !mThreadRunning && !mConnected &&
        mode == eReconnect_Background)
        BackgroundConnect();
}

// ---- The event-driven server ------------------------------------------------------------------------------------------

void* IPC_NamedPipe::GetEventToWaitOn() {
    CMN_VERIFY(mPipeState != ePipeState_Undefined);
    if (mPipeState == ePipeState_Initialized) {
        mPipeState = ePipeState_Disconnected;
        mChannel->read.event.Set();  // the first response begins to connect
    }
    return mChannel->read.event.GetHandle();
}

void IPC_NamedPipe::RespondToEvent() {
    if (mPipeState == ePipeState_Connecting && !RespondConnecting()) return;
    if (mPipeState == ePipeState_Reading && !RespondReading()) return;
    if (!CMN_VERIFY(mPipeState == ePipeState_Disconnected || mPipeState == ePipeState_Connected)) {
        mChannel->read.event.Reset();
        return;
    }
    if (mPipeState == ePipeState_Disconnected) {
        RespondDisconnected();
    } else {
        RespondConnected();
    }
}

// What the operation has come to. Still pending when somebody else has set the event.
PipeOutcome IPC_NamedPipe::CollectResponse() {
    PipeOutcome outcome = mChannel->Collect(mChannel->read);
    if (outcome != PipeOutcome::kPending) return outcome;
    mChannel->read.event.Reset();
    return mChannel->Collect(mChannel->read);
}

bool IPC_NamedPipe::RespondConnecting() {
    const PipeOutcome outcome = CollectResponse();
    if (outcome == PipeOutcome::kPending) return false;
    mPipeState = outcome == PipeOutcome::kDone ? ePipeState_Connected : ePipeState_Disconnected;
    if (outcome == PipeOutcome::kDone) Established({});
    return true;
}

void IPC_NamedPipe::RespondDisconnected() {
    // A read that was under way when the connection went.
    if (const auto lost = std::move(mPendingRead)) DiscardBuffer(lost->buffer);
    const PipeOutcome outcome = mChannel->StartConnect(mChannel->read);
    if (outcome == PipeOutcome::kPending) {
        mPipeState = ePipeState_Connecting;
    } else if (mChannel->read.error == ERROR_PIPE_CONNECTED) {
        mPipeState = ePipeState_Connected;
        mChannel->read.event.Set();
        Established({});
    } else {
        ReportConnectError(mChannel->read.error);
        mChannel->WaitForAbort(1);  // a connect that always fails must not take the whole loop
        mChannel->read.event.Set();
    }
}

bool IPC_NamedPipe::RespondReading() {
    const PipeOutcome outcome = CollectResponse();
    if (outcome == PipeOutcome::kPending) return false;
    mPipeState = ePipeState_Connected;
    if (TookRead(outcome) && mPendingRead->state != PipeMessageReader::kIncomplete) Deliver();
    return true;
}

void IPC_NamedPipe::RespondConnected() {
    if (!mConnected) {  // lost by a write
        mPipeState = ePipeState_Disconnected;
        RespondDisconnected();
        return;
    }
    // What is there already is read and delivered in one go, because a turn of the loop costs as much as a read; then the
    // other handlers have theirs.
    for (int reads = 0; mPipeState == ePipeState_Connected && mConnected && reads < kReadsAtOnce; ++reads) {
        if (!mPendingRead) {
            IPC_Buffer* const buffer = GetReadBuffer();
            mPendingRead = std::make_unique<PendingRead>(
                PendingRead{buffer, PipeMessageReader(mIsByteMode, buffer->GetData(), buffer->GetCapacity()),
                            mClientConnected});
        }
        if (mPendingRead->state == PipeMessageReader::kIncomplete) {
            PipeMessageReader& reader = mPendingRead->reader;
            const PipeOutcome outcome = mChannel->StartRead(mChannel->Connection(), reader.Target(),
                                                            static_cast<DWORD>(reader.Wanted()));
            if (outcome == PipeOutcome::kPending) {
                mPipeState = ePipeState_Reading;
                return;
            }
            if (!TookRead(outcome)) return;
        }
        if (mPendingRead->state != PipeMessageReader::kIncomplete) Deliver();
    }
    mChannel->read.event.Set();
}

// What a read that is over has brought. False when the connection is gone.
bool IPC_NamedPipe::TookRead(PipeOutcome outcome) {
    if (outcome == PipeOutcome::kDone || outcome == PipeOutcome::kMoreData) {
        mPendingRead->state = mPendingRead->reader.Took(static_cast<int>(mChannel->read.count),
                                                        outcome == PipeOutcome::kMoreData);
        return true;
    }
    if (mConnected) TraceFailedRead(mPendingRead->reader);
    mPipeState = ePipeState_Disconnected;
    Disconnect(mChannel->Connection());
    mChannel->read.event.Set();
    return false;
}

// The message that has been read, or what is wrong with it.
void IPC_NamedPipe::Deliver() {
    const auto done = std::move(mPendingRead);
    IPC_Buffer* const buffer = done->buffer;
    int count = done->reader.Size();
    bool isGood = true;
    if (!done->isGreeted && done->state != PipeMessageReader::kMessage) {
        isGood = CMN_VERIFY_AT(727, mClientConnected);
    } else if (done->state == PipeMessageReader::kTooLarge) {
        ReportTooLarge("Read");
        count = 0;
    } else if (done->state == PipeMessageReader::kBadLength) {
        TraceBadLength(done->reader);
        isGood = false;
    } else {
        isGood = done->isGreeted || FilterServiceMessages(mChannel->Connection(), buffer->GetData(), &count);
    }
    if (isGood && count > 0) {
        buffer->SetCount(count);
        ProcessARead(buffer);
        return;
    }
    DiscardBuffer(buffer);
    if (isGood) return;
    mPipeState = ePipeState_Disconnected;
    Disconnect(mChannel->Connection());
}

void IPC_NamedPipe::CancelPendingIO() {
    const EPipeState state = mPipeState;
    if (state != ePipeState_Connecting && state != ePipeState_Reading) return;
    const PipeOutcome outcome = mChannel->Cancel(mChannel->read);
    mPipeState = state == ePipeState_Connecting ? ePipeState_Disconnected : ePipeState_Connected;
    mChannel->read.event.Set();
    if (state != ePipeState_Reading) return;
    // What arrived before the cancel did is kept, or the stream would be out of step.
    if (outcome == PipeOutcome::kDone || outcome == PipeOutcome::kMoreData) {
        TookRead(outcome);
    } else if (!mPendingRead->reader.HasPart()) {
        DiscardBuffer(std::exchange(mPendingRead, nullptr)->buffer);
    }
}
