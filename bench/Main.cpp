// Runs the subjects of one kind ("free" or "pinned") and prints one table: subject, ours, peer, limit, ratio.
// The ratio is the median of the ratios of single rounds, in each of which both ways ran. The code is 1 when a limit is missed
// or a subject could not be measured.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/Bench.h"

namespace {

constexpr int kRounds = 9;

struct Entry {
    std::string name;
    Run run;
    std::string peer;
    double limit;
    Subject::Function ours;
    Subject::Function peers;
    int threads;
};

std::vector<Entry>& Entries() {
    static std::vector<Entry> entries;
    return entries;
}

// Nanoseconds by round, for each benchmark.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<::benchmark::BenchmarkReporter::Run>& runs) override {
        for (const auto& run : runs) {
            if (run.run_type != ::benchmark::BenchmarkReporter::Run::RT_Iteration) continue;
            if (run.error_occurred) mErrors[run.run_name.function_name] = run.error_message;
            auto& rounds = mTimes[run.run_name.function_name];
            if (rounds.empty()) rounds.resize(kRounds);
            rounds[static_cast<size_t>(run.repetition_index)] = run.GetAdjustedRealTime();
        }
    }
    const std::vector<double>& Times(const std::string& name) { return mTimes[name]; }
    const std::string& Error(const std::string& name) { return mErrors[name]; }

private:
    std::map<std::string, std::string> mErrors;
    std::map<std::string, std::vector<double>> mTimes;
};

double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string Time(double nanoseconds) {
    char text[32];
    if (nanoseconds < 1e3)
        std::snprintf(text, sizeof text, "%.2f ns", nanoseconds);
    else if (nanoseconds < 1e6)
        std::snprintf(text, sizeof text, "%.2f us", nanoseconds / 1e3);
    else
        std::snprintf(text, sizeof text, "%.2f ms", nanoseconds / 1e6);
    return text;
}

void Register(const Entry& entry, const char* side, const Subject::Function& function) {
    benchmark::RegisterBenchmark((entry.name + side).c_str(), function)
        ->Threads(entry.threads)
        ->UseRealTime()
        ->Repetitions(kRounds)
        ->MinTime(0.05);
}

}  // namespace

Subject::Subject(const std::string& name, ::Run run, const std::string& peer, double limit, Function ours,
                 Function peers, int threads) {
    Entries().push_back({name, run, peer, limit, std::move(ours), std::move(peers), threads});
}

int main(int count, char** arguments) {
    if (count < 2 || (std::string(arguments[1]) != "free" && std::string(arguments[1]) != "pinned")) {
        std::fprintf(stderr, "usage: norvik_bench free|pinned [regular expression]\n");
        return 2;
    }
    const Run wanted = std::string(arguments[1]) == "free" ? Run::kFree : Run::kPinned;
    std::erase_if(Entries(), [&](const Entry& entry) { return entry.run != wanted; });
    if (Entries().empty()) return 0;

    const std::string filter = std::string("--benchmark_filter=") + (count > 2 ? arguments[2] : ".");
    const std::string order = "--benchmark_enable_random_interleaving=true";
    std::vector<std::string> options = {arguments[0], filter, order};
    std::vector<char*> pointers;
    for (std::string& option : options)
        pointers.push_back(option.data());
    int pointerCount = static_cast<int>(pointers.size());
    benchmark::Initialize(&pointerCount, pointers.data());

    for (const Entry& entry : Entries()) {
        Register(entry, " [ours]", entry.ours);
        Register(entry, " [peer]", entry.peers);
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);

    std::printf("%-58s %11s %11s %7s %7s  %s\n", arguments[1], "ours", "peer", "limit", "ratio", "peer is");
    int missed = 0, errors = 0;
    for (const Entry& entry : Entries()) {
        const auto& ours = collector.Times(entry.name + " [ours]");
        const auto& peers = collector.Times(entry.name + " [peer]");
        if (ours.empty() && peers.empty()) continue;  // not asked for
        std::vector<double> ratios;
        for (size_t i = 0; i < std::min(ours.size(), peers.size()); ++i)
            ratios.push_back(ours[i] / peers[i]);
        const double ratio = Median(ratios);
        std::string error = collector.Error(entry.name + " [ours]") + collector.Error(entry.name + " [peer]");
        if (error.empty() && !(std::isfinite(ratio) && ratio > 0)) error = "gave no time";
        if (!error.empty()) {
            ++errors;
            std::printf("%-58s ERROR: %s\n", entry.name.c_str(), error.c_str());
            continue;
        }
        const bool isMissed = entry.limit != 0 && ratio > entry.limit;
        missed += isMissed;
        char limit[16] = "-";
        if (entry.limit != 0) std::snprintf(limit, sizeof limit, "%.2f", entry.limit);
        std::printf("%-58s %11s %11s %7s %7.2f%s %s\n", entry.name.c_str(), Time(Median(ours)).c_str(),
                    Time(Median(peers)).c_str(), limit, ratio, isMissed ? "!" : " ", entry.peer.c_str());
    }
    if (missed != 0) std::printf("%d above the limit (marked !)\n", missed);
    if (errors != 0) std::printf("%d could not be measured (marked ERROR)\n", errors);
    return missed + errors == 0 ? 0 : 1;
}
