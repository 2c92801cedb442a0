// SPDX-License-Identifier: MIT
#include <vnBase/vnMath.h>

#include <gtest/gtest.h>

#include <limits>

TEST(vnMath, Factorials)
{
    EXPECT_EQ(vnFaculty(0), 1.0);
    EXPECT_EQ(vnFaculty(5), 120.0);
    EXPECT_EQ(vnFaculty(20), 2432902008176640000.0);
    EXPECT_NEAR(vnFaculty(169) / 4.269068009004703e304, 1.0, 1e-13);
    EXPECT_EQ(vnFaculty(170), 1.0);
    EXPECT_EQ(vnFaculty(4294967295u), 1.0);
}

TEST(vnMath, Combinations)
{
    EXPECT_EQ(vnCombination(0, 0), 1.0);
    EXPECT_EQ(vnCombination(5, 2), 10.0);
    EXPECT_EQ(vnCombination(5, 5), 1.0);
    EXPECT_EQ(vnCombination(5, 6), 1.0);
    EXPECT_EQ(vnCombination(49, 6), 13983816.0);
    EXPECT_EQ(vnCombination(169, 1), 169.0);
    EXPECT_NEAR(vnCombination(169, 169), 1.0, 1e-12);
    EXPECT_EQ(vnCombination(170, 2), 1.0);
    EXPECT_EQ(vnCombination(3, 4294967295u), 1.0);
}

TEST(vnMath, RecognizesPowersOfTwo)
{
    for (const vnUInt64 power : {1ull, 2ull, 1ull << 32, 1ull << 63})
        EXPECT_TRUE(vnIsPowerOfTwo(power)) << power;
    for (const vnUInt64 other : {0ull, 3ull, (1ull << 32) + 1, ~0ull})
        EXPECT_FALSE(vnIsPowerOfTwo(other)) << other;
    for (const double power : {1.0, 0.25, 1048576.0, 8.98846567431158e307, 4.9406564584124654e-324})
        EXPECT_TRUE(vnIsDoublePowerOfTwo(power)) << power;
    for (const double other : {0.0, -2.0, 0.3, 3.0, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()})
        EXPECT_FALSE(vnIsDoublePowerOfTwo(other)) << other;
}

TEST(vnMath, FindsTheUpperPowerOfTwo)
{
    struct Row
    {
        double value;
        double power;
        int exponent;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const Row rows[] = {
        {1.0, 1.0, 0},
        {1.0000001, 2.0, 1},
        {3.0, 4.0, 2},
        {4.0, 4.0, 2},
        {1025.0, 2048.0, 11},
        {0.5, 0.5, -1},
        {0.3, 0.25, -2}, // away from 1, on this side downward
        {0.99, 0.5, -1},
        {4.9406564584124654e-324, 4.9406564584124654e-324, -1074},
        {1.7e308, infinity, 1024},
        {infinity, infinity, 1024},
        {0.0, 0.0, 0},
        {-3.0, 0.0, 0},
        {std::numeric_limits<double>::quiet_NaN(), 0.0, 0},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(vnGetUpperPowerOfTwo(row.value), row.power) << row.value;
        EXPECT_EQ(vnGetUpperPowerOfTwoExponent(row.value), row.exponent) << row.value;
    }
}

TEST(vnMath, TurnsBytesRound)
{
    vnUInt64 value = 0x0102030405060708ull;
    flipEndian(value);
    EXPECT_EQ(value, 0x0807060504030201ull);
    EXPECT_EQ(vnBigEndian(), __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__);
}
