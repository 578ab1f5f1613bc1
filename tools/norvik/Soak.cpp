// norvik soak: an endurance run of all that a console's programs do, while they are ended and disturbed (docs/soak.md).

#include "tools/norvik/Soak.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <thread>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Cmn_Time.h"
#include "Shared/Internal/JR_ShellCalls.h"
#include "Shared/Internal/JR_ShellRules.h"
#include "tools/norvik/Discovery.h"
#include "tools/norvik/LogReports.h"
#include "tools/norvik/SoakKiller.h"
#include "tools/norvik/SoakLedger.h"
#include "tools/norvik/SoakProcess.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

// All in milliseconds.
constexpr int64_t cTurn = 100, cLookEvery = 1'000, cMinute = 60'000;
constexpr int64_t cUndisturbed = 15'000;  // at the start
constexpr int64_t cCalm = 30'000;         // at the end: whatever was broken has to work again within it
constexpr int64_t cDrain = 5'000;         // the last of it, in which nobody sends
constexpr int64_t cWarmUp = 60'000;
constexpr int64_t cLimit = 30'000;              // for getting on, when nothing stands in the way
constexpr int64_t cLongestStandstill = 25'000;  // of a part's loop
constexpr int64_t cSettling = 3'000;            // of what looks for a process that is back
constexpr unsigned cStartLimit = 20'000;
constexpr int cLooksAtStart = 5;
constexpr uint64_t cSignsBehind = 30;  // of ten a second
// What a process that lives through it may have more at the end: the run-time's heap, and threads of the platform's pool, of
// which Wine keeps as many as were ever busy at one time, as long as there is something to do every few seconds.
constexpr Resources cAllowance{4, 3'072, 4'096, 10};

// What is reported on purpose when the discovery's daemon goes.
constexpr const char* cExpectedReports[] = {"JRCmn\\Internal\\Cmn_BonjourAsyncHandler.cpp(151)"};

bool IsExpected(const FailureLine& failure) {
    return std::find(std::begin(cExpectedReports), std::end(cExpectedReports), failure.where) !=
           std::end(cExpectedReports);
}

int64_t Now() {
    return static_cast<int64_t>(Cmn_Time::GetInMilliseconds());
}

std::string Folder(const std::string& parent, const char* name) {
    std::string folder = parent + "\\" + name;
    ::CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

std::string RootFolder() {
    Cmn_String path;
    Cmn_FolderFinder::FindFolder(path, eFolder_Root);
    return std::string(path.View().substr(0, path.View().size() - 1));
}

class Run {
public:
    Run(int64_t minutes, uint64_t seed, const std::string& fault);
    int Execute();

private:
    void StartAll();
    void ReadParts();
    void Handle(SoakProcess& part, const std::string& line);
    void TakeStatus(SoakProcess& part, const std::string& line);
    void TakeClosed(const std::string& line);
    void TakeCommand(uint64_t number);
    void FollowLives(int64_t now);
    void WatchLoop(SoakProcess& part, int64_t now);
    void Lived(SoakProcess& part);
    void Watch(int64_t now);
    void WatchLink(SoakLink& link, int64_t now);
    void ReadLogs();
    void MeasureSurvivors(int64_t now);
    bool IsWhole(int64_t now);
    void Judge();
    void JudgeGrowth(const char* who, const GrowthWatch& growth);
    void Fail(const std::string& what);
    void PrintFigures(int64_t now);
    std::string NotExercised() const;

    const std::string mRoot = RootFolder();
    const int64_t mStart = Now(), mEnd;
    const uint64_t mSeed;
    const std::string mStopAt = std::to_string(mEnd - cDrain);
    const std::string mPipe = "NorvikSoak" + std::to_string(::GetCurrentProcessId());
    const char* const mDisk = std::getenv("NORVIK_TEST_SMALL_DISK");
    const std::string mLogDisk = mDisk ? mDisk : mRoot;

    SoakProcess mDaemon, mConsole, mSteady, mMortal, mHelper, mShell;
    SoakProcess* const mParts[6] = {&mDaemon, &mConsole, &mSteady, &mMortal, &mHelper, &mShell};
    std::map<SoakProcess*, int> mLives;  // that are over
    std::map<SoakProcess*, ProgressWatch> mLoops;
    std::map<SoakProcess*, uint64_t> mSigns;  // that were traced, as the part says
    std::map<SoakProcess*, uint64_t> mSignsInLog;
    SoakLink mLinks[3] = {
        {cSteadyEngine, mSteady, true}, {cMortalEngine, mMortal, true}, {"helper", mHelper, false}};
    uint64_t mPosted = 0, mCommand = 0, mCommands = 0, mCommandsLost = 0;
    ProgressWatch mShellProgress, mDiscoveryHindrance;
    bool mIsShellHung = false;
    int mSeenCuts = 0;

    std::map<std::string, uint64_t> mReports;
    GrowthWatch mGrowth[3];  // console, steady engine, this process
    int mLooksAtStart = 0;
    int mFailures = 0;
    std::unique_ptr<SoakKiller> mKiller;
};

Run::Run(int64_t minutes, uint64_t seed, const std::string& fault)
    : mEnd(mStart + minutes * cMinute),
      mSeed(seed),
      mDaemon("discovery", {"--port", "0"}, std::string(cStandinFolder) + "dnssd-daemon.exe", mRoot),
      mConsole("console", {"soak-part", "--stop-at", mStopAt, "--plant", fault, "console", mPipe}, "",
               Folder(mRoot, "console")),
      mSteady(cSteadyEngine, {"soak-part", "--stop-at", mStopAt, "--plant", fault, "engine", cSteadyEngine},
              "", Folder(mLogDisk, cSteadyEngine)),
      mMortal(cMortalEngine, {"soak-part", "--stop-at", mStopAt, "engine", cMortalEngine}, "",
              Folder(mLogDisk, cMortalEngine)),
      mHelper("helper", {"soak-part", "--stop-at", mStopAt, "helper", mPipe}, "", Folder(mRoot, "helper")),
      mShell("shell", {"demo-part", "shell"}, "", mRoot) {
    mKiller = std::make_unique<SoakKiller>(
        seed, std::vector<SoakProcess*>{&mDaemon, &mMortal, &mHelper, &mShell},
        std::vector<SoakProcess*>{&mConsole, &mSteady, &mMortal}, mDisk ? mDisk : "", mStart + cUndisturbed);
}

void Run::Fail(const std::string& what) {
    ++mFailures;
    PrintFormat("FAILED after %I64d s: %s\n", (Now() - mStart) / 1'000, what.c_str());
    Flush();
}

void Run::StartAll() {
    mDaemon.Start();
    if (!mDaemon.Process().WaitForLine("Listening on", cStartLimit))
        throw std::runtime_error("the discovery stand-in's daemon does not start");
    const std::string line = mDaemon.Process().FirstLines().front();
    const std::string port = std::to_string(std::stoi(line.substr(line.rfind(':') + 1)));
    ::SetEnvironmentVariableA("NORVIK_DNSSD_PORT", port.c_str());
    mDaemon.SetWords({"--port", port});  // from now on
    for (SoakProcess* const part : mParts) {
        if (!part->IsUp()) part->Start();
        mLoops[part].Hindered(Now());
    }
    for (SoakLink& link : mLinks)
        link.progress.Hindered(Now());
    mShellProgress.Hindered(Now());
}

// ---- What the parts tell

void Run::ReadParts() {
    for (SoakProcess* const part : mParts) {
        if (!part->IsUp()) continue;
        for (const std::string& line : part->Process().TakeLines())
            Handle(*part, line.substr(0, line.find('\r')));
    }
}

void Run::Handle(SoakProcess& part, const std::string& line) {
    constexpr std::string_view cLog = "log ", cSigns = "signs ", cCommand = "Command 9, argument ";
    const auto number = [&line](std::string_view beginning) {
        uint64_t value = 0;
        std::from_chars(line.data() + beginning.size(), line.data() + line.size(), value);
        return value;
    };
    if (line.starts_with(cLog)) {
        part.SetLog(line.substr(cLog.size()));
    } else if (line.starts_with(cSigns)) {
        mSigns[&part] = number(cSigns);
    } else if (line.starts_with(cCommand)) {
        TakeCommand(number(cCommand));
    } else if (line.starts_with("link ")) {
        TakeStatus(part, line);
    } else if (&part == &mConsole && line.starts_with("closed ")) {
        TakeClosed(line);
    } else if (&part != &mShell && !line.starts_with("closed ") && !line.starts_with("Listening on")) {
        Print("  " + part.Name() + ": " + line + "\n");
    }
}

void Run::TakeStatus(SoakProcess& part, const std::string& line) {
    const std::string name = line.substr(5, line.find(' ', 5) - 5);
    if (name == "shell") mPosted = ParseStatus(line)["sent"];
    for (SoakLink& link : mLinks) {
        if (&part == link.other) link.theirs = ParseStatus(line);
        if (&part != &mConsole || name != link.name) continue;
        auto status = ParseStatus(line);
        const bool isNew = status["connects"] > link.ours["connects"];
        const bool isHindered = !link.other->IsUp() || (link.byAddress && mKiller->IsAddressHindered(Now()));
        if (isNew && !isHindered) link.cuts = 0;
        link.ours = std::move(status);
    }
}

// Only the killer's work explains that a connection ends; what was under way then cannot arrive.
void Run::TakeClosed(const std::string& line) {
    for (SoakLink& link : mLinks) {
        if (!line.starts_with(std::string("closed ") + link.name)) continue;
        if (link.cuts == 0) {
            link.left += ParseStatus(line)["unacknowledged"];
            Fail(line + ", though nobody cut it");
        }
    }
}

// A shell gets all commands of its life.
void Run::TakeCommand(uint64_t number) {
    if (mCommand != 0 && number != mCommand + 1)
        mCommandsLost += number > mCommand ? number - mCommand - 1 : 1;
    mCommand = number;
    ++mCommands;
}

// ---- Looking after them

void Run::FollowLives(int64_t now) {
    for (SoakProcess* const part : mParts) {
        if (part->HasEndedByItself()) {
            Fail(part->Name() + " has ended by itself");
            part->Kill(now + cSettling);
        }
        WatchLoop(*part, now);
        int& lives = mLives[part];
        if (!part->IsUp() && lives < part->Starts()) {
            ++lives;  // this one is over
            Lived(*part);
        }
    }
}

// What a part tells twice a second shows that its loop goes round.
void Run::WatchLoop(SoakProcess& part, int64_t now) {
    ProgressWatch& loop = mLoops[&part];
    loop.Reached(mSigns[&part], now);
    if (!part.IsUp() || &part == &mDaemon || &part == &mShell) loop.Hindered(now);
    if (loop.Standing(now) <= cLongestStandstill) return;
    Fail(part.Name() + " hangs: it has told nothing for " + std::to_string(cLongestStandstill / 1'000) +
         " s");
    loop.Hindered(now + cMinute);  // to say so once in a while is enough
}

void Run::Lived(SoakProcess& part) {
    for (SoakLink& link : mLinks) {
        if (link.other != &part) continue;
        link.theirPast += CountsOf(link.theirs);
        link.theirs.clear();
        ++link.cuts;
    }
    if (&part == &mShell) mCommand = 0;
    mSigns.erase(&part);
    mSignsInLog.erase(&part);
}

void Run::Watch(int64_t now) {
    if (!mDaemon.IsUp()) mDiscoveryHindrance.Hindered(now + cSettling);
    for (SoakLink& link : mLinks) {
        if (link.byAddress && mKiller->AddressCuts() != mSeenCuts) ++link.cuts;
        WatchLink(link, now);
    }
    mSeenCuts = mKiller->AddressCuts();

    mShellProgress.Reached(mCommands, now);
    if (!mShell.IsUp() || now > mEnd - cDrain) mShellProgress.Hindered(now);
    if (mShellProgress.Standing(now) > cLimit && !mIsShellHung) {
        mIsShellHung = true;
        Fail("the shell gets no commands");
    }
}

void Run::WatchLink(SoakLink& link, int64_t now) {
    link.progress.Reached(link.Ours().acknowledged + link.Theirs().acknowledged, now);
    const bool needsDiscovery = link.byAddress && !link.IsOpen();
    if (!link.other->IsUp() || now > mEnd - cDrain || (link.byAddress && mKiller->IsAddressHindered(now)) ||
        (needsDiscovery && mDiscoveryHindrance.Standing(now) < 0)) {
        link.progress.Hindered(now);
        link.isHung = false;
    }
    if (link.progress.Standing(now) > cLimit && !link.isHung) {
        link.isHung = true;
        Fail(std::string("console and ") + link.name + " hang: no message for " +
             std::to_string(cLimit / 1'000) + " s, though all is there that they need");
    }
}

void Run::ReadLogs() {
    for (SoakProcess* const part : mParts) {
        for (const LogLine& line : part->NewLogLines()) {
            if (line.text.starts_with(cLifeSign)) {
                uint64_t& sign = mSignsInLog[part];
                std::from_chars(line.text.data() + sizeof cLifeSign - 1, line.text.data() + line.text.size(),
                                sign);
            }
            FailureLine failure;
            if (line.kind != LogLine::Kind::Record || !ParseFailureLine(line.text, failure)) continue;
            const std::string what = part->Name() + ": " + failure.kind + " " + failure.where + " " +
                                     (failure.expression.empty() ? failure.message : failure.expression);
            if (mReports[what]++ == 0 && !IsExpected(failure)) Fail("an unexpected report, " + what);
        }
    }
}

// Everything is as it shall be, and has been for a while: the connections, and what the discovery watches, have their
// handles.
bool Run::IsWhole(int64_t now) {
    return std::all_of(std::begin(mLinks), std::end(mLinks), [](SoakLink& link) { return link.IsOpen(); }) &&
           std::all_of(std::begin(mParts), std::end(mParts),
                       [](SoakProcess* part) { return part->IsUp(); }) &&
           mDiscoveryHindrance.Standing(now) > cSettling && !mKiller->IsAddressHindered(now);
}

void Run::MeasureSurvivors(int64_t now) {
    const bool isStart =
        now >= mStart + std::min(cWarmUp, (mEnd - mStart) / 3) && mLooksAtStart < cLooksAtStart;
    const bool isEnd = now >= mEnd - cCalm / 2;
    if (!(isStart || isEnd) || !IsWhole(now)) return;
    void* const processes[] = {mConsole.Process().GetHandle(), mSteady.Process().GetHandle(),
                               ::GetCurrentProcess()};
    mLooksAtStart += isStart;
    for (size_t i = 0; i < std::size(processes); ++i) {
        if (isStart) mGrowth[i].LookAtStart(Measure(processes[i]));
        if (isEnd) mGrowth[i].LookAtEnd(Measure(processes[i]));
    }
}

// ---- What comes of it

void Run::JudgeGrowth(const char* who, const GrowthWatch& growth) {
    for (const auto& [when, r] : {std::pair("at start: ", growth.Start()), {"at end:   ", growth.End()}})
        PrintFormat("  %s %s%I64u handles, %I64u threads, %I64u KB private, %I64u KB working set\n", who,
                    when, r.handles, r.threads, r.privateKB, r.workingSetKB);
    const std::string verdict = growth.Verdict(cAllowance);
    if (!growth.IsComplete()) Fail(std::string(who) + " was not seen at start and end with all others there");
    if (!verdict.empty()) Fail(std::string(who) + " has grown: " + verdict);
}

void Run::Judge() {
    for (SoakLink& link : mLinks) {
        link.left += link.ours["inflight"];
        link.theirLeft += link.theirs["inflight"];
        if (!link.IsOpen()) Fail(std::string("console and ") + link.name + " are not connected at the end");
        if (link.Lost() != 0)
            Fail(std::to_string(link.Lost()) + " messages were lost between console and " + link.name);
        if (link.Ours().wrong + link.Theirs().wrong != 0)
            Fail(std::string("torn or doubled messages between console and ") + link.name);
    }
    if (mCommand != 0 && mPosted > mCommand) mCommandsLost += mPosted - mCommand;
    if (mCommandsLost != 0 || mCommand != mPosted)
        Fail(std::to_string(mCommandsLost) + " commands to the shell were lost; the last one was " +
             std::to_string(mPosted) + ", it got " + std::to_string(mCommand));
    for (const auto& [part, signs] : mSigns) {
        if (mSignsInLog[part] + cSignsBehind < signs)
            Fail(part->Name() + "'s log ends with life sign " + std::to_string(mSignsInLog[part]) + " of " +
                 std::to_string(signs));
    }
    JudgeGrowth("console", mGrowth[0]);
    JudgeGrowth(cSteadyEngine, mGrowth[1]);
    JudgeGrowth("controller", mGrowth[2]);
}

void Run::PrintFigures(int64_t now) {
    PrintFormat("After %I64d s:\n", (now - mStart + 500) / 1'000);
    std::vector<std::vector<std::string>> rows = {{"", "", "sent", "received", "lost", "reconnects"}};
    for (SoakLink& link : mLinks) {
        const LinkCounts our = link.Ours(), their = link.Theirs();
        const uint64_t connects = link.ours["connects"];
        const std::string again = std::to_string(connects - std::min<uint64_t>(connects, 1));
        rows.push_back({"", std::string("console to ") + link.name, std::to_string(our.sent),
                        std::to_string(their.received), std::to_string(link.LostFromConsole()), again});
        rows.push_back({"", std::string(link.name) + " to console", std::to_string(their.sent),
                        std::to_string(our.received), std::to_string(link.LostToConsole()), again});
    }
    rows.push_back({"", "console to shell", std::to_string(mPosted), std::to_string(mCommands),
                    std::to_string(mCommandsLost), std::to_string(mShell.Starts() - 1)});
    PrintTable("llrrrr", rows);
    std::string restarts;
    for (const SoakProcess* const part : mParts)
        restarts += (restarts.empty() ? "" : ", ") + part->Name() + " " + std::to_string(part->Starts() - 1);
    PrintFormat("  restarts: %s\n", restarts.c_str());
    PrintFormat("  address away %d, disk full %d, logs held %d; kinds of reports %d, failures %d\n",
                mKiller->AddressCuts(), mKiller->DiskFills(), mKiller->LogHolds(),
                static_cast<int>(mReports.size()), mFailures);
    for (const auto& [what, count] : mReports)
        PrintFormat("  %I64u times %s\n", count, what.c_str());
    Flush();
}

// What the run did not do, and so says nothing about.
std::string Run::NotExercised() const {
    std::string names;
    const auto add = [&names](bool isDone, const std::string& name) {
        if (!isDone) names += (names.empty() ? "" : ", ") + name;
    };
    add(mKiller->AddressCuts() != 0, "address away");
    add(mKiller->DiskFills() != 0, "disk full");
    add(mKiller->LogHolds() != 0, "logs held");
    for (const SoakProcess* const part : {&mDaemon, &mMortal, &mHelper, &mShell})
        add(part->Starts() > 1, "death of " + part->Name());
    return names;
}

int Run::Execute() {
    PrintFormat("An endurance run of %I64d s, seed %I64u\n", (mEnd - mStart) / 1'000, mSeed);
    if (!mKiller->FillsDisk())
        Print("  NORVIK_TEST_SMALL_DISK names no disk of up to 64 MB: none is filled\n");
    Flush();
    StartAll();
    int64_t nextLook = mStart, nextFigures = mStart + cMinute;
    for (int64_t now = Now(); now < mEnd; now = Now()) {
        ReadParts();
        mKiller->Work(now, now < mEnd - cCalm);
        FollowLives(now);
        Watch(now);
        if (now >= nextLook) {
            nextLook = now + cLookEvery;
            ReadLogs();
            MeasureSurvivors(now);
        }
        if (now >= nextFigures && nextFigures < mEnd) {
            nextFigures += cMinute;
            PrintFigures(now);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(cTurn));
    }
    ReadParts();
    ReadLogs();
    Judge();
    PrintFigures(Now());
    const std::string missing = NotExercised();
    if (!missing.empty()) Print("Not exercised: " + missing + "\n");
    PrintFormat("%s, seed %I64u\n", mFailures == 0 ? "All went well" : "The run has FAILED", mSeed);
    return mFailures == 0 ? cSuccess : cFailure;
}

int RunSoak(const Arguments& arguments) {
    using namespace NorvikLibInternal;
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const auto& words = arguments.Positionals();
    int64_t minutes = 3;
    if (words.size() > 1) throw UsageError("expected: soak [MINUTES]");
    if (!words.empty()) {
        const char* const end = words[0].data() + words[0].size();
        const auto [stop, error] = std::from_chars(words[0].data(), end, minutes);
        if (error != std::errc() || stop != end || minutes < 1 || minutes > 10'080)
            throw UsageError("minutes are a number from 1 to 10080, not '" + words[0] + "'");
    }
    const std::string fault = arguments.Text("--plant", "");
    if (!std::set<std::string>{"", "drop", "leak", "memory", "hang"}.contains(fault))
        throw UsageError("--plant takes drop, leak, memory or hang");
    if (!IsStandinLibraryThere())
        throw std::runtime_error(
            "there is no simulated network beside this program (it lies in the build tree)");
    if (GetShellCalls().findWindow(kShellWindowClass, kShellWindowTitle) != nullptr)
        throw std::runtime_error("a shell is running here, which would do what it is asked for");
    return Run(minutes, arguments.Number("--seed", static_cast<uint64_t>(Now())), fault).Execute();
}

}  // namespace

extern const Verb cSoakVerb;
const Verb cSoakVerb{
    "soak",
    "[MINUTES]",
    "an endurance run of several processes that are ended and disturbed at random",
    "For 3 minutes, or as many as are given. Exit code 1 when a message was lost, a process hung, a\n"
    "failure was reported, or the memory or handles of one that lives through it have grown. It\n"
    "needs the build tree, and writes into the log folder.\n",
    {{"--seed", "N", "of what happens when; without it another one each time"},
     {"--plant", "FAULT", "drop, leak, memory or hang: to see that it is noticed"}},
    &RunSoak};

}  // namespace NorvikTool
