// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeBinary.h>

#include <vnBase/vnReference.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnSerializeGUID.h>
#include <vnBase/vnSerializeVector.h>

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using Bytes = std::vector<unsigned char>;

namespace
{
template <class Item>
Bytes written(Item&& item)
{
    unsigned char block[100] = {};
    vnSerializeAdapterMemory adapter(block, sizeof block);
    item.write(&adapter);
    EXPECT_EQ(item.getDataSize(&adapter), adapter.getCurrentPos());
    return Bytes(block, block + adapter.getCurrentPos());
}

enum Color : unsigned char
{
    RED = 7
};

template <class T>
T restored(const T& value, unsigned char bigEndian)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    vnSerializeBinary<T> first(value, bigEndian);
    vnSerializeBinary<T> second(T(), bigEndian);
    first.write(&adapter);
    adapter.write('!');
    second.read(&adapter);
    second.pushBack(&adapter);
    EXPECT_EQ(adapter.length(), second.getDataSize(&adapter) + 1);
    second = T();
    second.read(&adapter);
    EXPECT_EQ(adapter.read(), '!');
    return second;
}
} // namespace

TEST(vnSerializeBinary, WritesEachScalarInItsOrder)
{
    EXPECT_EQ(written(vnSerializeBinary<int>(1)), (Bytes{0, 0, 0, 1}));
    EXPECT_EQ(written(vnSerializeBinary<int>(1, 0)), (Bytes{1, 0, 0, 0}));
    EXPECT_EQ(written(vnSerializeBinary<short>(-2)), (Bytes{0xFF, 0xFE}));
    EXPECT_EQ(written(vnSerializeBinary<char16_t>(u'\x20AC', 0)), (Bytes{0xAC, 0x20}));
    EXPECT_EQ(written(vnSerializeBinary<unsigned char>(9)), (Bytes{9}));
    EXPECT_EQ(written(vnSerializeBinary<double>(1.5)), (Bytes{0x3F, 0xF8, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(written(vnSerializeBinary<float>(-2.0f, 0)), (Bytes{0, 0, 0, 0xC0}));
    // Any flag but 0 is big-endian.
    EXPECT_EQ(written(vnSerializeBinary<vnUInt64>(0x0102030405060708, 5)), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    // 4 bytes, whatever the enumeration and the pointer take.
    EXPECT_EQ(written(vnSerializeBinary<Color>(RED)), (Bytes{0, 0, 0, 7}));
    EXPECT_EQ(written(vnSerializeBinary<void*>(reinterpret_cast<void*>(0x1234))), (Bytes{0, 0, 0x12, 0x34}));
    EXPECT_EQ(written(vnSerializeBinary<vnReference*>(nullptr)), (Bytes{0, 0, 0, 0}));
}

TEST(vnSerializeBinary, ComesBackFromTheStreamAndFromItsPushBack)
{
    for (const unsigned char order : {0, 1})
    {
        EXPECT_EQ(restored<int>(-70000, order), -70000);
        EXPECT_EQ(restored<unsigned short>(40000, order), 40000);
        EXPECT_EQ(restored<vnInt64>(-5000000000, order), -5000000000);
        EXPECT_EQ(restored<double>(0.1, order), 0.1);
        EXPECT_EQ(restored<float>(-0.25f, order), -0.25f);
        EXPECT_EQ(restored<Color>(RED, order), RED);
        EXPECT_EQ(restored<unsigned char>(200, order), 200);
    }
}

TEST(vnSerializeBinary, KeepsWhatAStreamThatEndsDoesNotReplace)
{
    unsigned char block[] = {0xAA};
    vnSerializeAdapterMemory adapter(block, 1);
    vnSerializeBinary<unsigned int> value(0x01020304);
    value.read(&adapter);
    EXPECT_EQ(value.getValue(), 0xAA020304u);
    EXPECT_TRUE(adapter.hasError());
    value.read(&adapter);
    EXPECT_EQ(value.getValue(), 0xAA020304u);
}

TEST(vnSerializeVector, VisitsTheComponentsInOrder)
{
    EXPECT_EQ(written(vnSerializeVec3(vnVec3_<float>(1, 2, 3))),
              (Bytes{0x3F, 0x80, 0, 0, 0x40, 0, 0, 0, 0x40, 0x40, 0, 0}));
    EXPECT_EQ(written(vnSerializeVec2(vnVec2_<float>(1, 2), 0)), (Bytes{0, 0, 0x80, 0x3F, 0, 0, 0, 0x40}));

    vnSerializeVec4 item;
    item = vnVec4_<float>(1, 2, 3, 4);
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    item.pushBack(&adapter);
    vnSerializeBinary<float> first;
    first.read(&adapter);
    EXPECT_EQ(first.getValue(), 1.0f);
    first.pushBack(&adapter);
    vnSerializeVec4 again;
    again.read(&adapter);
    EXPECT_TRUE(again.getValue() == vnVec4_<float>(1, 2, 3, 4));
    EXPECT_EQ(adapter.length(), 0u);
}

TEST(vnSerializeVector, WritesMatricesAsTheyAreStored)
{
    vnMatrix4_<float> matrix;
    matrix(0, 3) = 2; // the first element of the last column
    vnSerializeMatrix4 item(matrix);
    const Bytes bytes = written(item);
    ASSERT_EQ(bytes.size(), 64u);
    EXPECT_EQ(bytes[48], 0x40);
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    item.write(&adapter);
    vnSerializeMatrix4 again;
    again.read(&adapter);
    EXPECT_TRUE(again.getValue() == matrix);
    EXPECT_EQ(written(vnSerializeMatrix3()).size(), 36u);
}

TEST(vnSerializeGUID, WritesNetworkOrder)
{
    const vnGUID guid(vnString("{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}"));
    vnSerializeGUID item(guid);
    EXPECT_EQ(written(item), (Bytes{0x6B, 0xA7, 0xB8, 0x10, 0x9D, 0xAD, 0x11, 0xD1, 0x80, 0xB4, 0, 0xC0, 0x4F,
                                    0xD4, 0x30, 0xC8}));
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    item.pushBack(&adapter);
    vnSerializeGUID again;
    again.read(&adapter);
    EXPECT_TRUE(again.getValue() == guid);

    unsigned char start[] = {0xFF};
    vnSerializeAdapterMemory cut(start, 1);
    again.read(&cut);
    EXPECT_EQ(again.getValue().asString(), "{FFA7B810-9DAD-11D1-80B4-00C04FD430C8}");
}
