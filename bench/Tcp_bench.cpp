// Messages over TCP against asio loops written by hand, and the pure assembler against walking the buffer.

#include <boost/asio.hpp>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "JRCmn/Cmn_TCPPrefixedMessageClient.h"
#include "JRCmn/Cmn_TCPServer.h"
#include "JRCmn/Internal/Cmn_FrameAssembler.h"
#include "bench/Bench.h"

namespace {

using Tcp = boost::asio::ip::tcp;
using boost::system::error_code;

constexpr size_t kLength = 4;
constexpr size_t kBuffer = 262'144;

// Frames of one size, as many whole ones as fit.
std::vector<unsigned char> Frames(uint32_t size, size_t bytes) {
    std::vector<unsigned char> frames(bytes / (kLength + size) * (kLength + size), 'x');
    for (size_t at = 0; at < frames.size(); at += kLength + size)
        std::memcpy(&frames[at], &size, sizeof size);
    return frames;
}

uint32_t LengthAt(const unsigned char* bytes) {
    uint32_t length;
    std::memcpy(&length, bytes, sizeof length);
    return length;
}

// ---- The assembler

constexpr size_t kReads = 20;  // after so many reads of 64 KB the frames lie as at the beginning
constexpr size_t kRead = 65'536;

void Assemble(benchmark::State& state) {
    const auto stream = Frames(16, kReads * kRead);
    NorvikLibInternal::FrameAssembler assembler(kRead);
    uint64_t bytes = 0;
    for (auto _ : state) {
        for (size_t at = 0; at < stream.size(); at += kRead) {
            assembler.Take(&stream[at], kRead, [&](const unsigned char* body, uint32_t size) {
                benchmark::DoNotOptimize(body);
                bytes += size;
                return true;
            });
        }
    }
    benchmark::DoNotOptimize(bytes);
}

void Walk(benchmark::State& state) {
    const auto stream = Frames(16, kReads * kRead);
    uint64_t bytes = 0;
    for (auto _ : state) {
        for (size_t at = 0; at < stream.size();) {
            const unsigned char* const body = &stream[at] + kLength;
            benchmark::DoNotOptimize(body);
            const uint32_t size = LengthAt(&stream[at]);
            bytes += size;
            at += kLength + size;
        }
    }
    benchmark::DoNotOptimize(bytes);
}

const Subject kAssemble("assembling 16 B frames from 64 KB reads (x20)", Run::kFree, "walking them", 1.5,
                        &Assemble, &Walk);

// ---- One end of a connection, ours and by hand

class OurEnd {
public:
    using Receive = std::function<void(OurEnd&, const unsigned char*, unsigned)>;
    OurEnd(Tcp::socket socket, Receive receive)
        : mClient(std::make_shared<Cmn_TCPPrefixedMessageClient>(
              "bench", kBuffer, nullptr, [this, receive](const unsigned char* data, unsigned size) {
                  receive(*this, data, size);
                  return true;
              })) {
        mClient->UseSocket(std::make_shared<Tcp::socket>(std::move(socket)), {});
        mClient->DisableNaggle();
        mClient->StartReading();
    }
    void Send(const unsigned char* data, unsigned size) { mClient->Send(data, size); }
    void Close() { mClient->CloseConnection(false); }

private:
    const std::shared_ptr<Cmn_TCPPrefixedMessageClient> mClient;
};

// Parses in place and moves a rest to the front, once a read.
class BareEnd {
public:
    using Receive = std::function<void(BareEnd&, const unsigned char*, unsigned)>;
    BareEnd(Tcp::socket socket, Receive receive)
        : mSocket(std::move(socket)), mReceive(std::move(receive)), mBuffer(kBuffer) {
        mSocket.set_option(Tcp::no_delay(true));
        Read();
    }
    void Send(const unsigned char* data, unsigned size) {
        auto frame = std::make_shared<std::vector<unsigned char>>(kLength + size);
        std::memcpy(frame->data(), &size, sizeof size);
        std::memcpy(frame->data() + kLength, data, size);
        boost::asio::async_write(mSocket, boost::asio::buffer(*frame), [frame](const error_code&, size_t) {});
    }
    void Close() { mSocket.close(); }

private:
    void Read() {
        mSocket.async_read_some(boost::asio::buffer(mBuffer.data() + mUsed, mBuffer.size() - mUsed),
                                [this](const error_code& error, size_t bytes) {
                                    if (!error) Parse(bytes);
                                });
    }
    void Parse(size_t bytes) {
        mUsed += bytes;
        size_t at = 0;
        while (mUsed - at >= kLength) {
            const uint32_t size = LengthAt(&mBuffer[at]);
            if (mUsed - at - kLength < size) break;
            mReceive(*this, &mBuffer[at + kLength], size);
            at += kLength + size;
        }
        mUsed -= at;
        if (at != 0 && mUsed != 0) std::memmove(mBuffer.data(), &mBuffer[at], mUsed);
        Read();
    }

    Tcp::socket mSocket;
    const Receive mReceive;
    std::vector<unsigned char> mBuffer;
    size_t mUsed = 0;
};

template <typename Condition>
void RunUntil(boost::asio::io_service& service, Condition isDone) {
    while (!isDone())
        service.run_one();
}

// Two connected sockets, each on a service of its own.
struct Pair {
    boost::asio::io_service nearService, farService;
    Tcp::socket nearSocket{nearService}, farSocket{farService};
    Pair() {
        Tcp::acceptor acceptor(farService, {boost::asio::ip::address_v4::loopback(), 0});
        nearSocket.connect(acceptor.local_endpoint());
        acceptor.accept(farSocket);
    }
};

template <typename End>
void RoundTrip(benchmark::State& state) {
    Pair pair;
    End echoing(std::move(pair.farSocket),
                [](End& end, const unsigned char* data, unsigned size) { end.Send(data, size); });
    std::thread echo([&] { pair.farService.run(); });
    uint64_t received = 0;
    {
        End receiving(std::move(pair.nearSocket), [&](End&, const unsigned char*, unsigned) { ++received; });
        const std::vector<unsigned char> message(64);
        for (auto _ : state) {
            receiving.Send(message.data(), 64);
            RunUntil(pair.nearService, [&, before = received] { return received != before; });
        }
        receiving.Close();
        pair.nearService.run();
    }
    boost::asio::post(pair.farService, [&] { echoing.Close(); });
    echo.join();
}

const Subject kRoundTrip("TCP round trip, 64 B", Run::kPinned, "asio loop by hand", 1.1, &RoundTrip<OurEnd>,
                         &RoundTrip<BareEnd>);

// An iteration is a block of about 1 MB.
template <typename End>
Subject::Function Stream(uint32_t size) {
    return [=](benchmark::State& state) {
        Pair pair;
        const auto block = Frames(size, 1'048'576);
        std::thread sender([&] {
            error_code error;
            while (!error)
                boost::asio::write(pair.farSocket, boost::asio::buffer(block), boost::asio::transfer_all(),
                                   error);
        });
        uint64_t received = 0, wanted = 0;
        {
            End receiving(std::move(pair.nearSocket),
                          [&](End&, const unsigned char*, unsigned bytes) { received += kLength + bytes; });
            for (auto _ : state) {
                wanted += block.size();
                RunUntil(pair.nearService, [&] { return received >= wanted; });
            }
            receiving.Close();
            pair.nearService.run();
        }
        sender.join();
    };
}

const Subject kStream16("TCP stream, 1 MB of 16 B messages", Run::kPinned, "asio loop by hand", 1.15,
                        Stream<OurEnd>(16), Stream<BareEnd>(16));
const Subject kStream256("TCP stream, 1 MB of 256 B messages", Run::kPinned, "asio loop by hand", 1.15,
                         Stream<OurEnd>(256), Stream<BareEnd>(256));
const Subject kStream64K("TCP stream, 1 MB of 64 KB messages", Run::kPinned, "asio loop by hand", 1.15,
                         Stream<OurEnd>(65'536), Stream<BareEnd>(65'536));

// ---- Many clients on one server

class BenchServer : public Cmn_TCPServer {
public:
    explicit BenchServer(boost::asio::io_service& service)
        : Cmn_TCPServer(service, "bench", [this](const auto& socket, const auto& peer, const auto& onClosed) {
              auto client = std::make_shared<Cmn_TCPPrefixedMessageClient>(
                  "bench", 1'024, onClosed,
                  [this](const unsigned char*, unsigned) { return ++received != 0; });
              client->UseSocket(socket, peer);
              client->StartReading();
              ++clients;
              return client;
          }) {
        SetAnyPort(true);
        StartListening();
    }
    Endpoint GetBindEndpoint() override { return {boost::asio::ip::address_v4::loopback(), 0}; }

    size_t clients = 0;
    uint64_t received = 0;
};

struct Crowd {
    boost::asio::io_service service;
    BenchServer server{service};
    std::vector<Tcp::socket> peers;

    explicit Crowd(size_t count) {
        while (peers.size() < count) {
            peers.emplace_back(service).connect(server.GetLocalEndpoint());
            RunUntil(service, [&] { return server.clients == peers.size(); });
        }
    }
};

Subject::Function InTurn(size_t count) {
    return [=](benchmark::State& state) {
        static std::map<size_t, std::unique_ptr<Crowd>> crowds;  // connecting takes longer than a round
        auto& crowd = crowds[count];
        if (!crowd) crowd = std::make_unique<Crowd>(count);
        const auto frame = Frames(64, 68);
        size_t next = 0;
        for (auto _ : state) {
            boost::asio::write(crowd->peers[next++ % count], boost::asio::buffer(frame));
            RunUntil(crowd->service,
                     [&, before = crowd->server.received] { return crowd->server.received != before; });
        }
    };
}

const Subject kInTurn("TCP server, a message of one of 1,000 clients", Run::kPinned, "of one of 10", 1.5,
                      InTurn(1'000), InTurn(10));

}  // namespace
