// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeString.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace
{
std::string drained(vnSerializeAdapter& adapter)
{
    std::string result;
    while (adapter.hasData())
        result += static_cast<char>(adapter.read());
    return result;
}

void put(vnSerializeAdapter& adapter, const std::string& bytes)
{
    adapter.write(reinterpret_cast<const unsigned char*>(bytes.data()),
                  static_cast<unsigned int>(bytes.size()));
}

std::string textOf(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

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
    EXPECT_EQ(drained(adapter), "abc");
}

TEST(vnSerializeString, EndsWithTheData)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    put(adapter, "abc");
    vnSerializeString line('\n');
    line.read(&adapter);
    EXPECT_EQ(line.getText(), "abc");
    EXPECT_FALSE(adapter.hasError());

    put(adapter, "a\0b"s);
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
        put(adapter, bytes + '\0' + "next");
        vnSerializeString item;
        item.read(&adapter);
        EXPECT_EQ(textOf(item.getText()), bytes.substr(size & ~0xFFFFu)) << size;
        EXPECT_EQ(drained(adapter), "next") << size;
    }
}

TEST(vnSerializeString, ReadsManyTextsIntoOnePlace)
{
    class Counting : public vnMemoryManagerInterface
    {
    public:
        Counting() { vnMemoryControl::setMemoryManager(this); }
        ~Counting() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
        void* allocate(unsigned int size) override
        {
            ++count;
            return std::malloc(size);
        }
        void* reallocate(void* block, unsigned int size) override { return std::realloc(block, size); }
        void deallocate(void* block) override { std::free(block); }

        unsigned int count = 0;
    };
    for (const unsigned char terminator : {'\0', '\n'})
    {
        const std::string text(30, 'x');
        std::string bytes;
        for (unsigned int i = 0; i < 100; ++i)
            bytes += text + static_cast<char>(terminator);
        vnSerializeAdapterMemory adapter(bytes.data(), static_cast<unsigned int>(bytes.size()));
        vnSerializeString item(terminator);
        item.read(&adapter);
        Counting manager;
        for (unsigned int i = 1; i < 100; ++i)
        {
            item.read(&adapter);
            ASSERT_EQ(textOf(item.getText()), text);
        }
        EXPECT_EQ(manager.count, 0u);
    }
}

TEST(vnSerializeString, PushesTheTerminatorInEveryCase)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    adapter.write('!');
    vnSerializeString item("ab");
    item.setUseTerminator(0);
    item.pushBack(&adapter);
    EXPECT_EQ(drained(adapter), "ab\0!"s);
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
    EXPECT_EQ(drained(adapter), "A\0\0\0"s);

    vnSerializeStringWide big(vnString("\xE2\x82\xAC"), 0x0A0D, 1);
    EXPECT_EQ(big.getDataSize(&adapter), 4u);
    big.write(&adapter);
    EXPECT_EQ(drained(adapter), "\x20\xAC\x0A\x0D");
    big.pushBack(&adapter);
    vnSerializeStringWide again(0x0A0D, 1);
    again.read(&adapter);
    EXPECT_EQ(again.getText(), "\xE2\x82\xAC");
    EXPECT_EQ(again.getWideString()[0], u'\x20AC');
    EXPECT_EQ(adapter.length(), 0u);
}

TEST(vnSerializeStringWide, ReadsALastByteAsHalfAUnit)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    put(adapter, "a\0b\0c"s);
    vnSerializeStringWide item;
    item.read(&adapter);
    EXPECT_EQ(item.getText(), "abc");
}

TEST(vnSerializeStringWide, ReadsTheHighHalfOfALastBigEndianUnit)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    put(adapter, "\0a\x01"s);
    vnSerializeStringWide item(0, 1);
    item.read(&adapter);
    EXPECT_EQ(item.getText(), "a\xC4\x80"); // U+0100
}

TEST(vnSerializeStringWide, WrapsItsIndexBeyondTheLongestText)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO, 1000);
    for (unsigned int i = 0; i < 65536 + 3; ++i)
        put(adapter, i < 65536 ? "a\0"s : "z\0"s);
    put(adapter, "\0\0!"s);
    vnSerializeStringWide item;
    item.read(&adapter);
    EXPECT_EQ(item.getText(), "zzz");
    EXPECT_EQ(drained(adapter), "!");
}

TEST(vnSerializeStringWide, KeepsItsTextWhenTheSourceReadsOneToo)
{
    class Nested : public vnSerializeAdapter
    {
    protected:
        void write_imp(unsigned char) override {}
        unsigned char read_imp() override { return static_cast<unsigned char>(m_bytes[m_next++]); }
        unsigned char hasData_imp() override
        {
            vnSerializeAdapterQueue other(VN_QUEUE_FIFO);
            put(other, "x\0y\0z\0"s);
            vnSerializeStringWide item;
            item.read(&other);
            return m_next < m_bytes.size();
        }

    private:
        std::string m_bytes = "a\0b\0c\0\0\0"s;
        std::size_t m_next = 0;
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
    class Converting : public vnSerializeAdapterQueue
    {
    public:
        Converting() : vnSerializeAdapterQueue(VN_QUEUE_FIFO) {}

    protected:
        void write_imp(unsigned char* data, unsigned int count) override
        {
            for (int i = 0; i < 20; ++i)
                static_cast<void>(vnString("another text").getWideString());
            vnSerializeAdapterQueue::write_imp(data, count);
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
    EXPECT_EQ(drained(adapter), "5%");
    vnWriteAdapterStringUtils::writeAdapterString(&adapter, u"<%d>", 5);
    EXPECT_EQ(drained(adapter), "<\0"s + "5\0"s + ">\0"s);
    vnWriteAdapterStringUtils::writeAdapterString(1, &adapter, u"%s", "x");
    EXPECT_EQ(drained(adapter), "\0x"s);
}

TEST(readLine, TakesTheLineFeedAndLeavesTheCarriageReturn)
{
    vnRefPointer<vnSerializeAdapter> adapter(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    put(*adapter, "one\r\n\nlast");
    vnString line;
    for (const char* expected : {"one\r", "", "last", ""})
    {
        EXPECT_TRUE(readLine(line, adapter));
        EXPECT_EQ(line, expected);
    }
    EXPECT_FALSE(readLine(line, nullptr));
}

TEST(readLine, DeletesAnAdapterThatNobodyHolds)
{
    class Watched : public vnSerializeAdapterQueue
    {
    public:
        explicit Watched(bool& isGone) : vnSerializeAdapterQueue(VN_QUEUE_FIFO), m_isGone(isGone) {}
        ~Watched() noexcept(false) override { m_isGone = true; }

    private:
        bool& m_isGone;
    };
    bool isGone = false;
    vnString line;
    EXPECT_TRUE(readLine(line, new Watched(isGone)));
    EXPECT_TRUE(isGone);
}

TEST(readLine, DeletesTheAdapterAlsoWhenItThrows)
{
    class Failing : public vnSerializeAdapter
    {
    public:
        explicit Failing(bool& isGone) : m_isGone(isGone) {}
        ~Failing() noexcept(false) override { m_isGone = true; }

    protected:
        void write_imp(unsigned char) override {}
        unsigned char read_imp() override { vnExceptionThrows::vnThrowWarning("source failed"); }
        unsigned char hasData_imp() override { return 1; }

    private:
        bool& m_isGone;
    };
    bool isGone = false;
    vnString line;
    EXPECT_THROW(readLine(line, new Failing(isGone)), vnWarningError);
    EXPECT_TRUE(isGone);
}
