// Every fuzz target with inputs that are always the same. What the fuzzer finds has a test of its own.

#include <gtest/gtest.h>

#include <random>

#include "fuzz/FuzzTarget.h"

namespace {

class FixedSeed : public testing::TestWithParam<FuzzTarget> {};

TEST_P(FixedSeed, FindsNoDifference) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::string bytes(random() % 4'096, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        FuzzInput input(bytes);
        GetParam().feed(input);  // throws, and so fails, at a difference
    }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, FixedSeed, testing::ValuesIn(FuzzTarget::All()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
