#include "tools/norvik/SoakLedger.h"

#include <charconv>

namespace NorvikTool {
namespace {

// The number behind the first character. False when none stands there.
bool ReadNumber(std::string_view text, uint64_t& number) {
    const char* const begin = text.data() + std::min<size_t>(1, text.size());
    return std::from_chars(begin, text.data() + text.size(), number).ec == std::errc() && number != 0;
}

uint64_t Value(const std::map<std::string, uint64_t>& status, const char* name) {
    const auto found = status.find(name);
    return found == status.end() ? 0 : found->second;
}

}  // namespace

LinkCounts& LinkCounts::operator+=(const LinkCounts& other) {
    sent += other.sent;
    acknowledged += other.acknowledged;
    received += other.received;
    lost += other.lost;
    wrong += other.wrong;
    unanswered += other.unanswered;
    return *this;
}

std::string NumberedLink::Message(uint64_t number) {
    return "m" + std::to_string(number) + " " +
           std::string(number * 7'919 % 3'000, static_cast<char>('a' + number % 26));
}

void NumberedLink::SendNext() {
    if (InFlight() >= cWindow) return;
    mSend(Message(++mCounts.sent));
}

void NumberedLink::Take(std::string_view frame) {
    uint64_t number = 0;
    const bool isAcknowledgement = frame.starts_with('a');
    const bool isNumbered = ReadNumber(frame, number);
    if (isNumbered && isAcknowledgement && number > mLastAcknowledged && number <= mCounts.sent) {
        mCounts.unanswered += number - mLastAcknowledged - 1;
        mLastAcknowledged = number;
        ++mCounts.acknowledged;
    } else if (isNumbered && !isAcknowledgement && number > mLastReceived && frame == Message(number)) {
        mCounts.lost += number - mLastReceived - 1;
        mLastReceived = number;
        ++mCounts.received;
        mSend("a" + std::to_string(number));
    } else {
        ++mCounts.wrong;
    }
}

std::string GrowthWatch::Verdict(const Resources& allowance) const {
    std::string grown;
    const auto compare = [&](const char* what, uint64_t start, uint64_t end, uint64_t allowed) {
        if (end <= start + allowed) return;
        grown += std::string(grown.empty() ? "" : ", ") + what + " from " + std::to_string(start) + " to " +
                 std::to_string(end) + " (allowed: +" + std::to_string(allowed) + ")";
    };
    constexpr uint64_t cStackKB = 1'040;
    const uint64_t more = mEnd.threads > mStart.threads ? mEnd.threads - mStart.threads : 0;
    const uint64_t threads = std::min(more, allowance.threads);
    compare("threads", mStart.threads, mEnd.threads, allowance.threads);
    compare("handles", mStart.handles, mEnd.handles, allowance.handles + threads);
    compare("private KB", mStart.privateKB, mEnd.privateKB, allowance.privateKB + threads * cStackKB);
    compare("working set KB", mStart.workingSetKB, mEnd.workingSetKB,
            allowance.workingSetKB + threads * cStackKB);
    return grown;
}

void GrowthWatch::Look(Resources& least, const Resources& now) {
    if (now.handles == 0) return;  // it has ended
    if (least.handles == 0) least = now;
    least.handles = std::min(least.handles, now.handles);
    least.privateKB = std::min(least.privateKB, now.privateKB);
    least.workingSetKB = std::min(least.workingSetKB, now.workingSetKB);
    least.threads = std::min(least.threads, now.threads);
}

std::map<std::string, uint64_t> ParseStatus(std::string_view line) {
    std::map<std::string, uint64_t> status;
    while (!line.empty()) {
        const std::string_view word = line.substr(0, line.find(' '));
        line.remove_prefix(std::min(line.size(), word.size() + 1));
        const size_t equals = word.find('=');
        if (equals == word.npos) continue;
        uint64_t value = 0;
        const char* const end = word.data() + word.size();
        const auto [stop, error] = std::from_chars(word.data() + equals + 1, end, value);
        if (error == std::errc() && stop == end) status.emplace(word.substr(0, equals), value);
    }
    return status;
}

std::string StatusText(const LinkCounts& counts) {
    return "sent=" + std::to_string(counts.sent) + " acknowledged=" + std::to_string(counts.acknowledged) +
           " received=" + std::to_string(counts.received) + " lost=" + std::to_string(counts.lost) +
           " wrong=" + std::to_string(counts.wrong) + " unanswered=" + std::to_string(counts.unanswered);
}

LinkCounts CountsOf(const std::map<std::string, uint64_t>& status) {
    return {Value(status, "sent"), Value(status, "acknowledged"), Value(status, "received"),
            Value(status, "lost"), Value(status, "wrong"),        Value(status, "unanswered")};
}

}  // namespace NorvikTool
