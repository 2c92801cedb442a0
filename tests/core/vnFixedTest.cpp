// SPDX-License-Identifier: MIT
#include <vnBase/vnFixed.h>

#include <vnBase/vnBaseError.h>

#include <gtest/gtest.h>

#include <limits>

TEST(vnFixed, ConvertsByCutting)
{
    EXPECT_EQ(vnFixed(1.5f).bits(), 0x18000);
    EXPECT_EQ(vnFixed(static_cast<short>(-3)).bits(), -0x30000);
    EXPECT_EQ(vnFixed(1.9999999).bits(), 0x1FFFF);
    EXPECT_EQ(vnFixed(-1.9999999).bits(), -0x1FFFF);
    EXPECT_EQ(static_cast<float>(vnFixed(1.5f)), 1.5f);
    vnFixed smallest;
    smallest.setBits(1);
    EXPECT_EQ(static_cast<float>(smallest), 0.0000152587890625f);
}

TEST(vnFixed, StaysInItsRangeWhenItIsMade)
{
    EXPECT_EQ(vnFixed(40000.0f).bits(), 0x7FFFFFFF);
    EXPECT_EQ(vnFixed(-1e30f).bits(), std::numeric_limits<int>::min());
    EXPECT_EQ(vnFixed(static_cast<short>(-32768)).bits(), std::numeric_limits<int>::min());
    EXPECT_EQ(vnFixed(std::numeric_limits<float>::quiet_NaN()).bits(), 0);
}

TEST(vnFixed, ComputesWithItsOwnAndWithPlainNumbers)
{
    const vnFixed a(2.5f);
    EXPECT_EQ((a + vnFixed(0.25f)).bits(), 0x2C000);
    EXPECT_EQ((a - 1.25f).bits(), 0x14000);
    EXPECT_EQ((a * static_cast<short>(-2)).bits(), -0x50000);
    EXPECT_EQ((a * a).bits(), 0x64000);
    EXPECT_EQ((a / 2).bits(), 0x14000);
    EXPECT_EQ((vnFixed(-1.0f) / 3).bits(), -0x5555); // toward zero
    EXPECT_EQ((-a).bits(), -0x28000);
    vnFixed b(1.0f);
    b += 2;
    b *= 2.5;
    b -= vnFixed(0.5f);
    b /= static_cast<short>(7);
    EXPECT_EQ(b.bits(), 0x10000);
}

TEST(vnFixed, ProductsAreRoundedDown)
{
    vnFixed smallest;
    smallest.setBits(-1);
    EXPECT_EQ((smallest * vnFixed(0.5f)).bits(), -1);
    EXPECT_EQ((-smallest * vnFixed(0.5f)).bits(), 0);
}

TEST(vnFixed, WrapsAroundWhenAResultDoesNotFit)
{
    vnFixed least;
    least.setBits(std::numeric_limits<int>::min());
    EXPECT_EQ((-least).bits(), std::numeric_limits<int>::min());
    EXPECT_EQ((least - 1).bits(), 0x7FFF0000);
    EXPECT_EQ((least / -1).bits(), std::numeric_limits<int>::min());
    EXPECT_EQ((vnFixed(200.0f) * 200).bits(), static_cast<int>(40000u << 16));
}

TEST(vnFixed, RefusesToDivideByZero)
{
    vnFixed value(1.0f);
    EXPECT_THROW(value / vnFixed(), vnFatalError);
    EXPECT_THROW(value /= 0.0000001f, vnFatalError); // becomes 0
    EXPECT_EQ(value.bits(), 0x10000);
}
