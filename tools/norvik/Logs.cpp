// The verb `logs`: lists the log files, prints one in the order of writing, groups failures, follows a live
// log.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "tools/norvik/LogFolder.h"
#include "tools/norvik/LogPage.h"
#include "tools/norvik/LogReports.h"
#include "tools/norvik/LogText.h"
#include "tools/norvik/OutputFile.h"
#include "tools/norvik/Utf8.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using Files = std::vector<LogFile>;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t cUsualLines = 10;
constexpr auto cLookPeriod = std::chrono::milliseconds(200);
constexpr auto cNewFilePeriod = std::chrono::milliseconds(1000);
// Looking at a log much larger than usual must not keep a processor busy.
constexpr int cPausePerLook = 10;  // times as long as the look took

std::string Folder(const Arguments& arguments) {
    std::string folder = arguments.Has("--folder") ? arguments.Text("--folder", "")
                                                   : std::string(Cmn_Logging::GetLogFolderPath().c_str());
    if (folder.empty()) throw UsageError("--folder needs a folder");
    if (folder.back() != '\\' && folder.back() != '/') folder += '\\';
    return folder;
}

// Date and time to the second, as two words.
std::vector<std::string> DateAndTime(std::int64_t stamp) {
    if (stamp == cNoStamp) return {"-", "-"};
    const std::string text = LocalTimeText(stamp, ZoneOffsetAt(stamp));
    return {text.substr(0, 10), text.substr(11, 8)};
}

void PrintLine(const LogLine& line, bool raw) {
    Print(Display(line, raw, ZoneOffsetAt(line.stamp)) + "\n");
}

bool IsNumber(const std::string& text) {
    return !text.empty() && text.size() < 19 && text.find_first_not_of("0123456789") == text.npos;
}

Files OfRun(const Files& files, std::uint64_t run) {
    Files ofRun;
    std::copy_if(files.begin(), files.end(), std::back_inserter(ofRun),
                 [=](const LogFile& file) { return file.name && file.name->run == run; });
    return ofRun;
}

[[noreturn]] void ThrowMissing(const std::string& what, const std::string& folder) {
    throw std::runtime_error("there is no " + what + " in " + folder);
}

// The files that the words of the command line name: numbers are runs, others are files, here or in the log
// folder.
Files Named(const std::vector<std::string>& words, const std::string& folder) {
    Files files;
    for (const std::string& word : words) {
        if (IsNumber(word)) {
            Files run = OfRun(ListLogs(folder), std::stoull(word));
            if (run.empty()) ThrowMissing("log of run " + word, folder);
            files.insert(files.end(), run.begin(), run.end());
            continue;
        }
        std::optional<LogFile> file = FindLog(word);
        if (!file) file = FindLog(folder + word);
        if (!file) ThrowMissing("file " + word, folder);
        files.push_back(std::move(*file));
    }
    return files;
}

int List(const std::string& folder) {
    const Files files = ListLogs(folder);
    if (files.empty()) {
        Print("There are no logs in " + folder + "\n");
        return cSuccess;
    }
    std::vector<std::vector<std::string>> rows = {
        {"RUN", "SUB", "BYTES", "FAILURES", "DATE", "TIME", "NAME"}};
    for (const LogFile& file : files) {
        const std::optional<std::string> bytes = TryReadBytes(file.path);
        if (!bytes) continue;
        const std::vector<LogLine> lines = ReadLog(*bytes);
        FailureTable failures;
        failures.AddFile(lines);
        // The file system may know the time of the last write only when the writer closes the file.
        const std::int64_t stamp = lines.empty() ? cNoStamp : lines.back().stamp;
        const auto time = DateAndTime(stamp == cNoStamp ? file.written : stamp);
        rows.push_back({std::to_string(file.name->run), std::to_string(file.name->subRun),
                        std::to_string(bytes->size()), std::to_string(failures.LinesSeen()), time[0], time[1],
                        file.name->name});
    }
    PrintTable("rrrrlll", rows);
    return cSuccess;
}

int PrintFiles(const Files& files, const Arguments& arguments) {
    const std::uint64_t most = arguments.Number("--lines", UINT64_MAX);
    for (const LogFile& file : files) {
        if (files.size() > 1) Print("--- " + file.fileName + " ---\n");
        const std::vector<LogLine> lines = ReadLog(ReadBytes(file.path));
        for (std::size_t i = lines.size() - std::min<std::uint64_t>(most, lines.size()); i < lines.size();
             ++i)
            PrintLine(lines[i], arguments.Has("--raw"));
    }
    return cSuccess;
}

int Reports(const Files& files, const std::string& scope, FailureTable::Order order) {
    FailureTable table;
    for (const LogFile& file : files)
        table.AddFile(ReadLog(ReadBytes(file.path)));
    const std::vector<FailureGroup> groups = table.Groups(order);
    std::uint64_t happened = 0;
    for (const FailureGroup& group : groups)
        happened += group.count;
    PrintFormat("%s: %I64u failures in %I64u lines, from %I64u places\n", scope.c_str(), happened,
                table.LinesSeen(), static_cast<std::uint64_t>(groups.size()));
    if (groups.empty()) return cSuccess;

    std::vector<std::vector<std::string>> rows = {
        {"COUNT", "LINES", "KIND", "FIRST", "", "LAST", "", "WHERE", "WHAT"}};
    for (const FailureGroup& group : groups) {
        const auto first = DateAndTime(group.first), last = DateAndTime(group.last);
        rows.push_back({std::to_string(group.count), std::to_string(group.seen), group.kind, first[0],
                        first[1], last[0], last[1], group.where.empty() ? "-" : group.where,
                        PrintableText(group.what)});
    }
    PrintTable("rrlllllll", rows);
    return cSuccess;
}

int WritePage(const Files& files, const std::string& scope, const std::string& path) {
    OutputFile output(path);
    LogPage page(ToUtf8(scope));
    // The one begun first comes first.
    for (auto file = files.rbegin(); file != files.rend(); ++file) {
        std::vector<LogLine> lines = ReadLog(ReadBytes(file->path));
        for (LogLine& line : lines)
            line.text = ToUtf8(line.text);
        page.AddFile(ToUtf8(file->fileName), lines, &ZoneOffsetAt);
    }
    output.Write(page.Html());
    output.Finish();
    Print(path + "\n");
    return cSuccess;
}

// ---- Live view

// Set by Ctrl+C. The process keeps it to its end.
HANDLE StopEvent() {
    static const HANDLE event = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    return event;
}

BOOL WINAPI OnControl(DWORD control) {
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) return FALSE;
    ::SetEvent(StopEvent());
    return TRUE;
}

class LiveView {
public:
    LiveView(std::string folder, std::optional<LogFile> file, const Arguments& arguments)
        : mFolder(std::move(folder)),
          mFixed(file),
          mRaw(arguments.Has("--raw")),
          mLinesLeft(arguments.Number("--count", UINT64_MAX, 1)),
          mFirstLines(std::min(arguments.Number("--lines", cUsualLines), mLinesLeft)) {
        if (file) Begin(*file);
    }

    int Run() {
        ::SetConsoleCtrlHandler(OnControl, TRUE);
        Clock::time_point nextSearch = Clock::now();
        for (;;) {
            const Clock::time_point begin = Clock::now();
            PrintNewLines();
            if (!mFixed && begin >= nextSearch) {
                FindNewerFile();
                nextSearch = begin + cNewFilePeriod;
            }
            Flush();
            if (mLinesLeft == 0) return cSuccess;
            const auto used = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
            const auto pause = std::max(cLookPeriod, used * cPausePerLook);
            if (::WaitForSingleObject(StopEvent(), static_cast<DWORD>(pause.count())) == WAIT_OBJECT_0)
                return cSuccess;
        }
    }

private:
    void Begin(const LogFile& file) {
        mPath = file.path;
        mBegun = file.begun;
        mBytes.clear();
        mFollower = LogFollower();
    }

    void FindNewerFile() {
        const Files files = ListLogs(mFolder);
        if (files.empty()) {
            if (!mSaidWaiting) Print("--- there are no logs in " + mFolder + " yet ---\n");
            mSaidWaiting = true;
            return;
        }
        // Without a stamp nothing tells when a file was begun, and one written in turn with ours must not
        // take over.
        const auto newer = std::find_if(files.begin(), files.end(), [this](const LogFile& file) {
            return mPath.empty() || (file.beginsWithStamp && file.begun > mBegun && file.path != mPath);
        });
        if (newer == files.end()) return;
        const bool first = mPath.empty() && !mSaidWaiting;
        PrintNewLines();
        Print("--- " + newer->fileName + " ---\n");
        Begin(*newer);
        // Of a file that appears while we look every line is new.
        if (!first) mFirstLines = UINT64_MAX;
        PrintNewLines();
    }

    void PrintNewLines() {
        if (mPath.empty() || mLinesLeft == 0) return;
        std::optional<std::string> bytes = TryReadBytes(mPath);
        if (!bytes || *bytes == mBytes) return;
        const std::vector<LogLine> lines = mFollower.Next(*bytes);
        const std::size_t skipped = lines.size() - std::min<std::uint64_t>(mFirstLines, lines.size());
        for (std::size_t i = skipped; i < lines.size() && mLinesLeft > 0; ++i) {
            PrintLine(lines[i], mRaw);
            if (lines[i].kind != LogLine::Kind::Note) --mLinesLeft;
        }
        mFirstLines = UINT64_MAX;
        mBytes = std::move(*bytes);
    }

    const std::string mFolder;
    const std::optional<LogFile> mFixed;
    const bool mRaw;
    std::uint64_t mLinesLeft;
    std::uint64_t mFirstLines;  // how many of the lines that are there already are shown
    bool mSaidWaiting = false;
    std::string mPath;
    std::int64_t mBegun = 0;
    std::string mBytes;
    LogFollower mFollower;
};

// ---- The verb

void Require(bool condition, const char* complaint) {
    if (!condition) throw UsageError(complaint);
}

void CheckUsage(const Arguments& arguments) {
    const bool follow = arguments.Has("--follow"), reports = arguments.Has("--reports");
    const bool page = arguments.Has("--html"), named = !arguments.Positionals().empty();
    Require(follow + reports + page <= 1, "--follow, --reports and --html exclude each other");
    Require(!arguments.Has("--all") || reports || page, "--all goes with --reports or --html");
    Require(!arguments.Has("--all") || !named, "--all and a FILE or run exclude each other");
    Require(!arguments.Has("--recent") || reports, "--recent goes with --reports");
    Require(!arguments.Has("--count") || follow, "--count goes with --follow");
    Require(!follow || arguments.Positionals().size() <= 1, "--follow takes one FILE or run");
    const bool printsLines = follow || (named && !reports && !page);
    Require(!arguments.Has("--raw") || printsLines, "--raw goes with a FILE, a run or --follow");
    Require(!arguments.Has("--lines") || printsLines, "--lines goes with a FILE, a run or --follow");
    arguments.Number("--lines", 0);
    arguments.Number("--count", 1, 1);
}

// What a summary is about: the files that are named, or the newest run, or all. Gives it a title.
std::string ChooseFiles(const Arguments& arguments, const std::string& folder, Files& files) {
    std::string scope;
    for (const std::string& word : arguments.Positionals())
        scope += (scope.empty() ? "" : ", ") + (IsNumber(word) ? "Run " + word : word);
    if (!files.empty()) return scope;
    files = ListLogs(folder);
    if (files.empty()) throw std::runtime_error("there are no logs in " + folder);
    if (arguments.Has("--all")) return "All runs";
    const std::uint64_t run = files[0].name->run;
    files = OfRun(files, run);
    return "Run " + std::to_string(run);
}

int RunLogs(const Arguments& arguments) {
    CheckUsage(arguments);
    const std::string folder = Folder(arguments);
    Files files = Named(arguments.Positionals(), folder);
    if (arguments.Has("--follow"))
        return LiveView(folder, files.empty() ? std::nullopt : std::optional(files[0]), arguments).Run();
    if (arguments.Has("--reports")) {
        const std::string scope = ChooseFiles(arguments, folder, files);
        return Reports(
            files, scope,
            arguments.Has("--recent") ? FailureTable::Order::MostRecent : FailureTable::Order::MostFrequent);
    }
    if (arguments.Has("--html")) {
        const std::string scope = ChooseFiles(arguments, folder, files);
        return WritePage(files, scope, arguments.Text("--html", ""));
    }
    return files.empty() ? List(folder) : PrintFiles(files, arguments);
}

}  // namespace

extern const Verb cLogsVerb;
const Verb cLogsVerb{
    "logs",
    "[FILE-or-run...]",
    "lists the logs, prints them in the order of writing, groups failures, follows a live log, makes a page",
    "Without arguments, lists the logs of all runs, the one begun last first, with the time of\n"
    "its last line and the number of failure lines in it.\n"
    "\n"
    "With files or run numbers, prints their lines, oldest first, in local time, also when a file\n"
    "was rewound. Text that is cut is marked with '...', and lines between '---' say where older\n"
    "lines were overwritten.\n"
    "\n"
    "With --reports, prints one line for each place that failed, the most frequent first: how\n"
    "often (at least; programs report a frequent failure only now and then, with its count), how\n"
    "many lines say so, and its newest expression or message. Failures that name no place are\n"
    "taken together when their messages differ in numbers only.\n"
    "\n"
    "With --html, writes one page for a browser, of the same files: time line, failures by place,\n"
    "blocked loops with their stacks, and all lines, to be searched. It needs no network.\n"
    "\n"
    "With --follow, prints each new line as it is written, until Ctrl+C, and goes on with a newer\n"
    "log when one is begun, unless a FILE or run was given.\n",
    {
        {"--reports", nullptr, "group the failures of the newest run, or of the files and runs given"},
        {"--html", "FILE", "a page for a browser of the newest run, or of the files and runs given"},
        {"--all", nullptr, "with --reports or --html: of all runs"},
        {"--recent", nullptr, "with --reports: the most recent first"},
        {"--follow", nullptr, "live view of the newest log, or of the one given"},
        {"--lines", "N", "only the last N lines of what is there already (--follow: 10)"},
        {"--count", "N", "with --follow: end after N lines"},
        {"--raw", nullptr, "time stamps as they are in the file: seconds since 1970"},
        {"--folder", "DIR", "instead of the log folder"},
    },
    &RunLogs};

}  // namespace NorvikTool
