#pragma once

// The bookkeeping of the endurance run (docs/soak.md): which messages arrived, who has stopped getting on, what has grown.
// Pure.
//
//   NumberedLink link([&](std::string_view frame) { Send(frame); });   // one end of a connection, for as long as it lasts
//   link.SendNext();                                                   // again and again
//   link.Take(frame);                                                  // whatever arrives
//   LostBetween(link.Counts(), other.Counts()), link.InFlight()        // both 0 when all is well and everything is read
//
// Threads:   an object belongs to one thread at a time
// Ownership: owns its texts and functions
// Errors:    a frame that the other end cannot have sent counts as wrong
// Units:     milliseconds of whatever clock the caller has; KB are 1,024 bytes

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace NorvikTool {

struct LinkCounts {
    uint64_t sent = 0, acknowledged = 0;  // of this end's messages
    uint64_t received = 0, lost = 0;      // of the other end's; lost: left out in their numbers
    uint64_t wrong = 0;                   // frames that are torn, doubled, or out of order
    uint64_t unanswered = 0;              // of this end's: left out in the acknowledgements

    LinkCounts& operator+=(const LinkCounts& other);
};

// What got lost on the way from the one to the other. Of a message both know, of an acknowledgement only the sender: what is
// the same message counts once.
inline uint64_t LostBetween(const LinkCounts& sender, const LinkCounts& receiver) {
    return std::max(sender.unanswered, receiver.lost);
}

// Messages are numbered from 1 in each connection, have a length and a content that follow from the number, and are
// acknowledged one by one.
class NumberedLink {
public:
    static constexpr uint64_t cLongest = 3'100;  // bytes of a frame
    static constexpr uint64_t cWindow = 64;      // so many messages are under way at most

    explicit NumberedLink(std::function<void(std::string_view)> send) : mSend(std::move(send)) {}

    void SendNext();
    void Take(std::string_view frame);
    // Sent behind the last one that was acknowledged.
    uint64_t InFlight() const { return mCounts.sent - mLastAcknowledged; }
    const LinkCounts& Counts() const { return mCounts; }

private:
    static std::string Message(uint64_t number);

    const std::function<void(std::string_view)> mSend;
    LinkCounts mCounts;
    uint64_t mLastReceived = 0, mLastAcknowledged = 0;
};

// Whether something that should get on does: it has not for `limit`, though nothing stood in its way.
class ProgressWatch {
public:
    void Hindered(int64_t now) { mSince = now; }
    void Reached(uint64_t value, int64_t now) {
        if (value != mValue) mSince = now;
        mValue = value;
    }
    int64_t Standing(int64_t now) const { return now - mSince; }

private:
    uint64_t mValue = 0;
    int64_t mSince = 0;
};

struct Resources {
    uint64_t handles = 0, privateKB = 0, workingSetKB = 0, threads = 0;
};

// What a process holds, at the start and at the end: of several looks the least, because some are taken while something is
// under way.
class GrowthWatch {
public:
    void LookAtStart(const Resources& now) { Look(mStart, now); }
    void LookAtEnd(const Resources& now) { Look(mEnd, now); }
    bool IsComplete() const { return mStart.handles != 0 && mEnd.handles != 0; }
    const Resources& Start() const { return mStart; }
    const Resources& End() const { return mEnd; }
    // What has grown beyond the allowance; empty when nothing has. Threads that are allowed may have what a thread has: its
    // handle, and the memory of its stack.
    std::string Verdict(const Resources& allowance) const;

private:
    static void Look(Resources& least, const Resources& now);

    Resources mStart, mEnd;
};

// "link engine1 open=1 sent=20" gives {"open", 1}, {"sent", 20}; words of another form are left out.
std::map<std::string, uint64_t> ParseStatus(std::string_view line);
std::string StatusText(const LinkCounts& counts);
LinkCounts CountsOf(const std::map<std::string, uint64_t>& status);

}  // namespace NorvikTool
