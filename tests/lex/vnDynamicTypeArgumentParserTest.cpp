// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicTypeArgumentParser.h>

#include "vnGrammarTestTools.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
std::string shown(const vnArray<vnDynamicType>& values)
{
    std::string line;
    for (const vnDynamicType& value : values)
    {
        if (value.is("array"))
            line += "[" + shown(vnDynamicTypeArray(value)) + "]";
        else if (value.is("num"))
            line += vnString::formatString("%g", value.getNumber()).getString();
        else
            line += value.getDynamicType() + ":" + value.getString();
        line += " ";
    }
    return line;
}

// The values, and behind "!" the error.
std::string read(const vnString& text)
{
    vnDynamicTypeArgumentParser parser;
    const std::string values = shown(parser.parseArguments(text));
    return parser.hasError() ? values + "!" + parser.getError().getString() : values;
}
} // namespace

TEST(vnDynamicTypeArgumentParser, ReadsEachKindOfValue)
{
    EXPECT_EQ(read("12, -1.5e1 ,+0.25"), "12 -15 0.25 ");
    EXPECT_EQ(read("9223372036854775808,-18446744073709551616"), "9.22337203685478e18 -1.84467440737095e19 ");
    EXPECT_EQ(read("\"a 'b'\",'c \"d\"',''"), "str:a 'b' str:c \"d\" str: ");
    EXPECT_EQ(read("yes,NO, True ,false,maybe"), "1 0 1 0 !Not All arguments were parsed");
    EXPECT_EQ(read("{6ba7b810-9dad-11d1-80b4-00c04fd430c8}"), "guid:{6BA7B810-9DAD-11D1-80B4-00C04FD430C8} ");
}

TEST(vnDynamicTypeArgumentParser, ReadsArraysInArrays)
{
    EXPECT_EQ(read("[1, [2, 3]]"), "[1 [2 3 ] ] ");
    EXPECT_EQ(read("0,[ 'a' ],[[[4]]],5"), "0 [str:a ] [[[4 ] ] ] 5 ");
}

TEST(vnDynamicTypeArgumentParser, TellsWhatIsWrong)
{
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},
        {"   ", "!Not All arguments were parsed"},
        {"[1,2", "!Array not properly closed"},
        {"7,[1,[2],3", "7 !Array not properly closed"},
        {"[]", "!Array not properly closed"},
        {"1]", "1 !Not All arguments were parsed"},
        {"1,", "1 !Not All arguments were parsed"},
        {"1 2", "1 !Not All arguments were parsed"},
        {"'open", "!Not All arguments were parsed"},
        {"why", "!Not All arguments were parsed"},
        {"{6ba7b810}", "!Not All arguments were parsed"},
    };
    for (const auto& [text, result] : rows)
        EXPECT_EQ(read(text), result) << text;
}

TEST(vnDynamicTypeArgumentParser, ReadsLongListsButLimitsTheDepth)
{
    std::string list = "1";
    while (list.size() + 2 < vnString::VN_MAX_LENGTH)
        list += ",1";
    vnDynamicTypeArgumentParser parser;
    EXPECT_EQ(parser.parseArguments(list.c_str()).getSize(), 32767u);
    EXPECT_FALSE(parser.hasError());
    parser.parseArguments(std::string(60000, '[').c_str());
    EXPECT_TRUE(parser.hasError());
    EXPECT_EQ(shown(parser.parseArguments("1")), "1 ");
    EXPECT_FALSE(parser.hasError());
}

TEST(vnDynamicTypeArgumentParser, RecognisesTheNameOfABlockOfMemory)
{
    vnRefPointer<vnSerializeAdapter> adapter(new TextAdapter("mem:1234,56!"));
    vnDynamicTypeArgumentParser parser;
    parser.setAdapter(adapter);
    EXPECT_EQ(parser.parseRule("memory"), VN_PARSE_OK);
    EXPECT_EQ(readAll(*adapter), "!");
}
