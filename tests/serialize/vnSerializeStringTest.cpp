// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeString.h>

#include "../lex/vnByteAdapter.h"
#include "vnEncodeTestHelp.h"
#include "vnSmallHeap.h"

#include <vnBase/vnBaseError.h>

#include <gtest/gtest.h>

namespace
{
using Queue = vnSerializeAdapterQueue;
using std::string_literals::operator""s;
} // namespace

TEST(vnSerializeString, EndsWithItsTerminator)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    vnSerializeString empty;
    empty.write(&adapter);
    vnSerializeString text(vnString("abc"), ';');
    text.write(&adapter);
    EXPECT_EQ(text.getDataSize(&adapter), 4u);
    EXPECT_EQ(adapter.length(), 5u);

    vnSerializeString item("old");
    item.read(&adapter);
    EXPECT_EQ(item.getText(), "");
    EXPECT_EQ(adapter.length(), 4u);
    item.setTerminator(';');
    item.read(&adapter);
    EXPECT_EQ(item.getText(), "abc");
    EXPECT_EQ(adapter.length(), 0u);

    text.setUseTerminator(0);
    text.write(&adapter);
    EXPECT_EQ(readByByte(&adapter), "abc");
}

TEST(vnSerializeString, EndsWithTheData)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    writeText(&adapter, "abc");
    vnSerializeString line('\n');
    line.read(&adapter);
    EXPECT_EQ(line.getText(), "abc");
    EXPECT_FALSE(adapter.hasError());

    writeText(&adapter, "a\0b"s);
    vnSerializeString all;
    all.setUseTerminator(0);
    all.read(&adapter);
    EXPECT_EQ(textOf(all.getText()), "a\0b"s);
    all.read(&adapter);
    EXPECT_EQ(all.getText(), "");
}

TEST(vnSerializeString, WrapsItsIndexBeyondTheLongestText)
{
    for (const unsigned int size : {511u, 512u, 513u, 65535u, 65536u, 65537u, 131072u + 3u})
    {
        std::string bytes(size, 'a');
        bytes.back() = 'z';
        vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO, 1000);
        writeText(&adapter, bytes + '\0' + "next");
        vnSerializeString item;
        item.read(&adapter);
        EXPECT_EQ(textOf(item.getText()), bytes.substr(size & ~0xFFFFu)) << size;
        EXPECT_EQ(readByByte(&adapter), "next") << size;
    }
}

TEST(vnSerializeString, ReadsManyTextsIntoOnePlace)
{
    for (const unsigned char terminator : {'\0', '\n'})
    {
        const std::string text(30, 'x');
        std::string bytes;
        for (unsigned int i = 0; i < 100; ++i)
            bytes += text + static_cast<char>(terminator);
        vnSerializeAdapterMemory adapter(bytes.data(), static_cast<unsigned int>(bytes.size()));
        vnSerializeString item(terminator);
        item.read(&adapter);
        const SmallHeap heap(0xFFFFFFFFu);
        for (unsigned int i = 1; i < 100; ++i)
        {
            item.read(&adapter);
            ASSERT_EQ(textOf(item.getText()), text);
        }
        EXPECT_EQ(heap.getTotal(), 0u);
    }
}

TEST(vnSerializeString, PushesTheTerminatorInEveryCase)
{
    const Adapter adapter = queueWith("!");
    vnSerializeString item("ab");
    item.setUseTerminator(0);
    item.pushBack(adapter);
    EXPECT_EQ(readByByte(adapter), "ab\0!"s);
}

TEST(vnSerializeString, FormatsAndInterns)
{
    vnSerializeString item;
    item.format("%s-%d", "item", 7);
    EXPECT_STREQ(item.getString(), "item-7");
    EXPECT_TRUE(item.createUnique(4711));
    EXPECT_EQ(item.getText().getUniqueID(), 4711);
}

TEST(vnSerializeStringWide, IsLittleEndianUnlessToldOtherwise)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    vnSerializeStringWide little;
    little = vnString("A");
    little.write(&adapter);
    EXPECT_EQ(readByByte(&adapter), "A\0\0\0"s);

    vnSerializeStringWide big(vnString("\xE2\x82\xAC"), 0x0A0D, 1);
    EXPECT_EQ(big.getDataSize(&adapter), 4u);
    big.write(&adapter);
    EXPECT_EQ(readByByte(&adapter), "\x20\xAC\x0A\x0D");
    big.pushBack(&adapter);
    vnSerializeStringWide again(0x0A0D, 1);
    again.read(&adapter);
    EXPECT_EQ(again.getText(), "\xE2\x82\xAC");
    EXPECT_EQ(again.getWideString()[0], u'\x20AC');
    EXPECT_EQ(adapter.length(), 0u);
}

TEST(vnSerializeStringWide, ReadsALastByteAsHalfAUnit)
{
    const Adapter adapter = queueWith("a\0b\0c"s);
    vnSerializeStringWide item;
    item.read(adapter);
    EXPECT_EQ(item.getText(), "abc");
    writeText(adapter, "\0a\x01"s);
    vnSerializeStringWide big(0, 1); // the high half, of U+0100
    big.read(adapter);
    EXPECT_EQ(big.getText(), "a\xC4\x80");
}

TEST(vnSerializeStringWide, WrapsItsIndexBeyondTheLongestText)
{
    std::string bytes;
    for (unsigned int i = 0; i < 65536 + 3; ++i)
        bytes += i < 65536 ? "a\0"s : "z\0"s;
    const Adapter adapter = memoryWith(bytes + "\0\0!"s);
    vnSerializeStringWide item;
    item.read(adapter);
    EXPECT_EQ(item.getText(), "zzz");
    EXPECT_EQ(readByByte(adapter), "!");
}

TEST(vnSerializeStringWide, KeepsItsTextWhenTheSourceReadsOneToo)
{
    struct Nested : vnByteAdapter
    {
        Nested() : vnByteAdapter("a\0b\0c\0\0\0"s) {}
        unsigned int length_imp() override
        {
            vnSerializeStringWide item;
            item.read(queueWith("x\0y\0z\0"s));
            return vnByteAdapter::length_imp();
        }
    };
    Nested adapter;
    vnSerializeStringWide item;
    item.read(&adapter);
    EXPECT_EQ(item.getText(), "abc");
}

TEST(vnSerializeStringWide, WritesLongTextsWhole)
{
    const std::string text(5000, 'x');
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO, 1000);
    vnSerializeStringWide item(vnString(text.c_str()), 0, 1);
    item.write(&adapter);
    EXPECT_EQ(adapter.length(), 10002u);
    vnSerializeStringWide again(0, 1);
    again.read(&adapter);
    EXPECT_EQ(textOf(again.getText()), text);
}

TEST(vnSerializeStringWide, KeepsItsTextWhenTheTargetConvertsTexts)
{
    struct Converting : Queue
    {
        Converting() : Queue(VN_QUEUE_FIFO) {}
        void write_imp(unsigned char* data, unsigned int count) override
        {
            for (int i = 0; i < 20; ++i)
                static_cast<void>(vnString("another text").getWideString());
            Queue::write_imp(data, count);
        }
    };
    const std::string text(1000, 'x');
    Converting adapter;
    vnSerializeStringWide(vnString(text.c_str())).write(&adapter);
    vnSerializeStringWide again;
    again.read(&adapter);
    EXPECT_EQ(textOf(again.getText()), text);
}

TEST(vnWriteAdapterStringUtils, WritesNoTerminator)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    vnWriteAdapterStringUtils::writeAdapterString(&adapter, "%d%%", 5);
    EXPECT_EQ(readByByte(&adapter), "5%");
    vnWriteAdapterStringUtils::writeAdapterString(&adapter, u"<%d>", 5);
    EXPECT_EQ(readByByte(&adapter), "<\0"s + "5\0"s + ">\0"s);
    vnWriteAdapterStringUtils::writeAdapterString(1, &adapter, u"%s", "x");
    EXPECT_EQ(readByByte(&adapter), "\0x"s);
}

TEST(readLine, TakesTheLineFeedAndLeavesTheCarriageReturn)
{
    const Adapter adapter = queueWith("one\r\n\nlast");
    vnString line;
    for (const char* expected : {"one\r", "", "last", ""})
    {
        EXPECT_TRUE(readLine(line, adapter));
        EXPECT_EQ(line, expected);
    }
    EXPECT_FALSE(readLine(line, nullptr));
}

TEST(readLine, DeletesAnAdapterThatNobodyHoldsAlsoWhenItThrows)
{
    struct Watched : Queue
    {
        Watched(bool& gone, bool fails) : Queue(VN_QUEUE_FIFO), isGone(gone), isFailing(fails) {}
        ~Watched() noexcept(false) override { isGone = true; }
        unsigned char hasData_imp() override { return isFailing; }
        unsigned char read_imp() override { vnExceptionThrows::vnThrowWarning("source failed"); }

        bool& isGone;
        bool isFailing;
    };
    vnString line;
    bool isGone = false;
    EXPECT_TRUE(readLine(line, new Watched(isGone, false)));
    EXPECT_TRUE(isGone);
    isGone = false;
    EXPECT_THROW(readLine(line, new Watched(isGone, true)), vnWarningError);
    EXPECT_TRUE(isGone);
}
