// Round trips through a named pipe, in both forms, against the same number of bare overlapped calls.

#include "IPC/IPC_NamedPipe.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_WineProbe.h"
#include "bench/Bench.h"

namespace {

std::string UniquePipe() {
    static int number = 0;
    return "NorvikBench" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++number);
}

class Echo : public IPC_NamedPipe {
public:
    Echo() : IPC_NamedPipe(eReconnect_OnWrite, 0) {}
    ~Echo() override { Stop(INFINITE); }
    void ProcessARead(IPC_Buffer* buffer) override {
        Write(buffer->GetData(), static_cast<unsigned>(buffer->GetCount()), nullptr, INFINITE);
        buffer->Reset();
    }
};

Subject::Function ThroughPipe(bool withLengths, int size) {
    return [=](benchmark::State& state) {
        NorvikLibInternal::OverrideWineProbe(withLengths);
        const std::string name = UniquePipe();
        Echo server;
        server.InitServer(name.c_str(), 2 * size, -1);
        server.StartReadThread();
        IPC_NamedPipe client(IPC_NamedPipe::eReconnect_None, 0);
        client.InitClient(name.c_str(), size);
        client.Connect(INFINITE);
        const std::vector<char> out(static_cast<size_t>(size));
        std::vector<char> in(out.size());
        int count = size;
        for (auto _ : state) {
            if (!client.WriteAndRead(out.data(), size, in.data(), size, &count, INFINITE) || count != size)
                state.SkipWithError("no answer");
        }
        NorvikLibInternal::OverrideWineProbe(std::nullopt);
    };
}

// One end by hand.
class BareEnd {
public:
    explicit BareEnd(HANDLE pipe) : mPipe(pipe) {}

    DWORD Finish(BOOL done, OVERLAPPED& overlapped) {
        DWORD count = 0;
        if (!done && ::GetLastError() == ERROR_IO_PENDING) ::WaitForSingleObject(overlapped.hEvent, INFINITE);
        return ::GetOverlappedResult(mPipe.Get(), &overlapped, &count, FALSE) ? count : 0;
    }
    OVERLAPPED Start() {
        OVERLAPPED overlapped = {};
        overlapped.hEvent = mEvent.GetHandle();
        return overlapped;
    }
    DWORD Read(void* data, int size) {
        OVERLAPPED overlapped = Start();
        return Finish(::ReadFile(mPipe.Get(), data, static_cast<DWORD>(size), nullptr, &overlapped),
                      overlapped);
    }
    DWORD Write(const void* data, int size) {
        OVERLAPPED overlapped = Start();
        return Finish(::WriteFile(mPipe.Get(), data, static_cast<DWORD>(size), nullptr, &overlapped),
                      overlapped);
    }
    // A message with or without its length, of known size.
    DWORD ReadMessage(char* data, int size, bool withLengths) {
        if (withLengths && Read(data, 8) != 8) return 0;
        return Read(data, size);
    }

private:
    const NorvikLibInternal::KernelHandle mPipe;
    const IPC_Event mEvent;
};

Subject::Function ThroughBareCalls(bool withLengths, int size) {
    return [=](benchmark::State& state) {
        const std::string name = "\\\\.\\PIPE\\" + UniquePipe();
        const DWORD mode = withLengths ? 0 : PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;
        const auto bytes = static_cast<DWORD>(2 * size);
        BareEnd server(::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, mode, 2,
                                          bytes, bytes, 100, nullptr));
        const HANDLE opened = ::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                            OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
        DWORD readMode = PIPE_READMODE_MESSAGE;
        if (!withLengths) ::SetNamedPipeHandleState(opened, &readMode, nullptr, nullptr);
        auto client = std::make_unique<BareEnd>(opened);
        const int framed = size + (withLengths ? 8 : 0);
        std::thread echo([&] {
            std::vector<char> data(static_cast<size_t>(framed));
            while (server.ReadMessage(data.data(), size, withLengths) != 0)
                server.Write(data.data(), framed);
        });
        std::vector<char> data(static_cast<size_t>(framed));
        for (auto _ : state) {
            client->Write(data.data(), framed);
            if (client->ReadMessage(data.data(), size, withLengths) == 0) state.SkipWithError("no answer");
        }
        client.reset();
        echo.join();
    };
}

const Subject kMessages64("pipe round trip, 64 B, messages", Run::kPinned, "bare overlapped calls", 1.15,
                          ThroughPipe(false, 64), ThroughBareCalls(false, 64));
const Subject kLengths64("pipe round trip, 64 B, lengths", Run::kPinned, "bare overlapped calls", 1.15,
                         ThroughPipe(true, 64), ThroughBareCalls(true, 64));
const Subject kMessages64K("pipe round trip, 64 KB, messages", Run::kPinned, "bare overlapped calls", 1.15,
                           ThroughPipe(false, 65'536), ThroughBareCalls(false, 65'536));
const Subject kLengths64K("pipe round trip, 64 KB, lengths", Run::kPinned, "bare overlapped calls", 1.15,
                          ThroughPipe(true, 65'536), ThroughBareCalls(true, 65'536));

}  // namespace
