// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>

#include <vnBase/vnRefData.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeArray.h>

#include "vnDynamicTestHelp.h"

#include <limits>

namespace
{
using Object = vnRefData<int>;
}

TEST(vnDynamicTypeKinds, ComeBackFromAPlainValue)
{
    const vnDynamicType sliced = vnDynamicTypeInt64(std::numeric_limits<vnInt64>::min());
    EXPECT_EQ(vnDynamicTypeInt64(sliced).getInt64(), std::numeric_limits<vnInt64>::min());
    EXPECT_EQ(payloadOf(sliced), (Bytes{0, 0, 0, 0, 0, 0, 0, 0x80}));
    EXPECT_TRUE(vnDynamicTypeChain(vnDynamicTypeChain()).getPayload().isEmpty());
    EXPECT_EQ(payloadOf(vnDynamicTypeChain(readFrom({0xFC, 12, 0, 2, 7, 8}))), (Bytes{7, 8}));

    const vnDynamicType number(1.0);
    const std::string start = "Can not convert dynamic argument type 'num' to vnDynamicType";
    EXPECT_EQ(errorOf([&] { vnDynamicTypeVoid value(number); }), start + "Void !!");
    EXPECT_EQ(errorOf([&] { vnDynamicTypeChain value(number); }), start + "Chain !!");
    EXPECT_EQ(errorOf([&] { vnDynamicTypeError value(number); }), start + "Error !!");
    EXPECT_EQ(errorOf([&] { vnDynamicTypeInt64 value(number); }), start + "Int64 !!");
    EXPECT_EQ(errorOf([&] { vnDynamicTypeTimeTagged value(number); }), start + "TimeTagged !!");
    EXPECT_EQ(errorOf([&] { vnDynamicTypeArray value(number); }), start + "Array !!");
}

TEST(vnDynamicTypeError, IsAFailureUnlessItIsTheConstant)
{
    EXPECT_EQ(payloadOf(vnDynamicOK()), (Bytes{0xFC, 0x0F, 0}));
    EXPECT_TRUE(VN_SUCCESS(vnDynamicOK()));
    EXPECT_TRUE(VN_SUCCESS(vnDynamicTestOK()));
    EXPECT_TRUE(VN_FAIL(vnDynamicTestFail()));
    EXPECT_TRUE(VN_SUCCESS(vnDynamicType(1.0)));
    EXPECT_TRUE(VN_FAIL(vnDynamicTypeError("x")));
    EXPECT_TRUE(VN_TEST_SUCCESS(vnDynamicTestOK()));
    EXPECT_FALSE(VN_TEST_SUCCESS(vnDynamicOK()));
    EXPECT_TRUE(VN_TEST_FAIL(vnDynamicTestFail()));
    EXPECT_FALSE(VN_TEST_FAIL(vnDynamicTypeError("x")));

    // Made from plain text it is no success, as payloads decide there; isError compares texts.
    vnDynamicTypeError plain(vnString("OK"));
    EXPECT_TRUE(VN_FAIL(plain));
    EXPECT_FALSE(plain.isError());
    EXPECT_STREQ(plain.getTypeName(), "vnDynamicType"); // no kind has a type of its own
    EXPECT_TRUE(vnDynamicTestOK().isError());
    plain.setError("gone");
    EXPECT_TRUE(plain.isError());
    EXPECT_EQ(plain.getError(), "gone");
}

TEST(vnDynamicTypeTimeTagged, HoldsOneValueAndItsTime)
{
    vnRefPointer<Object> object(new Object(1));
    vnDynamicTypeTimeTagged value(1.0, vnDynamicType(object.get()));
    EXPECT_EQ(object->getRef(), 2u);
    EXPECT_EQ(vnDynamicTypeTimeTagged(value).getTimeTag(), 1.0);
    EXPECT_EQ(object->getRef(), 2u); // the copy has gone
    EXPECT_EQ(value.getData().getPointer(), object.get());
    EXPECT_EQ(value.getData().getReference(), nullptr);

    vnDynamicTypeTimeTagged five(1.0, vnDynamicType(5.0));
    EXPECT_EQ(payloadOf(five), (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0xFC, 2, 0, 1, 5}));
    const vnDynamicTypeTimeTagged cut(readFrom({0xFC, 19, 0, 2, 1, 2}));
    EXPECT_EQ(cut.getTimeTag(), 0.0);
    // Without bytes of a value it has no tag, as one read from a stream that has ended.
    EXPECT_EQ(cut.getData().getDynamicType(), "");
    const vnDynamicTypeTimeTagged timeOnly(readFrom({0xFC, 19, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(timeOnly.getData().getDynamicType(), "");
}

TEST(vnDynamicTypeArray, HoldsItsElementsAsBytes)
{
    EXPECT_TRUE(vnDynamicTypeArray().getPayload().isEmpty());
    EXPECT_EQ(vnDynamicTypeArray().getArray().getSize(), 0u);
    EXPECT_EQ(payloadOf(vnDynamicTypeArray(vnArray<vnDynamicType>())), (Bytes{0}));

    vnRefPointer<Object> object(new Object(1));
    vnDynamicArray<vnDynamicType> elements;
    elements.append(vnDynamicType(5.0));
    elements.append(readFrom({'a', 'b', 0, 1, 7}));
    elements.append(readFrom({0xFC, 0xFF, 0xFF, 0xFC, 0, 1, 7}));
    elements.append(vnDynamicType(object.get()));
    vnDynamicTypeArray value(elements);
    elements = vnDynamicArray<vnDynamicType>();
    EXPECT_EQ(object->getRef(), 2u);
    EXPECT_EQ(vnDynamicTypeArray(vnDynamicType(value)).getDynamicReferences().getCount(), 1u);

    const Bytes payload = payloadOf(value);
    const Bytes head{4, 0xFC, 2, 0, 1, 5, 'a', 'b', 0, 1, 7, 0xFC, 0xFF, 0xFF, 0xFC, 0, 1, 7, 0xFC, 4, 0, 8};
    EXPECT_EQ(Bytes(payload.begin(), payload.end() - 8), head);
    const vnArray<vnDynamicType> again = vnDynamicTypeArray(readFrom(written(value)));
    ASSERT_EQ(again.getSize(), 4u);
    EXPECT_EQ(again[0].getNumber(), 5.0);
    EXPECT_EQ(again[1].getDynamicType(), "ab");
    EXPECT_EQ(again[2].getDynamicType(), "\xFC");
    EXPECT_EQ(again[3].getPointer(), object.get());
    EXPECT_EQ(again[3].getReference(), nullptr); // references stay with the array
}

TEST(vnDynamicTypeArray, EndsWithThePayloadWhenTheCountLies)
{
    const std::pair<Bytes, unsigned int> cases[] = {
        {{0xFC, 7, 0, 5, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, 0}, // a count alone
        {{0xFC, 7, 0, 6, 0xFF, 0x7F, 0xFC, 2, 0, 1}, 1},    // an element without its payload
        {{0xFC, 7, 0, 4, 9, 'a', 0, 0}, 1},                 // eight are missing
        {{0xFC, 7, 0, 3, 9, 0xFC, 2}, 1},                   // half of a tag
        {{0xFC, 7, 0, 4, 1, 0, 0, 0}, 1},                   // more than is counted
        {{0xFC, 7, 0, 2, 2, 'x'}, 1},                       // a tag without an end
    };
    for (const auto& [bytes, count] : cases)
        EXPECT_EQ(vnDynamicTypeArray(readFrom(bytes)).getArray().getSize(), count);
}

TEST(vnSerializeArray, IsThePayloadOfAnArray)
{
    vnSerializeArray<vnDynamicType> items;
    items.append(vnDynamicType(5.0));
    items.append(vnDynamicType("hi"));
    const Bytes bytes{2, 0xFC, 2, 0, 1, 5, 0xFC, 0, 0, 2, 0x68, 0x69};
    EXPECT_EQ(written(items), bytes);
    EXPECT_EQ(payloadOf(vnDynamicTypeArray(items)), bytes);

    Queue adapter({'!'});
    items.pushBack(&adapter);
    vnSerializeArray<vnDynamicType> again;
    again.append(vnDynamicType(1.0));
    again.read(&adapter);
    EXPECT_EQ(written(again), bytes);
    EXPECT_EQ(adapter.read(), '!');

    put(adapter, {0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0xFC, 2, 0, 1, 5}); // a count that lies
    again.read(&adapter);
    ASSERT_EQ(again.getSize(), 1u);
    EXPECT_EQ(again[0].getNumber(), 5.0);
}

TEST(vnSerializeArray, MovesFewElementsWhenItReadsMany)
{
    struct Moved : vnSerializeData
    {
        Moved() = default;
        Moved(Moved&&) noexcept { ++moves(); }
        Moved& operator=(Moved&&) noexcept
        {
            ++moves();
            return *this;
        }
        static unsigned int& moves()
        {
            static unsigned int count = 0;
            return count;
        }
        void write(vnSerializeAdapter*) override {}
        void read(vnSerializeAdapter* adapter) override { adapter->read(); }
        void pushBack(vnSerializeAdapter*) override {}
        unsigned int getDataSize(vnSerializeAdapter*) const override { return 1; }
    };
    constexpr unsigned int count = 16383;
    Bytes bytes{0xFF, 0x7F}; // the count
    bytes.resize(bytes.size() + count);
    Queue adapter(bytes);
    vnSerializeArray<Moved> items;
    items.setChunkSize(7);
    items.read(&adapter);
    EXPECT_EQ(items.getSize(), count);
    EXPECT_LT(Moved::moves(), 4 * count);
    EXPECT_EQ(items.getChunkSize(), 7u); // stays as it was set
}
