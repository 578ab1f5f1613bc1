// The tour's steps with a second process: what happens to the first one when the second is killed.

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "IPC/IPC_Event.h"
#include "IPC/IPC_NamedPipe.h"
#include "IPC/IPC_SeqLock.h"
#include "IPC/IPC_SharedMemory.h"
#include "JRCmn/Cmn_Time.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

constexpr unsigned cLimit = 20'000;  // ms that a step waits for what must come

// Pipes and blocks have names for the whole machine, where a second tour may be under way.
std::string UniqueName(const char* name) {
    return name + std::to_string(::GetCurrentProcessId());
}

// Its first lines tell why, when it does not say what it should.
bool HasSaid(OtherProcess& other, const std::string& beginning) {
    if (other.WaitForLine(beginning, cLimit)) return true;
    for (const std::string& line : other.FirstLines())
        Print("  The other process said: " + line + "\n");
    return Say(false, "the other process says '" + beginning + "'");
}

// ---- The pipe ----------------------------------------------------------------------------------------------------------

constexpr int cKills = 3, cRequestsInALife = 50, cLargestAnswer = 100;

// Connects by itself whenever there is a server.
class Desk : public IPC_NamedPipe {
public:
    Desk() : IPC_NamedPipe(eReconnect_Background, 0) {}
    ~Desk() override { Stop(cLimit); }  // its thread calls the functions below

    void ConnectionEstablished(bool) override {
        ++mFinds;
        mIsThere.Set();
    }
    void ConnectionLost() override {
        mIsThere.Reset();
        ++mLosses;
    }
    bool WaitForServer() const { return mIsThere.Wait(cLimit); }
    int GetFinds() const { return mFinds; }
    int GetLosses() const { return mLosses; }

    // The answer; empty when there is none.
    std::string Ask(const std::string& request) {
        char answer[cLargestAnswer];
        int size = 0;
        if (!WriteAndRead(request.data(), static_cast<int>(request.size()), answer, sizeof answer, &size,
                          cLimit)) {
            return {};
        }
        return std::string(answer, static_cast<size_t>(size));
    }

private:
    IPC_Event mIsThere;
    std::atomic<int> mFinds{0}, mLosses{0};
};

// ---- The counters ------------------------------------------------------------------------------------------------------

constexpr uint64_t cVersions = 300;

// Each write changes all counters, so that a copy of two halves shows.
struct Counters {
    static constexpr size_t cCount = 64;

    void Set(uint64_t version) {
        for (size_t i = 0; i < cCount; ++i)
            values[i] = version + i;
    }
    bool BelongTogether() const {
        for (size_t i = 0; i < cCount; ++i) {
            if (values[i] != values[0] + i) return false;
        }
        return true;
    }

    uint64_t values[cCount];
};

struct Block {
    IPC_SeqLock lock;
    alignas(4) unsigned char counters[sizeof(
        Counters)];  // the data begin at offset 4, where no counter may stand
};

Block& BlockIn(const IPC_SharedMemory& memory) {
    return *static_cast<Block*>(memory.GetUserDataPtr());
}

struct Findings {
    uint64_t copies = 0, versions = 0;
    bool belongTogether = true, inOrder = true;
};

// Copies until there were so many different versions.
Findings ReadCounters(const Block& block) {
    Findings findings;
    uint64_t last = 0;
    for (const uint64_t start = Cmn_Time::GetInMilliseconds();
         findings.versions < cVersions && Cmn_Time::GetInMilliseconds() - start < cLimit;) {
        Counters copy;
        if (!block.lock.Read(&copy, block.counters, sizeof copy, 1).IsValid()) continue;
        ++findings.copies;
        findings.versions += copy.values[0] != last;
        findings.belongTogether &= copy.BelongTogether();
        findings.inOrder &= copy.values[0] >= last;
        last = copy.values[0];
    }
    return findings;
}

}  // namespace

bool LoseServer() {
    const std::string name = UniqueName("NorvikDemo");
    Desk desk;
    desk.InitClient(name.c_str(), cLargestAnswer);
    int asked = 0, answered = 0, inVain = 0, noticed = 0;
    uint64_t slowest = 0;
    for (int life = 0; life <= cKills; ++life) {
        OtherProcess server({"pipe", "listen", name});
        if (!HasSaid(server, "Listening on")) return false;
        if (!desk.WaitForServer()) return Say(false, "the client finds the server by itself");
        for (int i = 0; i < cRequestsInALife; ++i) {
            const std::string request = "level " + std::to_string(++asked);
            answered += desk.Ask(request) == request;
        }
        if (life == cKills) break;
        server.Kill();
        const uint64_t start = Cmn_Time::GetInMilliseconds();
        inVain += desk.Ask("level of the dead").empty();
        slowest = std::max(slowest, Cmn_Time::GetInMilliseconds() - start);
        noticed += desk.GetLosses() == life + 1;
    }
    PrintFormat("  Another process answered %d of %d requests in %d lives.\n", answered, asked, cKills + 1);
    PrintFormat("  What was asked while it was dead was refused within %I64u ms.\n", slowest);
    const bool all = Say(answered == asked, "each request got its own answer, and none was lost");
    const bool told = Say(inVain == cKills && noticed == cKills && desk.GetLosses() == cKills,
                          "the client was told once of each of the 3 kills");
    return all && told && Say(desk.GetFinds() == cKills + 1, "and found the new server by itself each time");
}

int WriteCounters(const std::string& name) {
    IPC_SharedMemory memory(name.c_str());
    if (!memory.Create(sizeof(Block))) return cFailure;
    Block& block = BlockIn(memory);
    Counters counters;
    for (uint64_t version = 1;; ++version) {
        counters.Set(version);
        block.lock.Write(block.counters, &counters, sizeof counters);
        memory.Lock(false);  // Create has locked it; between two writes others may open the block
        if (version == 1) {
            Print("Writing\n");
            Flush();
        }
        if (!memory.Lock(true)) return cFailure;
    }
}

bool ShareCounters() {
    const std::string name = UniqueName("NorvikDemoCounters");
    OtherProcess writer({"demo-part", "counters", name});
    if (!HasSaid(writer, "Writing")) return false;
    IPC_SharedMemory memory(name.c_str());
    if (!memory.TryOpen(cLimit, false)) return Say(false, "the other process's block can be opened");
    Block& block = BlockIn(memory);

    const Findings findings = ReadCounters(block);
    PrintFormat("  Another process writes %d counters, here they were copied %I64u times: %I64u versions.\n",
                static_cast<int>(Counters::cCount), findings.copies, findings.versions);
    const bool consistent = Say(findings.versions == cVersions && findings.belongTogether,
                                "no copy mixes two versions, although the reader takes no lock");
    const bool inOrder = Say(findings.inOrder, "and none is older than the one before");

    const bool killed = Say(writer.Kill(), "the writer is killed, wherever it was");
    Counters copy, last{};
    last.Set(uint64_t{1} << 40);
    // A copy that cannot be had is said to be none; one that can be is whole.
    const bool honest =
        !block.lock.Read(&copy, block.counters, sizeof copy, 0).IsValid() || copy.BelongTogether();
    {
        const IPC_SharedMemoryLocker locker(memory);
        block.lock.Write(block.counters, &last, sizeof last);
    }
    const bool goesOn = block.lock.Read(&copy, block.counters, sizeof copy, 0).IsValid() &&
                        copy.values[0] == last.values[0] && copy.BelongTogether();
    return Say(honest && goesOn, "the next writer goes on in the block, and readers with it") && killed &&
           inOrder && consistent;
}

}  // namespace NorvikTool
