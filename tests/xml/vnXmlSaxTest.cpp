// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlSax.h>

#include <gtest/gtest.h>

TEST(vnXmlSax, ReadsNothingFromNothing)
{
    vnXmlSax sax;
    sax.read(nullptr);
    EXPECT_FALSE(sax.hasError());
}
