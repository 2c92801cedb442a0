// SPDX-License-Identifier: MIT
#include <vnBase/vnVarUInt64.h>

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

#include <vector>

using Bytes = std::vector<unsigned char>;

TEST(vnVarUInt64, TakesOneByteForEachSevenBits)
{
    const std::pair<vnUInt64, Bytes> cases[] = {
        {0, {0}},
        {127, {0x7F}},
        {128, {0x80, 1}},
        {300, {0xAC, 2}},
        {16383, {0xFF, 0x7F}},
        {16384, {0x80, 0x80, 1}},
        {0x200000, {0x80, 0x80, 0x80, 1}},
        {0x10000000, {0x80, 0x80, 0x80, 0x80, 1}},
        {1ull << 56, {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1}},
        {(1ull << 63) - 1, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}},
    };
    for (const auto& [value, bytes] : cases)
    {
        vnVarUInt64 item(value);
        unsigned char block[10] = {};
        vnSerializeAdapterMemory adapter(block, sizeof block);
        item.write(&adapter);
        EXPECT_EQ(Bytes(block, block + adapter.getCurrentPos()), bytes) << value;
        EXPECT_EQ(item.getDataSize(nullptr), bytes.size()) << value;

        vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
        queue.write('!');
        item.pushBack(&queue);
        vnVarUInt64 again;
        again.read(&queue);
        EXPECT_EQ(again.getValue(), value);
        EXPECT_EQ(queue.read(), '!');
    }
}

TEST(vnVarUInt64, LeavesTheTenthGroupOut)
{
    unsigned char block[10] = {};
    vnSerializeAdapterMemory adapter(block, sizeof block);
    vnVarUInt64 item(1ull << 63);
    EXPECT_EQ(item.getDataSize(nullptr), 9u);
    item.write(&adapter);
    EXPECT_EQ(adapter.getCurrentPos(), 9u);
    EXPECT_EQ(block[8], 0x80);
}

TEST(vnVarUInt64, AddsNothingBeyondTheLastBit)
{
    Bytes stream(20, 0xFF);
    stream.push_back(0x7F);
    stream.push_back(5);
    vnSerializeAdapterMemory adapter(stream.data(), static_cast<unsigned int>(stream.size()));
    vnVarUInt64 item;
    item.read(&adapter);
    EXPECT_EQ(item.getValue(), ~0ull);
    EXPECT_EQ(adapter.read(), 5);

    unsigned char endless[] = {0xFF, 0xFF};
    vnSerializeAdapterMemory cut(endless, 2); // ends by the 0 that the adapter gives
    item.read(&cut);
    EXPECT_EQ(item.getValue(), 16383u);
    EXPECT_TRUE(cut.hasError());
}
