// SPDX-License-Identifier: MIT
#include <vnBase/vnString.h>
#include <vnBase/vnStringTokenizer.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

TEST(vnStringNumber, ReadsTheNumberInFront)
{
    constexpr vnInt64 max = std::numeric_limits<vnInt64>::max();
    struct Row
    {
        const char* text;
        vnInt64 number;
        double real;
    };
    const Row rows[] = {
        {"7", 7, 7},
        {" \t\r\n-12abc", -12, -12},
        {"+5 6", 5, 5},
        {"- 5", 0, 0},
        {"", 0, 0},
        {"abc", 0, 0},
        {"/*1*/2", 0, 0}, // a comment is no white space
        {"0.5", 0, 0.5},
        {"-2.9", -2, -2.9},
        {"1e3", 1000, 1000},
        {"1e", 0, 0},
        {"0x1F", 31, 31},
        {"010", 10, 10},
        {"123456789012345678", 123456789012345678, 123456789012345678.0},
        {"9223372036854775807", max, 9223372036854775808.0},
        {"-9223372036854775807", -max, -9223372036854775808.0},
        // An integer beyond 64 bits keeps the last of them, a real number all that counts.
        {"9223372036854775808", std::numeric_limits<vnInt64>::min(), 9223372036854775808.0},
        {"18446744073709551616", 0, 18446744073709551616.0},
        {"-18446744073709551617", -1, -18446744073709551616.0},
        {"100000000000000000000000", 200376420520689664, 1e23},
        {"0xFFFFFFFFFFFFFFFF", -1, 18446744073709551616.0},
        {"-0x10000000000000000", 0, -18446744073709551616.0},
        {"1e400", max, HUGE_VAL},
        {"-1e400", std::numeric_limits<vnInt64>::min(), -HUGE_VAL},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(vnString(row.text).num(), row.number) << row.text;
        EXPECT_EQ(vnString(row.text).real(), row.real) << row.text;
    }
    EXPECT_EQ(vnString("1,5").real(','), 1.5);
    EXPECT_EQ(vnString("1,5").real(), 1.0);
    EXPECT_EQ(vnString("1,5").real(9999), 1.5);
    EXPECT_EQ(vnString("1,5").num(), 1);
    EXPECT_EQ(vnString("-15").real(9999), -15.0);
    EXPECT_EQ(vnString("15").real(','), 15.0);
}

// Plain digits take a way of their own.
TEST(vnStringNumber, ReadsWhatTheLexicalReaderReads)
{
    std::mt19937 random(7);
    for (int round = 0; round < 50000; ++round)
    {
        static const char signs[] = "0123456789012345678901234567890 \t\n+-.eExXf,\0";
        std::string text;
        for (unsigned int left = random() % 22; left > 0; --left)
            text += signs[random() % (round % 2 ? 10 : sizeof signs - 1)];
        const vnString string(text.data(), static_cast<unsigned short>(text.size()));
        vnStringTokenizer tokens(string);
        while (tokens.getDataType(1) == VN_LEX_WHITESPACE)
        {
        }
        const vnDynamicType value = tokens.getData();
        if (tokens.getDataType() == VN_LEX_LARGE_INTEGER)
        {
            ASSERT_EQ(string.num(), vnDynamicTypeInt64(value).getInt64()) << text;
        }
        else if (tokens.getDataType() == VN_LEX_INTEGER || tokens.getDataType() == VN_LEX_REAL)
        {
            ASSERT_EQ(string.real(), value.getNumber()) << text;
            if (std::fabs(value.getNumber()) < 1e18)
            {
                ASSERT_EQ(string.num(), static_cast<vnInt64>(value.getNumber())) << text;
            }
        }
        else
        {
            ASSERT_EQ(string.num(), 0) << text;
        }
    }
}

TEST(vnStringNumber, ReadsWordsOfTruth)
{
    for (const char* text : {"yes", " TRUE\n", "Yes", "1", " 12 apples"})
        EXPECT_EQ(vnString(text).yesNo(), 1) << text;
    for (const char* text : {"", "no", "y", "yes!", "0", "-1", "0.5"}) // 0.5 is the integer 0
        EXPECT_EQ(vnString(text).yesNo(), 0) << text;
}

TEST(vnStringNumber, ReadsVersions)
{
    unsigned int parts = 0;
    EXPECT_EQ(vnString("2.10.5").dotValue(100, &parts), 21005);
    EXPECT_EQ(parts, 3u);
    EXPECT_EQ(vnString("7").dotValue(100, &parts), 7);
    EXPECT_EQ(parts, 1u);
    EXPECT_EQ(vnString("1..x.").dotValue(10, &parts), 1000);
    EXPECT_EQ(parts, 4u);
    EXPECT_EQ(vnString("3.4").dotValue(1000), 3004);
    EXPECT_EQ(vnString("").dotValue(10, &parts), 0);
    EXPECT_EQ(parts, 1u);
    EXPECT_EQ(vnString("4294967296.4294967296.7").dotValue(0x80000000u), -9223372036854775801); // it wraps
}

TEST(vnStringNumber, ReadsListsOfCharacters)
{
    EXPECT_EQ(vnString("65,0x42,8364").convertNumListToUTF8(), "AB\xE2\x82\xAC");
    EXPECT_EQ(vnString("65;66, x").convertNumListToUTF8(), "A;B x"); // only commas go
    EXPECT_EQ(vnString("1.5").convertNumListToUTF8(), "1.5");
    EXPECT_EQ(vnString("4294967361").convertNumListToUTF8(), "4294967361"); // too large for a character
    EXPECT_EQ(vnString("-1,65601").convertNumListToUTF8(), "\xEF\xBF\xBF"
                                                           "A"); // 16 bits of each count
    std::string list = "x";
    for (int i = 0; i < 30000; ++i)
        list += "-1";
    EXPECT_EQ(vnString(list.c_str()).convertNumListToUTF8().length(), 65533u); // ends between characters
    const vnString text("a\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(text.convertUTF8ToNumList("%.0f", ",").convertNumListToUTF8(), text);
    const vnString nul = vnString("65,0,66").convertNumListToUTF8();
    EXPECT_EQ(nul, vnString("A\0B", 3));
}
