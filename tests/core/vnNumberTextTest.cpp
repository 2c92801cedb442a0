// SPDX-License-Identifier: MIT
#include "../messages/vnMessageRecorder.h"

#include <vnBase/vnNumberText.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>

namespace
{
std::string integer(vnInt64 value, unsigned char radix, short minDigits = -1, unsigned char upper = 0)
{
    char text[128];
    unsigned short length = 0;
    vnLtoA(text, value, radix, minDigits, &length, upper);
    EXPECT_EQ(std::string(text).size(), length);
    return text;
}

std::string real(double value, short precision = -1, int significant = 15)
{
    char text[1600];
    unsigned short length = 0;
    vnDtoA(text, value, precision, &length, significant);
    EXPECT_EQ(std::string(text).size(), length);
    return text;
}

std::string narrow(const char16_t* text)
{
    std::string result;
    for (; *text; ++text)
        result += static_cast<char>(*text);
    return result;
}
} // namespace

TEST(vnNumberText, WritesIntegersInAnyRadix)
{
    EXPECT_EQ(integer(0, 10), "0");
    EXPECT_EQ(integer(-9223372036854775807ll - 1, 10), "-9223372036854775808");
    EXPECT_EQ(integer(12345, 10, 8), "00012345");
    EXPECT_EQ(integer(-12345, 10, 8), "-00012345"); // the sign is not counted
    EXPECT_EQ(integer(255, 16), "ff");
    EXPECT_EQ(integer(255, 16, -1, 1), "FF");
    EXPECT_EQ(integer(61, 62), "Z");
    EXPECT_EQ(integer(61, 62, -1, 1), "z");
    EXPECT_EQ(integer(3845, 62), "101");
    EXPECT_EQ(integer(-8, 2), "-1000");
    EXPECT_EQ(integer(80, 3), "2222");
}

TEST(vnNumberText, WritesUnsignedAndWideForms)
{
    char text[80];
    vnULtoA(text, ~0ull, 10, -1);
    EXPECT_STREQ(text, "18446744073709551615");
    vnULtoA(text, ~0ull, 2, -1);
    EXPECT_EQ(std::string(text), std::string(64, '1'));
    char16_t wide[80];
    unsigned short length = 0;
    vnLtoA(wide, -42, 10, 4, &length);
    EXPECT_EQ(narrow(wide), "-0042");
    EXPECT_EQ(length, 5u);
    vnULtoA(wide, 255, 16, -1, &length, 1);
    EXPECT_EQ(narrow(wide), "FF");
    vnDtoA(wide, -1.25, 1, &length);
    EXPECT_EQ(narrow(wide), "-1.3");
    EXPECT_EQ(length, 4u);
}

TEST(vnNumberText, RefusesARadixWithoutDigits)
{
    for (unsigned char radix : {0, 1, 63, 255})
    {
        char text[80] = "x";
        unsigned short length = 77;
        vnLtoA(text, 5, radix, -1, &length);
        EXPECT_STREQ(text, "") << int(radix);
        EXPECT_EQ(length, 77u) << int(radix);
    }
}

TEST(vnNumberText, ShowsAsManyDecimalsAsTheValueNeeds)
{
    EXPECT_EQ(real(0.0), "0");
    EXPECT_EQ(real(-0.0), "0"); // not below 0
    EXPECT_EQ(real(1.5), "1.5");
    EXPECT_EQ(real(-0.1), "-0.1");
    EXPECT_EQ(real(0.1 + 0.2), "0.3");
    EXPECT_EQ(real(1.0 / 3), "0.33333333333333");
    EXPECT_EQ(real(2.0 / 3), "0.66666666666666"); // cut, not rounded
    EXPECT_EQ(real(0.9999999999999999), "0.99999999999999");
    EXPECT_EQ(real(1e-14), "0"); // not more than one unit of the last place
    EXPECT_EQ(real(3e-14), "0.00000000000003");
    EXPECT_EQ(real(123456.789), "123456.789");
    EXPECT_EQ(real(123456.786, -1, 8), "123456.78");
    EXPECT_EQ(real(123456.786, -1, 3), "123456");
    EXPECT_EQ(real(18446744073709551616.0), "18446744073709551616");
    EXPECT_EQ(real(9007199254740992.0), "9007199254740992");
}

TEST(vnNumberText, RoundsDecimalsAsTheCLibraryDoes)
{
    std::mt19937_64 random(99);
    for (unsigned int i = 0; i < 20000; ++i)
    {
        const short precision = static_cast<short>(random() % (i % 100 == 0 ? 600 : 24));
        const double value =
            std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 120));
        char expected[1600];
        std::snprintf(expected, sizeof expected, "%.*f", precision, value);
        // The C library rounds ties to even; they have a test of their own.
        char all[1600];
        const int length = std::snprintf(all, sizeof all, "%.1100f", value);
        const std::string tail(all + length - 1100 + precision);
        if (tail[0] == '5' && tail.find_first_not_of('0', 1) == std::string::npos)
            continue;
        ASSERT_EQ(real(value, precision), expected) << value << " precision " << precision;
    }
    EXPECT_EQ(real(0.015, 2), "0.01"); // the value lies below, adding 0.005 in doubles would hide it
    EXPECT_EQ(real(0.0005, 3), "0.001");
    EXPECT_EQ(real(9.9999, 2), "10.00");
    EXPECT_EQ(real(-9.9999, 0), "-10");
    EXPECT_EQ(real(5e-324, 3), "0.000");
    EXPECT_EQ(real(999.5, 25), "999.5000000000000000000000000");
}

TEST(vnNumberText, RoundsTiesUp)
{
    EXPECT_EQ(real(0.5, 0), "1");
    EXPECT_EQ(real(-0.0, 2), "0.00");
    EXPECT_EQ(real(2.5, 0), "3");
    EXPECT_EQ(real(0.125, 2), "0.13");
    EXPECT_EQ(real(std::ldexp(1.0, -30), 29), "0.00000000093132257461547851563");
}

TEST(vnNumberText, TellsWhatIsNoNumberAndWhatIsTooLarge)
{
    EXPECT_EQ(real(HUGE_VAL), "<inf>");
    EXPECT_EQ(real(-HUGE_VAL, 2), "-<inf>");
    EXPECT_EQ(real(std::nan("")), "<nan>");
    Recorder messages;
    vnMessage::setMessageLevel(VN_MESSAGE_WARNING | VN_MESSAGE_INTERNAL);
    const Lines warning{"VantorSDK|4800|Too large number for vnDtoA"};
    char text[64] = "x";
    char16_t wide[64] = u"x";
    unsigned short length = 77;
    vnDtoA(text, 2e19, 2, &length);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(messages.take(), warning);
    vnDtoA(text, -2e19, 2, &length);
    EXPECT_STREQ(text, "-"); // the sign comes before the test
    EXPECT_EQ(messages.take(), warning);
    vnDtoA(wide, -2e19, 2, &length);
    EXPECT_EQ(std::u16string(wide), u"-");
    EXPECT_EQ(messages.take(), warning);
    EXPECT_EQ(length, 77u);
}

TEST(vnNumberText, SpellsNumbersInLetters)
{
    const auto ident = [](vnUInt64 value, short minLength)
    {
        char text[80];
        unsigned short length = 0;
        vnULtoIdent(text, value, minLength, &length);
        EXPECT_EQ(std::string(text).size(), length);
        return std::string(text);
    };
    EXPECT_EQ(ident(0, 0), "A");
    EXPECT_EQ(ident(51, 0), "z");
    EXPECT_EQ(ident(52, 0), "AB"); // the least significant letter first
    EXPECT_EQ(ident(52, 5), "AB   ");
}

TEST(vnNumberText, KnowsThePowersOfTen)
{
    EXPECT_EQ(vnPow10(0), 1.0);
    EXPECT_EQ(vnPow10(3), 1000.0);
    EXPECT_EQ(vnPow10(-1), 0.1);
    // Repeated multiplication, not the nearest double.
    EXPECT_EQ(vnPow10(-2), 0.1 * 0.1);
    EXPECT_NE(vnPow10(-2), 0.01);
    EXPECT_NEAR(vnPow10(308) / 1e308, 1.0, 1e-13);
    EXPECT_NEAR(vnPow10(-307) / 1e-307, 1.0, 1e-13);
    EXPECT_NEAR(vnPow10(-310) / 1e-310, 1.0, 1e-12);
    EXPECT_EQ(vnPow10(-700), 0.0);
    EXPECT_TRUE(std::isinf(vnPow10(309)));
}

TEST(vnNumberText, CutsAValueToDecimals)
{
    EXPECT_EQ(vnPrecision(1.2345, 2, 0), 1.23);
    EXPECT_EQ(vnPrecision(1.2355, 3, 1), 1.236);
    EXPECT_EQ(vnPrecision(-1.239, 2, 0), -1.23);
    EXPECT_EQ(vnPrecision(1e30, 5, 1), 1e30); // no room for decimals
    EXPECT_EQ(vnPrecision(1.5, 4000000000u, 0), 1.5);
}
