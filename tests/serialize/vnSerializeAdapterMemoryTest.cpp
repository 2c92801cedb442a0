// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterMemory.h>

#include <gtest/gtest.h>

#include <vector>

namespace
{
unsigned char ten[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
}

TEST(vnSerializeAdapterMemory, ReadsAndWritesUnderOnePosition)
{
    unsigned char block[] = "abcdefgh";
    vnSerializeAdapterMemory adapter(block, 8);
    unsigned char bytes[4];
    EXPECT_EQ(adapter.read(), 'a');
    EXPECT_EQ(adapter.read(), 'b'); // from the window
    adapter.write('C');
    adapter.write('D');
    EXPECT_EQ(adapter.getCurrentPos(), 4u);
    EXPECT_EQ(adapter.read(bytes, 2), 2u);
    EXPECT_EQ(bytes[1], 'f');
    adapter.write(bytes, 2);
    EXPECT_EQ(adapter.length(), 0u);
    EXPECT_STREQ(reinterpret_cast<char*>(block), "abCDefef");
    EXPECT_FALSE(adapter.hasError());
}

TEST(vnSerializeAdapterMemory, TakesWhatFitsAndSetsTheError)
{
    unsigned char block[4] = {1, 2, 3, 4};
    unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
    vnSerializeAdapterMemory adapter(block, 3);
    EXPECT_EQ(adapter.read(bytes, 6), 3u);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(bytes[3], 9);
    EXPECT_EQ(adapter.getError(), "Memory Adapter read beyond end");
    EXPECT_EQ(adapter.read(), 0);

    adapter.reset(nullptr, 0);
    EXPECT_EQ(adapter.length(), 3u);
    adapter.setError("");
    adapter.write(bytes, 6);
    EXPECT_EQ(adapter.getError(), "Memory Adapter written beyond end");
    EXPECT_EQ(block[3], 4); // stays
    adapter.setError("");
    adapter.write('a');
    EXPECT_EQ(adapter.getError(), "Memory Adapter written beyond end");
    EXPECT_EQ(block[3], 4);
}

TEST(vnSerializeAdapterMemory, ReportsItsEndAgainOnceAnotherErrorStands)
{
    unsigned char block[2] = {1, 2};
    vnSerializeAdapterMemory adapter(block, sizeof block);
    EXPECT_EQ(adapter.read(nullptr, 100000), 100000u);
    EXPECT_EQ(adapter.getError(), "Memory Adapter read beyond end");
    adapter.setError("");
    EXPECT_FALSE(adapter.hasError());
    EXPECT_EQ(adapter.read(), 0);
    EXPECT_EQ(adapter.getError(), "Memory Adapter read beyond end");
    adapter.move(5);
    EXPECT_EQ(adapter.read(), 0);
    EXPECT_EQ(adapter.getError(), "Memory Adapter read beyond end");
}

TEST(vnSerializeAdapterMemory, StartsAgainWithWhatWasPushedBack)
{
    unsigned char first[2] = {1, 2};
    unsigned char second[3] = {7, 8, 9};
    vnSerializeAdapterMemory adapter(first, sizeof first);
    adapter.read();
    adapter.pushBack(5);
    EXPECT_EQ(adapter.getNewSharedInstanceID(), 0u);
    adapter.reset(nullptr, 1); // the block stays, with its size
    EXPECT_EQ(adapter.getNewSharedInstanceID(), 0u);
    EXPECT_EQ(adapter.length(), 3u);
    EXPECT_EQ(adapter.read(), 5);
    EXPECT_EQ(adapter.read(), 1);
    adapter.reset(second, sizeof second);
    EXPECT_EQ(adapter.getCurrentPos(), 0u);
    EXPECT_EQ(adapter.length(), 3u);
    EXPECT_EQ(adapter.read(), 7);
}

TEST(vnSerializeAdapterMemory, SeeksUpToItsSize)
{
    vnSerializeAdapterMemory adapter(ten, 10);
    EXPECT_EQ(adapter.seek(4, VN_ORIGIN_SET), 4u);
    EXPECT_EQ(adapter.read(), 4);
    EXPECT_EQ(adapter.seek(-2, VN_ORIGIN_CURRENT), 3u);
    EXPECT_EQ(adapter.read(), 3);
    EXPECT_EQ(adapter.seek(-1, VN_ORIGIN_END), 9u);
    EXPECT_EQ(adapter.seek(1, static_cast<vnOriginPos>(7)), 9u);
    EXPECT_EQ(adapter.seek(11, VN_ORIGIN_SET), 0xFFFFFFFFu);
    EXPECT_EQ(adapter.seek(-1, VN_ORIGIN_SET), 0xFFFFFFFFu);
    EXPECT_EQ(adapter.getError(), "Memory Adapter moved outside size");
    EXPECT_EQ(adapter.getCurrentPos(), 9u);
    adapter.setError("");
    EXPECT_EQ(adapter.seek(10, VN_ORIGIN_SET), 10u);
    EXPECT_FALSE(adapter.hasError());
    EXPECT_EQ(adapter.read(), 0);
    EXPECT_TRUE(adapter.hasError());
}

TEST(vnSerializeAdapterMemory, MovesMoreStrictlyThanItSeeks)
{
    vnSerializeAdapterMemory adapter(ten, 10);
    adapter.move(10); // exactly to the end
    EXPECT_EQ(adapter.getError(), "Memory Adapter moved beyond end");
    EXPECT_EQ(adapter.getCurrentPos(), 0u);
    adapter.setError("");
    adapter.move(-1); // wraps
    EXPECT_EQ(adapter.getError(), "Memory Adapter moved beyond end");
    adapter.setError("");
    adapter.move(9);
    adapter.move(-5);
    EXPECT_EQ(adapter.getCurrentPos(), 4u);
    EXPECT_EQ(*adapter.getCurrentAddress(), 4);
    EXPECT_FALSE(adapter.hasError());
}

TEST(vnSerializeAdapterMemory, HasNothingAfterAFlush)
{
    unsigned char block[4] = {1, 2, 3, 4};
    vnSerializeAdapterMemory adapter(block, 4);
    adapter.read();
    adapter.pushBack('x');
    adapter.flush();
    EXPECT_EQ(adapter.length(), 0u);
    adapter.write('a');
    EXPECT_EQ(adapter.getError(), "Memory Adapter written beyond end");
    adapter.reset(block, 4);
    EXPECT_EQ(adapter.read(), 1);
}

TEST(vnSerializeAdapterMemory, SumsTheWholeBlock)
{
    std::vector<unsigned char> bytes(300, 255);
    vnSerializeAdapterMemory adapter(bytes.data(), 300);
    adapter.read(nullptr, 100);
    EXPECT_EQ(adapter.checksum(), 10964); // 76500 - 65536
}

TEST(vnSerializeAdapterMemory, ReleasesABlockThatItWasGiven)
{
    // The address sanitizer tells when it does not, or when the block is released twice.
    vnSerializeAdapterMemory adapter(vn_malloc(100), 100);
    adapter.setDeleteMemOnDestruction(1);
    adapter.write('a');
    adapter.flush();
}

TEST(vnSerializeAdapterMemory, TakesANullBlockAsAnEmptyOne)
{
    vnSerializeAdapterMemory adapter(nullptr, 10);
    EXPECT_FALSE(adapter.hasData());
    adapter.write('a');
    EXPECT_TRUE(adapter.hasError());
    EXPECT_EQ(adapter.checksum(), 0);
}
