#include "tools/norvik/SoakLedger.h"

#include <gtest/gtest.h>

#include <vector>

using namespace NorvikTool;

// What goes wrong with the frame on its way: nothing arrives, a piece of it, it twice; or with what acknowledges it. What is
// lost counts once, whichever end knows.
TEST(SoakLedger, WhatGoesWrongOnTheWayIsCounted) {
    enum Fault { None, Dropped, Torn, Doubled, Unanswered };
    const struct {
        Fault fault;
        uint64_t victim, lost, wrong, inFlight;
    } cases[] = {
        {None, 0, 0, 0, 0},       {Dropped, 5, 1, 0, 0}, {Torn, 5, 1, 1, 0}, {Doubled, 5, 0, 1, 0},
        {Unanswered, 5, 1, 0, 0}, {Dropped, 9, 0, 0, 1},  // the last one: only its sender can know
    };
    for (const auto& [fault, victim, lost, wrong, inFlight] : cases) {
        std::vector<std::string> answers;
        NumberedLink receiver([&](std::string_view frame) { answers.emplace_back(frame); });
        uint64_t number = 0;
        NumberedLink sender([&, fault = fault, victim = victim](std::string_view frame) {
            const Fault now = ++number == victim ? fault : None;
            if (now == Torn) frame.remove_suffix(1);
            if (now != Dropped) receiver.Take(frame);
            if (now == Doubled) receiver.Take(frame);
        });
        for (int i = 0; i < 9; ++i)
            sender.SendNext();
        if (fault == Unanswered) answers.erase(answers.begin() + static_cast<std::ptrdiff_t>(victim) - 1);
        for (const std::string& answer : answers)
            sender.Take(answer);
        EXPECT_EQ(LostBetween(sender.Counts(), receiver.Counts()), lost) << fault << " " << victim;
        EXPECT_EQ(receiver.Counts().wrong, wrong) << fault << " " << victim;
        EXPECT_EQ(sender.InFlight(), inFlight) << fault << " " << victim;
        EXPECT_EQ(sender.Counts().sent, 9u);
        EXPECT_EQ(sender.Counts().wrong, 0u);
        sender.Take("a10");  // nobody has sent it
        sender.Take("");
        EXPECT_EQ(sender.Counts().wrong, 2u);
    }
}

TEST(SoakLedger, GrowthIsTheLeastOfTheEndAgainstTheLeastOfTheStart) {
    GrowthWatch watch;
    watch.LookAtStart({12, 5'000, 9'000});
    EXPECT_FALSE(watch.IsComplete());
    watch.LookAtStart({10, 6'000, 9'000});
    watch.LookAtEnd({0, 0, 0});
    watch.LookAtEnd({20, 5'600, 9'000});
    watch.LookAtEnd({13, 5'500, 9'900});
    EXPECT_TRUE(watch.IsComplete());
    EXPECT_EQ(watch.Verdict({3, 500, 0}), "");
    EXPECT_EQ(watch.Verdict({2, 499, 0}),
              "handles from 10 to 13 (allowed: +2), private KB from 5000 to 5500 (allowed: +499)");
}

TEST(SoakLedger, ThreadsThatAreAllowedBringTheirHandlesAndStacks) {
    GrowthWatch watch;
    watch.LookAtStart({10, 5'000, 9'000, 7});
    watch.LookAtEnd({15, 10'000, 14'000, 12});
    EXPECT_EQ(watch.Verdict({0, 0, 0, 5}), "");
    EXPECT_EQ(watch.Verdict({1, 3'000, 3'000, 3}),
              "threads from 7 to 12 (allowed: +3), handles from 10 to 15 (allowed: +4)");
}

TEST(SoakLedger, StandingStillCountsFromTheLastStepOrHindrance) {
    ProgressWatch watch;
    watch.Reached(5, 1'000);
    watch.Reached(5, 4'000);
    EXPECT_EQ(watch.Standing(5'000), 4'000);
    watch.Hindered(5'000);
    EXPECT_EQ(watch.Standing(6'000), 1'000);
}

TEST(SoakLedger, AStatusComesBackAsItWas) {
    const LinkCounts counts{1, 2, 3, 4, 5, 6};
    const auto status = ParseStatus("link engine1 open=1 " + StatusText(counts) + " bad=x =");
    EXPECT_EQ(status.at("open"), 1u);
    EXPECT_EQ(status.count("bad"), 0u);
    EXPECT_EQ(StatusText(CountsOf(status)), StatusText(counts));
}
