// SPDX-License-Identifier: MIT
#include <vnBase/vnRegKeyExpandParser.h>

#include "vnGrammarTestTools.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace
{
// The expanded text, and behind "!" the error.
std::string expandBy(vnRegKeyExpandParser& parser, const std::string& text)
{
    parser.setAdapter(new TextAdapter(text));
    const std::string shown = toStd(parser.parse());
    return parser.hasError() ? shown + "!" + parser.getError().getString() : shown;
}

std::string expand(const std::string& text)
{
    vnRegKeyExpandParser parser;
    return expandBy(parser, text);
}

class vnRegKeyExpandParserTest : public testing::Test
{
protected:
    vnRegKeyExpandParserTest() { setenv("VN_EXPAND_TEST", "value", 1); }
    ~vnRegKeyExpandParserTest() override { unsetenv("VN_EXPAND_TEST"); }
};
} // namespace

TEST_F(vnRegKeyExpandParserTest, ReplacesReferences)
{
    EXPECT_EQ(expand("a $(VN_EXPAND_TEST)/$(VN_EXPAND_TEST) $x (b) {c} $"), "a value/value $x (b) {c} $");
    EXPECT_EQ(expand("<$(missing)>"), "<>");
    EXPECT_EQ(expand("<$(no/such/key)>"), "<>");
    EXPECT_EQ(expand("${lo}:80 ${no such interface}"), "127.0.0.1:80 0.0.0.0");
    EXPECT_EQ(expand(""), "");
}

// The value is there before the bracket is missed.
TEST_F(vnRegKeyExpandParserTest, LeavesTheValueOfAnOpenReferenceBehind)
{
    EXPECT_EQ(expand("a$(VN_EXPAND_TEST"), "avalue!Not All arguments were parsed");
    EXPECT_EQ(expand("a${lo"), "a127.0.0.1!Not All arguments were parsed");
}

TEST_F(vnRegKeyExpandParserTest, RefusesATextThatGetsTooLong)
{
    const std::string full(65535, 'x');
    EXPECT_EQ(expand(full), full);
    EXPECT_EQ(expand(full + "x"), "!A text in the input has more than 65535 bytes");
    EXPECT_EQ(expand(full + "$(VN_EXPAND_TEST)"), full + "!The expanded text has more than 65535 bytes");
}

TEST_F(vnRegKeyExpandParserTest, RefusesAValueThatNoStringHolds)
{
    std::string value(65535, 'v');
    setenv("VN_EXPAND_TEST", value.c_str(), 1);
    EXPECT_EQ(expand("$(VN_EXPAND_TEST)"), value);
    value += 'v';
    setenv("VN_EXPAND_TEST", value.c_str(), 1);
    EXPECT_EQ(expand("a$(VN_EXPAND_TEST)"), "a!The expanded text has more than 65535 bytes");
}

TEST_F(vnRegKeyExpandParserTest, FindsNothingForAKeyThatIsNoName)
{
    EXPECT_EQ(expand(std::string("<$(VN_EXPAND_TEST\0)>", 20)), "<>");
    EXPECT_EQ(expand("<$()>"), "<>");
}

// Every name holds the empty one, but the loopback interface is what nobody asks for that way.
TEST_F(vnRegKeyExpandParserTest, TakesAnotherInterfaceThanLoopbackForNoName)
{
    EXPECT_NE(expand("${}"), "127.0.0.1");
    EXPECT_NE(expand("${}"), "");
}

TEST_F(vnRegKeyExpandParserTest, HasAnEmptyResultWithoutAnAdapter)
{
    vnRegKeyExpandParser parser;
    EXPECT_EQ(parser.parse(), "");
    EXPECT_FALSE(parser.hasError());
}

TEST_F(vnRegKeyExpandParserTest, CanBeUsedAgain)
{
    vnRegKeyExpandParser parser;
    EXPECT_EQ(expandBy(parser, "$(VN_EXPAND_TEST"), "value!Not All arguments were parsed");
    EXPECT_EQ(expandBy(parser, "b"), "b");
}
