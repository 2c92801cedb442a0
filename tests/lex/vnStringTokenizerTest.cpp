// SPDX-License-Identifier: MIT
#include "vnLexTestTools.h"

#include <vnBase/vnStringTokenizer.h>
#include <vnBase/vnUniqueString.h>

#include <gtest/gtest.h>

TEST(vnStringTokenizer, ReadsCopiesOfAnyTexts)
{
    std::string text = "ab 1";
    vnStringTokenizer cut(text.c_str(), 3);
    text = "xxxx"; // the tokenizer has its own
    EXPECT_EQ(cut.getDataType(1), VN_LEX_IDENTIFIER);
    EXPECT_EQ(cut.getData().getString(), "ab");
    EXPECT_TRUE(cut.hasData());
    EXPECT_FALSE(cut.hasData(2));
    EXPECT_EQ(cut.getTokenData(1).type, VN_LEX_WHITESPACE);
    EXPECT_EQ(cut.getDataType(1), VN_LEX_NONE);

    vnStringTokenizer wide(u"\x20AC 2");
    EXPECT_EQ(wide.getTokenData(1).data, vnDynamicType("\xE2\x82\xAC"));
    vnStringTokenizer interned(vnString("7"));
    EXPECT_EQ(interned.getTokenData(1).data, vnDynamicType(7.0));
    vnStringTokenizer none(static_cast<const char*>(nullptr));
    EXPECT_EQ(none.getDataType(1), VN_LEX_NONE);
}

TEST(vnStringTokenizer, ReadsWhatIsPutInFront)
{
    vnStringTokenizer tokens("b c");
    tokens.pushBack(vnString("a;"));
    EXPECT_EQ(tokens.getTokenData(1).data, vnDynamicType("a"));
    tokens.pushBack();
    EXPECT_EQ(tokens.getTokenData(1).data, vnDynamicType("a"));
    EXPECT_EQ(tokens.getDataType(1), VN_LEX_TOKEN);
    EXPECT_EQ(tokens.getTokenData(1).data, vnDynamicType("b"));

    vnStringTokenizer wide(u"y");
    wide.pushBack(vnString("\xE2\x82\xACz"));
    EXPECT_EQ(wide.getTokenData(1).data, vnDynamicType("\xE2\x82\xACzy"));
    wide.pushBack(vnString("z\xE9y")); // no UTF-8
    EXPECT_EQ(wide.getTokenData(1).data, vnDynamicType("z\xC3\xA9y"));
}

TEST(vnStringTokenizer, MakesAnArrayOfTokens)
{
    const vnArray<vnLexTokenData> tokens = getLexTokenDataArray("set x 5", 1);
    ASSERT_EQ(tokens.getSize(), 3u);
    EXPECT_TRUE(vnSerializeLex::checkLexToken(tokens, 0, VN_LEX_IDENTIFIER, vnDynamicType("set")));
    EXPECT_FALSE(vnSerializeLex::checkLexToken(tokens, 0, VN_LEX_IDENTIFIER, vnDynamicType("get")));
    EXPECT_FALSE(vnSerializeLex::checkLexToken(tokens, 0, VN_LEX_STRING, vnDynamicType("set")));
    // An interned string is another value than the same text.
    const vnDynamicType interned(vnString(vnUniqueString("set")));
    EXPECT_FALSE(vnSerializeLex::checkLexToken(tokens, 0, VN_LEX_IDENTIFIER, interned));
    vnDynamicType value;
    EXPECT_TRUE(vnSerializeLex::checkLexToken(tokens, 2, VN_LEX_INTEGER | VN_LEX_REAL, &value));
    EXPECT_EQ(value.getNumber(), 5.0);
    EXPECT_TRUE(vnSerializeLex::checkLexToken(tokens, 1, VN_LEX_IDENTIFIER, nullptr));
    EXPECT_FALSE(vnSerializeLex::checkLexToken(tokens, 3, VN_LEX_IDENTIFIER, &value));
    EXPECT_EQ(value.getNumber(), 5.0);
    EXPECT_EQ(getLexTokenDataArray("set x 5", 0).getSize(), 5u);
    EXPECT_EQ(getLexTokenDataArray("", 0).getSize(), 0u);
}
