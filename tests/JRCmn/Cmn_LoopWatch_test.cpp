// Runs natively under the sanitizers, too.

#include "JRCmn/Internal/Cmn_LoopWatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

struct Span {
    uint32_t begin, end;
    bool Contains(uint32_t time) const { return begin <= time && time < end; }
};

struct Story {
    std::vector<Span> calls;
    uint32_t seconds;
    const char* said;
    Span debugger = {};
    bool isBlocked = true, isSignalStolen = false;  // by somebody else who waits for the event
};

// A loop whose handlers run at given times. Time passes only while the watchdog waits.
struct FakeLoop final : NorvikLibInternal::LoopWatch {
    explicit FakeLoop(const Story& what) : story(what) {}

    bool IsOver() override { return now >= 30'000; }
    bool IsHandlerRunning() override {
        return std::ranges::any_of(story.calls, [this](Span call) { return call.Contains(now); });
    }
    bool WaitForDone(uint32_t milliseconds) override {
        for (const Span call : story.calls)
            if (now < call.end && call.end <= now + milliseconds)
                return now = call.end, !story.isSignalStolen;
        return now += milliseconds, false;
    }
    bool IsDebuggerAttached() override { return story.debugger.Contains(now); }
    bool Report() override { return said += std::to_string(now) + " blocks, ", true; }
    bool IsBlocked() override { return story.isBlocked; }
    void TraceUnblocked() override { said += std::to_string(now) + " unblocked, "; }

    const Story& story;
    uint32_t now = 0;
    std::string said;
};

TEST(LoopWatch, ReportsEachHandlerOnceThatOutlivesTheLimit) {
    const Story stories[] = {
        {{{0, 500}, {1'000, 1'999}}, 1, ""},
        {{{0, 3'000}}, 1, "1000 blocks, 3000 unblocked, "},
        {{{0, 3'000}}, 3, ""},
        {{{0, 3'001}}, 3, "3000 blocks, 3001 unblocked, "},
        // Noticed in the next step of 100 ms.
        {{{50, 900}, {950, 2'101}}, 1, "2000 blocks, 2101 unblocked, "},
        {{{0, 1'500}, {1'600, 9'000}}, 1, "1000 blocks, 1500 unblocked, 2600 blocks, 9000 unblocked, "},
        {{{0, 9'000}}, 2, "5000 blocks, 9000 unblocked, ", {0, 3'500}},
        {{{0, 2'500}}, 1, "1000 blocks, 1000 unblocked, 2000 blocks, 2000 unblocked, ", {}, false},
        {{{0, 2'500}}, 1, "1000 blocks, 2500 unblocked, ", {}, true, true},
    };
    for (const Story& story : stories) {
        FakeLoop loop(story);
        loop.Run(story.seconds);
        EXPECT_EQ(loop.said, story.said);
    }
}

}  // namespace
