// SPDX-License-Identifier: MIT
#include <vnBase/vnHalf.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

namespace
{
vnHalf halfOf(unsigned short bits)
{
    vnHalf half;
    half.setBits(bits);
    return half;
}

float floatOf(unsigned int bits)
{
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Read before any initializer of the library may have run.
const float earlyOne = halfOf(0x3C00);
} // namespace

TEST(vnHalf, ReadsEveryKindOfNumber)
{
    EXPECT_EQ(earlyOne, 1.0f);
    const std::pair<unsigned short, float> rows[] = {
        {0x0000, 0.0f},
        {0x0001, 5.9604644775390625e-08f}, // the smallest, 2^-24
        {0x03FF, 6.0975551605224609e-05f}, // the largest denormalized one
        {0x0400, 6.103515625e-05f},        // the smallest normalized one, 2^-14
        {0x3555, 0.333251953125f},
        {0xC000, -2.0f},
        {0x7BFF, 65504.0f},
        {0x7C00, std::numeric_limits<float>::infinity()},
        {0xFC00, -std::numeric_limits<float>::infinity()},
    };
    for (const auto& [bits, value] : rows)
        EXPECT_EQ(static_cast<float>(halfOf(bits)), value) << std::hex << bits;
    EXPECT_TRUE(std::signbit(static_cast<float>(halfOf(0x8000))));
}

TEST(vnHalf, AllNumbersSurviveTheWayThroughFloat)
{
    for (unsigned int bits = 0; bits < 65536; ++bits)
    {
        const vnHalf half = halfOf(static_cast<unsigned short>(bits));
        const unsigned int expected = bits == 0x8000 ? 0 : bits; // the sign of zero is dropped
        ASSERT_EQ(vnHalf(static_cast<float>(half)).bits(), expected) << std::hex << bits;
    }
}

TEST(vnHalf, RoundsToTheNearest)
{
    const std::pair<float, unsigned short> rows[] = {
        {1.00048828125f, 0x3C01},  // halfway between normalized neighbours: away from zero,
        {-1.00048828125f, 0xBC01}, // on either side
        {1.00146484375f, 0x3C02},  // and whatever is even
        {1.00048816f, 0x3C00},     // just below halfway
        {1.9998f, 0x4000},         // carries into the exponent
        {65519.0f, 0x7BFF},        // the last that stays finite
        {65520.0f, 0x7C00},        // carries into infinity
        {1e30f, 0x7C00},           // far above
        {-1e30f, 0xFC00},
        {2.98023223876953125e-08f, 0},     // halfway to the smallest: to even
        {2.9802326e-08f, 0x0001},          // just above
        {8.9406967163085938e-08f, 2},      // halfway between 1 and 2 denormalized units: to even
        {1.4901161193847656e-07f, 2},      // halfway between 2 and 3
        {6.1005353927612305e-05f, 0x0400}, // halfway to the smallest normalized one
        {-2e-08f, 0x8000},                 // a negative number that vanishes keeps its sign
        {1e-40f, 0},                       // a denormalized float
    };
    for (const auto& [value, bits] : rows)
        EXPECT_EQ(vnHalf(value).bits(), bits) << value;
}

TEST(vnHalf, NanStaysNan)
{
    for (const unsigned int bits : {0x7FC00000u, 0x7F800001u, 0x7F801FFFu, 0xFF802000u})
    {
        const vnHalf half(floatOf(bits));
        EXPECT_TRUE(half.isNan()) << std::hex << bits;
        EXPECT_EQ(half.isNegative(), bits >> 31) << std::hex << bits;
    }
}

TEST(vnHalf, TellsTheKindsApart)
{
    // In this order: zero, negative, NaN, infinite, finite, normalized, denormalized.
    const std::pair<unsigned short, const char*> rows[] = {
        {0x0000, "1000100"},
        {0x8000, "1100100"},
        {0x0001, "0000101"},
        {0x83FF, "0100101"},
        {0x0400, "0000110"},
        {0xFBFF, "0100110"},
        {vnHalf::posInf().bits(), "0001000"},
        {vnHalf::negInf().bits(), "0101000"},
        {vnHalf::qNan().bits(), "0010000"},
        {vnHalf::sNan().bits(), "0010000"},
    };
    for (const auto& [bits, expected] : rows)
    {
        const vnHalf half = halfOf(bits);
        std::string is;
        for (const bool each : {half.isZero(), half.isNegative(), half.isNan(), half.isInfinity(),
                                half.isFinite(), half.isNormalized(), half.isDenormalized()})
            is += each ? '1' : '0';
        EXPECT_EQ(is, expected) << std::hex << bits;
    }
    EXPECT_TRUE(vnHalf::qNan().bits() & 0x0200);
    EXPECT_FALSE(vnHalf::sNan().bits() & 0x0200);
}

TEST(vnHalf, ComputesInFloat)
{
    vnHalf value(3.0f);
    value += 1.5f;
    value -= vnHalf(0.5f);
    value *= vnHalf(-2.0f);
    EXPECT_EQ(value, -8.0f);
    value /= 16.0f;
    EXPECT_EQ(-value, 0.5f);
    value /= 0.0f;
    EXPECT_EQ(value.bits(), vnHalf::negInf().bits());
    EXPECT_EQ((-vnHalf(0.0f)).bits(), 0u);
}

TEST(vnHalf, RoundsItsMantissa)
{
    struct Row
    {
        unsigned short bits;
        unsigned int kept;
        unsigned short rounded;
    };
    const Row rows[] = {
        {0x3FFF, 10, 0x3FFF},                      // nothing to do
        {0x3C01, 9, 0x3C02},                       // halfway: away from zero
        {0xBC01, 9, 0xBC02},  {0x3DFF, 0, 0x3C00}, // below halfway
        {0x3E00, 0, 0x4000},                       // carries into the exponent
        {0x7BFF, 3, 0x7B80},                       // would become infinite: cut
        {0x7C00, 2, 0x7C00},  {0x7D55, 2, 0x7D55}, // NaN would become infinite
        {0x0001, 9, 0x0002},                       // denormalized
    };
    for (const Row& row : rows)
        EXPECT_EQ(halfOf(row.bits).round(row.kept).bits(), row.rounded) << std::hex << row.bits;
}
