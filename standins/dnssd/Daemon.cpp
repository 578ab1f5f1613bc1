#include "standins/dnssd/Daemon.h"

#include <boost/asio/read.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <utility>

#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "standins/dnssd/Script.h"

namespace DnsSdStandin {

using boost::asio::buffer;
using boost::asio::ip::tcp;
using boost::system::error_code;

// A client that does not take its results any more is cut off.
constexpr size_t kMaxQueued = size_t{64} * 1024 * 1024;

// On this platform a port can be listened on again at once, and with the option others could take it over.
constexpr bool kReuseAddress = false;

class Session : public std::enable_shared_from_this<Session> {
public:
    Session(Daemon& daemon, tcp::socket socket) : mDaemon(daemon), mSocket(std::move(socket)) {}

    void Read() {
        boost::asio::async_read(mSocket, buffer(mPrefix),
                                [self = shared_from_this()](error_code error, size_t) {
                                    const uint32_t length = error ? 0 : MessageLength(self->mPrefix);
                                    if (length == 0 || length > kMaxMessage) return self->Close();
                                    self->mBody.resize(length);
                                    self->ReadBody();
                                });
    }

    void Queue(const std::string& bytes) {
        mQueue += bytes;
        // Not at once: the registry may be going over its operations.
        if (mQueue.size() > kMaxQueued)
            return boost::asio::post(mDaemon.mContext, [self = shared_from_this()] { self->Close(); });
        if (!mIsWriting && !mIsHeld) Write();
    }
    void Answer(int32_t error, uint64_t operation = 0, const std::string& text = {}) {
        Queue(Writer(kAnswer).U32(static_cast<uint32_t>(error)).U64(operation).Rest(text).Take());
    }

    // Between the two, what is queued is kept, so that it goes out in one piece.
    void Hold() { mIsHeld = true; }
    void Release() {
        mIsHeld = false;
        if (!mIsWriting && !mQueue.empty()) Write();
    }

    void Close() {
        error_code ignored;
        mSocket.close(ignored);
        if (const uint64_t ended = std::exchange(running, 0)) mDaemon.Ended(ended);
    }
    void ExitWhenSent() {
        mExits = true;
        if (!mIsWriting && mQueue.empty()) mDaemon.mContext.stop();
    }

    // What runs on this connection, if anything.
    uint64_t running = 0;

private:
    void ReadBody() {
        boost::asio::async_read(mSocket, buffer(mBody),
                                [self = shared_from_this()](error_code error, size_t) {
                                    if (error) return self->Close();
                                    self->mDaemon.Handle(self, self->mBody);
                                    if (self->mSocket.is_open()) self->Read();
                                });
    }

    void Write() {
        if (!mSocket.is_open()) return;
        mIsWriting = true;
        mSending = std::exchange(mQueue, {});
        // Behind the answer to the start there may be results: it is the last message that is cut.
        constexpr size_t kLastPart = 3;
        if (mDaemon.mPause.count() == 0 || running == 0) return WriteRest();
        const size_t firstPart = mSending.size() - kLastPart;
        boost::asio::async_write(mSocket, buffer(mSending, firstPart),
                                 [self = shared_from_this(), firstPart](error_code error, size_t) {
                                     if (error) return self->Close();
                                     self->mSending.erase(0, firstPart);
                                     self->mTimer.expires_after(self->mDaemon.mPause);
                                     self->mTimer.async_wait([self](error_code) { self->WriteRest(); });
                                 });
    }

    void WriteRest() {
        boost::asio::async_write(mSocket, buffer(mSending),
                                 [self = shared_from_this()](error_code error, size_t) {
                                     self->mIsWriting = false;
                                     if (error) return self->Close();
                                     if (!self->mQueue.empty()) return self->Write();
                                     if (self->mExits) self->mDaemon.mContext.stop();
                                 });
    }

    Daemon& mDaemon;
    tcp::socket mSocket;
    boost::asio::steady_timer mTimer{mDaemon.mContext};
    char mPrefix[kPrefixSize] = {};
    std::string mBody;
    std::string mQueue;
    std::string mSending;
    bool mIsWriting = false;
    bool mIsHeld = false;
    bool mExits = false;
};

namespace {

uint64_t FirstOperation() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace

Daemon::Daemon(boost::asio::io_context& context, uint16_t port, const std::string& computerName)
    : mContext(context),
      mAcceptor(context, tcp::endpoint(boost::asio::ip::address_v4::loopback(), port), kReuseAddress),
      mNextOperation(FirstOperation()),
      mRegistry(
          [this](uint64_t operation, const std::string& message) {
              const auto found = mOperations.find(operation);
              if (found != mOperations.end()) found->second->Queue(message);
          },
          computerName) {
    Accept();
}

void Daemon::Accept() {
    mAcceptor.async_accept([this](error_code error, tcp::socket socket) {
        if (!error) std::make_shared<Session>(*this, std::move(socket))->Read();
        Accept();
    });
}

void Daemon::Handle(const std::shared_ptr<Session>& session, std::string_view body) {
    // An operation's connection says nothing more.
    if (session->running != 0) return session->Close();
    Reader reader(body);
    const auto kind = static_cast<Kind>(reader.U8());
    if (kind == kControl) return HandleControl(session, reader.Rest());
    if (kind == kVersion)
        return session->Answer(reader.Rest().empty() ? 0 : NorvikLibInternal::kDNSServiceErr_BadParam);
    if (kind == kUpdate) {
        const uint64_t operation = reader.U64();
        const std::string txt = reader.Text();
        if (!reader.IsWhole()) return session->Close();
        return session->Answer(mRegistry.Update(operation, txt));
    }
    Operation operation;
    operation.kind = kind;
    operation.flags = reader.U32();
    operation.interfaceIndex = reader.U32();
    if (kind == kReconfirm) {
        const uint16_t recordType = reader.U16();
        reader.U16();  // the class: there is one
        const std::string fullName = reader.Text();
        reader.Text();  // the data: a record is known by its name and type
        if (!reader.IsWhole()) return session->Close();
        return session->Answer(mRegistry.Reconfirm(operation.interfaceIndex, fullName, recordType));
    }
    if (kind == kQuery) {
        operation.recordType = reader.U16();
        reader.U16();  // the class
        operation.fullName = reader.Text();
        if (!reader.IsWhole()) return session->Close();
        return StartOperation(session, std::move(operation));
    }
    if (kind < kBrowse || kind > kRegister) return session->Close();
    if (kind == kAddress) operation.protocol = reader.U32();
    if (kind == kAddress) operation.host = reader.Text();
    if (kind == kRegister) operation.instance.port = reader.U16();
    if (kind == kRegister) operation.instance.name = reader.Text();
    if (kind == kResolve) operation.name = reader.Text();
    if (kind != kAddress) operation.type = reader.Text();
    if (kind != kAddress) operation.domain = reader.Text();
    if (kind == kRegister) operation.instance.host = reader.Text();
    if (kind == kRegister) operation.instance.txt = reader.Text();
    if (!reader.IsWhole()) return session->Close();
    StartOperation(session, std::move(operation));
}

void Daemon::StartOperation(const std::shared_ptr<Session>& session, Operation operation) {
    const uint64_t id = mNextOperation++;
    const int32_t error = mRegistry.Start(id, std::move(operation));
    if (error != NorvikLibInternal::kDNSServiceErr_NoError) return session->Answer(error);
    session->running = id;
    mOperations[id] = session;
    session->Hold();
    session->Answer(error, id);
    mRegistry.Begin(id);
    session->Release();
    AnswerWaits();
}

void Daemon::HandleControl(const std::shared_ptr<Session>& session, const std::string& line) {
    const std::vector<std::string> words = Words(line);
    const std::string command = words.empty() ? "" : words[0];
    if (command == "exit" && words.size() == 1) {
        session->Answer(0);
        return session->ExitWhenSent();
    }
    if (command == "halves" && words.size() == 2) {
        if (const std::optional<int32_t> pause = Number(words[1], 0, INT16_MAX)) {
            mPause = std::chrono::milliseconds(*pause);
            return session->Answer(0);
        }
    }
    if (command == "drop" && words.size() == 1) {
        DropOperations();
        return session->Answer(0);
    }
    if (command == "await" && words.size() == 3) {
        const std::optional<Kind> kind = OperationKind(words[1]);
        const std::optional<int32_t> count = Number(words[2], 0, INT32_MAX);
        if (kind && count) {
            mWaits.push_back({session, *kind, *count});
            return AnswerWaits();
        }
    }
    for (const auto& [id, each] : mOperations)
        each->Hold();
    const ScriptAnswer answer = RunScript(mRegistry, line);
    // A client that was cut off goes out of the table.
    for (const auto& [id, each] : std::map(mOperations))
        each->Release();
    session->Answer(answer.isOk ? 0 : NorvikLibInternal::kDNSServiceErr_BadParam, 0, answer.text);
    AnswerWaits();
}

void Daemon::DropOperations() {
    for (const auto& [id, each] : std::map(mOperations))
        each->Close();
}

void Daemon::Ended(uint64_t operation) {
    mOperations.erase(operation);
    mRegistry.End(operation);
    AnswerWaits();
}

void Daemon::AnswerWaits() {
    std::erase_if(mWaits, [this](const Wait& wait) {
        const std::shared_ptr<Session> session = wait.session.lock();
        if (!session) return true;
        if (mRegistry.Running(wait.kind) != wait.count) return false;
        session->Answer(0);
        return true;
    });
}

}  // namespace DnsSdStandin
