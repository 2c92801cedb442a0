// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterRandomAccess.h>

#include "../messages/vnMessageRecorder.h"
#include "vnEncodeTestHelp.h"
#include "vnSmallHeap.h"
#include "vnTempFolder.h"

#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnURL.h>

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace
{
using RandomAccess = vnSerializeAdapterRandomAccess;

// A stream that can't seek and counts its calls.
class Target : public vnSerializeAdapterQueue
{
public:
    // Gives three bytes at a time, and none but an error once it gave so many.
    void setStingy(unsigned int bytes) { m_left = bytes; }
    explicit Target(const char* text = "", unsigned int claimed = 0)
        : vnSerializeAdapterQueue(VN_QUEUE_FIFO), claim(claimed)
    {
        getQueue().push(reinterpret_cast<const unsigned char*>(text),
                        static_cast<unsigned int>(std::char_traits<char>::length(text)));
    }

    unsigned int claim;
    unsigned int reads = 0;
    std::vector<std::string> written;

protected:
    using vnSerializeAdapterQueue::read_imp;
    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        ++reads;
        if (m_left == 0)
            setError("no more");
        const unsigned int got =
            vnSerializeAdapterQueue::read_imp(data, m_left > 1000 ? count : std::min({count, m_left, 3u}));
        m_left -= m_left > 1000 ? 0 : got;
        return got;
    }
    void write_imp(unsigned char* data, unsigned int count) override
    {
        written.emplace_back(reinterpret_cast<const char*>(data), count);
    }
    void write_imp(unsigned char byte) override { write_imp(&byte, 1); }
    unsigned int length_imp() override { return claim ? claim : vnSerializeAdapterQueue::length_imp(); }

private:
    unsigned int m_left = 0xFFFFFFFFu;
};

// What `use` makes an adapter write to the target when it goes.
std::vector<std::string> writtenBack(Target& target, const std::function<void(RandomAccess&)>& use)
{
    {
        const vnRefPointer<RandomAccess> adapter(new RandomAccess(&target));
        use(*adapter);
    }
    return target.written;
}

const Lines lost = {"VantorSDK|4000|Random Access Adapter drops what was written: its target was not "
                    "read as a whole"};
} // namespace

TEST(vnSerializeAdapterRandomAccess, ReadsItsTargetOnceAndWritesItBackOnceAsAWhole)
{
    const vnRefPointer<Target> target(new Target("0123456789"));
    const auto use = [&target](RandomAccess& adapter)
    {
        EXPECT_EQ(target->reads, 1u);
        EXPECT_EQ(adapter.seek(5, VN_ORIGIN_SET), 5u);
        EXPECT_EQ(adapter.length(), 5u);
        writeText(&adapter, "abc");
        EXPECT_EQ(adapter.length(), 2u);
        EXPECT_EQ(readAll(&adapter, 2), "89");
        EXPECT_EQ(adapter.seek(-10, VN_ORIGIN_CURRENT), 0u);
        for (const char byte : std::string("01234abc89"))
            EXPECT_EQ(adapter.read(), byte);
        adapter.flush();
        EXPECT_TRUE(target->written.empty());
    };
    EXPECT_EQ(writtenBack(*target, use), Lines{"01234abc89"});
}

TEST(vnSerializeAdapterRandomAccess, GrowsByWhatIsReadOrWrittenBehindTheEnd)
{
    const vnRefPointer<Target> target(new Target("ab"));
    const auto read = [](RandomAccess& adapter)
    {
        adapter.seek(1, VN_ORIGIN_END);
        EXPECT_EQ(adapter.length(), 0u);
        EXPECT_EQ(readAll(&adapter, 2), std::string(2, '\0'));
        EXPECT_EQ(adapter.seek(0, VN_ORIGIN_END), 5u);
        EXPECT_FALSE(adapter.hasError());
    };
    EXPECT_EQ(writtenBack(*target, read), Lines{}); // nothing was changed
    const vnRefPointer<Target> other(new Target("ab"));
    const auto write = [](RandomAccess& adapter)
    {
        adapter.seek(2, VN_ORIGIN_END);
        writeText(&adapter, "z");
    };
    EXPECT_EQ(writtenBack(*other, write), (Lines{std::string("ab\0\0z", 5)}));
}

TEST(vnSerializeAdapterRandomAccess, RefusesPlacesThatAreOutOfReach)
{
    const vnRefPointer<Target> target(new Target("ab"));
    const vnRefPointer<RandomAccess> adapter(new RandomAccess(target));
    adapter->setMaxGap(10);
    const struct
    {
        const char* what;
        int offset;
        vnOriginPos origin;
    } places[] = {{"before the start", -1, VN_ORIGIN_SET},
                  {"one more than the gap", 11, VN_ORIGIN_END},
                  {"two gigabytes", 0x7FFFFFFF, VN_ORIGIN_SET}};
    for (const auto& place : places)
    {
        adapter->seek(place.offset, place.origin);
        EXPECT_EQ(adapter->read(), 0) << place.what;
        EXPECT_EQ(adapter->getError(), "Random Access Adapter moved outside size") << place.what;
        adapter->setError("");
        adapter->write('x');
        EXPECT_TRUE(adapter->hasError()) << place.what;
        adapter->setError("");
    }
    // Positions don't wrap at 32 bits: from here on the sum of both moves would be position 1.
    adapter->seek(0x7FFFFFFF, VN_ORIGIN_SET);
    adapter->seek(0x7FFFFFFF, VN_ORIGIN_CURRENT);
    adapter->seek(3, VN_ORIGIN_CURRENT);
    EXPECT_EQ(adapter->length(), 0u);
    adapter->write('x');
    EXPECT_TRUE(adapter->hasError());
    adapter->setError("");
    adapter->seek(10, VN_ORIGIN_END);
    EXPECT_EQ(adapter->read(), 0);
    EXPECT_FALSE(adapter->hasError());
    EXPECT_EQ(adapter->seek(0, VN_ORIGIN_END), 13u);
}

TEST(vnSerializeAdapterRandomAccess, ReadingEndsWhereALimitIsSet)
{
    auto* stream = new RandomAccess(Adapter(new Target("abcdefgh")));
    const Adapter adapter(stream);
    stream->setMaxSize(5); // less than is there takes nothing away
    EXPECT_EQ(readAll(adapter, 8), "abcdefgh");
    EXPECT_EQ(readAll(adapter, 1), "");
    EXPECT_EQ(adapter->getError(), "Random Access Adapter moved outside size");
    stream->setMaxSize(10);
    EXPECT_EQ(readAll(adapter, 2), std::string(2, '\0'));
    EXPECT_EQ(readAll(adapter, 1), "");
}

TEST(vnSerializeAdapterRandomAccess, TakesNoMemoryForALengthThatIsALie)
{
    Recorder recorder;
    const vnRefPointer<Target> target(new Target("abc", 0xFFFFFFF0u));
    const auto use = [](RandomAccess& adapter)
    {
        EXPECT_EQ(adapter.getError(), "Source adapter has data and gives none");
        EXPECT_EQ(adapter.length(), 3u);
        EXPECT_EQ(readAll(&adapter, 3), "abc");
        adapter.write('d'); // grows by what is there, not by what was claimed
        EXPECT_EQ(adapter.seek(0, VN_ORIGIN_END), 4u);
    };
    EXPECT_EQ(writtenBack(*target, use), Lines{}); // nobody knows what the rest of it is
    EXPECT_EQ(recorder.take(), lost);
}

TEST(vnSerializeAdapterRandomAccess, WhatMemoryDoesNotHoldIsAnError)
{
    const SmallHeap heap(40u << 20);
    const vnRefPointer<Target> target(new Target("ab"));
    const auto use = [](RandomAccess& adapter)
    {
        adapter.seek(0x7FFFFFFF, VN_ORIGIN_SET);
        adapter.seek(0x7FFFFFFF, VN_ORIGIN_CURRENT);
        EXPECT_EQ(readAll(&adapter, 1), "");
        EXPECT_EQ(adapter.getError(), "No memory for the position of the Random Access Adapter");
        adapter.write('x');
        adapter.setError("");
        adapter.seek(0, VN_ORIGIN_SET);
        adapter.write('c');
    };
    EXPECT_EQ(writtenBack(*target, use), Lines{"cb"});
    vnString error;
    const auto open = [&error](const char* url)
    {
        return Adapter(vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT,
                                                         vnString(), &error));
    };
    EXPECT_FALSE(open("rand:/dev/zero"));
    EXPECT_EQ(error, "URL Adapter (rand:/dev/zero) Error:No memory for all bytes of the source adapter");
    vnSerializeAdapterRandomAccess::setMaxTargetSize(20000);
    EXPECT_FALSE(open("rand:/dev/zero"));
    EXPECT_EQ(error, "URL Adapter (rand:/dev/zero) Error:Source adapter gives too many bytes");
    EXPECT_TRUE(open("rand:dummy:20000"));
    EXPECT_FALSE(open("rand:dummy:20001"));
    vnSerializeAdapterRandomAccess::setMaxTargetSize(0xFFFFFFFFu);
}

TEST(vnSerializeAdapterRandomAccess, WritesATargetThatSeeksFromWhereItWasRead)
{
    for (const unsigned int start : {0u, 4u, 10u})
        for (const unsigned int back : {0u, 2u})
        {
            unsigned char block[] = "0123456789";
            const Adapter memory(new vnSerializeAdapterMemory(block, 10));
            const std::string taken = readAll(memory, start);
            if (back > 0 && start > back)
                memory->pushBack(reinterpret_cast<const unsigned char*>(&taken[start - back]), back);
            std::string expected = "0123456789";
            {
                const Adapter adapter(new RandomAccess(memory));
                if (adapter->hasData())
                {
                    expected[10 - adapter->length()] = 'x';
                    adapter->write('x');
                }
            }
            EXPECT_EQ(std::string(reinterpret_cast<char*>(block)), expected) << start << " " << back;
        }
    const vnTempFolder folder;
    const vnString path = folder.write("a", "0123456789");
    {
        const Adapter file(new vnSerializeAdapterFile(path, VN_SERIALIZE_INPUT, 0, 0));
        const RandomAccess whole(file);
    }
    EXPECT_EQ(vnTempFolder::content(path), "0123456789");
}

TEST(vnSerializeAdapterRandomAccess, LeavesTheContentOfAFileOpenedForAppend)
{
    const vnTempFolder folder;
    const vnString path = folder.write("log", "0123");
    for (const char* url : {"rand:file:", "rand:rand:file:"})
    {
        const Adapter adapter(vnSerializeAdapter::getURLAdapter(vnString(url) + path, VN_SERIALIZE_APPEND));
        ASSERT_TRUE(adapter);
        EXPECT_EQ(adapter->length(), 0u);
        writeText(adapter, "45");
    }
    EXPECT_EQ(vnTempFolder::content(path), "01234545");
}

TEST(vnSerializeAdapterRandomAccess, WritesBackWhileAnExceptionIsOnItsWay)
{
    const vnRefPointer<Target> target(new Target("0123"));
    try
    {
        const Adapter adapter(new RandomAccess(target));
        adapter->write('x');
        throw std::runtime_error("on its way");
    }
    catch (const std::runtime_error&)
    {
    }
    EXPECT_EQ(target->written, Lines{"x123"});
}

// The bytes leave at the end only, when there is nobody left to answer to.
TEST(vnSerializeAdapterRandomAccess, ACopyOntoAFullDiskIsAWarning)
{
    Recorder recorder;
    const vnTempFolder folder;
    EXPECT_TRUE(copyAdapters("rand:file:/dev/full", folder.write("a", "abc"), nullptr));
    const Lines lines = recorder.take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(0, 56), "VantorSDK|4000|Could not flush to file '/dev/full' (No s");
}

TEST(vnSerializeAdapterRandomAccess, ReadsAPipeToItsEnd)
{
    const vnTempFolder folder;
    const vnString path = folder.path("fifo");
    ASSERT_EQ(mkfifo(path.getString(), 0600), 0);
    std::thread sender(
        [&]
        {
            const Adapter out(new vnSerializeAdapterFile(path, VN_SERIALIZE_OUTPUT, 0, 0));
            for (int i = 0; i < 30; ++i)
            {
                writeText(out, std::string(10000, 'p'));
                out->flush();
            }
        });
    const Adapter adapter(
        vnSerializeAdapter::getURLAdapter(vnString("rand:file:") + path, VN_SERIALIZE_INPUT));
    sender.join();
    ASSERT_TRUE(adapter);
    EXPECT_EQ(adapter->length(), 300000u);
    EXPECT_EQ(adapter->seek(-1, VN_ORIGIN_END), 299999u);
    EXPECT_EQ(adapter->read(), 'p');
}

TEST(vnSerializeAdapterRandomAccess, TellsWhatCouldNotBeWrittenBack)
{
    Recorder recorder;
    unsigned char block[] = "0123";
    {
        const Adapter adapter(new RandomAccess(new vnSerializeAdapterMemory(block, sizeof block - 1)));
        adapter->seek(0, VN_ORIGIN_END);
        adapter->write('x');
    }
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|Memory Adapter written beyond end"});
}

TEST(vnSerializeAdapterRandomAccess, LeavesATargetAloneThatCouldNotBeReadWhole)
{
    Recorder recorder;
    const vnRefPointer<Target> target(new Target("0123456789"));
    target->setStingy(1000);
    EXPECT_EQ(readAll(Adapter(new RandomAccess(target)), 10), "0123456789"); // a few bytes at a time
    const vnRefPointer<Target> broken(new Target("0123456789"));
    broken->setStingy(4);
    const auto use = [](RandomAccess& adapter)
    {
        EXPECT_EQ(adapter.getError(), "no more");
        EXPECT_EQ(adapter.length(), 4u);
        adapter.setError(""); // the target's, too
        adapter.write('x');
    };
    EXPECT_EQ(writtenBack(*broken, use), Lines{});
    EXPECT_EQ(recorder.take(), lost);
}

TEST(vnSerializeAdapterRandomAccess, OpensByURL)
{
    const vnTempFolder folder;
    const vnString path = folder.write("a", "0123");
    const Adapter adapter(vnSerializeAdapter::getURLAdapter(vnString("rand:file:") + path, VN_SERIALIZE_INPUT,
                                                            VN_ADAPTER_SILENT));
    ASSERT_TRUE(adapter);
    EXPECT_EQ(adapter->getURL(), vnString("rand:file:") + path);
    adapter->seek(-1, VN_ORIGIN_END);
    EXPECT_EQ(readAll(adapter, 1), "3");
    vnString error;
    EXPECT_FALSE(vnSerializeAdapter::getURLAdapter(vnString("rand:file:") + path + "x", VN_SERIALIZE_INPUT,
                                                   VN_ADAPTER_SILENT, vnString(), &error));
    EXPECT_EQ(error, vnString("Could not create URL Adapter 'rand:file:") + path + "x'");
    EXPECT_TRUE(RandomAccess(nullptr).hasError());
}
