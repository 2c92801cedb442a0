// SPDX-License-Identifier: MIT
#include "../messages/vnMessageRecorder.h"

#include <vnBase/vnUtf.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
struct Form
{
    unsigned int character;
    const char* bytes;
};

// The first and the last character of each size.
constexpr Form forms[] = {
    {0x7F, "\x7F"},
    {0x80, "\xC2\x80"},
    {0x7FF, "\xDF\xBF"},
    {0x800, "\xE0\xA0\x80"},
    {0xD800, "\xED\xA0\x80"}, // a surrogate is a character like any other
    {0xFFFF, "\xEF\xBF\xBF"},
    {0x10000, "\xF0\x90\x80\x80"},
    {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
    {0x200000, "\xF8\x88\x80\x80\x80"},
    {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"},
    {0x4000000, "\xFC\x84\x80\x80\x80\x80"},
    {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"},
};
} // namespace

TEST(vnUtf, EncodesAndDecodesOneToSixBytes)
{
    for (const auto& [character, bytes] : forms)
    {
        const std::string expected(bytes);
        char text[8] = {};
        EXPECT_EQ(vnUTF8Size(character), expected.size()) << std::hex << character;
        EXPECT_EQ(vnUInt32ToUTF8(text, character), expected.size()) << std::hex << character;
        EXPECT_EQ(text, expected) << std::hex << character;
        EXPECT_EQ(vnUTF8Size(bytes), expected.size()) << std::hex << character;
        unsigned char size = 0;
        EXPECT_EQ(vnUTF8ToULong(bytes, &size), character);
        EXPECT_EQ(size, expected.size()) << std::hex << character;
    }
    EXPECT_EQ(vnUTF8ToULong("\xC0\x80", nullptr), 0u); // overlong is no fault
}

TEST(vnUtf, RefusesMalformedSequences)
{
    Recorder messages;
    for (const char* bytes : {"\x80", "\xBF", "\xFE\x80\x80\x80\x80\x80", "\xFF", "\xC3", "\xC3x", "\xE2\x82",
                              "\xE2\xC3\xBC", "\xF0\x9F\x98", "\xF8\x88\x80\x80", "\xFC\x84\x80\x80\x80"})
    {
        unsigned char size = 9;
        EXPECT_EQ(vnUTF8Size(bytes), 0u);
        EXPECT_EQ(vnUTF8ToULong(bytes, &size), 0u);
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(messages.take(), Lines{"VantorSDK|4000|Utf encoding on faulty data set"});
    }
}

TEST(vnUtf, RefusesCharactersOf32Bits)
{
    Recorder messages;
    char text[8] = "keep";
    EXPECT_EQ(vnUTF8Size(0x80000000u), 0u);
    EXPECT_EQ(messages.take(), Lines{"VantorSDK|4000|Utf decoding on faulty data input"});
    EXPECT_EQ(vnUInt32ToUTF8(text, 0xFFFFFFFFu), 0u);
    EXPECT_EQ(messages.take(), Lines{"VantorSDK|4000|Utf decoding on faulty data input"});
    EXPECT_STREQ(text, "keep");
}

TEST(vnUtf, MeasuresWideText)
{
    EXPECT_EQ(vnwcslen(u"a\u20AC"), 2u);
    EXPECT_EQ(vnwcslen(u""), 0u);
    EXPECT_EQ(vnwcslen(nullptr), 0u);
}
