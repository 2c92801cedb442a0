// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterCache.h>

#include "../messages/vnMessageRecorder.h"
#include "vnEncodeTestHelp.h"
#include "vnSoakTime.h"
#include "vnTempFolder.h"

#include <vnBase/vnURL.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace
{
// A stream that breaks behind its first bytes.
struct Broken : vnSerializeAdapterQueue
{
    Broken() : vnSerializeAdapterQueue(VN_QUEUE_FIFO) { write('b'); }
    using vnSerializeAdapterQueue::read_imp;
    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        setError("Broken");
        return vnSerializeAdapterQueue::read_imp(data, count);
    }
};

// A stream that can seek; those that are open are counted.
struct Seekable : vnSerializeAdapterMemory
{
    explicit Seekable(const std::string& bytes) : vnSerializeAdapterMemory(nullptr, 0), text(bytes)
    {
        reset(text.data(), static_cast<unsigned int>(text.size()));
        ++open;
    }
    ~Seekable() noexcept(false) override { --open; }

    std::string text;
    static inline std::atomic<unsigned int> open{0};
};

// Serves "stream:TEXT" as a stream that can't seek, or can when the text begins with "seek", and counts how
// often it is opened. A text that begins with "both" opens when two threads have asked for it.
class Streams : public vnSerializeURLManagerInterface
{
public:
    Streams() { vnSerializeAdapter::registerURLManager("stream:", this); }
    void stop() { vnSerializeAdapter::unregisterURLManager("stream:", this); }

    vnSerializeAdapter* getURLAdapter(const vnString& url, vnSerializeAction, vnUInt64, const vnString&,
                                      vnString*) override
    {
        ++opened;
        const std::string text = std::string(url.getString()).substr(7);
        if (text == "broken")
            return new Broken;
        if (text.substr(0, 4) == "seek")
            return new Seekable(text);
        if (text.substr(0, 4) == "both")
            meet();
        auto* queue = new vnSerializeAdapterQueue(VN_QUEUE_FIFO);
        writeText(queue, text);
        return queue;
    }

    std::atomic<unsigned int> opened{0};

private:
    void meet()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_met;
        m_meeting.notify_all();
        EXPECT_TRUE(m_meeting.wait_for(lock, std::chrono::seconds(60), [this] { return m_met >= 2; }));
    }

    std::mutex m_mutex;
    std::condition_variable m_meeting;
    unsigned int m_met = 0;
};

class vnCacheTest : public testing::Test
{
protected:
    vnCacheTest()
    {
        streams->ref();
        vnSerializeAdapterCache::resetCaches();
    }
    ~vnCacheTest() override
    {
        streams->stop();
        vnSerializeAdapterCache::setMaxSizeOfCachedData(vnSerializeAdapterCache::VN_DEFAULT_MAX_SIZE);
        vnSerializeAdapterCache::resetCaches();
        streams->unref();
    }

    static std::string part(const vnString& url, unsigned int offset, unsigned int length,
                            unsigned char readLength = 0)
    {
        vnSerializeAdapterCache adapter(url, offset, length, readLength, VN_ADAPTER_SILENT, vnString());
        const std::string text = restOf(&adapter);
        EXPECT_FALSE(adapter.hasError());
        return text;
    }

    Streams* const streams = new Streams;
};
} // namespace

TEST_F(vnCacheTest, ServesPartsOfAStreamThatCanNotSeekFromOneTransfer)
{
    const vnString url = "stream:0123456789";
    EXPECT_EQ(part(url, 2, 3), "234");
    EXPECT_EQ(part(url, 8, 100), "89"); // cut to what is there
    EXPECT_EQ(part(url, 10, 1), "");
    EXPECT_EQ(part(url, 0xFFFFFFFFu, 0xFFFFFFFFu), "");
    EXPECT_EQ(part(url, 0, 0xFFFFFFFFu), "0123456789");
    EXPECT_EQ(streams->opened, 1u);
    vnSerializeAdapterCache::resetCaches();
    EXPECT_EQ(part("stream:0123456789", 0, 1), "0");
    EXPECT_EQ(streams->opened, 2u);
}

TEST_F(vnCacheTest, DropsTheOldestBlocksWhenThereAreTooManyBytes)
{
    vnSerializeAdapterCache::setMaxSizeOfCachedData(20);
    const std::pair<const char*, unsigned int> asked[] = {
        {"stream:first.....", 1}, {"stream:second....", 2},
        {"stream:first.....", 2}, {"stream:third.....", 3}, // the first one goes
        {"stream:second....", 3}, {"stream:first.....", 4}};
    for (const auto& [url, opened] : asked)
    {
        part(url, 0, 1);
        EXPECT_EQ(streams->opened, opened) << url;
    }
    vnSerializeAdapterCache held("stream:held......", 0, 4, 0, VN_ADAPTER_SILENT, vnString());
    vnSerializeAdapterCache::setMaxSizeOfCachedData(0);
    EXPECT_EQ(held.read(), 'h'); // its block lives on
    part("stream:first.....", 0, 1);
    EXPECT_EQ(part("stream:first.....", 0, 5), "first"); // too large to be kept, and served all the same
    EXPECT_EQ(streams->opened, 7u);
}

TEST_F(vnCacheTest, ServesAFileByItsPartsAndItsLengthFields)
{
    const vnTempFolder folder;
    const vnString url = vnString("file:") + folder.write("a", std::string("0123\x03\0\0\0abcdefg", 15));
    EXPECT_EQ(part(url, 2, 3), std::string("23\x03"));
    EXPECT_EQ(part(url, 4, 99, 1), "abc");
    EXPECT_EQ(part(url, 0, 99, 1), std::string("\x03\0\0\0abcdefg", 11)); // a length that is a lie
    EXPECT_EQ(part(url, 12, 2, 1), "ef");                                 // fewer than 4 bytes are none
    EXPECT_EQ(part(url, 15, 2), "");
    EXPECT_EQ(part(url, 0xFFFFFFFFu, 2), "");
    const vnString whole = vnString("cache:4,-1,") + url;
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(whole, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT));
    ASSERT_TRUE(adapter);
    EXPECT_EQ(adapter->length(), 3u);
}

TEST_F(vnCacheTest, RefusesToBeWritten)
{
    vnSerializeAdapterCache adapter("stream:0123", 0, 4, 0, VN_ADAPTER_SILENT, vnString());
    EXPECT_FALSE(adapter.supportAction(VN_SERIALIZE_OUTPUT));
    adapter.write('x');
    EXPECT_EQ(adapter.getError(), "Cache Adapter can not be written");
    EXPECT_EQ(part("stream:0123", 0, 4), "0123");
}

TEST_F(vnCacheTest, WhatDoesNotOpenIsEmptyAndCachesStandInCaches)
{
    Recorder recorder;
    vnSerializeAdapterCache none("stream2:", 0, 4, 0, 0, vnString());
    EXPECT_EQ(none.length(), 0u);
    EXPECT_EQ(none.getError(), "Failed to open URL:stream2: (URL Adapter (stream2:) Error:Could not open "
                               "'stream2:' for reading (No such file or directory))");
    EXPECT_EQ(recorder.take().size(), 1u); // why, and nothing else
    EXPECT_FALSE(vnURLExist("cache:0,4,stream2:"));
    EXPECT_EQ(part("cache:2,5,stream:0123456789", 1, 3), "345");
}

TEST_F(vnCacheTest, KeepsTheStreamOfEachThreadOpenForItsNextPart)
{
    EXPECT_EQ(part("stream:seek0123", 4, 2), "01");
    EXPECT_EQ(part("stream:seek0123", 0, 4), "seek");
    EXPECT_EQ(streams->opened, 1u);
    std::thread([] { EXPECT_EQ(part("stream:seek0123", 5, 2), "12"); }).join();
    EXPECT_EQ(streams->opened, 2u);
    EXPECT_EQ(Seekable::open, 1u); // the other one went with its thread
    EXPECT_EQ(part("stream:seek4567", 4, 1), "4");
    EXPECT_EQ(Seekable::open, 1u); // one for a thread
    EXPECT_EQ(part("stream:text", 0, 4), "text");
    EXPECT_EQ(Seekable::open, 0u);
    EXPECT_EQ(part("stream:seek4567", 7, 9), "7");
    EXPECT_EQ(streams->opened, 5u);
    vnSerializeAdapterCache::resetCaches();
    EXPECT_EQ(Seekable::open, 0u);
}

TEST_F(vnCacheTest, ThreadsThatMissAtOnceShareOneBlock)
{
    const vnString url = "stream:both of them";
    vnRefPointer<vnSerializeAdapterCache> parts[2];
    std::vector<std::thread> threads;
    for (auto& adapter : parts)
        threads.emplace_back(
            [&] { adapter = new vnSerializeAdapterCache(url, 0, 4, 0, VN_ADAPTER_SILENT, vnString()); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(streams->opened, 2u);
    EXPECT_EQ(parts[0]->length(), 4u);
    EXPECT_EQ(parts[0]->getCurrentAddress(), parts[1]->getCurrentAddress());
    vnSerializeAdapterCache::setMaxSizeOfCachedData(12);
    EXPECT_EQ(part(url, 8, 4), "them");
    EXPECT_EQ(streams->opened, 2u);
}

TEST_F(vnCacheTest, AnEndlessStreamIsAnErrorWhereALimitIsSet)
{
    vnSerializeAdapterCache::setMaxSizeOfStream(20000);
    vnString error;
    EXPECT_FALSE(vnSerializeAdapter::getURLAdapter("cache:0,10,/dev/zero", VN_SERIALIZE_INPUT,
                                                   VN_ADAPTER_SILENT, vnString(), &error));
    EXPECT_EQ(error, "URL Adapter (cache:0,10,/dev/zero) Error:Source adapter gives too many bytes");
    EXPECT_EQ(part(vnString("stream:") + std::string(20000, 'x').c_str(), 19998, 9), "xx");
    vnSerializeAdapterCache::setMaxSizeOfStream(0xFFFFFFFFu);
    vnSerializeAdapter::setMaxUntrustedSize(4);
    const auto partFromOutside = [](const char* url)
    {
        return vnSerializeAdapterCache(url, 0, 9, 0, VN_ADAPTER_UNTRUSTED | VN_ADAPTER_SILENT, vnString())
            .getSize();
    };
    EXPECT_EQ(partFromOutside("stream:four"), 4u);
    EXPECT_EQ(partFromOutside("stream:fives"), 0u);
    vnSerializeAdapter::setMaxUntrustedSize(64u << 20);
}

TEST_F(vnCacheTest, CanBeUsedWhileAThreadEnds)
{
    struct Late
    {
        ~Late()
        {
            EXPECT_EQ(part("stream:seek at the end", 5, 2), "at");
            EXPECT_EQ(part("stream:seek at the end", 8, 3), "the");
            vnSerializeAdapterCache::resetCaches();
        }
    };
    std::thread(
        []
        {
            static thread_local Late late; // goes after what the thread keeps of the cache
            static_cast<void>(late);
            EXPECT_EQ(part("stream:seek at the end", 0, 4), "seek");
        })
        .join();
    EXPECT_GE(streams->opened, 3u); // nothing is kept of a thread that is gone
}

TEST_F(vnCacheTest, DoesNotKeepAStreamThatBreaks)
{
    for (unsigned int i = 1; i <= 2; ++i)
    {
        vnSerializeAdapterCache adapter("stream:broken", 0, 4, 0, VN_ADAPTER_SILENT, vnString());
        EXPECT_EQ(adapter.getError(), "Broken");
        EXPECT_EQ(adapter.length(), 0u);
        EXPECT_EQ(streams->opened, i);
    }
}

TEST_F(vnCacheTest, ThreadsShareTheBlocks)
{
    const auto end = std::chrono::steady_clock::now() + vnSoakTime();
    vnSerializeAdapterCache::setMaxSizeOfCachedData(64);
    std::atomic<unsigned int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned int seed = 1; seed <= 4; ++seed)
        threads.emplace_back(
            [&, seed]
            {
                for (unsigned int step = seed; std::chrono::steady_clock::now() < end;
                     step = step * 1103515245u + 12345u)
                {
                    const auto number = static_cast<char>('0' + (step >> 8) % 10);
                    const vnString url = std::string("stream:block of ").append(1, number).c_str();
                    vnSerializeAdapterCache adapter(url, 9, 1, 0, VN_ADAPTER_SILENT, vnString());
                    if (adapter.read() != number)
                        ++wrong;
                    if ((step >> 16) % 1000 == 0)
                        vnSerializeAdapterCache::resetCaches();
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0u);
}
