// A service that answers requests on a named pipe, and the client that asks it.
//
//   ExamplePipeService serve NAME              serves until somebody asks it to quit
//   ExamplePipeService ask NAME "level 3 -6"   prints "ok -6 dB"
//
// Requests are texts: "level N" tells a channel's level, "level N DB" sets it, "mute N on" and "mute N off" mute it and
// let it sound again, "quit" ends the service. An answer begins with "ok" or with "error: ".

#include <charconv>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "IPC/IPC_NamedPipe.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Cmn_Time.h"

constexpr int cLargestMessage = 256;  // bytes; the pipe drops what is longer
constexpr unsigned cTimeout = 1'000;  // ms; the loop reports a handler that takes 2 s
constexpr int cSilence = -90, cLoudest = 10;

// A whole word that is a number from `lowest` to `highest`. Requests come from other programs: nothing in them is trusted.
bool Parse(const std::string& word, int lowest, int highest, int& number) {
    const char* const end = word.data() + word.size();
    int value = 0;
    const auto [stop, error] = std::from_chars(word.data(), end, value);
    if (error != std::errc() || stop != end || value < lowest || value > highest) return false;
    number = value;
    return true;
}

// All of it runs on the event manager's thread, so the channels need no lock.
class MixerService : public IPC_NamedPipe {
public:
    // The mode is for those who connect. A server waits for the next client by itself, when one has gone.
    MixerService() : IPC_NamedPipe(eReconnect_None, 0) {}

    bool IsToQuit() const { return mIsToQuit; }

    // The event manager has read a whole message.
    void ProcessARead(IPC_Buffer* message) override {
        const std::string request(message->GetData(), static_cast<size_t>(message->GetCount()));
        message->Reset();  // takes the next one
        const std::string answer = Answer(request);
        // A client that does not read its answers is disconnected after the time; nothing else is to be done about it.
        Write(answer.data(), answer.size(), nullptr, cTimeout);
    }

private:
    static constexpr int cChannels = 48;

    struct Channel {
        int level = cSilence;
        bool isMuted = false;
    };

    std::string Answer(const std::string& request) {
        std::istringstream text(request);
        std::vector<std::string> words;
        for (std::string word; text >> word;)
            words.push_back(word);
        const std::string verb = words.empty() ? "" : words[0];
        if (verb == "quit" && words.size() == 1) {
            mIsToQuit = true;
            return "ok";
        }
        int number = 0;
        const bool isLevel = verb == "level" && (words.size() == 2 || words.size() == 3);
        const bool isMute = verb == "mute" && words.size() == 3;
        if (!isLevel && !isMute) return "error: expected level N [DB], mute N on|off, or quit";
        if (!Parse(words[1], 1, cChannels, number)) return "error: the channels are 1 to 48";
        Channel& channel = mChannels[number - 1];
        if (isMute) {
            if (words[2] != "on" && words[2] != "off") return "error: mute is on or off";
            channel.isMuted = words[2] == "on";
        } else if (words.size() == 3 && !Parse(words[2], cSilence, cLoudest, channel.level)) {
            return "error: levels are -90 to 10 dB";
        }
        return "ok " + std::to_string(channel.level) + (channel.isMuted ? " dB, muted" : " dB");
    }

    Channel mChannels[cChannels];
    bool mIsToQuit = false;
};

int Serve(const char* name) {
    Cmn_EventManager manager;  // made before what it calls, so that it is destroyed after it
    MixerService service;
    service.InitServer(name, cLargestMessage, -1);
    if (!service.IsInitialized() || !manager.RegisterHandler(&service, "Mixer service")) return 1;
    std::printf("Serving on %s\n", service.GetName().c_str());
    std::fflush(stdout);
    while (!service.IsToQuit())
        manager.ProcessOneEvent(cTimeout);  // one step of one handler; a program has many on its manager
    // The client leaves when it has read the last answer; one that stays is not waited for.
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    while (service.IsConnected() && Cmn_Time::GetInMilliseconds() - start < cTimeout)
        manager.ProcessOneEvent(cTimeout);
    manager.UnregisterHandler(&service);
    return 0;
}

int Ask(const char* name, const std::string& request) {
    IPC_NamedPipe client(IPC_NamedPipe::eReconnect_None, 0);
    client.InitClient(name, cLargestMessage);
    // The server has one client at a time: this also waits for the one before to leave.
    if (!client.Connect(5 * cTimeout)) {
        std::fprintf(stderr, "nobody serves on %s\n", name);
        return 1;
    }
    char answer[cLargestMessage];
    int size = 0;
    if (!client.WriteAndRead(request.data(), static_cast<int>(request.size()), answer, sizeof answer, &size,
                             cTimeout)) {
        std::fprintf(stderr, "no answer\n");
        return 1;
    }
    std::printf("%.*s\n", size, answer);
    return std::string(answer, static_cast<size_t>(size)).starts_with("ok") ? 0 : 1;
}

int main(int argc, char** argv) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);  // the library's lines go into the log file only
    const std::string verb = argc > 1 ? argv[1] : "";
    if (verb == "serve" && argc == 3) return Serve(argv[2]);
    if (verb == "ask" && argc == 4 && *argv[3]) return Ask(argv[2], argv[3]);
    std::fprintf(stderr, "usage: ExamplePipeService serve NAME | ask NAME REQUEST\n");
    return 2;
}
