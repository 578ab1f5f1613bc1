// norvik pipe: a technician's hand on a named pipe.

#include <stdexcept>
#include <vector>

#include "IPC/IPC_NamedPipe.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_EventManager.h"
#include "tools/norvik/Messages.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

constexpr int cLargestMessage = 1024 * 1024;
constexpr unsigned cAnswerTimeout = 5'000;  // ms
constexpr unsigned cLookEvery = 1'000;      // ms

void PrintMessage(const char* data, int size) {
    Print(MessageText(data, static_cast<size_t>(size)) + "\n");
    Flush();
}

class Listener : public IPC_NamedPipe {
public:
    explicit Listener(uint64_t count) : IPC_NamedPipe(eReconnect_None, 0), mLeft(count) {}

    void ProcessARead(IPC_Buffer* message) override {
        if (mIsDone) {  // one more than asked for
            message->Reset();
            return;
        }
        PrintMessage(message->GetData(), message->GetCount());
        Write(message->GetData(), static_cast<unsigned>(message->GetCount()), nullptr, cAnswerTimeout);
        message->Reset();
        if (mLeft > 0 && --mLeft == 0) mIsDone = true;
    }
    bool IsDone() const { return mIsDone; }

private:
    uint64_t mLeft;  // 0 is without an end
    bool mIsDone = false;
};

int Listen(const std::string& name, uint64_t count) {
    Cmn_EventManager manager;
    Listener listener(count);
    listener.InitServer(name.c_str(), cLargestMessage, -1);
    if (!listener.IsInitialized() || !manager.RegisterHandler(&listener, "norvik pipe listen"))
        throw std::runtime_error("the pipe cannot be made: " + name);
    PrintFormat("Listening on %s\n", listener.GetName().c_str());
    Flush();
    while (!listener.IsDone())
        manager.ProcessOneEvent(cLookEvery);
    listener.FlushBuffers();  // until the last answer is read
    manager.UnregisterHandler(&listener);
    return cSuccess;
}

int Send(const std::string& name, const std::string& text, uint64_t count) {
    IPC_NamedPipe pipe(IPC_NamedPipe::eReconnect_None, 0);
    pipe.InitClient(name.c_str(), cLargestMessage);
    if (!pipe.Connect(cAnswerTimeout))
        throw std::runtime_error("nobody listens on " + std::string(pipe.GetName()));
    std::vector<char> answer(cLargestMessage);
    for (uint64_t i = 0; i < count; ++i) {
        int size = 0;
        if (!pipe.WriteAndRead(text.data(), static_cast<int>(text.size()), answer.data(), cLargestMessage,
                               &size, cAnswerTimeout)) {
            throw std::runtime_error("no answer to message " + std::to_string(i + 1));
        }
        PrintMessage(answer.data(), size);
    }
    return cSuccess;
}

int RunPipe(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const std::vector<std::string>& words = arguments.Positionals();
    if (words.size() == 2 && words[0] == "listen") return Listen(words[1], arguments.Number("--count", 0, 1));
    if (words.size() == 3 && words[0] == "send" && !words[2].empty())
        return Send(words[1], words[2], arguments.Number("--count", 1, 1));
    throw UsageError("expected: pipe listen NAME, or pipe send NAME TEXT");
}

}  // namespace

extern const Verb cPipeVerb;
const Verb cPipeVerb{"pipe",
                     "listen NAME | send NAME TEXT",
                     "listens on a named pipe and answers, or sends and prints the answers",
                     "listen prints every message as a line, length, blank and text, and answers with the\n"
                     "same bytes. send prints the answers in the same form. Bytes that cannot be printed\n"
                     "stand as \\xNN.\n",
                     {{"--count", "N", "listen: end after N messages; send: send N times (1)"}},
                     &RunPipe};

}  // namespace NorvikTool
