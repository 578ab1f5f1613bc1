#include "tests/support/TraceCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "JRCmn/Internal/Cmn_TraceObserver.h"

namespace {

std::mutex& Lock() {
    static std::mutex& lock = *new std::mutex;
    return lock;
}

std::vector<std::string>& Lines() {
    static auto& lines = *new std::vector<std::string>;
    return lines;
}

bool IsReport(const std::string& line) {
    return line.starts_with("REPORT >>>");
}

void Observe(const char* line) {
    const std::lock_guard lock(Lock());
    Lines().push_back(line);
}

class UnexpectedReports : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { TakeTraces(); }
    void OnTestEnd(const testing::TestInfo&) override {
        for (const std::string& report : TakeReports())
            ADD_FAILURE() << "unexpected: " << report;
    }
};

}  // namespace

std::vector<std::string> TakeTraces() {
    const std::lock_guard lock(Lock());
    return std::exchange(Lines(), {});
}

std::vector<std::string> TakeReports() {
    const std::lock_guard lock(Lock());
    std::vector<std::string>& lines = Lines();
    const auto firstReport =
        std::stable_partition(lines.begin(), lines.end(), [](auto& l) { return !IsReport(l); });
    std::vector<std::string> reports(std::make_move_iterator(firstReport),
                                     std::make_move_iterator(lines.end()));
    lines.erase(firstReport, lines.end());
    return reports;
}

testing::AssertionResult ReportedOnce(const std::string& text) {
    const std::vector<std::string> reports = TakeReports();
    if (reports.size() == 1 && AnyContains(reports, text)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << testing::PrintToString(reports) << " instead of one with " << text;
}

bool AnyContains(const std::vector<std::string>& lines, const std::string& text) {
    return std::ranges::any_of(lines, [&](const std::string& line) { return line.find(text) != line.npos; });
}

void InstallTraceCapture() {
    NorvikLibInternal::SetTraceObserver(&Observe);
    testing::UnitTest::GetInstance()->listeners().Append(new UnexpectedReports);
}
