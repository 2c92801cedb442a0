// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapter.h>

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{
// A source of unknown length, like a socket: gives its text byte by byte and counts what it is asked.
class Source : public vnSerializeAdapter
{
public:
    explicit Source(std::string text) : m_text(std::move(text)) {}

    unsigned int m_asked = 0;
    std::string m_written;

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char byte) override { m_written += static_cast<char>(byte); }
    unsigned char read_imp() override
    {
        return m_next < m_text.size() ? static_cast<unsigned char>(m_text[m_next++]) : 0;
    }
    unsigned char hasData_imp() override
    {
        ++m_asked;
        return m_next < m_text.size();
    }

private:
    std::string m_text;
    std::size_t m_next = 0;
};

std::string readAll(vnSerializeAdapter& adapter, unsigned int most = 100)
{
    std::string text(most, '\0');
    text.resize(adapter.read(reinterpret_cast<unsigned char*>(text.data()), most));
    return text;
}

void pushBack(vnSerializeAdapter& adapter, const char* text)
{
    adapter.pushBack(reinterpret_cast<const unsigned char*>(text),
                     static_cast<unsigned int>(std::strlen(text)));
}

// Fails once its allowance is used up, and notes the largest block.
class Manager : public vnMemoryManagerInterface
{
public:
    Manager() { vnMemoryControl::setMemoryManager(this); }
    ~Manager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override
    {
        if (allowance == 0)
            return nullptr;
        --allowance;
        largest = std::max(largest, size);
        return std::malloc(size);
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override { std::free(block); }

    unsigned int allowance = 1000000;
    unsigned int largest = 0;
};

// A source whose data stand in another adapter, all of which it moves at the first byte.
class Relay : public vnSerializeAdapter
{
public:
    explicit Relay(vnSerializeAdapter& source) : m_source(source) {}

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        m_source.pushBackAdapterData();
        return m_source.read();
    }
    unsigned int length_imp() override { return m_source.length(); }

private:
    vnSerializeAdapter& m_source;
};

class Thrower : public vnReference
{
public:
    ~Thrower() noexcept(false) override { throw 1; }
};

class Item : public vnSerializeData
{
public:
    void write(vnSerializeAdapter* adapter) override { adapter->write('w'); }
    void read(vnSerializeAdapter* adapter) override { m_read = adapter->read(); }
    void pushBack(vnSerializeAdapter* adapter) override { adapter->pushBack(m_read); }
    unsigned int getDataSize(vnSerializeAdapter*) const override { return 1; }

    unsigned char m_read = 0;
};
} // namespace

TEST(vnSerializeAdapter, DeliversWhatWasPushedBackLastFirst)
{
    unsigned char block[] = "source";
    vnSerializeAdapterMemory memory(block, 6);
    Source plain("source");
    for (vnSerializeAdapter* adapter :
         {static_cast<vnSerializeAdapter*>(&memory), static_cast<vnSerializeAdapter*>(&plain)})
    {
        EXPECT_EQ(adapter->read(), 's'); // opens a window, where there is one
        pushBack(*adapter, "abc");
        adapter->pushBack('X');
        EXPECT_TRUE(adapter->hasData(4));
        EXPECT_EQ(adapter->read(), 'X');
        EXPECT_EQ(readAll(*adapter, 2), "ab");
        pushBack(*adapter, "");
        EXPECT_EQ(readAll(*adapter), "cource"); // across the border to the source
    }
}

TEST(vnSerializeAdapter, CountsPushedBackBytesInItsLengthButNotInThePosition)
{
    unsigned char block[] = "abc";
    vnSerializeAdapterMemory adapter(block, 3);
    adapter.read();
    adapter.pushBack('x');
    EXPECT_EQ(adapter.length(), 3u);
    EXPECT_EQ(adapter.getCurrentPos(), 1u);
    EXPECT_EQ(adapter.seek(2, VN_ORIGIN_SET), 2u); // pushed back bytes outlast a seek
    EXPECT_EQ(readAll(adapter, 2), "xc");
}

TEST(vnSerializeAdapter, ForgetsPushedBackBytesOnFlush)
{
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    adapter.write('a');
    adapter.pushBack('x');
    adapter.flush();
    EXPECT_EQ(adapter.read(), 'a');
}

TEST(vnSerializeAdapter, AnswersForASourceThatOverridesNothing)
{
    Source source("abc");
    EXPECT_EQ(source.canSeek(), 0);
    EXPECT_EQ(source.seek(1, VN_ORIGIN_SET), 0xFFFFFFFFu);
    EXPECT_EQ(source.supportAction(VN_SERIALIZE_APPEND), 1);
    EXPECT_EQ(source.aboutToClose(0), 1);
    EXPECT_EQ(source.isActive(), 1);
    EXPECT_EQ(source.length(), 0u);
    EXPECT_EQ(source.useExtension("png"), "png");
    source.setError("broken");
    EXPECT_EQ(source.hasError(), 1);
    source.setError("");
    EXPECT_EQ(source.hasError(), 0);
    EXPECT_EQ(source.read(), 'a');
}

TEST(vnSerializeAdapter, GivesWhatWasPushedBackAgainWhenTheSourceThrows)
{
    class Broken : public Source
    {
    public:
        using Source::Source;

    protected:
        using Source::read_imp;
        unsigned int read_imp(unsigned char*, unsigned int) override { throw std::runtime_error("broken"); }
    };
    Broken source("cd");
    pushBack(source, "ab");
    unsigned char block[10];
    EXPECT_THROW(source.read(block, sizeof block), std::runtime_error);
    EXPECT_EQ(source.length(), 2u);
    EXPECT_EQ(source.read(), 'a');
    EXPECT_EQ(source.read(), 'b');
    EXPECT_EQ(source.read(), 'c');
}

TEST(vnSerializeAdapter, TakesNoMoreMemoryThanComesFromASourceThatClaimsMore)
{
    class Liar : public Source
    {
    public:
        using Source::Source;

    protected:
        unsigned int length_imp() override { return 0xFFFFFFF0u; }
        unsigned int read_imp(unsigned char* data, unsigned int count) override
        {
            std::memset(data, 'x', std::min(count, 1000u));
            return std::exchange(m_left, 0u);
        }
        using Source::read_imp;

    private:
        unsigned int m_left = 1000;
    };
    Manager manager;
    Liar source("");
    pushBack(source, "ab");
    source.pushBackAdapterData();
    EXPECT_LT(manager.largest, 1000000u);
    EXPECT_EQ(readAll(source, 5), "abxxx");
}

TEST(vnSerializeAdapter, SkipsAsManyBytesAsAskedWhateverIsThere)
{
    unsigned char block[] = "ab";
    vnSerializeAdapterMemory adapter(block, 2);
    adapter.pushBack('x');
    EXPECT_EQ(adapter.read(nullptr, 2), 2u);
    EXPECT_EQ(adapter.read(), 'b');
    EXPECT_FALSE(adapter.hasError());
    EXPECT_EQ(adapter.read(nullptr, 5), 5u);
    EXPECT_TRUE(adapter.hasError());
}

TEST(vnSerializeAdapter, AsksOnceMoreThanItReadsInTheDefaultBlockForm)
{
    Source adapter("abcdef");
    EXPECT_EQ(readAll(adapter, 4), "abcd");
    EXPECT_EQ(adapter.m_asked, 5u);
    EXPECT_EQ(readAll(adapter, 4), "ef");
    unsigned char text[] = "xyz";
    adapter.write(text, 3);
    EXPECT_EQ(adapter.m_written, "xyz");
}

TEST(vnSerializeAdapter, AsksTheSourceNothingForNoBytes)
{
    Source adapter("abc");
    unsigned char byte = 7;
    EXPECT_EQ(adapter.read(&byte, 0), 0u);
    EXPECT_EQ(adapter.m_asked, 0u) << "asking may wait";
    adapter.pushBack('x');
    EXPECT_EQ(adapter.read(&byte, 0), 0u);
    EXPECT_EQ(adapter.m_asked, 0u);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(readAll(adapter), "xabc");
}

TEST(vnSerializeAdapter, ProbesByReadingAndPuttingBack)
{
    Source adapter("abcdef");
    EXPECT_TRUE(adapter.hasData(0));
    EXPECT_TRUE(adapter.hasData(6));
    EXPECT_FALSE(adapter.hasData(7));
    EXPECT_EQ(readAll(adapter), "abcdef");
    EXPECT_FALSE(adapter.hasData());
    EXPECT_TRUE(adapter.hasData(0));

    unsigned char block[] = "abc";
    vnSerializeAdapterMemory memory(block, 3);
    EXPECT_FALSE(memory.hasData(10));
    EXPECT_EQ(memory.getError(), "Memory Adapter read beyond end");
    EXPECT_EQ(readAll(memory, 3), "abc");

    class Flaky : public Source
    {
    public:
        using Source::Source;
        unsigned int m_left = 3; // to the failure

    protected:
        using vnSerializeAdapter::read_imp;
        unsigned char read_imp() override { return m_left-- > 0 ? Source::read_imp() : throw 1; }
    };
    for (const unsigned int count : {7u, 70000u})
    {
        Flaky flaky("abcdef");
        pushBack(flaky, "-");
        EXPECT_THROW(flaky.hasData(count + 1), int);
        EXPECT_EQ(readAll(flaky, 7), "-abcdef") << count;
    }
}

TEST(vnSerializeAdapter, ProbesForMoreThanTheMachineHasWithoutTakingThatMuch)
{
    Source adapter(std::string(200000, 'a'));
    EXPECT_FALSE(adapter.hasData(4294967295u));
    EXPECT_EQ(adapter.length(), 200000u);
}

TEST(vnSerializeAdapter, LosesNothingWhenMemoryRunsOutInAProbe)
{
    std::string text(300000, '\0');
    std::iota(text.begin(), text.end(), '\0');
    Manager manager;
    testing::internal::CaptureStderr(); // each failure is reported there
    unsigned int failures = 0;
    for (bool isDone = false; !isDone; ++failures)
    {
        Source adapter(text);
        pushBack(adapter, "in front");
        manager.allowance = failures;
        try
        {
            EXPECT_TRUE(adapter.hasData(300008));
            isDone = true;
        }
        catch (const std::bad_alloc&)
        {
        }
        manager.allowance = 1000000;
        EXPECT_TRUE(readAll(adapter, 400000) == "in front" + text) << "after " << failures << " allocations";
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(failures, 4u);
}

TEST(vnSerializeAdapter, TakesNoMoreMemoryOnAHintThanItNeeds)
{
    Manager manager;
    Source adapter("");
    pushBack(adapter, "abc");
    adapter.allocPushBack(4294967295u);
    pushBack(adapter, "0123456789");
    EXPECT_LE(manager.largest, 2097152u);
    EXPECT_EQ(readAll(adapter, 13), "0123456789abc");
}

TEST(vnSerializeAdapter, LetsTheErrorOfASharedInstanceOut)
{
    EXPECT_THROW(
        {
            Source adapter("");
            adapter.getRefInstanceArray()[0] = new Thrower;
        },
        int);
}

TEST(vnSerializeAdapter, MovesTheSourceAlsoWhenThatMovesAnother)
{
    const std::string text(5000, 'i');
    unsigned char* block = reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
    vnSerializeAdapterMemory inner(block, 5000);
    Relay outer(inner);
    outer.pushBackAdapterData();
    EXPECT_EQ(inner.length(), 0u);
    EXPECT_TRUE(readAll(outer, 6000) == text);
}

TEST(vnSerializeAdapter, MovesTheSourceIntoThePushBackStoreInOrder)
{
    unsigned char block[] = "cdef";
    vnSerializeAdapterMemory adapter(block, 4);
    pushBack(adapter, "ab");
    adapter.pushBackAdapterData();
    EXPECT_EQ(adapter.getCurrentPos(), 4u);
    EXPECT_EQ(adapter.length(), 6u);
    EXPECT_EQ(readAll(adapter, 6), "abcdef");
}

TEST(vnSerializeAdapter, PushesBackAMillionBytesOneByOne)
{
    Source adapter("");
    adapter.allocPushBack(0);
    for (unsigned int i = 0; i < 1000000; ++i)
        adapter.pushBack(static_cast<unsigned char>(i));
    std::vector<unsigned char> bytes(1000000);
    EXPECT_EQ(adapter.read(bytes.data(), 1000000), 1000000u);
    EXPECT_EQ(bytes[0], 999999 % 256);
    EXPECT_EQ(bytes[999743], 0); // 256th of the last
}

TEST(vnSerializeAdapter, SerializesInOneDirectionAndIgnoresOtherActions)
{
    Item item;
    vnSerializeAdapterQueue adapter(VN_QUEUE_FIFO);
    adapter.serialize(&item, VN_SERIALIZE_APPEND);
    EXPECT_EQ(adapter.length(), 0u);
    adapter.serialize(&item, VN_SERIALIZE_OUTPUT);
    EXPECT_EQ(adapter.length(), 1u);
    adapter.serialize(&item, VN_SERIALIZE_INPUT);
    EXPECT_EQ(item.m_read, 'w');
}

TEST(vnSerializeAdapter, GluesItsURLTogether)
{
    Source adapter("");
    adapter.setURLBase("http:");
    adapter.setDefaultPath("//host/dir/");
    adapter.setName("a.txt");
    EXPECT_EQ(adapter.getURL(), "http://host/dir/a.txt");
    adapter.setAttributes("a=1");
    EXPECT_EQ(adapter.getURL(), "http://host/dir/a.txt?a=1");
}

TEST(vnSerializeAdapter, CountsSharedInstancesFromZero)
{
    vnRefPointer<vnRefData<int>> object(new vnRefData<int>(1));
    Source adapter("");
    EXPECT_EQ(adapter.getNewSharedInstanceID(), 0u);
    EXPECT_EQ(adapter.getNewSharedInstanceID(), 1u);
    adapter.getRefInstanceDictionary().enter(object.get(), object.get());
    adapter.getRefInstanceArray()[3] = object.get();

    Source copy("");
    copy.copySharedRefData(adapter);
    EXPECT_EQ(copy.getNewSharedInstanceID(), 2u);
    EXPECT_EQ(copy.getRefInstanceDictionary().find(object.get()), object.get()); // not a clone
    EXPECT_EQ(copy.getRefInstanceArray().get(3).get(), object.get());
    copy.copySharedRefData(Source(""));
    EXPECT_EQ(copy.getRefInstanceArray().getSize(), 0u);

    adapter.clearSharedRefs();
    EXPECT_EQ(adapter.getNewSharedInstanceID(), 0u);
    EXPECT_TRUE(adapter.getRefInstanceDictionary().isEmpty());
    EXPECT_EQ(adapter.getRefInstanceArray().getSize(), 4u); // the array stays
}

TEST(vnSerializeAdapter, HoldsAssociatedDataAndSharesItself)
{
    vnRefPointer<vnSerializeAdapter> adapter(new Source("a"));
    const vnRefPointer<vnSerializeAdapter> shared(adapter);
    EXPECT_EQ(shared.get(), adapter.get());
    vnRefPointer<vnReference> data(new vnSerializeAdapterProgressInfo);
    adapter->mergeAssociatedData(data);
    adapter->mergeAssociatedData(data);
    adapter->mergeAssociatedData(nullptr);
    EXPECT_EQ(adapter->getAssociatedData(), data.get());
    EXPECT_EQ(data->getRef(), 2u);
}
