// SPDX-License-Identifier: MIT
#include <vnBase/vnRandom.h>

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <utility>

namespace
{
// Mean and variance of many draws; three standard errors are far below the bounds of the tests.
template <class Draw>
std::pair<double, double> moments(Draw draw)
{
    constexpr int count = 200000;
    vnRandomInit(5489);
    double sum = 0;
    double squares = 0;
    for (int i = 0; i < count; ++i)
    {
        const double value = draw();
        sum += value;
        squares += value * value;
    }
    const double mean = sum / count;
    return {mean, squares / count - mean * mean};
}
} // namespace

TEST(vnRandom, GivesThePublishedSequenceAnewWithEachSeed)
{
    for (int run = 0; run < 2; ++run)
    {
        vnRandomInit(8);
        EXPECT_NE(vnRandomUInt32(), 3499211612u);
        vnRandomInit(5489);
        EXPECT_EQ(vnRandomUInt32(), 3499211612u);
        EXPECT_EQ(vnRandomUInt32(), 581869302u);
        EXPECT_EQ(vnRandomUInt32(), 3890346734u);
        for (int i = 3; i < 9999; ++i)
            vnRandomUInt32();
        EXPECT_EQ(vnRandomUInt32(), 4123659995u);
    }
}

TEST(vnRandom, ScalesToTheUnitInterval)
{
    vnRandomInit(5489);
    EXPECT_DOUBLE_EQ(vnRandom(), 3499211612.0 / 4294967295.0);
    EXPECT_FLOAT_EQ(vnRandomf(), static_cast<float>(581869302.0 / 4294967295.0));
    vnRandomInit(5489);
    EXPECT_DOUBLE_EQ(vnRandomExponential(2.0), -std::log(1.0 - 3499211612.0 / 4294967295.0) / 2.0);
}

TEST(vnRandom, TheNoiseRepeatsAndIsOneForAllThreads)
{
    const double& first = vnRandom(0u);
    const double last = vnRandom(9999u);
    EXPECT_NE(first, last);
    EXPECT_EQ(&vnRandom(10000u), &first);
    EXPECT_EQ(vnRandom(4294967295u), vnRandom(7295u));
    vnRandomInit(1);
    EXPECT_EQ(vnRandom(9999u), last);
    double seen = 0;
    std::thread([&seen] { seen = vnRandom(9999u); }).join();
    EXPECT_EQ(seen, last);
}

TEST(vnRandom, FollowsTheDistributions)
{
    const struct
    {
        std::pair<double, double> seen;
        double mean, variance;
    } rows[] = {
        {moments([] { return vnRandomNormal(10.0, 3.0); }), 10.0, 9.0},
        {moments([] { return vnRandomExponential(4.0); }), 0.25, 0.0625},
        // Of the scale 2 and the shape 2: 2 * gamma(1.5) and 4 * (1 - gamma(1.5)^2).
        {moments([] { return vnRandomWeibull(2.0, 2.0); }), 1.7724538509, 0.8584073464},
    };
    for (const auto& row : rows)
    {
        EXPECT_NEAR(row.seen.first, row.mean, 0.01 * row.mean);
        EXPECT_NEAR(row.seen.second, row.variance, 0.025 * row.variance);
    }
}

TEST(vnRandom, ThreadsShareOneSequence)
{
    constexpr int count = 20000;
    vnRandomInit(5489);
    unsigned int expected = 0;
    for (int i = 0; i < 2 * count; ++i)
        expected += vnRandomUInt32();

    vnRandomInit(5489);
    unsigned int sums[2] = {};
    const auto work = [](unsigned int* sum)
    {
        for (int i = 0; i < count; ++i)
            *sum += vnRandomUInt32();
    };
    std::thread other(work, &sums[1]);
    work(&sums[0]);
    other.join();
    EXPECT_EQ(sums[0] + sums[1], expected); // each value was drawn by exactly one of them
}
