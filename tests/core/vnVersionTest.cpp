// SPDX-License-Identifier: MIT
#include <vnBase/vnVersion.h>

#include <gtest/gtest.h>

TEST(vnVersion, IsOneNumber)
{
    EXPECT_EQ(vnGetLibraryVersion_base(), 21005u);
}
