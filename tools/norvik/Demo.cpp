// The tour through the library, step by step (DemoSteps.h).

#include <algorithm>
#include <chrono>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_LogFile.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Cmn_String.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Cmn_Trace.h"
#include "tools/norvik/DemoSteps.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

constexpr unsigned cLargestLog = 16 * 1024 * 1024;

std::string LogText() {
    Cmn_String text;
    text.ReadFile(Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath().c_str(), cLargestLog);
    return std::string(text.View());
}

}  // namespace

int CountInLog(const std::string& what) {
    const std::string text = LogText();
    int count = 0;
    for (size_t at = text.find(what); at != text.npos; at = text.find(what, at + what.size()))
        ++count;
    return count;
}

bool Say(bool ok, const std::string& what) {
    Print((ok ? "  ok      " : "  FAILED  ") + what + "\n");
    return ok;
}

namespace {

bool StartRun() {
    Cmn_Logging& logging = Cmn_Logging::GetInstance();
    logging.StartNewRun(100, 1024);
    Cmn_Trace("The tour begins, with version %s of the library.\n", Cmn_Assert::SoftwareVersion);
    const std::string path = Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath();
    PrintFormat("  Run number %I64u, log file %s\n", logging.GetCurrentRunNumber(), path.c_str());
    return Say(CountInLog("The tour begins") == 1,
               "the first line is in the file as soon as the call returns");
}

bool ShowText() {
    Cmn_String name("Channel Name"), copy = name;
    const bool shared = Say(copy.GetRefCount() == 2, "a copy of a text shares its characters");
    copy.Shrink(6);
    PrintFormat("  '%s' abbreviated to six characters: '%s'\n", name.c_str(), copy.c_str());
    const bool apart =
        Say(name == "Channel Name" && copy == "ChnlNm", "changing the copy leaves the first text alone");
    Cmn_String line;
    line.Printf("%s is at %5.1f dB", name.c_str(), -23.5);
    line.Join("muted", ", ");
    PrintFormat("  '%s'\n", line.c_str());
    return shared && apart && Say(line == "Channel Name is at -23.5 dB, muted", "formatting and joining");
}

bool TraceLines() {
    Cmn_Trace("Engine %d answers after %d ms.\n", 3, 12);
    Cmn_VerboseTrace("Demo", "this line appears when [Subsystem Logging] says Demo=on\n");
    return Say(CountInLog("Engine 3 answers after 12 ms.\r\n") == 1,
               "a traced line is stamped and in the file");
}

bool FailChecks() {
    const uint64_t start = Cmn_Time::GetInMilliseconds();
    for (int i = 0; i < 10'000; ++i)
        CMN_VERIFY_AT(1, i < 0);
    const int reports = CountInLog("'i < 0' failed in tools\\norvik\\Demo.cpp(1)");
    PrintFormat("  A check that failed 10,000 times in %I64u ms left %d lines.\n",
                Cmn_Time::GetInMilliseconds() - start, reports);
    const bool few = Say(reports >= 50 && reports < 100, "the first 50 are reported, then ever fewer");
    return few &&
           Say(CountInLog("We stop reporting every occurrence") == 1, "and the log says that it stops");
}

bool FailAssertion() {
    try {
        CMN_ASSERT_AT(2, cLargestLog == 0);
    } catch (const std::exception& failure) {
        PrintFormat("  Caught: %s\n", failure.what());
        return Say(CountInLog("Failed Assert!") == 1, "an assertion that fails throws, and is reported");
    }
    return Say(false, "an assertion that fails throws");
}

bool FailWithContext() {
    static bool wasCalled = false;
    Cmn_Assert::AddContextTracer([] {
        wasCalled = true;
        Cmn_Trace("Application context: 48 channels, show 'Opening Night'.\n");
        // A failure in the middle of a failure report is reported, too, and ends there.
        CMN_VERIFY_AT(4, wasCalled == false);
    });
    std::this_thread::sleep_for(
        std::chrono::milliseconds(600));  // the context is written at most every 500 ms
    CMN_FAILURE_AT(3, "no answer from the engine");
    const bool context =
        Say(CountInLog("show 'Opening Night'") >= 1, "a report carries the application's context");
    const bool stack =
        Say(CountInLog("FailWithContext") >= 1, "and the stack, with names and addresses for addr2line");
    return context && stack &&
           Say(CountInLog("Demo.cpp(4)") >= 1, "a failure inside a report is named and goes no further");
}

bool FailOnManyThreads() {
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 1000; ++i)
                Cmn_LocationFilteredWarning(CMN_SOURCE_FILE, 5).Warn("Meter late by %d ms", i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const int lines = CountInLog("Meter late by");
    PrintFormat("  8 threads warned 8,000 times at one place: %d lines.\n", lines);
    return Say(lines >= 50 && lines < 60,
               "warnings of one place are counted together, whichever thread they come from");
}

bool GuardCounter() {
    IPC_Benaphore lock;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100'000; ++i) {
                IPC_BenaphoreLocker locker(lock);
                ++counter;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    return Say(counter == 400'000, "4 threads counted to 400,000 together under one benaphore");
}

bool RewindFile() {
    constexpr uint64_t cMaximum = 20'000;
    Cmn_LogFile file = Cmn_Logging::GetInstance().CreateLogFile("Rewind");
    file.ChangeMaxSize(cMaximum, cMaximum / 2);
    file.EnableTimeStamps(true);
    for (int i = 0; i < 5'000; ++i)
        file.Write(("meter frame " + std::to_string(i) + "\n").c_str());
    Cmn_String text;
    text.ReadFile(file.GetFilePath().c_str(), cLargestLog);
    PrintFormat("  5,000 lines into a file of at most 20,000 bytes: it is %d bytes long.\n",
                text.GetLength());
    const bool bounded = Say(text.GetLength() < 20'500, "a log file stays within its limit");
    const bool head = Say(text.Find("meter frame 0\r\n") != -1, "keeps its beginning");
    return bounded && head && Say(text.Find("meter frame 4999\r\n") != -1, "and has the newest lines");
}

bool WriteDump() {
    const Cmn_String folder = Cmn_Logging::GetLogFolderPath();
    const size_t before = Cmn_FS::ListFiles(folder, "*.dmp").size();
    const bool written = Cmn_Assert::CrashDump(false, nullptr);
    return Say(written && Cmn_FS::ListFiles(folder, "*.dmp").size() >= std::min<size_t>(before + 1, 10),
               "a small crash dump lies beside the log");
}

struct Step {
    const char* title;
    bool (*run)();
};

constexpr Step cSteps[] = {
    {"A run begins", &StartRun},
    {"Text", &ShowText},
    {"Tracing", &TraceLines},
    {"A check that fails in a loop", &FailChecks},
    {"An assertion", &FailAssertion},
    {"A failure with its context", &FailWithContext},
    {"Failures of many threads", &FailOnManyThreads},
    {"The lock", &GuardCounter},
    {"A loop on a thread of its own", &RunLoopThread},
    {"A handler that blocks the loop", &BlockLoop},
    {"Who calls from which thread", &CheckThreads},
    {"A pipe whose server is killed", &LoseServer},
    {"Counters in shared memory", &ShareCounters},
    {"Messages over TCP", &ExchangeFrames},
    {"A service that is found on the network", &FindEngine},
    {"Feature toggles", &ShowToggles},
    {"A board and its backlight", &ShowBoard},
    {"A shell that goes and comes back", &ShowShell},
    {"A log file that rewinds", &RewindFile},
    {"A crash dump", &WriteDump},
};

int RunDemo(const Arguments&) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    int failed = 0, number = 0;
    for (const Step& step : cSteps) {
        PrintFormat("%d. %s\n", ++number, step.title);
        Flush();
        failed += !step.run();
    }
    const std::string log = Cmn_DefaultLog::GetInstance().GetLogFile().GetFilePath();
    PrintFormat("\n%d steps, %d failed. The log of this run is %s\n", number, failed, log.c_str());
    Print("Look at it with: norvik logs, norvik logs --reports\n");
    return failed == 0 ? cSuccess : cFailure;
}

}  // namespace

extern const Verb cDemoVerb;
const Verb cDemoVerb{"demo",
                     "",
                     "a tour of what the library does, checked step by step",
                     "Writes a run of its own into the log folder. Ends within a minute, with exit code 1 "
                     "when a step fails.\n",
                     {},
                     &RunDemo};

}  // namespace NorvikTool
