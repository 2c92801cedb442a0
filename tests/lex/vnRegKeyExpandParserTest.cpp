// SPDX-License-Identifier: MIT
#include <vnBase/vnRegKeyExpandParser.h>

#include <vnBase/vnSerializeAdapterMemory.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace
{
// The expanded text, and behind "!" the error.
std::string expand(std::string text)
{
    vnRefPointer<vnSerializeAdapter> adapter(
        new vnSerializeAdapterMemory(text.data(), static_cast<unsigned int>(text.size())));
    vnRegKeyExpandParser parser;
    parser.setAdapter(adapter);
    const vnString result = parser.parse();
    parser.setAdapter(nullptr);
    const std::string shown(result.getString(), result.length());
    return parser.hasError() ? shown + "!" + parser.getError().getString() : shown;
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
    char text[] = "$(VN_EXPAND_TEST";
    char second[] = "b";
    vnRefPointer<vnSerializeAdapter> open(new vnSerializeAdapterMemory(text, sizeof text - 1));
    vnRefPointer<vnSerializeAdapter> closed(new vnSerializeAdapterMemory(second, sizeof second - 1));
    vnRegKeyExpandParser parser;
    parser.setAdapter(open);
    parser.parse();
    EXPECT_TRUE(parser.hasError());
    parser.setAdapter(closed);
    EXPECT_EQ(parser.parse(), "b");
    EXPECT_FALSE(parser.hasError());
}
