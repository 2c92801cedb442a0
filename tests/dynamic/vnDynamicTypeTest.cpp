// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>

#include <vnBase/vnRefData.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnUniqueString.h>

#include "../messages/vnMessageRecorder.h"
#include "vnDynamicTestHelp.h"

#include <cmath>
#include <limits>

namespace
{
using Object = vnRefData<int>;

std::string plain(const vnString& text)
{
    return std::string(text.getString(), text.length());
}
} // namespace

TEST(vnDynamicType, StoresNumbersInTheSmallestExactForm)
{
    const std::pair<double, Bytes> cases[] = {
        {5, {5}},
        {-0.0, {0}}, // comes back as +0.0
        {-128, {0x80}},
        {127, {0x7F}},
        {128, {0x80, 0}},
        {-32768, {0, 0x80}},
        {32768, {0, 0x80, 0, 0}},
        {-2147483648.0, {0, 0, 0, 0x80}},
        {2147483648.0, {0, 0, 0, 0, 0, 0, 0xE0, 0x41}},
        {0.5, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}},
        {HUGE_VAL, {0, 0, 0, 0, 0, 0, 0xF0, 0x7F}},
    };
    for (const auto& [number, payload] : cases)
    {
        const vnDynamicType value(number);
        EXPECT_EQ(payloadOf(value), payload) << number;
        EXPECT_EQ(value.getNumber(), number);
        EXPECT_TRUE(value.is("num"));
    }
    EXPECT_FALSE(std::signbit(vnDynamicType(-0.0).getNumber()));
    const vnDynamicType nan(std::nan(""));
    EXPECT_EQ(payloadOf(nan).size(), 8u);
    EXPECT_TRUE(nan == vnDynamicType(nan)); // equality is that of the bytes
}

TEST(vnDynamicType, HasTheStreamFormOfItsTagAndPayload)
{
    const auto expectForm = [](vnDynamicType value, const Bytes& bytes)
    {
        EXPECT_EQ(written(value), bytes);
        EXPECT_TRUE(readFrom(bytes) == value);
        Queue adapter({'!'});
        value.pushBack(&adapter);
        EXPECT_EQ(contentOf(adapter), bytes + Bytes{'!'});
    };
    expectForm(5.0, {0xFC, 2, 0, 1, 5});
    expectForm(vnDynamicType(), {0xFC, 1, 0, 0});
    expectForm("hi", {0xFC, 0, 0, 2, 0x68, 0x69});
    expectForm(vnUniqueString("OK"), {0xFC, 0, 0, 3, 0xFC, 0x0F, 0}); // by id
    expectForm(vnVec2_<float>(1, 2), {0xFC, 8, 0, 8, 0, 0, 0x80, 0x3F, 0, 0, 0, 0x40});
    expectForm(vnGUID(), {0xFC, 18, 0, 0});
    expectForm(vnGUID(0x0102030405060708, 0x090A0B0C0D0E0F10),
               {0xFC, 18, 0, 16, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    const Bytes tags[] = {
        {0x61, 0x62, 0x63, 0, 2, 8, 9},
        {0xFC, 0xFF, 0xFF, 0xFC, 0x78, 0, 1, 7}, // begins with the marker
        {0, 1, 7},                               // has no name
    };
    for (const Bytes& bytes : tags)
        expectForm(readFrom(bytes), bytes);
    const vnDynamicType custom = readFrom(tags[0]);
    EXPECT_EQ(custom.getDynamicType(), "abc");
    EXPECT_EQ(errorOf([&] { custom.getString(); }),
              "Can not convert dynamic argument type 'abc' to string type !!");
}

TEST(vnDynamicType, KeepsAnyText)
{
    const std::string texts[] = {"",
                                 "plain",
                                 std::string("a\0b", 3),
                                 "\xFC",
                                 "\xFC\xFF\xFFx",
                                 std::string(16, 'x'),
                                 std::string(17, 'y'),
                                 "\xFC" + std::string(65534, 'z')};
    for (const std::string& text : texts)
    {
        vnDynamicType value(vnString(text.data(), static_cast<unsigned short>(text.size())));
        EXPECT_EQ(plain(value.getString()), text);
        EXPECT_EQ(plain(readFrom(written(value)).getString()), text);
    }
    EXPECT_EQ(payloadOf("\xFCx"), (Bytes{0xFC, 0xFF, 0xFF, 0xFC, 0x78}));
    EXPECT_EQ(payloadOf(std::string(70000, 'x').c_str()).size(), 65535u);
    EXPECT_TRUE(vnDynamicType(static_cast<const char*>(nullptr)) == vnDynamicType(vnString()));
    EXPECT_TRUE(vnDynamicType(vnUniqueString("OK")).getString().isUnique());
    EXPECT_FALSE(vnDynamicType(vnUniqueString("OK")) == vnDynamicType("OK")); // not the same bytes
}

TEST(vnDynamicType, ReadsNothingOutsideAPayload)
{
    EXPECT_EQ(readFrom({0xFC, 2, 0, 3, 1, 2, 3}).getNumber(), 0.0);
    EXPECT_EQ(readFrom({0xFC, 2, 0, 0}).getNumber(), 0.0);
    EXPECT_EQ(readFrom({0xFC, 0, 0, 2, 0xFC, 1}).getString(), "");
    EXPECT_EQ(readFrom({0xFC, 10, 0, 3, 1, 2, 3}).getVec4().x, 0.0f);
    EXPECT_TRUE(readFrom({0xFC, 18, 0, 2, 1, 2}).getGUID().isNull());
    EXPECT_EQ(readFrom({0xFC, 3, 0, 2, 1, 2}).getPointer(), nullptr);
    EXPECT_EQ(readFrom({0xFC, 6, 0, 1, 9}).getNumber(), 0.0);
    EXPECT_EQ(readFrom({0xFC, 2, 0, 9, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F, 77}).getNumber(), 0.5);
    EXPECT_EQ(errorOf([] { vnDynamicType(1.0).getPayload()[1]; }), "Template-vnArray [] index out of bounds");
}

TEST(vnDynamicType, EndsWithTheDataWhenTheSizeLies)
{
    // 2^62 bytes are claimed; taking them would fail.
    Bytes lie{0xFC, 0, 0, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x40};
    EXPECT_EQ(payloadOf(readFrom(lie)).size(), 0u);
    lie.resize(lie.size() + 10000, 'x');
    EXPECT_EQ(plain(readFrom(lie).getString()), std::string(10000, 'x'));
    EXPECT_EQ(payloadOf(readFrom({0xFC, 0, 0, 100, 'a', 'b'})), (Bytes{'a', 'b'}));

    unsigned char none[1] = {};
    vnSerializeAdapterMemory empty(none, 0);
    vnDynamicType value(1.0);
    value.read(&empty);
    EXPECT_EQ(value.getDynamicType(), "");
    EXPECT_TRUE(empty.hasError());
}

TEST(vnDynamicType, ReadsTheTagsThatItAccepts)
{
    EXPECT_EQ(vnDynamicType(2.5).getString(), "2.5");
    EXPECT_EQ(vnDynamicType(reinterpret_cast<const void*>(0xAB12)).getString(), "0xAB12");
    EXPECT_EQ(vnDynamicType(static_cast<const void*>(nullptr)).getString(), "0x0");
    EXPECT_EQ(vnDynamicType(vnGUID()).getString(), "{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(vnDynamicType(vnDynamicTypeInt64(-7)).getNumber(), -7.0);
    EXPECT_TRUE(vnDynamicType(vnVec3_<float>(1, 2, 3)).getVec3() == vnVec3_<float>(1, 2, 3));
    EXPECT_TRUE(vnDynamicType(vnVec4_<float>(1, 2, 3, 4)).getVec4() == vnVec4_<float>(1, 2, 3, 4));
    // A tag that came as plain text counts, and is interned by the comparison.
    const vnDynamicType plainTag = readFrom({'n', 'u', 'm', 0, 1, 9});
    EXPECT_EQ(plainTag.getNumber(), 9.0);
    EXPECT_TRUE(plainTag.getDynamicType().isUnique());

    const vnDynamicType text("1");
    const vnDynamicType vector(vnVec2_<float>(1, 2));
    const std::string start = "Can not convert dynamic argument type ";
    EXPECT_EQ(errorOf([&] { text.getNumber(); }), start + "'str' to number type !!");
    EXPECT_EQ(errorOf([&] { vnDynamicType(vnDynamicTypeInt64(1)).getString(); }),
              start + "'llnum' to string type !!");
    EXPECT_EQ(errorOf([&] { vnDynamicTypeError("x").getString(); }), start + "'error' to string type !!");
    EXPECT_EQ(errorOf([&] { text.getVec2(); }), start + "'str' to Vec2 type !!");
    EXPECT_EQ(errorOf([&] { vector.getVec3(); }), start + "'vec2' to Vec3 type !!");
    EXPECT_EQ(errorOf([&] { vector.getVec4(); }), start + "'vec2' to Vec4 type !!");
    EXPECT_EQ(errorOf([&] { text.getGUID(); }), start + "'str' to GUID type !!");
}

TEST(vnDynamicType, OnlyWarnsAboutPointers)
{
    Recorder recorder;
    EXPECT_EQ(vnDynamicType(1.0).getPointer(), nullptr);
    EXPECT_EQ(vnDynamicType(static_cast<const void*>(&recorder)).getReference(), nullptr);
    EXPECT_EQ(recorder.take(),
              (Lines{"VantorSDK|4000|Can not convert dynamic argument type 'num' to pointer type !!",
                     "VantorSDK|4000|Can not convert dynamic argument type 'ptr' to reference type !!"}));
}

TEST(vnDynamicType, KeepsItsObjectsAliveButNotOnStreams)
{
    vnRefPointer<Object> object(new Object(1));
    {
        vnDynamicType value(object.get());
        EXPECT_EQ(object->getRef(), 2u);
        EXPECT_EQ(value.getReference(), object.get());
        vnDynamicType copy(value);
        EXPECT_EQ(object->getRef(), 3u);
        EXPECT_EQ(copy.getReference(), object.get());
        copy = vnDynamicType(1.0);
        EXPECT_EQ(object->getRef(), 2u);
        EXPECT_FALSE(copy.hasDynamicReferences());

        Recorder recorder;
        const vnDynamicType travelled = readFrom(written(value));
        EXPECT_EQ(travelled.getReference(), nullptr); // without a message
        EXPECT_TRUE(recorder.take().empty());
        EXPECT_EQ(travelled.getPointer(), object.get());
        EXPECT_TRUE(travelled == value);

        vnDynamicType moved(std::move(value));
        EXPECT_EQ(object->getRef(), 2u);
        EXPECT_TRUE(value.is("void"));
        moved.reset();
        EXPECT_EQ(object->getRef(), 1u);
        EXPECT_TRUE(moved == vnDynamicVoid());
    }
    const vnDynamicType null(static_cast<vnReference*>(nullptr));
    EXPECT_FALSE(null.hasDynamicReferences());
    EXPECT_EQ(payloadOf(null), Bytes(sizeof(void*), 0));
}

TEST(vnDynamicType, InternsUnknownIdsUnlessTheyAreRefused)
{
    EXPECT_EQ(readFrom({0xFC, 0x2F, 0x75, 0}).getDynamicType(), "Unique(30000)");
    EXPECT_EQ(readFrom({0xFC, 0, 0, 3, 0xFC, 0x30, 0x75}).getString(), "Unique(30001)");

    vnUniqueString::setRefuseUnknownIds(1);
    {
        Recorder recorder;
        Queue adapter({0xFC, 0x31, 0x75, 1, 9, '!'});
        vnDynamicType value;
        value.read(&adapter);
        EXPECT_TRUE(value == vnDynamicVoid());
        EXPECT_EQ(adapter.getError(), "Unknown unique string id 30002");
        EXPECT_EQ(adapter.read(), '!'); // the stream stays in step
        EXPECT_EQ(readFrom({0xFC, 0, 0, 3, 0xFC, 0x31, 0x75}).getString(), "");
        EXPECT_EQ(recorder.take().size(), 1u);
        EXPECT_TRUE(vnUniqueString::isFreeId(30002));
        EXPECT_EQ(readFrom({0xFC, 0x2F, 0x75, 0}).getDynamicType(), "Unique(30000)"); // known by now

        // Inside of values there is no adapter to tell.
        const vnDynamicTypeArray array = readFrom({0xFC, 7, 0, 6, 1, 0xFC, 0x32, 0x75, 1, 9});
        ASSERT_EQ(array.getArray().getSize(), 1u);
        EXPECT_TRUE(array.getArray()[0] == vnDynamicVoid());
        const std::string warning = "VantorSDK|4000|Unknown unique string id 30003";
        EXPECT_EQ(recorder.take(), (Lines{warning, warning})); // once for each reading
    }
    vnUniqueString::setRefuseUnknownIds(0);
}

TEST(vnDynamicType, ReadsTheSameFromAnySource)
{
    Bytes large{0xFC, 0, 0, 0x90, 0x4E}; // 10000 bytes
    large.resize(large.size() + 10000, 'x');
    const Bytes values[] = {
        {0xFC, 2, 0, 1, 5}, {'a', 'b', 0, 2, 8, 9}, {0xFC, 0xFF, 0xFF, 0xFC, 0, 1, 7}, large};
    for (Bytes bytes : values)
        for (const std::size_t cut : {bytes.size(), bytes.size() - 1, std::size_t(2)})
        {
            bytes.resize(cut);
            UnknownLength byByte(bytes);
            vnDynamicType expected;
            expected.read(&byByte);
            UnknownLength unknown(bytes);
            unknown.pushBack(unknown.read());
            vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(cut));
            vnSerializeAdapterMemory window(bytes.data(), static_cast<unsigned int>(cut));
            window.pushBack(window.read()); // closed again by the push-back
            for (vnSerializeAdapter* adapter :
                 std::initializer_list<vnSerializeAdapter*>{&unknown, &memory, &window})
            {
                vnDynamicType value(1.0);
                value.read(adapter);
                EXPECT_TRUE(value == expected) << cut;
                EXPECT_FALSE(adapter->hasData());
            }
        }
}

TEST(vnDynamicType, StaysAsItWasWhenTheSourceThrows)
{
    vnRefPointer<Object> object(new Object(1));
    const Bytes bytes{'a', 'b', 'c', 0, 3, 7, 8, 9};
    for (std::size_t failing = 0; failing < bytes.size(); ++failing)
    {
        UnknownLength source(bytes, failing);
        vnDynamicType value(object.get());
        EXPECT_THROW(value.read(&source), vnWarningError);
        EXPECT_TRUE(value == vnDynamicType(object.get())) << failing;
        EXPECT_EQ(value.getReference(), object.get());
    }
}

TEST(vnDynamicType, ReplacesItsReferenceBeforeTheObjectThrows)
{
    vnDynamicType value(new ThrowsOnDestruction);
    EXPECT_THROW(value = vnDynamicType(5.0), vnWarningError);
    EXPECT_EQ(value.getNumber(), 5.0);
    EXPECT_FALSE(value.hasDynamicReferences());
    value = vnDynamicType(new ThrowsOnDestruction);
    EXPECT_THROW(value.reset(), vnWarningError);
    EXPECT_TRUE(value == vnDynamicVoid());
    EXPECT_THROW(vnDynamicType last(new ThrowsOnDestruction), vnWarningError);

    // The other objects of the list go as well.
    vnRefPointer<Object> object(new Object(1));
    {
        vnDynamicType several(new ThrowsOnDestruction);
        several.getDynamicReferences().append(object.get());
        EXPECT_THROW(several = vnDynamicType(), vnWarningError);
    }
    EXPECT_EQ(object->getRef(), 1u);
}

TEST(vnDynamicType, GivesTheReferenceOnceThereIsAList)
{
    vnRefPointer<Object> object(new Object(1));
    vnDynamicType source(object.get());
    vnDynamicType travelled = readFrom(written(source));
    EXPECT_TRUE(travelled.getDynamicReferences().isEmpty()); // makes the list
    EXPECT_EQ(travelled.getReference(), object.get());
    EXPECT_FALSE(travelled.hasDynamicReferences());
    EXPECT_EQ(vnDynamicType(travelled).getReference(), nullptr); // an empty list is not copied
}

TEST(vnDynamicType, CopiesAndMovesTagsOfItsOwn)
{
    const vnDynamicType source = readFrom({'a', 'b', 'c', 0, 1, 7});
    vnDynamicType copy(source);
    vnDynamicType moved(std::move(copy));
    EXPECT_TRUE(copy == vnDynamicVoid());
    EXPECT_TRUE(moved == source);
    copy = moved;
    moved = vnDynamicType(1.0);
    EXPECT_EQ(copy.getDynamicType(), "abc");
    EXPECT_EQ(moved.getDynamicType(), "num");
    copy = *&copy;
    EXPECT_EQ(copy.getDynamicType(), "abc");
}
