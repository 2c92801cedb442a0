// SPDX-License-Identifier: MIT
#include <vnBase/vnBaseError.h>
#include <vnBase/vnString.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace
{
template <class... Args>
std::string text(const char* format, const Args&... args)
{
    const vnString result = vnString::formatString(format, args...);
    return std::string(result.getString(), result.length());
}
} // namespace

TEST(vnStringFormat, PrintsIntegers)
{
    EXPECT_EQ(text("%d", 42), "42");
    EXPECT_EQ(text("%d", vnInt64(-9223372036854775807ll - 1)), "-9223372036854775808");
    EXPECT_EQ(text("%05d", -42), "-0042");
    EXPECT_EQ(text("%+d", 42), "+42");
    EXPECT_EQ(text("% d|%-5d|%5d", 7, 8, 9), " 7|8    |    9");
    EXPECT_EQ(text("%ld", 4294967297.0), "1");
    EXPECT_EQ(text("%hd", 65535), "-1");
    EXPECT_EQ(text("%.4d", -7), "-0007");
    EXPECT_EQ(text("%u", -5), "5");
    EXPECT_EQ(text("%lu", -1), "4294967295");
    EXPECT_EQ(text("%hu", -1), "65535");
    EXPECT_EQ(text("%u", ~0ull), "18446744073709551615");
    EXPECT_EQ(text("%x", ~0ull), "ffffffffffffffff");
    EXPECT_EQ(text("%x|%X|%lx|%hX", -1, -1, -1, -1), "Ffffffffffffffff|FFFFFFFFFFFFFFFF|ffffffff|FFFF");
    EXPECT_EQ(text("%o|%b", 8, 5), "10|101");
}
