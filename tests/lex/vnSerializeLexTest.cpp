// SPDX-License-Identifier: MIT
#include <vnBase/vnStringTokenizer.h>

#include <gtest/gtest.h>

TEST(vnStringTokenizer, ReadsATextToItsEnd)
{
    vnStringTokenizer tokens("a/b");
    EXPECT_EQ(tokens.getDataType(1), VN_LEX_IDENTIFIER);
    EXPECT_EQ(tokens.getDataType(1), VN_LEX_TOKEN);
    EXPECT_EQ(tokens.getDataType(1), VN_LEX_IDENTIFIER);
    EXPECT_EQ(tokens.getDataType(1), VN_LEX_NONE);
}
