// Discovery against the stand-in's daemon: what it finds, what it does without library and daemon, and what its callbacks
// may do.

#include "JRCmn/Cmn_BonjourLocator.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <set>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Internal/Cmn_AdapterCalls.h"
#include "tests/support/Discovery.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre, testing::HasSubstr, testing::IsSupersetOf, testing::UnorderedElementsAre;
using Lines = std::vector<std::string>;

const testing::Matcher<Lines> kTwo = UnorderedElementsAre(HasSubstr("+Instance 1"), HasSubstr("+Instance 2"));
constexpr char kType[] = "_desk._tcp";
const std::string kNotRunning = "error Background daemon not running";
constexpr char kHandlerFailed[] = "'false' failed in JRCmn\\Internal\\Cmn_BonjourAsyncHandler.cpp(151)";

// A locator and what it has told.
class Search {
public:
    explicit Search(Cmn_EventManager& manager, ENetworkUser user = ENetworkUser::eAny)
        : locator(std::in_place, kType, user, Tells("+"), Tells("~"), Tells("-"), manager) {
        locator->SetErrorCallback([this](const Cmn_BonjourError& error) {
            Tell("error " + std::string(error.ToString()), "error");
        });
    }

    size_t Count(const std::string& prefix) const {
        return static_cast<size_t>(
            std::ranges::count_if(told, [&](const std::string& each) { return each.starts_with(prefix); }));
    }
    Lines Take() { return std::exchange(told, {}); }

    std::optional<Cmn_BonjourLocator> locator;
    Lines told;
    Cmn_BonjourService last;
    std::function<void(const std::string& kind)> inCallback = [](const std::string&) {};

private:
    Cmn_BonjourLocator::ServiceCallback Tells(const std::string& sign) {
        return [this, sign](const Cmn_BonjourService& service) {
            last = service;
            std::string text;
            service.mTxtRecord.FindKey("a", text);
            Tell(sign + service.mName + " " + std::to_string(service.mInterfaceIndex) + " " +
                     std::string(service.mAddress.ToString()) + ":" + std::to_string(service.mPort) + " " +
                     text,
                 sign);
        };
    }
    void Tell(const std::string& line, const std::string& kind) {
        told.push_back(line);
        inCallback(kind);
    }
};

class BonjourSearch : public testing::Test {
protected:
    bool FindTwo() {
        net.daemon.Control("many _desk._tcp 2");
        search.locator->Start();
        EXPECT_TRUE(net.RunUntil([&] { return search.Count("+") == 2; }));
        return testing::Matches(kTwo)(search.Take());
    }
    // What is traced until all of the texts have been.
    Lines TracesUntil(const Lines& texts) {
        Lines lines;
        EXPECT_TRUE(net.RunUntil([&] {
            std::ranges::move(TakeTraces(), std::back_inserter(lines));
            return std::ranges::all_of(texts, [&](auto& text) { return AnyContains(lines, text); });
        }));
        return lines;
    }

    Discovery net;
    Search search{net.manager};
};

TEST(BonjourLocator, WithoutTheLibraryStartReportsAnErrorAndNothingElseHappens) {
    DefaultManager manager;
    NorvikLibInternal::OverrideDnsSdLibrary(nullptr);
    EXPECT_FALSE(Cmn_BonjourLocator::IsLibraryAvailable());
    Search search(manager);
    search.locator->Start();
    EXPECT_TRUE(search.locator->IsStarted());
    EXPECT_THAT(search.Take(), ElementsAre(kNotRunning));
    const std::string trace = "Bonjour: Cmn_BonjourLocator for _desk._tcp returned " + kNotRunning;
    EXPECT_THAT(TakeTraces(), ElementsAre(trace + " (-65563).\n"));
    search.locator->Start();
    EXPECT_TRUE(ReportedOnce("'!IsStarted()' failed in JRCmn\\Cmn_BonjourLocator.cpp("));
    search.locator->Stop(true);
    search.locator->Stop(true);
    EXPECT_TRUE(ReportedOnce("'IsStarted()' failed in JRCmn\\Cmn_BonjourLocator.cpp(97)"));
    search.locator->SetErrorCallback({});
    search.locator->Start();
    EXPECT_TRUE(ReportedOnce("'false' failed in JRCmn\\Cmn_BonjourLocator.cpp("));
    search.locator->Stop(false);
    search.locator->SetErrorCallback([&](const Cmn_BonjourError&) { throw 7; });
    search.locator->Start();
    EXPECT_TRUE(AnyContains(TakeTraces(), "Bonjour: got unknown exception in RespondToEvent.\n"));
    search.locator->Stop(false);
    search.locator->SetErrorCallback([&](const Cmn_BonjourError&) { search.locator.reset(); });
    search.locator->Start();
    EXPECT_FALSE(search.locator);
}

TEST_F(BonjourSearch, ServicesComeChangeMoveAndGo) {
    search.locator->Start();
    const std::string name = "1st. Desk\\ \xC3\xBC %s", label = DnsSdDaemon::Label(name);
    net.daemon.Control("host desk.local. 1,2 fe80::1,127.0.0.5");
    net.daemon.Control("add " + label + " _desk._tcp 1,2 desk.local. 8000 03613d31");
    ASSERT_TRUE(net.RunUntil([&] { return search.told.size() == 2; }));
    EXPECT_THAT(search.Take(),
                UnorderedElementsAre("+" + name + " 1 127.0.0.5:8000 1", "+" + name + " 2 127.0.0.5:8000 1"));
    EXPECT_EQ(search.last.mHostName, "desk.local.");
    net.daemon.Control("await resolve 0");  // they end with their answer; queries watch for changes
    EXPECT_THAT(TakeTraces(),
                IsSupersetOf(Lines{
                    "Bonjour: Started discovery for _desk._tcp.\n", "Bonjour: Resolving " + name + "...\n",
                    "Bonjour: Resolved " + name + " to be from desk.local., port 8000.\n",
                    std::string("Bonjour: Started DNS lookup for desk.local....\n"),
                    "Bonjour: DNS lookup done: " + name + " (host desk.local.) resolved to 127.0.0.5.\n",
                    "Bonjour: Added service " + name + " (_desk._tcp).\n"}));

    net.daemon.Control("txt " + label + " _desk._tcp 03613d32");
    ASSERT_TRUE(net.RunUntil([&] { return search.told.size() == 2; }));
    EXPECT_TRUE(AnyContains(TakeTraces(), "NorvikLib.Bonjour: " + name + ": TXT Record changed.\n"));

    net.daemon.Control("remove " + label + " _desk._tcp 2");
    net.daemon.Control("txt " + label + " _desk._tcp 00");  // without an item
    ASSERT_TRUE(net.RunUntil([&] { return search.told.size() == 4; }));
    EXPECT_THAT(search.Take(), testing::Contains("-" + name + " 2 127.0.0.5:8000 2"));
    net.daemon.Control("port " + label + " _desk._tcp 8001");
    ASSERT_TRUE(net.RunUntil([&] { return search.told.size() == 2; }));
    EXPECT_THAT(search.Take(),
                ElementsAre("-" + name + " 1 127.0.0.5:8000 ", "+" + name + " 1 127.0.0.5:8001 "));

    TakeTraces();
    net.daemon.Control("deliver add " + label + " _desk._tcp 1");
    net.daemon.Control("deliver remove Nobody _desk._tcp 1");
    const Lines lines = TracesUntil({"Duplicate", "Nobody to remove"});
    EXPECT_THAT(lines,
                IsSupersetOf(Lines{"Bonjour: Failed to find a service Nobody to remove (_desk._tcp).\n",
                                   "Bonjour: Duplicate service record received for " + name +
                                       " _desk._tcp. 1 (desk.local.)!\n",
                                   std::string("Bonjour: Available records are:\n"),
                                   "0: " + name + " _desk._tcp. eth 1 desk.local. 127.0.0.5:8001\n"}));
    EXPECT_TRUE(AnyContains(lines, "'false' failed in JRCmn\\Internal\\Cmn_BonjourLocatorImpl.cpp(156)"));
    EXPECT_THAT(search.told, ElementsAre());

    Cmn_BonjourService unknown;
    unknown.mName = "Nobody";
    search.locator->ReconfirmService(unknown);
    EXPECT_THAT(TakeTraces(),
                ElementsAre("Bonjour: Failed to find a service Nobody to reconfirm (_desk._tcp).\n"));
    net.daemon.Control("ghost " + label + " _desk._tcp");
    search.locator->SetAutoReconfirmInterval(50);
    ASSERT_TRUE(net.RunUntil([&] { return search.Count("-") == 1; }));
    const std::string record = label + "._desk._tcp.local.";
    EXPECT_TRUE(AnyContains(TakeTraces(), "Bonjour: Will reconfirm SRV record " + record + "...\n"));
}

// By its result, by its start, and by a connection that is closed; while services are known and while they are not.
TEST_F(BonjourSearch, WhatFailsIsTriedAgainUntilAllIsThereOnce) {
    net.daemon.Control("many _desk._tcp 2");
    net.daemon.Control("host slow.local. 1");
    net.daemon.Control("add Slow _desk._tcp 1 slow.local. 80");  // is resolved until its host has an address
    net.daemon.Control("fail resolve 1 -65537");
    net.daemon.Control("fail address 1 -65539");
    search.locator->Start();
    ASSERT_TRUE(net.RunUntil([&] { return search.Count("+") == 2; }));
    EXPECT_THAT(search.Take(), IsSupersetOf(Lines{"error Unknown error", "error Out of memory"}));

    net.daemon.Control("error resolve -65568");
    net.daemon.Control("error query -65554");  // no record at the moment ends nothing
    net.daemon.Control("error query -65553");
    const Lines lines = TracesUntil({"Bonjour: resolve retry succeeded for Slow"});
    for (const std::string text :
         {"Bonjour: Cmn_BonjourResolver for Slow callback got error, forwarding....\n",
          "Bonjour: Cmn_BonjourResolver for Slow failed: Timeout (-65568)!\n",
          "DNS lookup retry succeeded for", kHandlerFailed})
        EXPECT_TRUE(AnyContains(lines, text)) << text;
    EXPECT_EQ(search.Count("error Refused"), 4U);  // the queries of two services
    net.daemon.Control("txt Instance\\0321 _desk._tcp 03613d32");
    net.daemon.Control("remove Slow _desk._tcp");
    ASSERT_TRUE(net.RunUntil([&] { return search.Count("~Instance 1") == 1; }));
}

TEST_F(BonjourSearch, ASearchThatEndsTakesItsServicesAlongAndFindsThemAgain) {
    ASSERT_TRUE(FindTwo());
    for (const std::string fault : {"kill", "drop", "error browse -65540"}) {
        fault == "kill" ? net.daemon.Kill() : static_cast<void>(net.daemon.Control(fault));
        ASSERT_TRUE(net.RunUntil([&] { return search.Count("-") == 2; })) << fault;
        // All at once, by the error of the browse; then comes the error itself. A resolver may have noticed before.
        Lines told = search.Take();
        told.erase(told.begin(),
                   std::ranges::find_if(told, [](auto& each) { return each.starts_with("-"); }));
        EXPECT_THAT(told,
                    ElementsAre(HasSubstr("-Instance 1"), HasSubstr("-Instance 2"), HasSubstr("error ")));
        EXPECT_TRUE(AnyContains(TakeReports(), kHandlerFailed));
        if (fault == "kill") {
            ASSERT_TRUE(net.RunUntil([&] { return !search.told.empty(); }));  // absent at the first retry
            EXPECT_THAT(search.Take(), ElementsAre(kNotRunning));
            net.daemon.Restart();
            net.daemon.Control("many _desk._tcp 2");
        }
        ASSERT_TRUE(net.RunUntil([&] { return search.Count("+") == 2; })) << fault;
        std::erase(search.told, kNotRunning);
        EXPECT_THAT(search.Take(), kTwo);
    }
}

TEST_F(BonjourSearch, WhatComesBackDuringARemovalIsToldAfterIt) {
    ASSERT_TRUE(FindTwo());
    // The first removal lets the loop run until the next search has found all again.
    bool isBegun = false, isDone = false;
    search.inCallback = [&](const std::string& kind) {
        if (kind != "-" || std::exchange(isBegun, true)) return;
        isDone = net.RunUntil([&] { return search.Count("+") == 2; });
    };
    net.daemon.Control("error browse -65537");
    ASSERT_TRUE(net.RunUntil([&] { return isDone; }));
    const auto found = HasSubstr("+Instance ");
    EXPECT_THAT(search.Take(), ElementsAre(HasSubstr("-Instance 1"), HasSubstr("-Instance 2"), found, found,
                                           "error Unknown error"));
    net.daemon.Control("clear");
    EXPECT_TRUE(net.RunUntil([&] { return search.Count("-Instance") == 2; }));
    EXPECT_TRUE(AnyContains(TakeReports(), "'!mReentrance' failed"));
}

TEST_F(BonjourSearch, SearchesThatEndLeaveNothingBehind) {
    net.daemon.Control("many _desk._tcp 1");
    std::set<uintptr_t> fresh;  // the values of a new handle, which grow where handles stay behind
    for (int i = 0; i < 1'000; ++i) {
        search.locator->Start();
        net.manager.ProcessOneEvent(i % 2 == 0 ? 0 : 1);
        search.locator->Stop(true);
        if (i == 10 || i == 999) fresh.insert(reinterpret_cast<uintptr_t>(IPC_Event().GetHandle()));
        EXPECT_TRUE(AnyContains(TakeTraces(), "Started discovery"));
    }
    EXPECT_LT(*fresh.rbegin() - *fresh.begin(), 400U);
}

// A client library may try for long to reach an absent daemon, in each call.
TEST(BonjourLocator, AnAbsentDaemonDoesNotHoldTheLoopUp) {
    Discovery net;
    net.daemon.Kill();
    ::SetEnvironmentVariableA("NORVIK_DNSSD_PATIENCE", "3000");
    Search searches[] = {Search(net.manager), Search(net.manager), Search(net.manager)};
    ULONGLONG last = ::GetTickCount64(), longest = 0;
    const auto look = [&] {
        const ULONGLONG now = ::GetTickCount64();
        longest = std::max(longest, now - std::exchange(last, now));
    };
    Cmn_PeriodicTimer watch(look, "watch");
    watch.Start(20);
    for (Search& search : searches)
        search.locator->Start();
    EXPECT_TRUE(net.RunUntil([&] { return searches[2].told.size() == 2; }));
    EXPECT_THAT(searches[0].told, testing::Each(kNotRunning));
    EXPECT_LT(longest, 2'500U);
    net.daemon.Restart();
    net.daemon.Control("many _desk._tcp 1");
    EXPECT_TRUE(net.RunUntil([&] { return searches[2].Count("+") == 1; }));
    ::SetEnvironmentVariableA("NORVIK_DNSSD_PATIENCE", nullptr);
}

// Not every library can go on later with a message of which a part has arrived.
TEST_F(BonjourSearch, GetsMessagesThatArriveInParts) {
    net.daemon.Control("halves 30");
    EXPECT_TRUE(FindTwo());
}

// Also those behind instances that never answer, and those that have no resolver of their own any more. All locators of a
// manager share its places.
TEST(BonjourLocator, MoreServicesThanResolversAreFoundAndFollowed) {
    Discovery net;
    Search searches[] = {Search(net.manager), Search(net.manager)};
    net.daemon.Control("host nowhere.local. 1");
    for (char c = 'a'; c < 'q'; ++c)
        net.daemon.Control(std::string("add ") + c + " _desk._tcp 1 nowhere.local. 80");
    net.daemon.Control("many _desk._tcp 15");
    const auto AllHave = [&](const char* sign) {
        return net.RunUntil([&] { return searches[0].Count(sign) + searches[1].Count(sign) == 30; });
    };
    for (Search& search : searches)
        search.locator->Start();
    ASSERT_TRUE(AllHave("+"));
    for (int i = 1; i <= 15; ++i)
        net.daemon.Control("txt Instance\\032" + std::to_string(i) + " _desk._tcp 03613d32");
    ASSERT_TRUE(AllHave("~"));
    int resolves = 0, queries = 0;
    const char* const format =
        "browse 2 running %*d started resolve %d running %*d started address %*d running "
        "%*d started register %*d running %*d started query %d";
    ASSERT_EQ(std::sscanf(net.daemon.Control("operations").c_str(), format, &resolves, &queries), 2);
    EXPECT_LE(2 * resolves + queries, 24);
    net.daemon.Control("clear");
    ASSERT_TRUE(AllHave("-"));
    EXPECT_EQ(searches[0].told.size(), 45U);
    net.daemon.Control("await query 0");
}

// What each kind of callback does to its locator, with another service known.
TEST(BonjourLocator, CallbacksMayStopStartDeleteAndThrow) {
    Discovery net;
    for (const std::string kind : {"+", "~", "-", "error"}) {
        for (const std::string action : {"stop", "quiet", "again", "delete", "stop and delete", "throw"}) {
            SCOPED_TRACE(kind + " " + action);
            net.daemon.Control("clear");
            std::optional<Search> search(std::in_place, net.manager);
            net.daemon.Control("add Old _desk._tcp 1 a.local. 80");
            if (kind != "+") net.daemon.Control("add New _desk._tcp 1 a.local. 80");
            net.daemon.Control("host a.local. 1 127.0.0.1");
            search->locator->Start();
            ASSERT_TRUE(net.RunUntil([&] { return search->told.size() == (kind == "+" ? 1 : 2); }));
            search->Take();
            bool done = false;
            search->inCallback = [&](const std::string& which) {
                if (which != kind || std::exchange(done, true)) return;
                if (action == "throw") throw std::runtime_error("from a callback");
                if (action != "delete") search->locator->Stop(action != "quiet");
                for (int i = 0; action == "again" && i < 5; ++i) {
                    if (i > 0) search->locator->Stop(true);
                    search->locator->Start();
                }
                if (action.ends_with("delete")) search->locator.reset();
            };
            TakeTraces();
            if (kind == "+") net.daemon.Control("add New _desk._tcp 1 a.local. 80");
            if (kind == "~") net.daemon.Control("txt New _desk._tcp 03613d32");
            if (kind == "-") net.daemon.Control("remove New _desk._tcp");
            if (kind == "error") net.daemon.Control("error query -65537");
            ASSERT_TRUE(net.RunUntil([&] { return done; }));
            // The remove callback itself counts, too.
            const size_t removed = kind == "-" ? 1 : 0;
            const Lines lines = TakeTraces();
            if (action == "throw") {
                EXPECT_TRUE(
                    AnyContains(lines, "std::exception in RespondToEvent. what() is \"from a callback\".\n"));
                net.daemon.Control("add More _desk._tcp 1 a.local. 80");
                EXPECT_TRUE(net.RunUntil([&] { return search->Count("+More") == 1; }));
            } else if (action == "stop" || action == "again") {
                const size_t found = (kind == "+" ? 1 : 0) + (action == "stop" ? 0 : kind == "-" ? 1 : 2);
                EXPECT_TRUE(
                    net.RunUntil([&] { return search->Count("-") == 2 && search->Count("+") == found; }));
            } else {
                EXPECT_TRUE(action == "stop and delete" || kind == "error" || net.RunUntil([&] {
                    return AnyContains(TakeTraces(), "Remove callback blocked. Removed service Old.\n");
                }));
                EXPECT_LE(search->Count("-"), kind == "error" ? 2 : removed);
            }
            search.reset();
            net.daemon.Control("await query 0");
            const Lines reports = TakeReports();  // of the errors themselves
            EXPECT_TRUE(kind == "error" || reports.empty()) << testing::PrintToString(reports);
        }
    }
}

// What waits for its deletion goes with the loop when that ends first.
TEST(BonjourLocator, ALoopThatEndsLeavesNoLocatorBehind) {
    const auto token = std::make_shared<int>();
    {
        Discovery net;
        net.daemon.Control("many _desk._tcp 1");
        std::optional<Cmn_BonjourLocator> locator;
        const auto onAdded = [&, token](const Cmn_BonjourService&) { locator.reset(); };
        locator.emplace(kType, ENetworkUser::eAny, onAdded, nullptr, nullptr, net.manager);
        locator->Start();
        EXPECT_TRUE(net.RunUntil([&] { return !locator; }));
    }
    EXPECT_EQ(token.use_count(), 1);
}

TEST(BonjourLocator, ANetworkUserIsServedByItsAdapterOnlyAndFollowsItsChanges) {
    Discovery net;
    static std::atomic<unsigned> sUpAdapter = 2;
    const auto list = [](auto& adapters) {
        const unsigned up = sUpAdapter;
        adapters = {{"{1}", "One", 1, up == 1, false, {0x0100000A}},
                    {"{2}", "Two", 2, up == 2, false, {0x0200000A}}};
        return true;
    };
    const auto before = std::exchange(NorvikLibInternal::GetAdapterCalls(),
                                      {list, []() -> void* { return nullptr; }, [] {}, 20});
    net.daemon.Control("add Far _desk._tcp 1 a.local. 80");
    net.daemon.Control("add Near _desk._tcp 2 a.local. 80");
    net.daemon.Control("host a.local. 1,2 127.0.0.2");
    {
        Search search(net.manager, ENetworkUser::eDiscovery);
        search.locator->Start();
        EXPECT_TRUE(net.RunUntil([&] { return !search.told.empty(); }));
        sUpAdapter = 0;  // none for a while: the next search is on no other network
        net.daemon.Control("error browse -65537");
        EXPECT_TRUE(net.RunUntil([&] { return search.Count("+Near") == 2; }));
        sUpAdapter = 1;
        EXPECT_TRUE(net.RunUntil([&] { return search.Count("+Far") == 1; }));
        EXPECT_TRUE(ReportedOnce("Cmn_BonjourAsyncHandler.cpp(151)"));
        EXPECT_THAT(search.told,
                    ElementsAre(HasSubstr("+Near 2"), HasSubstr("-Near 2"), "error Unknown error",
                                HasSubstr("+Near 2"), HasSubstr("-Near 2"), HasSubstr("+Far 1")));
    }
    NorvikLibInternal::GetAdapterCalls() = before;
}

}  // namespace
