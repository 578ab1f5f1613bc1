// norvik demo-part: what the tour's other processes do. For the tour only, so it is not in the list of verbs.

#include "JRCmn/Cmn_DefaultLog.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

int RunDemoPart(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const std::vector<std::string>& words = arguments.Positionals();
    if (words.size() == 2 && words[0] == "counters") return WriteCounters(words[1]);
    if (words.size() == 1 && words[0] == "engine") return RunEngine();
    if (words.size() == 1 && words[0] == "shell") return PlayShell();
    throw UsageError("expected: demo-part counters NAME, demo-part engine, or demo-part shell");
}

}  // namespace

extern const Verb cDemoPartVerb;
const Verb cDemoPartVerb{"demo-part", "counters NAME | engine | shell", "", "", {}, &RunDemoPart};

}  // namespace NorvikTool
