// SPDX-License-Identifier: MIT
#include <vnBase/vnMatrix.h>
#include <vnBase/vnVector.h>

#include <gtest/gtest.h>

TEST(vnVector, StandsInOrderAndComputes)
{
    const vnVec4_<float> v(1, 2, 3, 4);
    EXPECT_EQ((&v.x)[3], 4.0f);
    using Vec3 = vnVec3_<double>;
    EXPECT_EQ(Vec3(), Vec3(0, 0, 0));
    EXPECT_EQ(Vec3(1, 2, 3) + Vec3(4, 5, 6), Vec3(5, 7, 9));
    EXPECT_EQ(Vec3(1, 2, 3) - Vec3(4, 6, 8), Vec3(-3, -4, -5));
    EXPECT_EQ(Vec3(2, 4, 6) / 2 * 3, Vec3(3, 6, 9));
    EXPECT_EQ(Vec3(1, 2, 3).dot(Vec3(4, 5, 6)), 32.0);
    EXPECT_EQ(Vec3(1, 0, 0).cross(Vec3(0, 1, 0)), Vec3(0, 0, 1));
    EXPECT_EQ(Vec3(2, 3, 6).length(), 7.0);
    EXPECT_EQ(vnVec2_<float>(3, 4).length(), 5.0f);
    EXPECT_NE(vnVec4_<int>(1, 2, 3, 4), -vnVec4_<int>(-1, -2, -3, 4));
}

TEST(vnMatrix, StoresColumnByColumn)
{
    vnMatrix4_<float> place;
    place(0, 3) = 10;
    EXPECT_EQ(place.values[12], 10.0f);
    EXPECT_EQ(place * vnVec4_<float>(1, 2, 3, 1), vnVec4_<float>(11, 2, 3, 1));
    EXPECT_EQ(place.transposed().values[3], 10.0f);

    vnMatrix3_<float> turn;
    turn.setColumn(0, {0, 1, 0}).setColumn(1, {-1, 0, 0}); // a quarter turn about z
    EXPECT_EQ(turn.values[1], 1.0f);
    EXPECT_EQ(turn * vnVec3_<float>(1, 0, 0), vnVec3_<float>(0, 1, 0));
}

TEST(vnMatrix, MultipliesFromTheRight)
{
    vnMatrix3_<int> a;
    vnMatrix3_<int> b;
    for (int i = 0; i < 9; ++i)
    {
        a.values[i] = i + 1; // 1 4 7 / 2 5 8 / 3 6 9
        b.values[i] = i == 2 ? 1 : i == 3 ? 2 : 0;
    }
    const vnMatrix3_<int> product = a * b;
    EXPECT_EQ(product.getColumn(0), vnVec3_<int>(7, 8, 9));
    EXPECT_EQ(product.getColumn(1), vnVec3_<int>(2, 4, 6));
    EXPECT_EQ(product.getColumn(2), vnVec3_<int>());
    EXPECT_EQ(a * vnMatrix3_<int>(), a);
    EXPECT_EQ(a.determinant(), 0);
    EXPECT_EQ(vnMatrix3_<int>().determinant(), 1);
}
