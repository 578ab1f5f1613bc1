// Round trips through a named pipe and streams to an event-driven server, in both forms, against the same number of bare
// overlapped calls, and against asio's stream handle.

#include "IPC/IPC_Event.h"
#include "IPC/IPC_NamedPipe.h"

#include <boost/asio.hpp>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "JRCmn/Cmn_EventManager.h"
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
    // A request and its answer in message mode, in one call.
    DWORD Transact(char* data, int size) {
        OVERLAPPED overlapped = Start();
        // Wine counts an answer that came at once only after the wait.
        if (::TransactNamedPipe(mPipe.Get(), data, static_cast<DWORD>(size), data, static_cast<DWORD>(size),
                                nullptr, &overlapped) ||
            ::GetLastError() == ERROR_IO_PENDING)
            ::WaitForSingleObject(overlapped.hEvent, INFINITE);
        return Finish(TRUE, overlapped);
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

// Both ends of a pipe, by hand.
struct BarePipe {
    BarePipe(bool withLengths, int size) {
        const std::string name = "\\\\.\\PIPE\\" + UniquePipe();
        const DWORD mode = withLengths ? 0 : PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;
        const auto bytes = static_cast<DWORD>(2 * size);
        server = ::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, mode, 2, bytes,
                                    bytes, 100, nullptr);
        client = ::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                               FILE_FLAG_OVERLAPPED, nullptr);
        DWORD readMode = PIPE_READMODE_MESSAGE;
        if (!withLengths) ::SetNamedPipeHandleState(client, &readMode, nullptr, nullptr);
    }

    HANDLE server, client;
};

Subject::Function ThroughBareCalls(bool withLengths, int size) {
    return [=](benchmark::State& state) {
        const BarePipe pipe(withLengths, size);
        BareEnd server(pipe.server);
        auto client = std::make_unique<BareEnd>(pipe.client);
        const int framed = size + (withLengths ? 8 : 0);
        std::thread echo([&] {
            std::vector<char> data(static_cast<size_t>(framed));
            while (server.ReadMessage(data.data(), size, withLengths) != 0)
                server.Write(data.data(), framed);
        });
        std::vector<char> data(static_cast<size_t>(framed));
        for (auto _ : state) {
            DWORD count;
            if (withLengths) {
                client->Write(data.data(), framed);
                count = client->ReadMessage(data.data(), size, true);
            } else {
                count = client->Transact(data.data(), size);
            }
            if (count != static_cast<DWORD>(size)) state.SkipWithError("no answer");
        }
        client.reset();
        echo.join();
    };
}

Subject::Function ThroughAsio(bool withLengths, int size) {
    return [=](benchmark::State& state) {
        using boost::asio::buffer;
        using Handle = boost::asio::windows::stream_handle;
        const BarePipe pipe(withLengths, size);
        boost::asio::io_context context;
        Handle server(context, pipe.server), client(context, pipe.client);
        const auto body = static_cast<size_t>(size), framed = body + (withLengths ? 8 : 0);
        const auto readMessage = [=](Handle& end, std::vector<char>& data) {
            boost::system::error_code error;
            if (withLengths) boost::asio::read(end, buffer(data.data(), 8), error);
            return error ? 0 : boost::asio::read(end, buffer(data.data(), body), error);
        };
        std::thread echo([&] {
            std::vector<char> data(framed);
            boost::system::error_code error;
            while (readMessage(server, data) != 0)
                boost::asio::write(server, buffer(data), error);
        });
        std::vector<char> data(framed);
        for (auto _ : state) {
            boost::asio::write(client, buffer(data));
            if (readMessage(client, data) == 0) state.SkipWithError("no answer");
        }
        client.close();
        echo.join();
    };
}

// A sender that writes until the pipe is gone.
template <typename Write>
class Sender {
public:
    explicit Sender(Write write)
        : mThread([write] {
              while (write()) {
              }
          }) {}
    ~Sender() { mThread.join(); }

private:
    std::thread mThread;
};

class Sink : public IPC_NamedPipe {
public:
    Sink() : IPC_NamedPipe(eReconnect_None, 0) {}
    void ProcessARead(IPC_Buffer* buffer) override {
        ++received;
        buffer->Reset();
    }

    uint64_t received = 0;
};

Subject::Function StreamToServer(bool withLengths, int size) {
    return [=](benchmark::State& state) {
        NorvikLibInternal::OverrideWineProbe(withLengths);
        const std::string name = UniquePipe();
        Cmn_EventManager manager;
        IPC_NamedPipe client(IPC_NamedPipe::eReconnect_None, 0);
        const std::vector<char> data(static_cast<size_t>(size));
        auto server = std::make_unique<Sink>();
        server->InitServer(name.c_str(), 2 * size, -1);
        manager.RegisterHandler(server.get(), "sink");
        manager.ProcessOneEvent(0);
        client.InitClient(name.c_str(), size);
        client.Connect(INFINITE);
        const Sender sender([&] { return client.Write(data.data(), data.size(), nullptr, INFINITE); });
        uint64_t wanted = 0;
        for (auto _ : state) {
            ++wanted;
            while (server->received < wanted)
                manager.ProcessOneEvent(INFINITE);
        }
        manager.UnregisterHandler(server.get());
        server.reset();
        NorvikLibInternal::OverrideWineProbe(std::nullopt);
    };
}

Subject::Function StreamToBareLoop(bool withLengths, int size) {
    return [=](benchmark::State& state) {
        const BarePipe pipe(withLengths, size);
        BareEnd client(pipe.client);
        auto server = std::make_unique<BareEnd>(pipe.server);
        const std::vector<char> data(static_cast<size_t>(size) + (withLengths ? 8 : 0));
        const Sender sender([&] { return client.Write(data.data(), static_cast<int>(data.size())) != 0; });
        std::vector<char> in(static_cast<size_t>(2 * size));
        for (auto _ : state) {
            if (server->ReadMessage(in.data(), size, withLengths) == 0) state.SkipWithError("no message");
        }
        server.reset();
    };
}

std::string Described(const char* work, int size, bool withLengths) {
    return std::string("pipe ") + work + (size < 1024 ? ", 64 B" : ", 64 KB") +
           (withLengths ? ", lengths" : ", messages");
}

struct PipeSubjects {
    PipeSubjects(int size, bool withLengths)
        : roundTrip(Described("round trip", size, withLengths), Run::kPinned, "bare overlapped calls", 1.15,
                    ThroughPipe(withLengths, size), ThroughBareCalls(withLengths, size)),
          asioTrip(Described("round trip (asio)", size, withLengths), Run::kPinned, "asio stream_handle", 1.0,
                   ThroughPipe(withLengths, size), ThroughAsio(withLengths, size)),
          stream(Described("stream to server", size, withLengths), Run::kPinned, "bare overlapped loop", 1.2,
                 StreamToServer(withLengths, size), StreamToBareLoop(withLengths, size)) {}

    const Subject roundTrip, asioTrip, stream;
};

const PipeSubjects kMessages64(64, false), kLengths64(64, true), kMessages64K(65'536, false),
    kLengths64K(65'536, true);

}  // namespace
