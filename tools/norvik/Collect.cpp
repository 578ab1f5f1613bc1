// norvik collect: one archive with all that somebody needs who was not there.

#include "JRCmn/Internal/Cmn_Windows.h"

#include <functional>
#include <stdexcept>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_Logging.h"
#include "JRCmn/Internal/Cmn_FileTime.h"
#include "Shared/JR_FeatureToggles.h"
#include "tools/norvik/Bundle.h"
#include "tools/norvik/LogFolder.h"
#include "tools/norvik/Mask.h"
#include "tools/norvik/OtherProcess.h"
#include "tools/norvik/OutputFile.h"
#include "tools/norvik/Utf8.h"
#include "tools/norvik/Verb.h"
#include "tools/norvik/Zip.h"

namespace NorvikTool {
namespace {

constexpr unsigned cVerbTimeout = 30'000;  // ms
constexpr std::size_t cMostVerbLines = 20'000;

// What a verb of this tool prints. It runs in a process of its own: a driver's library that crashes or never answers
// must not take the bundle with it.
std::function<std::string()> OutputOf(const std::vector<std::string>& words) {
    return [words] {
        OtherProcess process(words, "", cMostVerbLines);
        unsigned long code = 0;
        const bool hasEnded = process.WaitForOutput(cVerbTimeout, code);
        std::string text;
        for (const std::string& line : process.FirstLines())
            text += line + "\n";
        if (process.IsCut())
            text += "--- shortened to " + std::to_string(cMostVerbLines) + " lines of " +
                    std::to_string(OtherProcess::cLongestLine) + " bytes ---\n";
        if (!hasEnded)
            return text + "--- gave no answer within " + std::to_string(cVerbTimeout / 1000) + " s ---\n";
        if (code == cSuccess) return text;
        // A failure is the verb's answer: there is no library, memory is missing. All other codes are of a crash.
        return text + (code == cFailure ? "--- result " : "--- ended with code ") + std::to_string(code) +
               " ---\n";
    };
}

// The texts of a bundle, in its order. What another verb tells of this computer becomes a part of the bundle by a line here.
struct Section {
    const char* name;  // of the file in the archive
    const char* what;
    std::function<std::string()> text;
};

const std::vector<Section>& Sections() {
    static const std::vector<Section> sections = {
        {"runs.txt", "the log files and their failure lines", OutputOf({"logs"})},
        {"failures.txt", "failures of all runs, by place", OutputOf({"logs", "--reports", "--all"})},
        {"board.txt", "which machine this is, and what its board measures", OutputOf({"board"})},
        {"machine.txt", "processor, memory, and whether Windows wants a restart", OutputOf({"machine"})},
        {"displays.txt", "the screens, and what arranging them would change", OutputOf({"displays"})},
        {"toggles.txt", "feature toggles that differ from their defaults",
         OutputOf({"toggles", "--changed"})},
        {"discovery.txt", "service discovery: library and daemon", OutputOf({"discover", "--status"})},
        {"registry.txt", "the library's key of the registry, and that of the settings", &RegistryText},
        {"versions.txt", "library, system, run-time libraries", &VersionsText},
    };
    return sections;
}

void AddSections(Bundle& bundle) {
    for (const Section& section : Sections())
        bundle.entries.push_back({section.name, section.what, section.text(), Now()});
}

std::string TimeText(std::int64_t stamp) {
    return LocalTimeText(stamp, ZoneOffsetAt(stamp)).substr(0, 19);
}

void AddIndex(Bundle& bundle, bool mask, std::uint64_t runs) {
    const auto megabytes = [](std::uint64_t bytes) { return std::to_string(bytes >> 20) + " MB"; };
    const std::int64_t now = Now();
    std::string text = "Support bundle of NorvikLib version " + std::string(Cmn_Assert::SoftwareVersion) +
                       ", made " + TimeText(now) + " (local time)\n\nLimits: the logs of the last " +
                       std::to_string(runs) + " runs, " + megabytes(cMostLogBytes) + " at most; " +
                       std::to_string(cMostDumps) + " crash dumps, " + megabytes(cMostDumpBytes) +
                       " at most; the newest first.\n";
    text += mask ? "Masked: addresses and host names are replaced, the same one by the same word everywhere. "
                   "There are no "
                   "crash dumps: they hold raw memory.\n"
                 : "Not masked: addresses and host names are as they are.\n";
    text += "\nWhat is in it:\n";
    for (const BundleEntry& entry : bundle.entries)
        text +=
            "  " + entry.name + " | " + std::to_string(entry.bytes.size()) + " bytes | " + entry.what + "\n";
    text += bundle.omissions.empty() ? "\nNothing was left out.\n" : "\nLeft out:\n";
    for (const BundleOmission& omission : bundle.omissions)
        text +=
            "  " + omission.what + " | " + std::to_string(omission.size) + " bytes | " + omission.why + "\n";
    bundle.entries.insert(bundle.entries.begin(), {"INDEX.txt", "this list", std::move(text), now});
}

// Names are learned from all texts first: one that ends in ".local" here may stand bare there.
void MaskAll(Bundle& bundle) {
    Masker masker;
    for (const std::string& name : ComputerNames())
        masker.AddHost(name);
    for (const BundleEntry& entry : bundle.entries) {
        masker.Learn(entry.name);
        masker.Learn(entry.bytes);
    }
    for (BundleEntry& entry : bundle.entries) {
        entry.bytes = masker.Mask(entry.bytes);
        entry.name = masker.Mask(entry.name);
        entry.what = masker.Mask(entry.what);
    }
    for (BundleOmission& omission : bundle.omissions)
        omission.what = masker.Mask(omission.what), omission.why = masker.Mask(omission.why);
}

Bundle Gather(bool mask, std::uint64_t runs) {
    Bundle bundle;
    const std::string folder = Cmn_Logging::GetLogFolderPath().c_str();
    // Logs first: the verbs below write logs themselves, which may take the place of older ones of this tool.
    AddLogs(bundle, folder, runs);
    AddFile(bundle, "settings/", Cmn_Logging::GetOptionsFilePath().c_str());
    AddFile(bundle, "settings/", JR_FeatureToggleManager::GetNonDefaultToggleFileName());
    AddSections(bundle);
    if (mask) {
        MaskAll(bundle);
    } else {
        AddDumps(bundle, folder);
    }
    AddIndex(bundle, mask, runs);
    return bundle;
}

ZipTime ToZipTime(std::int64_t stamp) {
    const FILETIME time = NorvikLibInternal::ToFileTime(static_cast<uint64_t>(stamp));
    SYSTEMTIME utc, local;
    if (!::FileTimeToSystemTime(&time, &utc) || !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return {};
    return {local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond};
}

int RunCollect(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    if (arguments.Positionals().size() != 1) throw UsageError("expected: collect FILE.zip");
    const std::string path = arguments.Positionals()[0];
    const std::uint64_t runs = arguments.Number("--runs", cUsualRuns, 1);
    // Before the work, so that a place where nothing can be written is known at once.
    OutputFile file(path);
    const Bundle bundle = Gather(arguments.Has("--mask"), runs);
    ZipWriter zip([&](std::string_view bytes) { file.Write(bytes); });
    for (const BundleEntry& entry : bundle.entries)
        zip.Add(ToUtf8(entry.name), entry.bytes, ToZipTime(entry.time));
    zip.Finish();
    file.Finish();
    PrintFormat("%s: %I64u files\n", path.c_str(), static_cast<std::uint64_t>(bundle.entries.size()));
    for (const BundleOmission& omission : bundle.omissions) {
        if (omission.isFailure) Print(omission.what + " " + omission.why + "\n");
    }
    if (!bundle.omissions.empty())
        PrintFormat("%I64u files are left out, see INDEX.txt in it\n",
                    static_cast<std::uint64_t>(bundle.omissions.size()));
    return cSuccess;
}

}  // namespace

extern const Verb cCollectVerb;
const Verb cCollectVerb{
    "collect",
    "FILE.zip",
    "puts all that helps to find a fault into one archive: logs, failures, settings, versions, dumps",
    "The archive has the logs of the last runs, also those that programs are writing, their failures\n"
    "by place, settings and changed toggles, what this machine and its board are, the state of\n"
    "discovery, the versions of all libraries, and the newest crash dumps. INDEX.txt in it lists all,\n"
    "with the limits, and what was left out and why. Nothing leaves this computer.\n"
    "\n"
    "With --mask, addresses and host names are replaced, each by the same word everywhere, and dumps\n"
    "are left out. Names of users, services and folders stay (docs/support-bundle.md).\n",
    {{"--mask", nullptr, "replace IP and MAC addresses and host names"},
     {"--runs", "N", "the logs of the last N runs instead of 5"}},
    &RunCollect};

}  // namespace NorvikTool
