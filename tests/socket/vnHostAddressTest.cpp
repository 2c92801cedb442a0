// SPDX-License-Identifier: MIT
#include <vnBase/vnHostAddress.h>

#include <gtest/gtest.h>

TEST(vnHostAddress, ShowsItsBytesInReadingOrder)
{
    const vnHostAddress address(10, 200, 3, 255);
    EXPECT_EQ(address.asString(), "10.200.3.255");
    EXPECT_EQ(address.asULong(), 0x0AC803FFu);
    EXPECT_EQ(vnHostAddress(0xFF000001u).asLongLong(), 0xFF000001LL);
    EXPECT_EQ(address, vnHostAddress(0x0AC803FFu));
}

TEST(vnHostAddress, KeepsNoAddressApartFromTheNullAddress)
{
    const vnHostAddress none;
    EXPECT_FALSE(none.isValid());
    EXPECT_EQ(none.asString(), "Unknown");
    EXPECT_EQ(none.asLongLong(), -1);
    EXPECT_TRUE(vnHostAddress(0u).isValid());
    EXPECT_NE(none, vnHostAddress(0u));
}

TEST(vnGetHostAddress, FindsAnInterfaceByAPartOfItsNameInAnyCase)
{
    const vnHostAddress loopback = vnGetHostAddress("LO");
    EXPECT_EQ(loopback.asString(), "127.0.0.1"); // it is the first interface of every Linux
    EXPECT_EQ(vnGetHostAddress("no such interface"), vnHostAddress(0, 0, 0, 0));
}

TEST(vnGetHostAddress, GivesTheLoopbackAddressOnlyWhenAskedForIt)
{
    EXPECT_NE(vnGetHostAddress("").asULong() >> 24, 127u);
}
