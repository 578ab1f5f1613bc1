// norvik discover: what the network has of a type of service.

#include <algorithm>
#include <map>

#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Cmn_Time.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "tools/norvik/Discovery.h"

namespace NorvikTool {
namespace {

constexpr uint64_t cQuietMilliseconds = 1'000;
constexpr uint64_t cLongestMilliseconds = 5'000;
constexpr unsigned cStepMilliseconds = 100;

std::vector<std::string> Row(const std::string& sign, const Cmn_BonjourService& service) {
    return {sign,
            Printable(service.mName),
            Printable(service.mHostName),
            std::string(service.mAddress.ToString().View()),
            std::to_string(service.mPort),
            std::to_string(static_cast<int>(service.mInterfaceIndex)),
            Printable(service.mTxtRecord)};
}

class Search {
public:
    Search(const std::string& type, bool isLive)
        : mIsLive(isLive), mLocator(type, ENetworkUser::eAny, On("+"), On("~"), On("-"), mManager) {
        gIF_EventManager = &mManager;
        mLocator.SetErrorCallback([this](const Cmn_BonjourError& error) {
            mLastError = error;
            PrintDaemonState(error);
        });
        mLocator.Start();
        if (mLastError.IsOK()) PrintDaemonState({});
    }

    void Step() { mManager.ProcessOneEvent(cStepMilliseconds); }
    uint64_t GetLastNews() const { return mLastNews; }
    bool HasFailed() const { return !mLastError.IsOK(); }

    void PrintAll() const {
        std::vector<std::vector<std::string>> rows;
        for (const auto& [key, service] : mServices)
            rows.push_back(Row("", service));
        PrintTable("lllrrrl", rows);
    }

private:
    using Key = std::pair<std::string, unsigned>;

    // "+" there, "~" with another TXT record, "-" gone.
    Cmn_BonjourLocator::ServiceCallback On(const std::string& sign) {
        return [this, sign](const Cmn_BonjourService& service) {
            mLastNews = Cmn_Time::GetInMilliseconds();
            mLastError = {};
            PrintDaemonState({});
            const Key key(service.mName, service.mInterfaceIndex);
            if (sign == "-") {
                mServices.erase(key);
            } else {
                mServices[key] = service;
            }
            if (!mIsLive) return;
            PrintTable("lllrrrl", {Row(sign, service)});
            Flush();
        };
    }

    const bool mIsLive;
    Cmn_EventManager mManager;
    std::map<Key, Cmn_BonjourService> mServices;
    uint64_t mLastNews = Cmn_Time::GetInMilliseconds();
    Cmn_BonjourError mLastError;
    Cmn_BonjourLocator mLocator;
};

// Whether there is a library and a daemon behind it, and which. A search for a type that nobody offers tells: it fails
// at once without a daemon.
int PrintStatus(const Arguments& arguments) {
    if (!arguments.Positionals().empty()) throw UsageError("--status takes no TYPE");
    if (!FindLibrary(arguments)) return cFailure;
    Search search("_norvik-status._tcp", false);
    if (search.HasFailed()) return cFailure;
    std::uint32_t version = 0, size = sizeof version;
    if (NorvikLibInternal::DNSServiceGetProperty(NorvikLibInternal::kDNSServiceProperty_DaemonVersion,
                                                 &version, &size) == 0)
        Print("Version of the daemon: " + std::to_string(version) + "\n");
    return cSuccess;
}

int RunDiscover(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    if (arguments.Has("--status")) return PrintStatus(arguments);
    if (arguments.Positionals().size() != 1)
        throw UsageError("expected: discover TYPE, for example _desk._tcp");
    if (!FindLibrary(arguments)) return cFailure;
    const bool isLive = !arguments.Has("--once");
    Search search(arguments.Positionals()[0], isLive);
    const uint64_t start = search.GetLastNews();
    for (;;) {
        search.Step();
        const uint64_t now = Cmn_Time::GetInMilliseconds();
        const bool isQuiet = now - search.GetLastNews() >= cQuietMilliseconds;
        if (!isLive && (isQuiet || now - start >= cLongestMilliseconds)) break;
    }
    search.PrintAll();
    return search.HasFailed() ? cFailure : cSuccess;
}

}  // namespace

extern const Verb cDiscoverVerb;
const Verb cDiscoverVerb{
    "discover",
    "TYPE",
    "lists the services of a type on the network, live",
    "TYPE is for example _desk._tcp. A line is: + (there), ~ (changed) or - (gone), name,\n"
    "host, address, port, interface, TXT record. Ends by Ctrl+C.\n",
    {{"--status", nullptr, "only whether the library is there and its daemon runs, without TYPE"},
     {"--once", nullptr, "collect until nothing new came for a second (5 at most), and end"},
     {"--library", "DIR", "a folder in which to look for dnssd.dll, too"}},
    &RunDiscover};

}  // namespace NorvikTool
