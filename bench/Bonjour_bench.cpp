// TXT records against a bare loop over their bytes, and the finding of 500 services at once against the bare calls, one
// service after the other. The library and its daemon are the stand-in's.

#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <map>
#include <string>
#include <vector>

#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "bench/Bench.h"

namespace {

using namespace NorvikLibInternal;

constexpr int kServices = 500;
constexpr char kType[] = "_bench._tcp";

std::string StandinFolder() {
    char path[MAX_PATH];
    const std::string program(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
    const std::string bin = program.substr(0, program.rfind('\\'));
    return bin.substr(0, bin.rfind('\\')) + "\\standins";
}

void LoadStandin() {
    static const HMODULE library = ::LoadLibraryA((StandinFolder() + "\\dnssd.dll").c_str());
    OverrideDnsSdLibrary(library);
}

TxtRecord MakeRecord() {
    TxtRecord record;
    for (int i = 0; i < 10; ++i)
        record.SetKey("key" + std::to_string(i), "the value of " + std::to_string(i));
    return record;
}

void EncodeRecord(benchmark::State& state) {
    LoadStandin();
    const TxtRecord record = MakeRecord();
    for (auto _ : state)
        benchmark::DoNotOptimize(Cmn_BonjourTXTRecordCodec::Encode(record));
}

void DecodeRecord(benchmark::State& state) {
    LoadStandin();
    const std::string bytes = Cmn_BonjourTXTRecordCodec::Encode(MakeRecord());
    for (auto _ : state)
        benchmark::DoNotOptimize(
            Cmn_BonjourTXTRecordCodec::Decode(bytes.data(), static_cast<unsigned short>(bytes.size())));
}

// Every byte, and one insertion for each pair.
void BareLoop(benchmark::State& state) {
    LoadStandin();
    const std::string bytes = Cmn_BonjourTXTRecordCodec::Encode(MakeRecord());
    for (auto _ : state) {
        std::map<std::string, std::string> record;
        for (size_t at = 0; at < bytes.size();) {
            const size_t end = at + 1 + static_cast<unsigned char>(bytes[at]);
            std::string key, value;
            std::string* to = &key;
            for (++at; at < end; ++at) {
                if (bytes[at] == '=' && to == &key) {
                    to = &value;
                } else {
                    *to += bytes[at];
                }
            }
            record.insert({key, value});
        }
        benchmark::DoNotOptimize(record);
    }
}

// The daemon with its services, for the life of this program.
void StartDaemon() {
    static bool isStarted = false;
    if (std::exchange(isStarted, true)) return;
    LoadStandin();
    const std::string port = std::to_string(20'000 + ::GetTickCount64() % 20'000);
    ::SetEnvironmentVariableA("NORVIK_DNSSD_PORT", port.c_str());
    const auto run = [](const std::string& arguments) {
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;  // no output between our lines
        PROCESS_INFORMATION process = {};
        std::string line = "\"" + StandinFolder() + "\\dnssd-daemon.exe\" " + arguments;
        ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                         &process);
        const KernelHandle thread(process.hThread);
        return KernelHandle(process.hProcess);
    };
    const auto daemon = run("--port " + port + " --while " + std::to_string(::GetCurrentProcessId()));
    const std::string many = "many " + std::string(kType) + " " + std::to_string(kServices);
    DWORD code = 1;
    for (int attempt = 0; attempt < 100 && code != 0; ++attempt) {
        const auto control = run("--control " + port + " \"" + many + "\"");
        ::WaitForSingleObject(control.Get(), 5'000);
        ::GetExitCodeProcess(control.Get(), &code);
    }
}

void FindWithLocator(benchmark::State& state) {
    StartDaemon();
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    Cmn_EventManager manager;
    gIF_EventManager = &manager;
    for (auto _ : state) {
        int found = 0;
        Cmn_BonjourLocator locator(
            kType, ENetworkUser::eAny, [&](const Cmn_BonjourService&) { ++found; }, {}, {}, manager);
        locator.SetErrorCallback([&](const Cmn_BonjourError&) { state.SkipWithError("no daemon"); });
        locator.Start();
        for (int i = 0; found < kServices && i < 100'000; ++i)
            manager.ProcessOneEvent(1'000);
        if (found < kServices) state.SkipWithError("not all are found");
    }
}

struct BareSearch {
    std::vector<std::string> names;
    std::string host;
    int addresses = 0;
};

BareSearch* Search(void* context) {
    return static_cast<BareSearch*>(context);
}

void FindWithBareCalls(benchmark::State& state) {
    StartDaemon();
    for (auto _ : state) {
        BareSearch found;
        DNSServiceRef browse = nullptr, ref = nullptr;
        DNSServiceBrowse(
            &browse, 0, 0, kType, "local.",
            [](DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType, const char* name, const char*,
               const char*, void* context) { Search(context)->names.emplace_back(name); },
            &found);
        while (browse && found.names.size() < kServices && DNSServiceProcessResult(browse) == 0) {
        }
        for (const std::string& name : found.names) {
            found.host.clear();
            DNSServiceResolve(
                &ref, 0, 1, name.c_str(), kType, "local.",
                [](DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType, const char*,
                   const char* host, uint16_t, uint16_t, const unsigned char*,
                   void* context) { Search(context)->host = host; },
                &found);
            while (found.host.empty() && DNSServiceProcessResult(ref) == 0) {
            }
            DNSServiceRefDeallocate(ref);
            const int before = found.addresses;
            DNSServiceGetAddrInfo(
                &ref, 0, 1, kDNSServiceProtocol_IPv4, found.host.c_str(),
                [](DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType, const char*,
                   const sockaddr*, uint32_t, void* context) { ++Search(context)->addresses; },
                &found);
            while (found.addresses == before && DNSServiceProcessResult(ref) == 0) {
            }
            DNSServiceRefDeallocate(ref);
        }
        DNSServiceRefDeallocate(browse);
        if (found.addresses < kServices) state.SkipWithError("not all are found");
    }
}

const Subject kEncode("TXT record encode, 10 pairs", Run::kFree, "bare loop with map", 2.0, &EncodeRecord,
                      &BareLoop);
const Subject kDecode("TXT record decode, 10 pairs", Run::kFree, "bare loop with map", 2.0, &DecodeRecord,
                      &BareLoop);
const Subject kFind("find 500 services", Run::kFree, "bare calls, one by one", 2.0, &FindWithLocator,
                    &FindWithBareCalls);

}  // namespace
