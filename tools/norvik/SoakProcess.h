#pragma once

// A part of the endurance run as its controller holds it: a process that is ended and comes back (docs/soak.md).
//
//   SoakProcess engine("engine2", {"soak-part", "engine", "engine2"}, "", root);
//   engine.Start();
//   engine.Kill(Now() + 1'000);    // and, in the controller's turn: if (engine.IsTimeToStart(Now())) engine.Start();
//
// Threads:   one
// Ownership: the process ends with the object
// Errors:    a process that cannot be started is one that has ended by itself
// Units:     milliseconds since 1970; KB are 1,024 bytes

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

}  // namespace NorvikTool
