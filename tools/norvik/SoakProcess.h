#pragma once

// A part of the endurance run as its controller holds it: a process that is ended and comes back; and what the console has to
// do with another one (docs/soak.md).
//
//   SoakProcess engine("engine2", {"soak-part", "engine", "engine2"}, "", root);
//   engine.Start();
//   engine.Kill(Now() + 1'000);    // and, in the controller's turn: if (engine.IsTimeToStart(Now())) engine.Start();
//
// Threads:   one
// Ownership: the process ends with the object
// Errors:    a process that cannot be started is one that has ended by itself
// Units:     milliseconds since 1970; KB are 1,024 bytes

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/norvik/LogText.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/SoakLedger.h"

namespace NorvikTool {

// What a process holds now; all 0 when it has ended.
Resources Measure(void* process);

class SoakProcess {
public:
    // `root` is where its logs lie; `program` as for OtherProcess.
    SoakProcess(const std::string& name, const std::vector<std::string>& words, const std::string& program,
                const std::string& root)
        : mName(name), mWords(words), mProgram(program), mRoot(root) {}

    // What it is started with from the next time on.
    void SetWords(const std::vector<std::string>& words) { mWords = words; }
    void Start();
    void Kill(int64_t startAgainAt);
    bool IsTimeToStart(int64_t now) const { return !mProcess && now >= mStartAgainAt; }
    bool IsUp() const { return mProcess != nullptr; }
    bool HasEndedByItself() const { return mProcess && mProcess->Wait(0); }

    const std::string& Name() const { return mName; }
    const std::string& Root() const { return mRoot; }
    int Starts() const { return mStarts; }
    OtherProcess& Process() { return *mProcess; }

    // ---- Its log, whose path it has told.
    void SetLog(const std::string& path);
    // The lines that its logs, also those of earlier lives, got since the last call.
    std::vector<LogLine> NewLogLines();

private:
    struct Log {
        std::string path;
        int life;
        LogFollower follower;
    };

    const std::string mName;
    std::vector<std::string> mWords;
    const std::string mProgram, mRoot;
    std::unique_ptr<OtherProcess> mProcess;
    int64_t mStartAgainAt = 0;
    int mStarts = 0;
    std::vector<Log> mLogs;
};

// One line between two processes, both ways.
struct SoakLink {
    const char* name;                              // what both call it: the console by the other end's name
    SoakProcess* other;                            // the end that is not the console
    bool byAddress;                                // and the discovery: a connection to an engine
    std::map<std::string, uint64_t> ours, theirs;  // the status of the console's end, and of the other
    LinkCounts theirPast;                          // of the other end's earlier lives
    ProgressWatch progress;
    int cuts = 0;  // that explain that it closes, since it was connected
    // Under way when it closed for no reason, or at the end: from the console, and to it.
    uint64_t left = 0, theirLeft = 0;
    bool isHung = false;

    SoakLink(const char* linkName, SoakProcess& end, bool isByAddress)
        : name(linkName), other(&end), byAddress(isByAddress) {}

    bool IsOpen() { return ours["open"] != 0; }
    LinkCounts Ours() const { return CountsOf(ours); }
    LinkCounts Theirs() const {
        LinkCounts counts = theirPast;
        return counts += CountsOf(theirs);
    }
    uint64_t LostFromConsole() const { return LostBetween(Ours(), Theirs()) + left; }
    uint64_t LostToConsole() const { return LostBetween(Theirs(), Ours()) + theirLeft; }
    uint64_t Lost() const { return LostFromConsole() + LostToConsole(); }
};

}  // namespace NorvikTool
